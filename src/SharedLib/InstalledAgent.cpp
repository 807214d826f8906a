#include "SharedLib/InstalledAgent.h"

#include "ProductLib/AgentRegKeys.h"
#include "ProductLib/InstallerEvents.h"
#include "SharedLib/InstallationUtils.h"
#include "libwin32/Services.h"
#include "libwin32/Text.h"
#include "libwin32/VersionResource.h"
#include "libwin32/Win32Error.h"

#include <algorithm>
#include <array>

namespace kelvane {
namespace {

using bst::logEvent;
using bst::LogLevel;
using std::filesystem::path;

struct Finding {
    AgentVersion version;
    std::optional<path> configDir;
};
using MaybeFinding = std::optional<Finding>;

// A configuration directory that cannot be judged does not make the version found with it worthless.
std::optional<path> configDirOrNone(const path& candidate) {
    try {
        return validConfigDir(candidate);
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "ConfigDirUnreadable", {{"Path", candidate.native()}, {"ErrorMsg", error.what()}});
        return std::nullopt;
    }
}

MaybeFinding findingFromPath(const path& agentPath) {
    const auto version = versionFromAgentPath(agentPath.native());
    if (!version) return std::nullopt;
    return Finding{*version, configDirOrNone(configDirFromAgentPath(agentPath))};
}

MaybeFinding fromExeFile() {
    const auto folder = AgentRegKeys::agentProgramFolder();
    if (!folder) return std::nullopt;
    const auto [major, minor, build, revision] = win32::fileVersion(*folder / L"KelvaneAgent.exe");
    return Finding{{major, minor, build, revision}, configDirOrNone(*folder / L"config")};
}

MaybeFinding fromConfigBaseDir() {
    path recorded;
    try {
        recorded = AgentRegKeys::agentKey().readString(AgentRegKeys::configBaseDir);
    } catch (const win32::Win32Error& error) {
        logEvent(LogLevel::Error, "FailedGettingAgentConfigDirFromRegistry", {{"ErrorMsg", error.what()}});
        return std::nullopt;
    }
    const auto version = versionFromAgentPath(recorded.native());
    return version ? MaybeFinding({*version, configDirOrNone(recorded)}) : std::nullopt;
}

MaybeFinding fromTypeLib(const wchar_t* guid) {
    try {
        const RegKey key(HKEY_CLASSES_ROOT, win32::formatText(L"TypeLib\\%s\\1.0\\0\\%s", guid, L"win64"));
        return findingFromPath(key.readString(L""));
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "FailedDeterminingAgentPathByTypeLib",
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
        logEvent(LogLevel::Error, "FailedDeterminingAgentPathByServiceRegistry",
                 {{"RegistryPath", key.name()}, {"ErrorMsg", error.what()}});
        return std::nullopt;
    }
}

// The newest version, and the first valid configuration directory among the folders of that version.
MaybeFinding fromLeftovers() {
    MaybeFinding finding;
    for (const auto& [version, folder] : leftoverAgentFolders()) {
        if (!finding) finding = Finding{version, std::nullopt};
        if (version != finding->version) {
            logEvent(LogLevel::Verbose, "PassingOverAgentLeftovers", {{"Path", folder.native()}});
        } else if (!finding->configDir) {
            finding->configDir = configDirOrNone(configDirFromAgentPath(folder));
        }
    }
    return finding;
}

MaybeFinding fromMsiApi() {
    for (const auto& product : relatedProducts()) {
        if (const auto version = productVersion(product)) return Finding{*version, std::nullopt};
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

void logFinding(const Source& source, const Finding& finding) {
    const auto version = finding.version.str();
    if (source.knowsConfigDir) {
        const auto configPath = finding.configDir ? finding.configDir->native() : std::wstring();
        logEvent(LogLevel::Verbose, source.event, {{"InstalledVersion", version}, {"ConfigPath", configPath}});
    } else {
        logEvent(LogLevel::Verbose, source.event, {{"InstalledVersion", version}});
    }
}

} // namespace

InstalledAgentInfo findInstalledAgent() noexcept {
    for (const Source& source : sources) {
        const auto finding = ask(source);
        if (!finding) continue;
        logFinding(source, *finding);
        return {finding->version, true, finding->configDir};
    }
    logEvent(LogLevel::Verbose, "InstalledAgentVersionNotFound");
    return {};
}

bool anyRelatedProduct() noexcept {
    try {
        return !relatedProducts().empty();
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "RelatedProductsUnknown", {{"ErrorMsg", error.what()}});
        return false;
    }
}

bool agentServiceExists() noexcept {
    try {
        return win32::serviceState(L"KelvaneAgent").has_value();
    } catch (const std::exception& error) {
        logEvent(LogLevel::Error, "DoesAnyKelvaneServiceExistsFailed", {{"ErrorMsg", error.what()}});
        return false;
    }
}

bool agentStillInstalled() noexcept {
    const auto finds = [](const Source& source) { return source.find != &fromLeftovers && ask(source).has_value(); };
    return std::ranges::any_of(sources, finds) || anyRelatedProduct() || agentServiceExists();
}

} // namespace kelvane
