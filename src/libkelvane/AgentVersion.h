#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelvane {

// A four-part version, compared part by part, major first.
struct AgentVersion {
    std::uint16_t major = 0;
    std::uint16_t minor = 0;
    std::uint16_t build = 0;
    std::uint16_t revision = 0;

    auto operator<=>(const AgentVersion&) const = default;
    // "%u.%u.%u.%u"
    std::wstring str() const;
};

// Exactly four dotted decimal numbers of at most 65535; nothing else before, between or after.
std::optional<AgentVersion> parseAgentVersion(std::wstring_view text);
// One to four dotted decimal numbers; missing parts are 0.
std::optional<AgentVersion> parseShortAgentVersion(std::wstring_view text);

} // namespace kelvane
