#include "Acceptance.h"
#include "OstravelInstallerLib/InstanceMutex.h"
#include "libwin32/AccessToken.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

#include <sddl.h>

#include <format>

namespace acceptance {
namespace {

std::wstring variable(const wchar_t* name) {
    wchar_t value[4096]{};
    GetEnvironmentVariableW(name, value, 4096);
    return value;
}

const char* inherited() {
    using Compare = BOOL(WINAPI*)(HANDLE, HANDLE); // since Windows 10
    const auto compare = reinterpret_cast<Compare>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernelbase.dll"), "CompareObjectHandles")));
    const win32::UniqueHandle object(OpenEventW(SYNCHRONIZE, FALSE, inheritableName));
    const auto number = variable(inheritableVariable);
    if (!compare || !object || number.empty()) return "unknown";
    return compare(object.get(), reinterpret_cast<HANDLE>(std::stoull(number))) ? "true" : "false";
}

// A copy of this program that the installer takes for a package: it says in report.txt what it was given, and waits
// for a file "go".
int probe(const Path& folder) {
    const auto text = std::format("WINDIR={}\ndirectory={}\ninherited={}\n", win32::toUtf8(variable(L"WINDIR")),
                                  std::filesystem::current_path().string(), inherited());
    files::writeFile(folder / L"report.new", text);
    files::moveFileWithCallback(folder / L"report.new", folder / L"report.txt", {}, MOVEFILE_REPLACE_EXISTING);
    comesTrue([&] { return files::exists(folder / L"go"); }, std::chrono::minutes(5));
    return 0;
}

bool opens(const Path& path, DWORD access) {
    constexpr DWORD anySharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return static_cast<bool>(win32::UniqueHandle(
        CreateFileW(path.c_str(), access, anySharing, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)));
}

struct Attempt {
    const char* name;
    bool (*done)(const Path& folder, const Path& file);
};
constexpr Attempt attempts[] = {
    {"enter the lock; ", [](const Path&, const Path&) { return entersLock(); }},
    {"list the folder; ", [](const Path& folder, const Path&) { return opens(folder, FILE_LIST_DIRECTORY); }},
    {"make a name in it; ", [](const Path& folder, const Path&) { return opens(folder, FILE_ADD_FILE); }},
    {"rename it; ", [](const Path& folder, const Path&) { return opens(folder, DELETE); }},
    {"read the file; ", [](const Path&, const Path& file) { return opens(file, GENERIC_READ); }},
    {"delete the file; ", [](const Path&, const Path& file) { return opens(file, DELETE); }},
};

// One bit for each attempt that succeeds.
int tryAll(const Path& folder, const Path& file) {
    int done = 0;
    for (std::size_t i = 0; i < std::size(attempts); ++i)
        done |= attempts[i].done(folder, file) << i;
    return done;
}

win32::UniqueLocal<void> sidOf(const wchar_t* text) {
    win32::UniqueLocal<void> sid;
    win32::check(ConvertStringSidToSidW(text, sid.put()), "ConvertStringSidToSid");
    return sid;
}

win32::UniqueHandle tokenWithoutRights() {
    const auto administrators = sidOf(L"S-1-5-32-544");
    SID_AND_ATTRIBUTES denied{administrators.get(), 0};
    win32::UniqueHandle token;
    win32::check(CreateRestrictedToken(win32::effectiveToken(TOKEN_ALL_ACCESS).get(), DISABLE_MAX_PRIVILEGE, 1, &denied,
                                       0, nullptr, 0, nullptr, token.put()),
                 "CreateRestrictedToken");
    const auto medium = sidOf(L"S-1-16-8192");
    TOKEN_MANDATORY_LABEL label{{medium.get(), SE_GROUP_INTEGRITY}};
    const DWORD size = sizeof label + GetLengthSid(medium.get());
    win32::check(SetTokenInformation(token.get(), TokenIntegrityLevel, &label, size), "SetTokenInformation");
    return token;
}

} // namespace

std::optional<int> runAsChild(int count, wchar_t** arguments) {
    const auto own = paths::ownExecutable();
    if (own.filename() == L"probe.exe") return probe(own.parent_path());
    if (count == 4 && std::wstring_view(arguments[1]) == L"--without-rights") return tryAll(arguments[2], arguments[3]);
    return std::nullopt;
}

bool entersLock() {
    try {
        kelvane::bst::InstanceMutex(L"OstravelInstallerBoundary", L"OstravelInstallerMutex");
        return true;
    } catch (const win32::Win32Error&) {
        return false;
    }
}

std::string doneWithoutRights(const Path& folder, const Path& file) {
    auto line = std::format(L"\"{}\" --without-rights \"{}\" \"{}\"", paths::ownExecutable().native(), folder.native(),
                            file.native());
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child{};
    win32::check(CreateProcessAsUserW(tokenWithoutRights().get(), nullptr, line.data(), nullptr, nullptr, FALSE, 0,
                                      nullptr, nullptr, &startup, &child),
                 "CreateProcessAsUser");
    const win32::UniqueHandle process(child.hProcess);
    const win32::UniqueHandle thread(child.hThread);
    DWORD done = 0;
    WaitForSingleObject(process.get(), 60'000);
    GetExitCodeProcess(process.get(), &done);
    if (done >= 1U << std::size(attempts)) return std::format("the process did not end well: {}", done);
    std::string names;
    for (std::size_t i = 0; i < std::size(attempts); ++i)
        names += (done >> i) & 1 ? attempts[i].name : "";
    return names;
}

} // namespace acceptance
