// The task scheduler. Folders are directories and tasks are JSON files under C:\test-host\tasks, so that they stay from
// run to run; a test may put one there. What Windows refuses is refused, and the local system account comes back as a
// name. Any method can be made to fail by its name: fail=RegisterTaskDefinition:1:0x80070005.
#define CINTERFACE
#include "hooks/Hooks.h"
#include "hooks/TaskFiles.h"

#include <initguid.h>
#include <sddl.h>
#include <taskschd.h>

#include <memory>

namespace host {
namespace {

const std::wstring root = L"C:\\test-host\\tasks";

// Every interface of the scheduler is one of these: its methods, and the task or the folder that it belongs to.
struct Object {
    const void* methods;
    LONG references;
    std::shared_ptr<Task> task;
    std::wstring folder;
};

Object& object(void* self) { return *static_cast<Object*>(self); }
Task& task(void* self) { return *object(self).task; }

HRESULT WINAPI query(void* self, REFIID, void** result) {
    ++object(self).references;
    *result = self;
    return S_OK;
}

ULONG WINAPI addRef(void* self) { return static_cast<ULONG>(++object(self).references); }

ULONG WINAPI release(void* self) {
    const LONG left = --object(self).references;
    if (left == 0) delete &object(self);
    return static_cast<ULONG>(left);
}

HRESULT WINAPI notImplemented() { return E_NOTIMPL; }

struct Filling {}; // lets a call that is compiled earlier find the `fill` below
template <class Methods>
void fill(Filling, Methods&) {}

// An interface's methods: none but IUnknown's, and what its `fill` sets.
template <class Methods>
const Methods* methods() {
    static const Methods* filled = [] {
        auto* table = new Methods;
        auto** slots = reinterpret_cast<void**>(table);
        std::fill_n(slots, sizeof(Methods) / sizeof(void*), reinterpret_cast<void*>(&notImplemented));
        slots[0] = reinterpret_cast<void*>(&query);
        slots[1] = reinterpret_cast<void*>(&addRef);
        slots[2] = reinterpret_cast<void*>(&release);
        fill(Filling{}, *table);
        return table;
    }();
    return filled;
}

// An object with the methods of Interface, handed out as the interface that the caller asked for.
template <class Interface, class Asked>
HRESULT give(Asked** result, std::shared_ptr<Task> task, std::wstring folder = {}) {
    using Methods = std::remove_const_t<std::remove_pointer_t<decltype(Interface::lpVtbl)>>;
    *result = reinterpret_cast<Asked*>(new Object{methods<Methods>(), 1, std::move(task), std::move(folder)});
    return S_OK;
}

#define METHOD(name, ...)                                                                                              \
    table.name = reinterpret_cast<decltype(table.name)>(hook<#name, decltype(table.name)>(__VA_ARGS__).entry)
#define GETTER(Interface, name, Result)                                                                                \
    METHOD(get_##name, [](Interface* self, Result** result) { return give<Result>(result, object(self).task); })
// Setters keep their text, flag or number under the property's name.
#define KEEP(Interface, name, Type, json)                                                                              \
    METHOD(put_##name, [](Interface* self, Type value) -> HRESULT {                                                    \
        task(self)[#name] = json(value);                                                                               \
        return S_OK;                                                                                                   \
    })

std::string text(BSTR value) { return jsonText(value ? value : L""); }
std::string flag(VARIANT_BOOL value) { return value == VARIANT_TRUE ? "true" : value ? "\"neither\"" : "false"; }
std::string digits(int value) { return std::to_string(value); }

HRESULT giveText(Task& task, const char* name, BSTR* text) {
    const auto value = task.find(name);
    *text = value == task.end() ? nullptr : SysAllocString(unquoted(value->second).c_str());
    return S_OK;
}

bool isName(std::wstring_view name) { return !name.empty() && name.find_first_of(L"\\/:*?\"<>|") == name.npos; }

bool isSecurity(const wchar_t* sddl) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const BOOL valid =
        ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, &descriptor, nullptr);
    LocalFree(descriptor);
    return valid;
}

// A path of the scheduler begins at its root, with or without a separator.
std::wstring below(const std::wstring& folder, std::wstring_view path) {
    while (path.starts_with(L'\\'))
        path.remove_prefix(1);
    return path.empty() ? folder : folder + L'\\' + std::wstring(path);
}

std::wstring taskFile(void* self, BSTR name) { return below(object(self).folder, name) + L".json"; }

void fill(Filling, IExecActionVtbl& table) {
    KEEP(IExecAction, Path, BSTR, text);
    KEEP(IExecAction, Arguments, BSTR, text);
    METHOD(get_Path, [](IExecAction* self, BSTR* path) { return giveText(task(self), "Path", path); });
}

void fill(Filling, IActionCollectionVtbl& table) {
    METHOD(get_Count, [](IActionCollection* self, LONG* count) -> HRESULT {
        *count = task(self).contains("Path");
        return S_OK;
    });
    METHOD(get_Item, [](IActionCollection* self, LONG index, IAction** action) -> HRESULT {
        return index == 1 ? give<IExecAction>(action, object(self).task) : E_INVALIDARG;
    });
    METHOD(Create, [](IActionCollection* self, TASK_ACTION_TYPE type, IAction** action) -> HRESULT {
        return type == TASK_ACTION_EXEC ? give<IExecAction>(action, object(self).task) : E_NOTIMPL;
    });
}

void fill(Filling, ITimeTriggerVtbl& table) { KEEP(ITimeTrigger, StartBoundary, BSTR, text); }

void fill(Filling, ITriggerCollectionVtbl& table) {
    METHOD(Create, [](ITriggerCollection* self, TASK_TRIGGER_TYPE2 type, ITrigger** trigger) -> HRESULT {
        if (type != TASK_TRIGGER_BOOT && type != TASK_TRIGGER_TIME) return E_NOTIMPL;
        task(self)["Trigger"] = type == TASK_TRIGGER_BOOT ? "\"boot\"" : "\"time\"";
        return give<ITimeTrigger>(trigger, object(self).task);
    });
}

void fill(Filling, ITaskSettingsVtbl& table) {
    KEEP(ITaskSettings, StartWhenAvailable, VARIANT_BOOL, flag);
    KEEP(ITaskSettings, AllowDemandStart, VARIANT_BOOL, flag);
    KEEP(ITaskSettings, DisallowStartIfOnBatteries, VARIANT_BOOL, flag);
    KEEP(ITaskSettings, StopIfGoingOnBatteries, VARIANT_BOOL, flag);
    KEEP(ITaskSettings, ExecutionTimeLimit, BSTR, text);
    KEEP(ITaskSettings, Priority, int, digits);
}

void fill(Filling, IPrincipalVtbl& table) {
    KEEP(IPrincipal, UserId, BSTR, text);
    KEEP(IPrincipal, LogonType, TASK_LOGON_TYPE, digits);
    KEEP(IPrincipal, RunLevel, TASK_RUNLEVEL_TYPE, digits);
    METHOD(get_UserId, [](IPrincipal* self, BSTR* user) {
        Task given = task(self);
        if (given["UserId"] == "\"S-1-5-18\"") given["UserId"] = "\"SYSTEM\"";
        return giveText(given, "UserId", user);
    });
}

void fill(Filling, ITaskDefinitionVtbl& table) {
    GETTER(ITaskDefinition, Settings, ITaskSettings);
    GETTER(ITaskDefinition, Principal, IPrincipal);
    GETTER(ITaskDefinition, Actions, IActionCollection);
    GETTER(ITaskDefinition, Triggers, ITriggerCollection);
}

HRESULT WINAPI registerTask(ITaskFolder* self, BSTR name, ITaskDefinition* definition, LONG flags, VARIANT, VARIANT,
                            TASK_LOGON_TYPE logon, VARIANT sddl, IRegisteredTask** registered) {
    if (!isName(name)) return HRESULT_FROM_WIN32(ERROR_INVALID_NAME);
    if (sddl.vt == VT_BSTR && !isSecurity(sddl.bstrVal)) return E_INVALIDARG;
    Task& described = task(definition);
    described["RegisteredLogonType"] = std::to_string(logon);
    const HRESULT result = storeTask(taskFile(self, name), described, flags);
    Record("task").add("call", L"register").add("name", name).add("result", result).add("security", sddl.bstrVal);
    if (SUCCEEDED(result) && registered) give<IRegisteredTask>(registered, object(definition).task);
    return result;
}

HRESULT WINAPI getTask(ITaskFolder* self, BSTR name, IRegisteredTask** registered) {
    *registered = nullptr;
    const std::wstring file = taskFile(self, name);
    if (!exists(file)) return lastError();
    return give<IRegisteredTask>(registered, std::make_shared<Task>(readTask(file)));
}

void fill(Filling, IRegisteredTaskVtbl& table) { GETTER(IRegisteredTask, Definition, ITaskDefinition); }

HRESULT WINAPI setSecurity(ITaskFolder* self, BSTR sddl, LONG flags) {
    if (flags != 0 || !isSecurity(sddl)) return E_INVALIDARG;
    Record("task").add("call", L"protect folder").add("folder", object(self).folder).add("security", sddl);
    return S_OK;
}

HRESULT WINAPI deleteTask(ITaskFolder* self, BSTR name, LONG) {
    const HRESULT result = DeleteFileW(taskFile(self, name).c_str()) ? S_OK : lastError();
    Record("task").add("call", L"delete").add("name", name).add("result", result);
    return result;
}

HRESULT openFolder(const std::wstring& path, ITaskFolder** folder) {
    *folder = nullptr;
    return exists(path) ? give<ITaskFolder>(folder, nullptr, path) : HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
}

HRESULT WINAPI createFolder(ITaskFolder* self, BSTR name, VARIANT, ITaskFolder** folder) {
    if (!isName(name)) return HRESULT_FROM_WIN32(ERROR_INVALID_NAME);
    const std::wstring path = below(object(self).folder, name);
    if (!CreateDirectoryW(path.c_str(), nullptr)) return lastError();
    Record("task").add("call", L"create folder").add("name", name);
    return folder ? openFolder(path, folder) : S_OK;
}

void fill(Filling, ITaskFolderVtbl& table) {
    METHOD(GetFolder, [](ITaskFolder* self, BSTR path, ITaskFolder** folder) {
        return openFolder(below(object(self).folder, path), folder);
    });
    METHOD(CreateFolder, createFolder);
    METHOD(RegisterTaskDefinition, registerTask);
    METHOD(SetSecurityDescriptor, setSecurity);
    METHOD(GetTask, getTask);
    METHOD(DeleteTask, deleteTask);
}

void fill(Filling, ITaskServiceVtbl& table) {
    METHOD(Connect, [](ITaskService*, VARIANT, VARIANT, VARIANT, VARIANT) { return S_OK; });
    METHOD(GetFolder,
           [](ITaskService*, BSTR path, ITaskFolder** folder) { return openFolder(below(root, path), folder); });
    METHOD(NewTask, [](ITaskService*, DWORD, ITaskDefinition** definition) {
        return give<ITaskDefinition>(definition, std::make_shared<Task>());
    });
}

HRESULT WINAPI createInstance(REFCLSID classId, LPUNKNOWN outer, DWORD context, REFIID id, LPVOID* result) {
    if (classId != CLSID_TaskScheduler) return REAL(CoCreateInstance)(classId, outer, context, id, result);
    return give<ITaskService>(reinterpret_cast<ITaskService**>(result), nullptr);
}

const Registration hooks{REPLACE(CoCreateInstance, createInstance)};

} // namespace

} // namespace host
