#pragma once

#include "libwin32/Handles.h"

#include <cstdint>
#include <filesystem>
#include <string_view>

namespace kelvane {

// A new file for administrators only in a place where others may create names, open from its creation on: others may
// read it meanwhile, not write, rename or delete it. Whoever needs it goes through the handle, never through its name;
// so does its deletion, with the object, unless it is kept.
class ProtectedFile {
public:
    // Whatever stands there is removed first, a link as a link. Throws Win32Error "createProtectedFile", also when
    // somebody puts something there again and again.
    explicit ProtectedFile(const std::filesystem::path& path);
    ~ProtectedFile();
    ProtectedFile(ProtectedFile&&) = default;
    ProtectedFile& operator=(ProtectedFile&&) = delete;

    HANDLE handle() const noexcept { return file_.get(); }
    // Appends. Throws as writeAll.
    void write(std::string_view content) const;
    // Closes the file and leaves it.
    void keep() noexcept { file_.reset(); }

private:
    win32::UniqueHandle file_;
};

} // namespace kelvane
