#include "libwin32/TaskDefinition.h"

#include "libwin32/Win32Error.h"

#include <ctime>

namespace win32 {
namespace {

constexpr std::wstring_view localSystemSid = L"S-1-5-18";

struct Setting {
    HRESULT (STDMETHODCALLTYPE ITaskSettings::*set)(VARIANT_BOOL);
    bool TaskDescription::* value;
    const char* failure;
};

constexpr Setting settings[] = {
    {&ITaskSettings::put_StartWhenAvailable, &TaskDescription::startWhenAvailable,
     "Failed to set flag StartWhenAvailable"},
    {&ITaskSettings::put_AllowDemandStart, &TaskDescription::allowDemandStart, "Failed to set flag AllowDemandStart"},
    {&ITaskSettings::put_DisallowStartIfOnBatteries, &TaskDescription::disallowStartOnBatteries,
     "Failed to set flag DisallowStartIfOnBatteries"},
    {&ITaskSettings::put_StopIfGoingOnBatteries, &TaskDescription::stopIfGoingOnBatteries,
     "Failed to set flag StopIfGoingOnBatteries"},
};

void fillSettings(ITaskDefinition& definition, const TaskDescription& description) {
    ComPtr<ITaskSettings> target;
    checkHresult(definition.get_Settings(target.put()), "Cannot get scheduled task settings");
    for (const auto& setting : settings) {
        const VARIANT_BOOL flag = description.*setting.value ? VARIANT_TRUE : VARIANT_FALSE;
        checkHresult((target.get()->*setting.set)(flag), setting.failure);
    }
    // Without it a task and all that it starts run below everything else, disk included.
    constexpr int normalPriority = 4;
    checkHresult(target->put_Priority(normalPriority), "Failed to set task priority");
}

// In local time, as a task's boundaries are read.
std::wstring boundaryText(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm local{};
    wchar_t text[32] = L"";
    if (localtime_s(&local, &seconds) == 0) std::wcsftime(text, std::size(text), L"%Y-%m-%dT%H:%M:%S", &local);
    return text;
}

ComPtr<ITrigger> addTrigger(ITaskDefinition& definition, TASK_TRIGGER_TYPE2 type) {
    ComPtr<ITriggerCollection> triggers;
    checkHresult(definition.get_Triggers(triggers.put()), "Could not get trigger collection");
    ComPtr<ITrigger> trigger;
    checkHresult(triggers->Create(type, trigger.put()), "Could not create a trigger");
    return trigger;
}

void fillTrigger(ITaskDefinition& definition, const TaskDescription& description) {
    if (std::holds_alternative<BootTrigger>(description.trigger)) {
        addTrigger(definition, TASK_TRIGGER_BOOT);
    } else if (const auto* time = std::get_if<TimeTrigger>(&description.trigger)) {
        const auto trigger = addTrigger(definition, TASK_TRIGGER_TIME);
        checkHresult(trigger->put_StartBoundary(Bstr(boundaryText(time->start)).get()), "Could not set trigger time");
    }
}

ComPtr<IPrincipal> principalOf(ITaskDefinition& definition) {
    ComPtr<IPrincipal> principal;
    checkHresult(definition.get_Principal(principal.put()), "Could not get task principal");
    return principal;
}

ComPtr<IActionCollection> actionsOf(ITaskDefinition& definition) {
    ComPtr<IActionCollection> actions;
    checkHresult(definition.get_Actions(actions.put()), "Could not get action collection");
    return actions;
}

void fillAction(ITaskDefinition& definition, const TaskDescription& description) {
    ComPtr<IAction> action;
    checkHresult(actionsOf(definition)->Create(TASK_ACTION_EXEC, action.put()), "Could not create a new action");
    ComPtr<IExecAction> program;
    checkHresult(action.queryInterface(program), "Could not create a new action");
    checkHresult(program->put_Path(Bstr(description.executablePath).get()),
                 "Failed to set executable path to scheduled task");
    checkHresult(program->put_Arguments(Bstr(description.arguments).get()),
                 "Failed to set execution arguments for scheduled task");
}

void fillPrincipal(ITaskDefinition& definition) {
    const auto principal = principalOf(definition);
    checkHresult(principal->put_UserId(Bstr(localSystemSid).get()), "Could not set task's user ID");
    checkHresult(principal->put_RunLevel(TASK_RUNLEVEL_HIGHEST), "Could not set task's run level");
}

// The program of the only action; nothing when there are more, or it is of another kind.
std::wstring onlyProgram(ITaskDefinition& definition) {
    const auto actions = actionsOf(definition);
    LONG count = 0;
    checkHresult(actions->get_Count(&count), "Could not get action collection");
    ComPtr<IAction> action;
    ComPtr<IExecAction> program;
    if (count != 1 || FAILED(actions->get_Item(1, action.put())) || FAILED(action.queryInterface(program))) return {};
    Bstr path;
    return SUCCEEDED(program->get_Path(path.put())) ? path.str() : std::wstring();
}

} // namespace

void fillTaskDefinition(ITaskDefinition& definition, const TaskDescription& description) {
    fillSettings(definition, description);
    fillTrigger(definition, description);
    fillAction(definition, description);
    fillPrincipal(definition);
}

RegisteredTask readTaskDefinition(ITaskDefinition& definition) {
    Bstr userId;
    checkHresult(principalOf(definition)->get_UserId(userId.put()), "Could not get task principal");
    return {userId.str(), onlyProgram(definition)};
}

} // namespace win32
