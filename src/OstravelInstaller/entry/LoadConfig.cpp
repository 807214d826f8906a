#include <windows.h>

// Windows reads this before any code runs: what the import table names is taken from the system directory alone,
// whatever lies beside the executable.
extern "C" {
extern const IMAGE_LOAD_CONFIG_DIRECTORY64 _load_config_used;
constinit const IMAGE_LOAD_CONFIG_DIRECTORY64 _load_config_used = [] {
    IMAGE_LOAD_CONFIG_DIRECTORY64 config{};
    config.Size = sizeof config;
    config.Reserved1 = LOAD_LIBRARY_SEARCH_SYSTEM32; // DependentLoadFlags in newer headers
    return config;
}();
}
