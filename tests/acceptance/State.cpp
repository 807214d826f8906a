#include "Acceptance.h"
#include "SharedLib/InstallationUtils.h"
#include "libkelvane/RegKey.h"
#include "libwin32/ComPtr.h"
#include "libwin32/CommandLine.h"
#include "libwin32/TaskScheduler.h"
#include "libwin32/Text.h"
#include "libwin32/TraceSessions.h"
#include "libwin32/Win32Error.h"

#include <aclapi.h>
#include <sddl.h>
#include <taskschd.h>

#include <regex>

namespace acceptance {
namespace {

const Path launchersTasks = L"C:\\test-host\\tasks\\Ostravel"; // which the launcher keeps as files
constexpr SECURITY_INFORMATION ownerAndEntries = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

bool isTrusted(const std::wstring& sid) { return sid == L"BA" || sid == L"SY"; }

// In a descriptor's text form; without an entry list everybody has access.
std::wstring strangersIn(const std::wstring& sddl) {
    std::wstring strangers =
        sddl.find(L"D:") == sddl.npos || sddl.find(L"NO_ACCESS_CONTROL") != sddl.npos ? L"all " : L"";
    std::wsmatch owner;
    if (std::regex_search(sddl, owner, std::wregex(L"O:(S-[-0-9]+|[A-Z]{2})")) && !isTrusted(owner[1])) {
        strangers += L"owner " + owner[1].str() + L' ';
    }
    const std::wregex entry(L"\\(([A-Z]+);[^;)]*;[^;)]*;[^;)]*;[^;)]*;([^;)]*)[^)]*\\)");
    for (std::wsregex_iterator at(sddl.begin(), sddl.end(), entry), end; at != end; ++at) {
        if ((*at)[1] != L"D" && !isTrusted((*at)[2])) strangers += at->str();
    }
    return strangers;
}

win32::ComPtr<ITaskFolder> openTaskFolder(const wchar_t* path) {
    win32::ComPtr<ITaskService> service;
    win32::checkHresult(CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_ALL, IID_ITaskService, service.putVoid()),
                        "ITaskService");
    win32::checkHresult(service->Connect({}, {}, {}, {}), "Connect");
    win32::ComPtr<ITaskFolder> folder;
    win32::checkHresult(service->GetFolder(win32::Bstr(path).get(), folder.put()), "GetFolder");
    return folder;
}

template <class Action>
void quietly(Action action) noexcept {
    try {
        action();
    } catch (const std::exception&) {
        // what is left over is found by the next look
    }
}

void removeTasks() {
    const win32::ComInitializer com;
    const win32::TaskScheduler scheduler;
    for (const wchar_t* name : {L"OstravelInstaller", L"Acceptance"})
        scheduler.remove(L"Ostravel", name);
    openTaskFolder(L"\\")->DeleteFolder(win32::Bstr(L"Ostravel").get(), 0);
}

} // namespace

void installEarlierAgent() {
    command(L"msiexec.exe", L"/qn /i " + win32::quoteIfNeeded(besideThis(L"23.2.1.10.msi").native()));
    const auto site = win32::toUtf8(tokenOption().substr(3));
    files::writeFile(paths::programFiles() / L"Ostravel\\Kelvane Agent 23.2.1.10\\config\\UserConfig.json",
                     R"({"mgmtServer":"","site":"acceptance","site_key":")" + site + R"(","proxy":""})");
}

std::wstring installedAgents() {
    std::wstring versions;
    for (const auto& product : kelvane::relatedProducts()) {
        const auto version = kelvane::productVersion(product);
        versions += (versions.empty() ? L"" : L" ") + (version ? version->str() : L"unknown");
    }
    return versions;
}

std::wstring packageProperty(const wchar_t* name) {
    const kelvane::RegKey key(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Ostravel\\SampleProperties");
    return key.exists() && key.valueExists(name) ? key.readString(name) : L"";
}

std::string resultFile(const wchar_t* name) {
    const auto place = paths::windowsTemp() / name;
    return files::exists(place) ? files::readFile(place) : std::string();
}

void registerTask(const wchar_t* name, const Path& program, const std::wstring& arguments) {
    win32::TaskDescription task;
    task.folderPath = L"Ostravel";
    task.taskName = name;
    task.executablePath = program.native();
    task.arguments = arguments;
    task.allowDemandStart = true;
    const win32::ComInitializer com;
    win32::TaskScheduler().create(task);
}

bool continuationRegistered() {
    if (onWine()) return files::exists(launchersTasks / L"OstravelInstaller.json");
    const win32::ComInitializer com;
    return win32::TaskScheduler().find(L"Ostravel", L"OstravelInstaller").has_value();
}

std::vector<std::wstring> sessions() {
    std::vector<std::wstring> names;
    for (const auto& trace : onWine() ? std::vector<win32::RunningTrace>() : win32::runningTraces()) {
        if (trace.name.starts_with(L"Ostravel")) names.push_back(trace.name);
    }
    return names;
}

std::wstring strangersAt(const Path& path) {
    win32::UniqueSecurityDescriptor descriptor;
    win32::checkCode(static_cast<long>(GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, ownerAndEntries, nullptr,
                                                             nullptr, nullptr, nullptr, descriptor.put())),
                     "GetNamedSecurityInfo " + path.string());
    win32::UniqueLocal<wchar_t> text;
    win32::check(ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor.get(), SDDL_REVISION_1,
                                                                      ownerAndEntries, text.put(), nullptr),
                 "ConvertSecurityDescriptor");
    const auto strangers = strangersIn(text.get());
    return strangers.empty() ? L"" : path.native() + L": " + strangers + L'\n';
}

std::wstring strangersAtTask() {
    const win32::ComInitializer com;
    const auto folder = openTaskFolder(L"\\Ostravel");
    win32::ComPtr<IRegisteredTask> task;
    win32::checkHresult(folder->GetTask(win32::Bstr(L"OstravelInstaller").get(), task.put()), "GetTask");
    win32::Bstr ofFolder;
    win32::checkHresult(folder->GetSecurityDescriptor(ownerAndEntries, ofFolder.put()), "GetSecurityDescriptor");
    win32::Bstr ofTask;
    win32::checkHresult(task->GetSecurityDescriptor(DACL_SECURITY_INFORMATION, ofTask.put()), "GetSecurityDescriptor");
    std::wstring strangers;
    if (const auto found = strangersIn(ofFolder.str()); !found.empty()) strangers += L"folder: " + ofFolder.str();
    if (const auto found = strangersIn(ofTask.str()); !found.empty()) strangers += L" task: " + ofTask.str();
    return strangers;
}

void putBack() {
    for (const auto& name : sessions())
        quietly([&] { command(L"logman.exe", L"stop " + name + L" -ets"); });
    quietly(removeTasks);
    for (const auto& product : kelvane::relatedProducts())
        quietly([&] { command(L"msiexec.exe", L"/qn /x " + product); });
    for (const auto& folder : {baseFolder(), paths::programFiles() / L"Ostravel", work(), launchersTasks})
        files::deleteDirectoryNoThrow(folder);
    for (const wchar_t* name : {L"KelvaneConfig", L"SC-exit-code.txt", L"SC-after-reboot-exit-code.txt", L"cleaner.log",
                                L"cleaner.script", L"KelvaneDiagnostics.txt"})
        files::deleteDirectoryNoThrow(paths::windowsTemp() / name);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Ostravel");
}

Item::Item() {
    putBack();
    takeReports();
}

} // namespace acceptance
