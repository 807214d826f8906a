#include "libkelvane/RegKey.h"

#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <algorithm>
#include <cstring>
#include <source_location>

extern "C" LONG NTAPI NtQueryKey(HANDLE key, ULONG informationClass, void* information, ULONG length, ULONG* needed);

namespace kelvane {
namespace {

struct RootName {
    HKEY root;
    std::wstring_view name;
};
const RootName rootNames[] = {
    {HKEY_CLASSES_ROOT, L"HKEY_CLASSES_ROOT"},
    {HKEY_CURRENT_USER, L"HKEY_CURRENT_USER"},
    {HKEY_LOCAL_MACHINE, L"HKEY_LOCAL_MACHINE"},
    {HKEY_USERS, L"HKEY_USERS"},
    {HKEY_PERFORMANCE_DATA, L"HKEY_PERFORMANCE_DATA"},
    {HKEY_PERFORMANCE_TEXT, L"HKEY_PERFORMANCE_TEXT"},
    {HKEY_PERFORMANCE_NLSTEXT, L"HKEY_PERFORMANCE_NLSTEXT"},
    {HKEY_CURRENT_CONFIG, L"HKEY_CURRENT_CONFIG"},
    {HKEY_DYN_DATA, L"HKEY_DYN_DATA"},
    {HKEY_CURRENT_USER_LOCAL_SETTINGS, L"HKEY_CURRENT_USER_LOCAL_SETTINGS"},
};

// The kernel's name of an open key: "\REGISTRY\MACHINE\..." or "\REGISTRY\USER\...".
std::wstring kernelName(HKEY key) {
    constexpr ULONG keyNameInformation = 3;
    constexpr LONG bufferTooSmall = static_cast<LONG>(0xC0000023);
    const std::wstring unknown = L"<unknown>";
    ULONG size = 0;
    if (NtQueryKey(key, keyNameInformation, nullptr, 0, &size) != bufferTooSmall) return unknown;
    // A 32-bit length in bytes, then the name.
    std::vector<std::uint8_t> information(size);
    if (NtQueryKey(key, keyNameInformation, information.data(), size, &size) != 0) return unknown;
    ULONG length = 0;
    if (information.size() < sizeof length) return unknown;
    std::memcpy(&length, information.data(), sizeof length);
    if (length > information.size() - sizeof length) return unknown;
    std::wstring name(length / sizeof(wchar_t), L'\0');
    std::memcpy(name.data(), information.data() + sizeof length, name.size() * sizeof(wchar_t));
    return name;
}

[[noreturn]] void raise(LSTATUS code, std::wstring_view name, std::string_view operation,
                        const std::source_location& place) {
    const auto call = win32::toUtf8(name).append(" ").append(operation);
    if (code == ERROR_FILE_NOT_FOUND) win32::throwNotFound(call, ERROR_FILE_NOT_FOUND, place);
    win32::throwWin32(call, static_cast<std::uint32_t>(code), place);
}

void checkKey(LSTATUS code, const RegKey& key, std::string_view operation,
              std::source_location place = std::source_location::current()) {
    if (code != ERROR_SUCCESS) raise(code, key.name(), operation, place);
}

void checkValue(LSTATUS code, const RegKey& key, std::wstring_view valueName, std::string_view operation,
                std::source_location place = std::source_location::current()) {
    if (code != ERROR_SUCCESS) raise(code, key.name().append(L"\\").append(valueName), operation, place);
}

struct RawValue {
    DWORD type = REG_NONE;
    std::vector<std::uint8_t> data;

