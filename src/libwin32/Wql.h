#pragma once

#include "libwin32/ComPtr.h"

#include <wbemidl.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace win32 {

// Queries of Windows Management Instrumentation, namespace ROOT\CIMV2. Initialises COM for the calling thread. Every
// failure is a WMIError that carries the HRESULT.
class Wql {
public:
    class Row {
    public:
        explicit Row(ComPtr<IWbemClassObject> object) : object_(std::move(object)) {}
        // The property's text, flag, or array of small numbers; nothing when it is null or of another type.
        std::optional<std::wstring> text(const wchar_t* name) const;
        std::optional<bool> flag(const wchar_t* name) const;
        std::vector<std::uint32_t> numbers(const wchar_t* name) const;

    private:
        void read(const wchar_t* name, Variant& value) const;

        ComPtr<IWbemClassObject> object_;
    };

    Wql();
    // Waits at most half a minute for each row.
    std::vector<Row> query(std::wstring_view text) const;

private:
    ComInitializer com_;
    ComPtr<IWbemServices> services_;
};

} // namespace win32
