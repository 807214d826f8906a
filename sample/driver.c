/* Stands in for the removal driver: a native image that declines to be loaded. */
#include <windows.h>

LONG __stdcall DriverEntry(void* driver, void* registryPath);

LONG __stdcall DriverEntry(void* driver, void* registryPath) {
    (void)driver;
    (void)registryPath;
    return (LONG)0xC0000001; /* STATUS_UNSUCCESSFUL */
}
