#pragma once

#include "libwin32/Handles.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane {

// A registry key named by a root (a predefined root, or an open key) and a path below it. It is opened on demand with
// the access that an operation asks for. Every failure is a Win32Error whose call() is the key's readable name, a
// backslash and the value's name, followed by the operation; its unit is "libkelvane\RegKey". A key or value that is
// not there is a NotFoundError.
class RegKey {
public:
    // `view` is KEY_WOW64_64KEY, KEY_WOW64_32KEY or 0, added to every access.
    RegKey(HKEY root, std::wstring_view path, REGSAM view = KEY_WOW64_64KEY);

    // Opens with the access (or keeps the handle that an earlier open with at least this access gave).
    HKEY open(REGSAM access) const;
    // Creates the key and any missing parents; opened for reading and writing.
    void create();
    bool exists() const noexcept;

    // Fills the buffer with at most its size in bytes; returns how many the value has. Longer data is ERROR_MORE_DATA.
    std::size_t readData(std::wstring_view valueName, void* buffer, std::size_t size) const;
    // REG_SZ or REG_EXPAND_SZ (not expanded); missing terminators and odd lengths are read safely.
    // Another type is ERROR_INVALID_DATATYPE.
    std::wstring readString(std::wstring_view valueName) const;
    std::uint32_t readDword(std::wstring_view valueName) const;
    std::vector<std::wstring> readMultiString(std::wstring_view valueName) const;
    void setValue(std::wstring_view valueName, std::wstring_view text);
    void setValue(std::wstring_view valueName, std::uint32_t number);
    void deleteValue(std::wstring_view valueName);
    bool valueExists(std::wstring_view valueName) const;
    std::uint32_t subkeyCount() const;
    std::wstring enumKey(std::uint32_t index) const;

    // "HKEY_LOCAL_MACHINE\SOFTWARE\..."; at or below an open key the kernel's name of it, or "<unknown>".
    std::wstring name() const;

private:
    LSTATUS tryOpen(REGSAM access) const noexcept;

    HKEY root_;
    std::wstring path_;
    REGSAM view_;
    mutable win32::UniqueKey handle_;
    mutable REGSAM access_ = 0;
};

} // namespace kelvane
