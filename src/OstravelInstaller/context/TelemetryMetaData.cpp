#include "OstravelInstaller/context/TelemetryMetaData.h"

#include "libwin32/Text.h"

#include <algorithm>
#include <stdexcept>

namespace kelvane::bst {
namespace {

constexpr std::size_t maxValueLength = 150;

bool isControlCharacter(wchar_t c) { return c < L' ' || c == L'\x7F'; }

} // namespace

std::wstring_view phaseName(InstallationPhaseType phase) {
    switch (phase) {
    case InstallationPhaseType::Initial:
        return L"initial";
    case InstallationPhaseType::Installation:
        return L"installation";
    case InstallationPhaseType::Upgrade:
        return L"upgrade";
    case InstallationPhaseType::Cleaning:
        return L"cleaning";
    case InstallationPhaseType::Reinstallation:
        return L"reinstallation";
    case InstallationPhaseType::WaitingForReboot:
        return L"waitingForReboot";
    case InstallationPhaseType::Complete:
        return L"complete";
    }
    return L"Unknown InstallationPhaseType";
}

void TelemetryMetaData::SetValue(std::wstring_view key, std::wstring_view value) {
    std::wstring text(value.substr(0, maxValueLength));
    std::ranges::replace_if(text, isControlCharacter, L' ');
    values_.insert_or_assign(std::wstring(key), std::move(text));
}

void TelemetryMetaData::SetValueUtf8(std::wstring_view key, std::string_view value) {
    SetValue(key, win32::toWide(value));
}

void TelemetryMetaData::SetInstallationPhase(InstallationPhaseType phase) {
    SetValue(TelemetryKey::installationPhase, phaseName(phase));
}

std::wstring TelemetryMetaData::GetValue(std::wstring_view key) const {
    const auto found = values_.find(std::wstring(key));
    if (found == values_.end()) throw std::out_of_range("invalid unordered_map<K, T> key");
    return found->second;
}

std::wstring TelemetryMetaData::ToLogText() const {
    std::wstring text = L"TelemetryMetaData = {\n";
    for (const auto& [key, value] : values_) {
        text.append(L"    {").append(key).append(L" : ").append(value).append(L"}\n");
    }
    return text + L"}";
}

} // namespace kelvane::bst
