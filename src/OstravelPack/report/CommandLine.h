#pragma once

#include "libkelvane/AgentVersion.h"

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace kelvane::pack {

struct CommandLine {
    std::filesystem::path payload;
    std::filesystem::path out;
    std::filesystem::path installer; // OstravelInstaller.exe beside this program unless given
    std::optional<kelvane::AgentVersion> version;
    std::filesystem::path verify;
};

extern const std::string_view usage;

// Throws UsageError for one that asks for nothing, or for what there is not.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};
CommandLine readCommandLine(int count, wchar_t** arguments);

} // namespace kelvane::pack
