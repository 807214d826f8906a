#include "OstravelInstaller/continuation/ContinuationState.h"

#include "ProductLib/InstallerEvents.h"
#include "SharedLib/ConfigBackup.h"
#include "libkelvane/DurableFile.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/JsonUtils.h"
#include "libwin32/Text.h"

#include <stdexcept>

namespace kelvane::bst {
namespace {

using web::json::value;

constexpr std::wstring_view stateName = L"Continuation.json";

// One member of the file, in both directions.
class Writer {
public:
    void operator()(const wchar_t* name, bool flag) { document[name] = value::boolean(flag); }
    void operator()(const wchar_t* name, std::uint32_t number) { document[name] = value::number(number); }
    void operator()(const wchar_t* name, const std::wstring& text) { document[name] = value::string(text); }
    void operator()(const wchar_t* name, const std::string& text) { (*this)(name, win32::toWide(text)); }
    void operator()(const wchar_t* name, const std::filesystem::path& path) { (*this)(name, path.native()); }
    void operator()(const wchar_t* name, const ManagementSettings& settings) {
        document[name] = value::array(
            {value::string(win32::toWide(settings.mgmtServer)), value::string(win32::toWide(settings.site))});
    }
    void operator()(const wchar_t* name, const FileDigest& file) {
        document[name] = value::array({value::number(file.size), value::string(file.sha256)});
    }
    void operator()(const wchar_t* name, const TelemetryMetaData::Entries& entries) {
        auto& object = document[name] = value::object();
        for (const auto& [key, text] : entries)
            object[key] = value::string(text);
    }
    template <class Value>
    void operator()(const wchar_t* name, const std::optional<Value>& optional) {
        if (optional) (*this)(name, *optional);
    }

    value document = value::object();
};

// Throws web::json::json_exception for a member that is missing or of another type.
class Reader {
public:
    explicit Reader(const value& document) : document_(document) {}

    void operator()(const wchar_t* name, bool& flag) { flag = document_.at(name).as_bool(); }
    void operator()(const wchar_t* name, std::uint32_t& number) { number = document_.at(name).as_number().to_uint32(); }
    void operator()(const wchar_t* name, std::wstring& text) { text = document_.at(name).as_string(); }
    void operator()(const wchar_t* name, std::string& text) { text = win32::toUtf8(document_.at(name).as_string()); }
    void operator()(const wchar_t* name, std::filesystem::path& path) { path = document_.at(name).as_string(); }
    void operator()(const wchar_t* name, ManagementSettings& settings) {
        const auto& pair = document_.at(name).as_array();
        settings = {win32::toUtf8(pair.at(0).as_string()), win32::toUtf8(pair.at(1).as_string())};
    }
    void operator()(const wchar_t* name, FileDigest& file) {
        const auto& pair = document_.at(name).as_array();
        file = {pair.at(0).as_number().to_uint64(), pair.at(1).as_string()};
    }
    void operator()(const wchar_t* name, TelemetryMetaData::Entries& entries) {
        for (const auto& [key, text] : document_.at(name).as_object())
            entries.emplace(key, text.as_string());
    }
    template <class Value>
    void operator()(const wchar_t* name, std::optional<Value>& optional) {
        if (document_.has_field(name)) (*this)(name, optional.emplace());
    }

private:
    const value& document_;
};

template <class Visitor, class State>
void visit(Visitor& member, State& state) {
    member(L"guard", state.guard);
    member(L"packageStarted", state.packageStarted);
    member(L"boots", state.boots);
    member(L"arguments", state.arguments);
    member(L"copy", state.copy);
    member(L"agentUid", state.agentUid);
    member(L"vdi", state.isVdi);
    member(L"uwfMode", state.uwfMode);
    member(L"serverProxy", state.serverProxy);
    member(L"agentProxy", state.agentProxy);
    member(L"siteToken", state.siteToken);
    member(L"management", state.managementSettings);
    member(L"initiator", state.initiator);
    member(L"alternativeInstaller", state.alternativeInstaller);
    member(L"configBackup", state.configBackup);
    member(L"record", state.record);
}

} // namespace

ContinuationState stateOf(const RunContext& context) {
    ContinuationState state;
    if (!context.asked.cmdLine->dont_preserve_agent_uid.value) state.agentUid = context.found.agentUid;
    state.isVdi = context.found.isVdi;
    state.uwfMode = context.decided.uwfMode;
    state.serverProxy = context.decided.serverProxy;
    state.agentProxy = context.found.proxy;
    state.siteToken = context.found.siteToken;
    state.managementSettings = context.found.managementSettings;
    state.initiator = context.asked.initiator;
    state.alternativeInstaller = context.asked.alternativeInstaller;
    state.configBackup = bool(context.carried.configBackup);
    state.record = context.reported.telemetry.entries();
    return state;
}

void restore(Asked& asked, RunContext& context, const ContinuationState& state) {
    context.found.agentUid = state.agentUid;
    context.found.isVdi = state.isVdi;
    context.decided.uwfMode = state.uwfMode;
    context.decided.serverProxy = state.serverProxy;
    context.found.proxy = state.agentProxy;
    context.found.siteToken = state.siteToken;
    context.found.managementSettings = state.managementSettings;
    asked.initiator = state.initiator;
    asked.alternativeInstaller = state.alternativeInstaller;
    if (state.configBackup) context.carried.configBackup = holdConfigBackup();
}

void saveState(const std::filesystem::path& folder, const ContinuationState& state) {
    Writer writer;
    visit(writer, state);
    FileUtilities::replaceDurably(folder / stateName, win32::toUtf8(writer.document.serialize()));
}

std::optional<ContinuationState> loadState(const std::filesystem::path& folder) noexcept {
    try {
        const auto document = JsonUtils::readFile(folder / stateName);
        Reader reader(document);
        ContinuationState state;
        visit(reader, state);
        if (state.arguments.empty()) throw std::runtime_error("The continuation's state holds no arguments");
        return state;
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "ContinuationStateUnreadable", {{"ErrorMsg", error.what()}});
        return std::nullopt;
    }
}

void dropState(const std::filesystem::path& folder) noexcept {
    FileUtilities::deleteDirectoryNoThrow(folder / stateName);
}

} // namespace kelvane::bst
