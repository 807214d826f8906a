#include "libkelvane/RegKey.h"

#include "Support.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <gtest/gtest.h>

#include <functional>

using kelvane::RegKey;
using namespace std::string_view_literals;

struct RegKeyTest : testing::Test {
    RegKeyTest() { key_.create(); }
    ~RegKeyTest() override { RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\OstravelTest"); }

    void store(const wchar_t* name, DWORD type, std::string_view bytes) {
        RegSetValueExW(key_.open(KEY_SET_VALUE), name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                       static_cast<DWORD>(bytes.size()));
    }

    RegKey key_{HKEY_LOCAL_MACHINE, L"SOFTWARE\\OstravelTest\\Key"};
};

TEST_F(RegKeyTest, ReadsWhateverWasStored) {
    const std::string longText(2000, 'x');
    const std::pair<std::string_view, std::wstring> texts[] = {{"a\0b\0"sv, L"ab"},
                                                               {"a\0b\0\0\0"sv, L"ab"},
                                                               {"a\0b"sv, L"a"},
                                                               {"a\0\0\0b\0"sv, L"a"},
                                                               {""sv, L""},
                                                               {"\0"sv, L""},
                                                               {longText, std::wstring(1000, L'x' * 257)}};
    for (const auto& [bytes, text] : texts) {
        store(L"Odd", REG_SZ, bytes);
        EXPECT_EQ(key_.readString(L"Odd"), text);
    }
    const std::pair<std::string_view, std::vector<std::wstring>> lists[] = {
        {"a\0\0\0b\0\0\0\0\0"sv, {L"a", L"b"}}, {"a\0\0\0b\0"sv, {L"a", L"b"}}, {"\0\0"sv, {}}, {""sv, {}}};
    for (const auto& [bytes, list] : lists) {
        store(L"List", REG_MULTI_SZ, bytes);
        EXPECT_EQ(key_.readMultiString(L"List"), list);
    }
}

TEST_F(RegKeyTest, FailuresAndKeysHaveNames) {
    store(L"Bytes", REG_BINARY, "12345678");
    store(L"Short", REG_DWORD, "12");
    const RegKey parent(HKEY_LOCAL_MACHINE, L"SOFTWARE\\OstravelTest");
    const RegKey missing(HKEY_LOCAL_MACHINE, L"SOFTWARE\\OstravelTest\\None");
    std::uint32_t small = 0;
    const std::tuple<std::function<void()>, std::string, std::uint32_t> rows[] = {
        {[&] { key_.readString(L"None"); }, "\\Key\\None readString", ERROR_FILE_NOT_FOUND},
        {[&] { key_.readString(L"Bytes"); }, "\\Key\\Bytes readString", ERROR_INVALID_DATATYPE},
        {[&] { key_.readMultiString(L"Bytes"); }, "\\Key\\Bytes readMultiString", ERROR_INVALID_DATATYPE},
        {[&] { key_.readDword(L"Short"); }, "\\Key\\Short readDword", ERROR_INVALID_DATATYPE},
        {[&] { key_.readData(L"Bytes", &small, 4); }, "\\Key\\Bytes readData", ERROR_MORE_DATA},
        {[&] { parent.enumKey(1); }, " enumKey", ERROR_NO_MORE_ITEMS},
        {[&] { missing.readDword(L"Value"); }, "\\None open", ERROR_FILE_NOT_FOUND}};
    for (const auto& [action, call, code] : rows) {
        const auto error = support::thrownBy<win32::Win32Error>(action);
        EXPECT_EQ(error.call(), "HKEY_LOCAL_MACHINE\\SOFTWARE\\OstravelTest" + call);
        EXPECT_TRUE(error.code() == code && error.location().unit == "libkelvane\\RegKey") << call << error.code();
    }
    EXPECT_FALSE(missing.exists() || missing.valueExists(L"Value") || key_.valueExists(L"None"));
    EXPECT_TRUE(key_.exists() && key_.valueExists(L"Bytes"));

    // A key below an open one has the kernel's name.
    const std::wstring name = RegKey(key_.open(KEY_QUERY_VALUE), L"Further").name();
    EXPECT_TRUE(win32::equalsIgnoringAsciiCase(name, L"\\REGISTRY\\MACHINE\\SOFTWARE\\OstravelTest\\Key\\Further"))
        << name;
    EXPECT_EQ(RegKey(reinterpret_cast<HKEY>(0x7771), L"X").name(), L"<unknown>\\X");
}