    bool isText() const { return type == REG_SZ || type == REG_EXPAND_SZ; }
    // Whole characters only: the registry stores whatever length it was given.
    std::wstring characters() const {
        std::wstring text(data.size() / sizeof(wchar_t), L'\0');
        std::memcpy(text.data(), data.data(), text.size() * sizeof(wchar_t));
        return text;
    }
};

// A value may grow between two queries, so it is asked until it fits.
LSTATUS query(HKEY key, const std::wstring& valueName, RawValue& value) {
    DWORD size = 256;
    while (true) {
        value.data.resize(size);
        const LSTATUS code = RegQueryValueExW(key, valueName.c_str(), nullptr, &value.type, value.data.data(), &size);
        if (code == ERROR_SUCCESS) value.data.resize(size);
        if (code != ERROR_MORE_DATA) return code;
        size = std::max(size, static_cast<DWORD>(value.data.size()) * 2);
    }
}

} // namespace

RegKey::RegKey(HKEY root, std::wstring_view path, REGSAM view) : root_(root), path_(path), view_(view) {}

LSTATUS RegKey::tryOpen(REGSAM access) const noexcept {
    if (handle_ && (access_ & access) == access) return ERROR_SUCCESS;
    win32::UniqueKey opened;
    const LSTATUS code = RegOpenKeyExW(root_, path_.c_str(), 0, access | view_, opened.put());
    if (code == ERROR_SUCCESS) {
        handle_ = std::move(opened);
        access_ = access;
    }
    return code;
}

HKEY RegKey::open(REGSAM access) const {
    checkKey(tryOpen(access), *this, "open");
    return handle_.get();
}

void RegKey::create() {
    constexpr REGSAM access = KEY_READ | KEY_WRITE;
    win32::UniqueKey created;
    checkKey(RegCreateKeyExW(root_, path_.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, access | view_, nullptr,
                             created.put(), nullptr),
             *this, "create");
    handle_ = std::move(created);
    access_ = access;
}

bool RegKey::exists() const noexcept {
    win32::UniqueKey opened;
    return RegOpenKeyExW(root_, path_.c_str(), 0, KEY_QUERY_VALUE | view_, opened.put()) == ERROR_SUCCESS;
}

std::size_t RegKey::readData(std::wstring_view valueName, void* buffer, std::size_t size) const {
    DWORD length = static_cast<DWORD>(size);
    checkValue(RegQueryValueExW(open(KEY_QUERY_VALUE), std::wstring(valueName).c_str(), nullptr, nullptr,
                                static_cast<BYTE*>(buffer), &length),
               *this, valueName, "readData");
    return length;
}

std::wstring RegKey::readString(std::wstring_view valueName) const {
    RawValue value;
    checkValue(query(open(KEY_QUERY_VALUE), std::wstring(valueName), value), *this, valueName, "readString");
    if (!value.isText()) checkValue(ERROR_INVALID_DATATYPE, *this, valueName, "readString");
    std::wstring text = value.characters();
    return text.erase(std::min(text.find(L'\0'), text.size()));
}

std::uint32_t RegKey::readDword(std::wstring_view valueName) const {
    RawValue value;
    checkValue(query(open(KEY_QUERY_VALUE), std::wstring(valueName), value), *this, valueName, "readDword");
    std::uint32_t number = 0;
    if (value.type != REG_DWORD || value.data.size() != sizeof number) {
        checkValue(ERROR_INVALID_DATATYPE, *this, valueName, "readDword");
    }
    std::memcpy(&number, value.data.data(), sizeof number);
    return number;
}

std::vector<std::wstring> RegKey::readMultiString(std::wstring_view valueName) const {
    RawValue value;
    checkValue(query(open(KEY_QUERY_VALUE), std::wstring(valueName), value), *this, valueName, "readMultiString");
    if (value.type != REG_MULTI_SZ) checkValue(ERROR_INVALID_DATATYPE, *this, valueName, "readMultiString");
    const std::wstring text = value.characters();
    std::vector<std::wstring> list;
    // An empty string ends the list.
    for (std::size_t start = 0; start < text.size() && text[start] != L'\0';) {
        const auto end = std::min(text.find(L'\0', start), text.size());
        list.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return list;
}

void RegKey::setValue(std::wstring_view valueName, std::wstring_view text) {
    const std::wstring terminated(text);
    checkValue(RegSetValueExW(open(KEY_SET_VALUE), std::wstring(valueName).c_str(), 0, REG_SZ,
                              reinterpret_cast<const BYTE*>(terminated.c_str()),
                              static_cast<DWORD>((terminated.size() + 1) * sizeof(wchar_t))),
               *this, valueName, "setValue");
}

void RegKey::setValue(std::wstring_view valueName, std::uint32_t number) {
    checkValue(RegSetValueExW(open(KEY_SET_VALUE), std::wstring(valueName).c_str(), 0, REG_DWORD,
                              reinterpret_cast<const BYTE*>(&number), sizeof number),
               *this, valueName, "setValue");
}

void RegKey::deleteValue(std::wstring_view valueName) {
    checkValue(RegDeleteValueW(open(KEY_SET_VALUE), std::wstring(valueName).c_str()), *this, valueName, "deleteValue");
}

bool RegKey::valueExists(std::wstring_view valueName) const {
    return tryOpen(KEY_QUERY_VALUE) == ERROR_SUCCESS &&
           RegQueryValueExW(handle_.get(), std::wstring(valueName).c_str(), nullptr, nullptr, nullptr, nullptr) ==
               ERROR_SUCCESS;
}

std::uint32_t RegKey::subkeyCount() const {
    DWORD count = 0;
    checkKey(RegQueryInfoKeyW(open(KEY_QUERY_VALUE), nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr,
                              nullptr, nullptr, nullptr, nullptr),
             *this, "subkeyCount");
    return count;
}

std::wstring RegKey::enumKey(std::uint32_t index) const {
    wchar_t name[256]; // the longest name of a key and its terminator
    DWORD length = 256;
    checkKey(RegEnumKeyExW(open(KEY_ENUMERATE_SUB_KEYS), index, name, &length, nullptr, nullptr, nullptr, nullptr),
             *this, "enumKey");
    return {name, length};
}

std::wstring RegKey::name() const {
    const auto* root = std::ranges::find(rootNames, root_, &RootName::root);
    std::wstring name = root != std::end(rootNames) ? std::wstring(root->name) : kernelName(root_);
    if (!path_.empty()) name.append(L"\\").append(path_);
    return name;
}

} // namespace kelvane
