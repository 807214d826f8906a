#pragma once

#include <filesystem>

namespace kelvane::system_requirements {

// Throws NotSupportedException when one of Windows's catalog databases below `catroot2` lacks its file, and
// filesystem_error
// ("directory_iterator::directory_iterator", "directory_entry::status") when that cannot be told.
void checkCatalogDatabases(const std::filesystem::path& catroot2);

} // namespace kelvane::system_requirements
