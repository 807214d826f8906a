#include "SharedLib/InstalledAgent.h"

#include "ProductLib/AgentRegKeys.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/InstallationUtils.h"
#include "SharedLib/PatientQuestion.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/UserLog.h"
#include "libwin32/Services.h"
#include "libwin32/Text.h"
#include "libwin32/VersionResource.h"
#include "libwin32/Win32Error.h"

#include <algorithm>
#include <array>
#include <exception>

namespace kelvane {
namespace {

using bst::logEvent;
using bst::LogLevel;
using std::filesystem::path;

using MaybeFinding = std::optional<InstalledAgentInfo>;

// A configuration directory that cannot be judged does not make the version found with it worthless.
InstalledAgentInfo finding(const AgentVersion& version, const path& configDir) {
    try {
        return {version, true, validConfigDir(configDir), std::nullopt};
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "ConfigDirUnreadable", {{"Path", configDir.native()}, {"ErrorMsg", error.what()}});
        return {version, true, std::nullopt, configDir};
    }
}

MaybeFinding findingFromPath(const path& agentPath) {
    const auto version = versionFromAgentPath(agentPath.native());
    if (!version) return std::nullopt;
    return finding(*version, configDirFromAgentPath(agentPath));
}

MaybeFinding fromExeFile() {
    const auto folder = AgentRegKeys::agentProgramFolder();
    if (!folder) return std::nullopt;
    const auto program = *folder / L"KelvaneAgent.exe";
    if (!FileUtilities::exists(program)) return std::nullopt;
    const auto [major, minor, build, revision] = win32::fileVersion(program);
    return finding({major, minor, build, revision}, *folder / L"config");
}

MaybeFinding fromConfigBaseDir() {
    path recorded;
    try {
        recorded = AgentRegKeys::agentKey().readString(AgentRegKeys::configBaseDir);
    } catch (const win32::Win32Error& error) {
        logEvent(failureLevel(error), "FailedGettingAgentConfigDirFromRegistry", {{"ErrorMsg", error.what()}});
        return std::nullopt;
    }
    const auto version = versionFromAgentPath(recorded.native());
    return version ? MaybeFinding(finding(*version, recorded)) : std::nullopt;
}

// Of the machine: HKEY_CLASSES_ROOT shows the user's classes before them.
MaybeFinding fromTypeLib(const wchar_t* guid) {
    try {
        const auto name = win32::formatText(L"TypeLib\\%s\\1.0\\0\\%s", guid, L"win64");
        const path library = RegKey(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Classes\\" + name).readString(L"");
        return isBelowProgramFiles(library) ? findingFromPath(library) : std::nullopt;
    } catch (const std::exception& error) {
        logEvent(failureLevel(error), "FailedDeterminingAgentPathByTypeLib",
                 {{"TypeLibGuid", guid}, {"ErrorMsg", error.what()}});
        return std::nullopt;
    }
}

MaybeFinding fromTypeLibs() {
    if (auto finding = fromTypeLib(L"{667D5A92-7C14-4687-B20E-A5CF06FEF1AF}")) return finding;
    return fromTypeLib(L"{BED0DAEE-A8DC-40E6-AAD6-DCA5532B746C}");
}

MaybeFinding fromServiceRegistry() {
    const RegKey key(HKEY_LOCAL_MACHINE, AgentRegKeys::agentService);
    try {
        return findingFromPath(programOfImagePath(key.readString(L"ImagePath")));
    } catch (const std::exception& error) {
        logEvent(failureLevel(error), "FailedDeterminingAgentPathByServiceRegistry",
                 {{"RegistryPath", key.name()}, {"ErrorMsg", error.what()}});
        return std::nullopt;
    }
}

// The newest version, and the first valid configuration directory among the folders of that version.
MaybeFinding fromLeftovers() {
    MaybeFinding found;
    for (const auto& [version, folder] : leftoverAgentFolders()) {
        if (found && version != found->version) {
            logEvent(LogLevel::Verbose, "PassingOverAgentLeftovers", {{"Path", folder.native()}});
        } else if (!found || !found->configDir) {
            found = finding(version, configDirFromAgentPath(folder));
        }
    }
    return found;
}

MaybeFinding fromMsiApi() {
    for (const auto& product : relatedProducts()) {
        if (const auto version = productVersion(product)) return InstalledAgentInfo{*version, true, {}, {}};
    }
    return std::nullopt;
}

struct Source {
    MaybeFinding (*find)();
    const char* event;
    bool knowsConfigDir;
};
constexpr std::array<Source, 6> sources{{
    {&fromExeFile, "InstalledAgentVersionFoundFromExeFile", true},
    {&fromConfigBaseDir, "InstalledAgentVersionFoundFromConfigBaseDir", true},
    {&fromTypeLibs, "InstalledAgentVersionFoundFromTypeLib", true},
    // Spelled like this ever since; whoever reads the logs searches for it.
    {&fromServiceRegistry, "InstalledAgentVersionFoundFromSeviceRegistry", true},
    {&fromLeftovers, "InstalledAgentVersionFoundFromLeftovers", true},
    {&fromMsiApi, "InstalledAgentVersionFoundFromMsiApi", false},
}};

MaybeFinding ask(const Source& source) {
    try {
        return source.find();
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "InstalledAgentSourceFailed", {{"Source", source.event}, {"ErrorMsg", error.what()}});
        return std::nullopt;
    }
}

void logFinding(const Source& source, const InstalledAgentInfo& found) {
    const auto version = found.version.str();
    if (source.knowsConfigDir) {
        const auto configPath = found.configDir ? found.configDir->native() : std::wstring();
        logEvent(LogLevel::Verbose, source.event, {{"InstalledVersion", version}, {"ConfigPath", configPath}});
    } else {
        logEvent(LogLevel::Verbose, source.event, {{"InstalledVersion", version}});
    }
}

bool anyRelatedProduct() { return !relatedProducts().empty(); }

bool agentServiceExists() { return win32::serviceState(L"KelvaneAgent").has_value(); }

// What the system knows of an agent, whatever the agent's own traces say.
struct Probe {
    bool (*ask)();
    const char* failureEvent;
};
constexpr Probe probes[] = {{&anyRelatedProduct, "RelatedProductsUnknown"},
                            {&agentServiceExists, "DoesAnyKelvaneServiceExistsFailed"}};

} // namespace

InstalledAgentInfo findInstalledAgent() noexcept {
    for (const Source& source : sources) {
        const auto found = ask(source);
        if (!found) continue;
        logFinding(source, *found);
        return *found;
    }
    logEvent(LogLevel::Verbose, "InstalledAgentVersionNotFound");
    return {};
}

bool agentRegistered() {
    std::exception_ptr unanswered;
    for (const Probe& probe : probes) {
        try {
            if (askPatiently(probe.failureEvent, probe.ask)) return true;
        } catch (const std::exception&) {
            unanswered = std::current_exception();
        }
    }
    if (unanswered) std::rethrow_exception(unanswered);
    return false;
}

bool agentStillInstalled() {
    const auto finds = [](const Source& source) { return source.find != &fromLeftovers && ask(source).has_value(); };
    return std::ranges::any_of(sources, finds) || agentRegistered();
}

} // namespace kelvane
