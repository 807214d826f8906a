#pragma once

#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libwin32/Handles.h"

#include <shellapi.h>

#include <stdexcept>

// What the tests share.
namespace support {

// An empty folder, gone with its owner.
struct Folder {
    explicit Folder(const wchar_t* name = L"OstravelTests") : path(kelvane::PathUtils::windowsTemp() / name) {
        kelvane::FileUtilities::deleteDirectory(path);
        kelvane::FileUtilities::createDirectories(path);
    }
    ~Folder() { kelvane::FileUtilities::deleteDirectoryNoThrow(path); }
    std::filesystem::path operator/(const std::filesystem::path& name) const { return path / name; }

    const std::filesystem::path path;
};

// The error that the action throws; the test ends when it throws none.
template <class Error>
Error thrownBy(const auto& action) {
    try {
        action();
    } catch (const Error& error) {
        return error;
    }
    throw std::logic_error("nothing was thrown");
}

// The words of a command line, as Windows takes a started program's apart.
inline std::vector<std::wstring> words(const std::wstring& arguments) {
    int count = 0;
    const win32::UniqueLocal<LPWSTR> words(CommandLineToArgvW((L"program " + arguments).c_str(), &count));
    return {words.get(), words.get() + count};
}

// The command line of the child process that tests start, see child/Child.cpp.
inline std::wstring child(const std::wstring& arguments) {
    return L'"' + (kelvane::PathUtils::ownExecutable().parent_path() / L"test_child.exe").native() + L"\" " + arguments;
}

} // namespace support
