#pragma once

#include "OstravelInstallerLib/CommandLineUtils.h"

#include <filesystem>
#include <optional>
#include <string>

namespace kelvane::bst {

// What was asked for: the command line and what follows from it; a run that goes on was asked what the one before it
// was. Filled when the run begins (ContextBuilder), read-only from then on.
struct Asked {
    explicit Asked(const OstravelInstallerCmdLine& commandLine) : cmdLine(commandLine) {}

    const OstravelInstallerCmdLine& cmdLine;
    std::wstring initiator;
    std::optional<std::filesystem::path> alternativeInstaller;
    std::wstring installationId;
    std::wstring diagUid;
};

} // namespace kelvane::bst
