#pragma once

#include <string_view>

namespace kelvane {

// What all of the agent's Windows Installer packages have in common. Ends with a NUL character.
inline constexpr std::wstring_view agentUpgradeCode = L"{95B9AB60-3BED-4C47-AFC0-E5876A75512A}";

} // namespace kelvane
