#pragma once

#include <string_view>

namespace kelvane::bst {

// The version of this program, and of the agent that it carries; the same as in the version resource.
inline constexpr std::wstring_view programVersion = L"23.3.3.264";

} // namespace kelvane::bst
