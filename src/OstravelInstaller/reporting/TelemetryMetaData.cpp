#include "OstravelInstaller/reporting/TelemetryMetaData.h"

#include "libwin32/Text.h"

#include <stdexcept>

namespace kelvane::bst {
namespace {

constexpr std::size_t maxValueLength = 150;

} // namespace

void TelemetryMetaData::SetValue(std::wstring_view key, std::wstring_view value) {
    values_.insert_or_assign(std::wstring(key), std::wstring(value.substr(0, maxValueLength)));
}

void TelemetryMetaData::SetValueUtf8(std::wstring_view key, std::string_view value) {
    SetValue(key, win32::toWide(value));
}

std::wstring TelemetryMetaData::GetValue(std::wstring_view key) const {
    const auto found = values_.find(std::wstring(key));
    if (found == values_.end()) throw std::out_of_range("invalid unordered_map<K, T> key");
    return found->second;
}

} // namespace kelvane::bst
