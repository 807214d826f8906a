#pragma once

// The HTTP library's JSON, the one way to include it: its Windows parts want names that this compiler's headers lack,
// and its one-letter macro U would clash with others' template parameters.

#include <cpprest_compat.h>

#define _TURN_OFF_PLATFORM_STRING // NOLINT(bugprone-reserved-identifier): a switch of the library
#include <cpprest/json.h>
