#include "libwin32/TaskScheduler.h"

#include "libwin32/TaskDefinition.h"
#include "libwin32/Text.h"
#include "libwin32/Win32Error.h"

namespace win32 {
namespace {

constexpr HRESULT notFound = static_cast<HRESULT>(0x80070002);     // ERROR_FILE_NOT_FOUND
constexpr HRESULT pathNotFound = static_cast<HRESULT>(0x80070003); // ERROR_PATH_NOT_FOUND
constexpr unsigned depthLimit = 21;
constexpr std::wstring_view rootFolder = L"\\";

// Other users have no access: a task of the local system account must not be theirs to change.
constexpr std::wstring_view folderAccess = L"O:BAG:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)";
constexpr std::wstring_view taskAccess = L"D:P(A;;FA;;;BA)(A;;FA;;;SY)";

void setText(Variant& variant, std::wstring_view text) {
    variant->bstrVal = Bstr(text).release();
    variant->vt = VT_BSTR;
}

bool isMissing(HRESULT result) { return result == notFound || result == pathNotFound; }

std::wstring parentOf(const std::wstring& path) {
    const auto separator = path.rfind(L'\\');
    return separator == std::wstring::npos || separator == 0 ? std::wstring(rootFolder) : path.substr(0, separator);
}

ComPtr<ITaskFolder> createSubfolder(ITaskFolder& parent, std::wstring_view name) {
    Variant access;
    setText(access, folderAccess);
    ComPtr<ITaskFolder> folder;
    const HRESULT result = parent.CreateFolder(Bstr(name).get(), *access, folder.put());
    if (FAILED(result)) checkHresult(result, toUtf8(formatText(L"Could not create subfolder \"%s\"", name)));
    return folder;
}

// No folder when there is none of that path.
ComPtr<ITaskFolder> findFolder(ITaskService& service, const std::wstring& path) {
    ComPtr<ITaskFolder> folder;
    const HRESULT result = service.GetFolder(Bstr(path).get(), folder.put());
    if (isMissing(result)) return {};
    checkHresult(result, "Cannot get task folder");
    return folder;
}

} // namespace

TaskScheduler::TaskScheduler() {
    constexpr auto failure = "Could not connect to the task service";
    checkHresult(CoCreateInstance(CLSID_TaskScheduler, nullptr, CLSCTX_INPROC_SERVER, __uuidof(ITaskService),
                                  service_.putVoid()),
                 failure);
    Variant local;
    checkHresult(service_->Connect(*local, *local, *local, *local), failure);
}

void TaskScheduler::create(const TaskDescription& description) const {
    ComPtr<ITaskDefinition> definition;
    checkHresult(service_->NewTask(0, definition.put()), "Could not create an empty task");
    fillTaskDefinition(*definition.get(), description);
    const auto folder = getOrCreateFolder(description.folderPath, 0);
    // Anybody may have made one of that name.
    checkHresult(folder->SetSecurityDescriptor(Bstr(folderAccess).get(), 0), "Could not protect task folder");
    Variant fromPrincipal;
    Variant access;
    setText(access, taskAccess);
    ComPtr<IRegisteredTask> registered;
    checkHresult(folder->RegisterTaskDefinition(Bstr(description.taskName).get(), definition.get(),
                                                TASK_CREATE_OR_UPDATE, *fromPrincipal, *fromPrincipal,
                                                TASK_LOGON_SERVICE_ACCOUNT, *access, registered.put()),
                 "Could not register task");
}

std::optional<RegisteredTask> TaskScheduler::find(const std::wstring& folderPath, const std::wstring& taskName) const {
    const auto folder = findFolder(*service_.get(), folderPath);
    if (!folder) return std::nullopt;
    ComPtr<IRegisteredTask> task;
    ComPtr<ITaskDefinition> definition;
    HRESULT result = folder->GetTask(Bstr(taskName).get(), task.put());
    if (isMissing(result)) return std::nullopt;
    if (SUCCEEDED(result)) result = task->get_Definition(definition.put());
    if (FAILED(result)) checkHresult(result, toUtf8(formatText(L"Could not get task %s", taskName)));
    return readTaskDefinition(*definition.get());
}

void TaskScheduler::remove(const std::wstring& folderPath, const std::wstring& taskName) const {
    ComPtr<ITaskFolder> folder;
    HRESULT result = service_->GetFolder(Bstr(folderPath).get(), folder.put());
    if (SUCCEEDED(result)) result = folder->DeleteTask(Bstr(taskName).get(), 0);
    if (!isMissing(result)) checkHresult(result, "Could not delete task");
}

ComPtr<ITaskFolder> TaskScheduler::getOrCreateFolder(const std::wstring& path, unsigned depth) const {
    if (depth >= depthLimit)
        throwWin32("Folder path is too nested, cannot access folder", static_cast<std::uint32_t>(notFound));
    ComPtr<ITaskFolder> folder;
    const HRESULT result = service_->GetFolder(Bstr(path).get(), folder.put());
    if (SUCCEEDED(result)) return folder;
    if (result != notFound) checkHresult(result, "Cannot get task folder");
    const auto parent = getOrCreateFolder(parentOf(path), depth + 1);
    return createSubfolder(*parent.get(), std::wstring_view(path).substr(path.rfind(L'\\') + 1));
}

} // namespace win32
