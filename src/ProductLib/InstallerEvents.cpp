#include "ProductLib/InstallerEvents.h"

namespace kelvane::bst {
namespace {

// {1B30854F-A52D-4808-A919-BF52C14DC264}
constexpr GUID installerProviderId{0x1B30854F, 0xA52D, 0x4808, {0xA9, 0x19, 0xBF, 0x52, 0xC1, 0x4D, 0xC2, 0x64}};

} // namespace

win32::TraceProvider& installerProvider() {
    static win32::TraceProvider provider("OstravelInstallerProvider", installerProviderId);
    return provider;
}

} // namespace kelvane::bst
