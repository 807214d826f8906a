#pragma once

// The HTTP library's client, the one way to include it (see JsonLibrary.h for why).

#include "libkelvane/JsonLibrary.h"

#include <cpprest/http_client.h>
