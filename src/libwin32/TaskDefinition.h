#pragma once

#include "libwin32/TaskScheduler.h"

namespace win32 {

// Fills an empty definition from the description: settings, trigger, action, principal. Throws as TaskScheduler.
void fillTaskDefinition(ITaskDefinition& definition, const TaskDescription& description);

// Whom a definition runs as, and what. Throws "Could not get task principal", "Could not get action collection".
RegisteredTask readTaskDefinition(ITaskDefinition& definition);

} // namespace win32
