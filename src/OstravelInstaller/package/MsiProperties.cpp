#include "OstravelInstaller/package/MsiProperties.h"

#include "ProductLib/InstallerEvents.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libwin32/CommandLine.h"
#include "libwin32/Text.h"

#include <algorithm>
#include <stdexcept>

namespace kelvane::bst {
namespace {

using win32::formatText;

constexpr std::wstring_view endsQuotedValue(L"\"\r\n\0", 4);
constexpr std::wstring_view endsBareValue(L"\"\r\n\0 \t\v\f", 8);

// The value itself, when it holds none of the characters.
std::wstring_view checkedValue(const char* property, std::wstring_view value, std::wstring_view refused) {
    if (value.find_first_of(refused) == std::wstring_view::npos) return value;
    logEvent(LogLevel::Error, "InvalidMsiPropertyValue", {{"Property", property}});
    throw std::runtime_error(std::string("Invalid value of the MSI property ").append(property));
}

// The value as a property's text has it: in quotes when white space would end it.
std::wstring propertyText(const char* property, std::wstring_view value) {
    checkedValue(property, value, endsQuotedValue);
    const bool bare = value.find_first_of(endsBareValue) == std::wstring_view::npos;
    return bare ? std::wstring(value) : formatText(L"\"%s\"", value);
}

// A virtual-desktop installation never carries an agent identifier, whoever says that it is one.
std::wstring identityProperty(const BaseProperties& properties, std::wstring_view soFar) {
    constexpr std::wstring_view vdi = L"VDI=true";
    if (win32::findIgnoringAsciiCase(soFar, vdi) != std::wstring_view::npos) return {};
    if (properties.vdi) return formatText(L" %s", vdi);
    if (!properties.agentUid) return {};
    return formatText(L" AGENT_UID=%s FORCE_SET_AGENT_UID=true",
                      checkedValue("AGENT_UID", *properties.agentUid, endsBareValue));
}

} // namespace

std::wstring basePropertyString(const BaseProperties& properties) {
    std::wstring text = properties.installerArguments;
    text += formatText(L" DIAG_UID=%s INSTALLATION_INITIATOR=%s", propertyText("DIAG_UID", properties.diagUid),
                       propertyText("INSTALLATION_INITIATOR", properties.initiator));
    text += identityProperty(properties, text);
    if (properties.customerId) {
        text += formatText(L" CUSTOMER_ID=%s", propertyText("CUSTOMER_ID", *properties.customerId));
    }
    return text;
}

void appendServerProxy(std::wstring& msiArguments, std::wstring_view proxy) {
    msiArguments += formatText(L" SERVER_PROXY=%s", checkedValue("SERVER_PROXY", proxy, endsBareValue));
}

void appendUwfMode(std::wstring& msiArguments) { msiArguments += L" UWF_MODE=TRUE"; }

void appendInstallAfterCleaning(std::wstring& msiArguments) { msiArguments += L" IS_INSTALL_AFTER_CLEANING=true"; }

std::wstring runPropertyString(const RunProperties& properties) {
    std::wstring text;
    if (properties.currentConfigDir && FileUtilities::exists(*properties.currentConfigDir)) {
        text += formatText(L" CURRENT_AGENT_CONFIG_DIR=%s", properties.currentConfigDir->native());
    }
    text += formatText(L" BST_REINSTALL_REASON=\"%s\"", properties.reinstallReason);
    if (properties.siteToken) {
        checkedValue("SITE_TOKEN", win32::toWide(*properties.siteToken), endsQuotedValue);
        text += formatText(L" SITE_TOKEN=\"%S\" INSTALLATION_ID=%s", *properties.siteToken,
                           propertyText("INSTALLATION_ID", properties.installationId));
    }
    if (properties.extraText) text += formatText(L" %S", *properties.extraText);
    if (properties.healthCheckPassed) text += L" HEALTH_CHECK_PASSED=true";
    return text;
}

InstallerType installerType(const std::filesystem::path& installer) {
    const auto ending = installer.extension();
    if (win32::equalsIgnoringAsciiCase(ending.native(), L".msi")) return InstallerType::WindowsInstallerPackage;
    if (win32::equalsIgnoringAsciiCase(ending.native(), L".exe")) return InstallerType::SetupProgram;
    throw std::runtime_error("Invalid Installer type");
}

const std::filesystem::path& msiexecPath() {
    static const std::filesystem::path path = PathUtils::systemDirectory() / L"msiexec.exe";
    return path;
}

std::wstring installerCommandLine(const std::filesystem::path& installer, std::wstring_view msiArguments, bool quiet,
                                  const RunProperties& properties) {
    if (installerType(installer) == InstallerType::SetupProgram) {
        return formatText(L"\"%s\" /q /wait", installer.native());
    }
    std::wstring arguments(msiArguments);
    if (quiet) arguments += L" /qn";
    auto text = formatText(L"\"%s\" %s /norestart /i \"%s\"", msiexecPath().native(), arguments, installer.native()) +
                runPropertyString(properties);
    win32::checkCommandLine(text);
    return text;
}

} // namespace kelvane::bst
