#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelvane::bst {

// The value of the property `name` in the installer package's arguments: the first quoted one, NAME="value", without
// its quotes, else the first other one, NAME=value, up to the next white space. Absent when neither is there.
std::optional<std::wstring> findInstallerProperty(std::wstring_view arguments, std::wstring_view name);

// A command line, of this program or of the package, as it may be logged and reported: the values of SERVER_PROXY in it
// without their user parts.
std::wstring loggedCommandLine(std::wstring_view commandLine);

} // namespace kelvane::bst
