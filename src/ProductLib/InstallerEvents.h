#pragma once

#include "libwin32/TraceLogging.h"

namespace kelvane::bst {

using win32::TraceFields;
using LogLevel = win32::TraceLevel;

// The installer's own event provider, "OstravelInstallerProvider".
win32::TraceProvider& installerProvider();

// One line of the installer's log: the event's name, its level and its named typed fields, as in
//     logEvent(LogLevel::Error, "RunFailed", {{"ErrorMsg", error.what()}});
// LogLevel::Error serves warnings as well: a session at any level is to hold whatever went wrong.
inline void logEvent(LogLevel level, const char* name, TraceFields fields = {}) noexcept {
    if (installerProvider().enabled(level)) installerProvider().write(level, name, fields);
}

} // namespace kelvane::bst
