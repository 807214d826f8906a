#include "OstravelInstaller/context/InstallerResult.h"

#include <stdexcept>

namespace kelvane::bst {

std::wstring_view successFlagText(SuccessFlag flag) {
    switch (flag) {
    case SuccessFlag::Failure:
        return L"0";
    case SuccessFlag::Success:
        return L"1";
    }
    throw std::invalid_argument("Unknown InstallerResult");
}

std::wstring_view toTelemetryResult(InstallerResult result) {
    return successFlagText(between(result, 2000, 2999) ? SuccessFlag::Failure : SuccessFlag::Success);
}

} // namespace kelvane::bst
