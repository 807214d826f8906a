#include "libkelvane/JsonUtils.h"

#include "libkelvane/FileUtilities.h"
#include "libkelvane/PathUtils.h"
#include "libwin32/Text.h"

#include <cerrno>
#include <fstream>

namespace kelvane::JsonUtils {
namespace {

using win32::formatText;
using win32::toUtf8;

[[noreturn]] void throwOpenFailed(const std::filesystem::path& path, int error) {
    throw std::runtime_error(toUtf8(formatText(L"failed to open file: %s. errno: %d", path.wstring(), error)));
}

std::string readBytes(const std::filesystem::path& path) {
    if (!FileUtilities::exists(path)) {
        throw std::runtime_error(toUtf8(formatText(L"Json file \"%s\" does not exist", path.wstring())));
    }
    errno = 0;
    std::ifstream file(PathUtils::longPath(path), std::ios::binary | std::ios::ate);
    if (!file) throwOpenFailed(path, errno);
    const std::int64_t size = file.tellg();
    if (size > mostFileBytes) throwOpenFailed(path, EFBIG);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    if (!file.seekg(0).read(bytes.data(), size)) throwOpenFailed(path, errno);
    return bytes;
}

const web::json::value& member(const web::json::value& document, std::string_view field) {
    if (!hasField(document, field)) throw std::runtime_error(std::string(field) + " field does not exist");
    return document.at(win32::toWide(field));
}

} // namespace

web::json::value parse(std::string_view utf8) {
    auto text = win32::toWide(utf8);
    // The library takes it for the end of the text.
    for (std::size_t at = 0; (at = text.find(L'\xFFFF', at)) != std::wstring::npos;)
        text.replace(at, 1, L"\\uffff");
    return web::json::value::parse(text);
}

web::json::value readFile(const std::filesystem::path& path) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    const std::string bytes = readBytes(path);
    std::string_view text = bytes;
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
    return parse(text);
}

bool hasField(const web::json::value& document, std::string_view field) {
    return document.has_field(win32::toWide(field));
}

std::string getString(const web::json::value& document, std::string_view field) {
    const auto& value = member(document, field);
    if (!value.is_string()) throw std::runtime_error(std::string(field) + " field is not a string");
    return toUtf8(value.as_string());
}

bool getBoolean(const web::json::value& document, std::string_view field) {
    const auto& value = member(document, field);
    if (!value.is_boolean()) throw std::runtime_error(std::string(field) + " field is not a boolean");
    return value.as_bool();
}

} // namespace kelvane::JsonUtils
