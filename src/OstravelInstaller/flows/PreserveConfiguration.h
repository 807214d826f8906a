#pragma once

#include "OstravelInstaller/context/RunContext.h"

#include <filesystem>
#include <optional>

namespace kelvane::bst {

// In a stateless run, before anything is changed: carries the old agent's proxy into the package's properties, backs
// its configuration directory up, and takes the values that must survive from it. False when a step failed that this
// run must not go on without.
bool preserveConfiguration(RunContext& context);

// Tells the package to use no proxy, when none is to be preserved and the caller set none.
void completeProxyProperty(RunContext& context);

// The configuration directory that the package is to take over: the backup, when this run or the one before it made it
// and nobody else could have changed it since. The installed agent's own would have to stand unquoted on the command
// line, with the blanks of its path.
std::optional<std::filesystem::path> configDirForPackage(const Carried& carried);

// Removes the backup, whoever made it.
void forgetConfigBackup(Carried& carried) noexcept;

} // namespace kelvane::bst
