#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelvane::bst {

// The value of the property `name` in the installer package's arguments: what "%s=\"(.*)\"" with the name finds, a
// quoted value, else what "%s=([^\s]*)" finds, a value up to the next white space. Absent when neither is there.
std::optional<std::wstring> findInstallerProperty(std::wstring_view arguments, std::wstring_view name);

} // namespace kelvane::bst
