#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

// The properties that the agent's package is given, and the command lines that carry them. Every property begins with a
// blank and is appended after those before it. A value that cannot be carried unharmed (a double quote, NUL or line
// break; a blank in a value from the installed agent's files, which stand unquoted) throws std::runtime_error, logged:
// it could bring in properties of its own.
namespace kelvane::bst {

// What is known when a run is prepared.
struct BaseProperties {
    std::wstring installerArguments{}; // kept first and verbatim
    std::wstring diagUid{};            // GUID
    std::wstring initiator{};
    bool vdi = false;                       // the installed agent runs on a virtual-desktop image
    std::optional<std::wstring> agentUid{}; // of the installed agent
    std::optional<std::wstring> customerId{};
};
std::wstring basePropertyString(const BaseProperties& properties);

// What the flows add.
void appendServerProxy(std::wstring& msiArguments, std::wstring_view proxy);
void appendUwfMode(std::wstring& msiArguments);
void appendInstallAfterCleaning(std::wstring& msiArguments);

// What one run of a package adds behind the package's path.
struct RunProperties {
    std::optional<std::filesystem::path> currentConfigDir{}; // passed on only when it exists
    std::wstring_view reinstallReason{};
    std::optional<std::string> siteToken{}; // opaque
    std::wstring installationId{};          // GUID
    std::optional<std::string> extraText{}; // appended as it stands
    bool healthCheckPassed = false;
};
// Throws filesystem_error "exists" as well.
std::wstring runPropertyString(const RunProperties& properties);

enum class InstallerType { WindowsInstallerPackage, SetupProgram };
// By the file's ending. Throws std::runtime_error "Invalid Installer type".
InstallerType installerType(const std::filesystem::path& installer);

// msiexec.exe in the system directory. Throws Win32Error.
const std::filesystem::path& msiexecPath();

// A setup program is given no properties. The user-interface argument ("/qn" when quiet) ends the argument string.
// Throws as installerType, msiexecPath and runPropertyString, std::runtime_error for one longer than Windows takes.
std::wstring installerCommandLine(const std::filesystem::path& installer, std::wstring_view msiArguments, bool quiet,
                                  const RunProperties& properties);

} // namespace kelvane::bst
