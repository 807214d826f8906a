#include "libwin32/Wql.h"

#include "libwin32/Win32Error.h"

namespace win32 {
namespace {

constexpr long rowWaitMs = 30000;

void checkWmi(HRESULT result, std::string_view call) {
    if (FAILED(result)) throwWmiError(call, result);
}

} // namespace

Wql::Wql() {
    if (!com_.usable()) throwWmiError("CoInitializeEx", com_.result());
    ComPtr<IWbemLocator> locator;
    checkWmi(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator, locator.putVoid()),
             "CoCreateInstance");
    const Bstr cimv2(L"ROOT\\CIMV2");
    checkWmi(locator->ConnectServer(cimv2.get(), nullptr, nullptr, nullptr, WBEM_FLAG_CONNECT_USE_MAX_WAIT, nullptr,
                                    nullptr, services_.put()),
             "ConnectServer");
    checkWmi(CoSetProxyBlanket(services_.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL,
                               RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE),
             "CoSetProxyBlanket");
}

std::vector<Wql::Row> Wql::query(std::wstring_view text) const {
    const Bstr language(L"WQL");
    const Bstr query(text);
    ComPtr<IEnumWbemClassObject> rows;
    checkWmi(services_->ExecQuery(language.get(), query.get(), WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY,
                                  nullptr, rows.put()),
             "ExecQuery");
    std::vector<Row> found;
    while (true) {
        ComPtr<IWbemClassObject> row;
        ULONG count = 0;
        const HRESULT result = rows->Next(rowWaitMs, 1, row.put(), &count);
        checkWmi(result, "Next");
        if (result == WBEM_S_TIMEDOUT) throwWmiError("Next", static_cast<HRESULT>(WBEM_E_CALL_CANCELLED));
        if (count == 0) return found;
        found.emplace_back(std::move(row));
    }
}

void Wql::Row::read(const wchar_t* name, Variant& value) const {
    checkWmi(object_->Get(name, 0, value.put(), nullptr, nullptr), "Get");
}

std::optional<std::wstring> Wql::Row::text(const wchar_t* name) const {
    Variant value;
    read(name, value);
    if (value->vt != VT_BSTR || !value->bstrVal) return std::nullopt;
    return std::wstring(value->bstrVal, SysStringLen(value->bstrVal));
}

std::optional<bool> Wql::Row::flag(const wchar_t* name) const {
    Variant value;
    read(name, value);
    if (value->vt != VT_BOOL) return std::nullopt;
    return value->boolVal != VARIANT_FALSE;
}

std::vector<std::uint32_t> Wql::Row::numbers(const wchar_t* name) const {
    Variant value;
    read(name, value);
    std::vector<std::uint32_t> numbers;
    if ((value->vt & VT_ARRAY) == 0 || !value->parray) return numbers;
    LONG low = 0;
    LONG high = -1;
    checkWmi(SafeArrayGetLBound(value->parray, 1, &low), "SafeArrayGetLBound");
    checkWmi(SafeArrayGetUBound(value->parray, 1, &high), "SafeArrayGetUBound");
    // Elements of 16 and of 32 bits both occur; a wide enough zeroed place takes either.
    for (LONG index = low; index <= high; ++index) {
        std::uint32_t number = 0;
        if (SafeArrayGetElemsize(value->parray) > sizeof number) break;
        checkWmi(SafeArrayGetElement(value->parray, &index, &number), "SafeArrayGetElement");
        numbers.push_back(number);
    }
    return numbers;
}

} // namespace win32
