#pragma once

#include "libkelvane/JsonLibrary.h"

#include <filesystem>
#include <string>
#include <string_view>

// Reading JSON files. Errors are std::exceptions whose text, in UTF-8, names the file or the field.
namespace kelvane::JsonUtils {

// A larger file is refused before it is read.
inline constexpr std::int64_t mostFileBytes = 16 << 20;

// The document in a text. Throws web::json::json_exception for one that is no JSON or nests too deeply.
web::json::value parse(std::string_view utf8);

// The document in a UTF-8 file, with or without byte order mark. Throws std::runtime_error for a file that is missing,
// cannot be opened or is larger than mostFileBytes (EFBIG), and what parse throws.
web::json::value readFile(const std::filesystem::path& path);

bool hasField(const web::json::value& document, std::string_view field);
// A member of the document, in UTF-8. Throws std::runtime_error when there is none of that name (a document that is no
// object has none) or it is of another type.
std::string getString(const web::json::value& document, std::string_view field);
bool getBoolean(const web::json::value& document, std::string_view field);

} // namespace kelvane::JsonUtils
