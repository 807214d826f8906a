#include "libkelvane/AgentVersion.h"

#include "libwin32/Text.h"

#include <array>

namespace kelvane {
namespace {

// The dotted parts of the text, at most four; nothing when any part is empty, too large or not a number.
std::optional<AgentVersion> parseParts(std::wstring_view text, std::size_t leastParts) {
    std::array<std::uint16_t, 4> parts{};
    std::size_t count = 0;
    while (true) {
        if (count == parts.size()) return std::nullopt;
        const auto dot = text.find(L'.');
        const auto digits = text.substr(0, dot);
        if (digits.empty()) return std::nullopt;
        std::uint32_t value = 0;
        for (const wchar_t c : digits) {
            if (c < L'0' || c > L'9') return std::nullopt;
            value = value * 10 + static_cast<std::uint32_t>(c - L'0');
            if (value > UINT16_MAX) return std::nullopt;
        }
        parts[count++] = static_cast<std::uint16_t>(value);
        if (dot == std::wstring_view::npos) break;
        text.remove_prefix(dot + 1);
    }
    if (count < leastParts) return std::nullopt;
    return AgentVersion{parts[0], parts[1], parts[2], parts[3]};
}

} // namespace

std::wstring AgentVersion::str() const { return win32::formatText(L"%u.%u.%u.%u", major, minor, build, revision); }

std::optional<AgentVersion> parseAgentVersion(std::wstring_view text) { return parseParts(text, 4); }

std::optional<AgentVersion> parseShortAgentVersion(std::wstring_view text) { return parseParts(text, 1); }

} // namespace kelvane
