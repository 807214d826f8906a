#pragma once

#include "libwin32/Handles.h"

#include <filesystem>

namespace kelvane::bst {

// The agent's installer, from its check to the end of its run: while this object lives nobody writes, exchanges or
// removes the file.
class InstallerFile {
public:
    // Throws Win32Error for a file that cannot be read, or is a package that Windows Installer cannot open,
    // std::runtime_error "Invalid Installer type".
    explicit InstallerFile(std::filesystem::path path);

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
    win32::UniqueHandle file_;
};

} // namespace kelvane::bst
