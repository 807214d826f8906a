#include "OstravelPack/payload/PackageFacts.h"

#include "OstravelPack/image/Bytes.h"
#include "libwin32/MsiHandle.h"

#include <windows.h>

#include <msi.h>
#include <msiquery.h>

#include <format>

namespace kelvane::pack {
namespace {

using win32::UniqueMsi;

void checkMsi(UINT result) {
    if (result != ERROR_SUCCESS)
        throw Refusal(std::format("it is no package that Windows Installer can read (error {})", result));
}

std::wstring propertyOf(MSIHANDLE database, const std::wstring& name) {
    UniqueMsi view;
    const auto query = L"SELECT `Value` FROM `Property` WHERE `Property` = '" + name + L"'";
    checkMsi(MsiDatabaseOpenViewW(database, query.c_str(), view.put()));
    checkMsi(MsiViewExecute(view.get(), 0));
    UniqueMsi row;
    const UINT fetched = MsiViewFetch(view.get(), row.put());
    if (fetched == ERROR_NO_MORE_ITEMS) return {};
    checkMsi(fetched);
    wchar_t text[64]; // a GUID has 38 characters, the longest version 23
    DWORD length = 64;
    checkMsi(MsiRecordGetStringW(row.get(), 1, text, &length));
    return {text, length};
}

} // namespace

PackageFacts readPackage(const std::filesystem::path& package) {
    UniqueMsi database;
    checkMsi(MsiOpenDatabaseW(package.c_str(), MSIDBOPEN_READONLY, database.put()));
    return {propertyOf(database.get(), L"ProductVersion"), propertyOf(database.get(), L"UpgradeCode")};
}

} // namespace kelvane::pack
