#pragma once

#include "libwin32/Handles.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace kelvane::bst {

// A run's working directory in the base folder: this and a GUID.
inline constexpr std::wstring_view runFolderPrefix = L"Run_";

// %ProgramFiles%\OstravelInstaller, where runs work: only Administrators and SYSTEM can use it, so no name in it is
// anybody else's. Held against removal while this object lives; removed with it when nothing is left in it.
class BaseFolder {
public:
    // Creates or opens it. One that cannot be had, or that others may change, is not used: see failure(). Throws
    // Win32Error.
    BaseFolder();
    ~BaseFolder();
    BaseFolder(const BaseFolder&) = delete;
    BaseFolder& operator=(const BaseFolder&) = delete;

    bool usable() const noexcept { return static_cast<bool>(handle_); }
    // Why it is not usable, for the log.
    const std::string& failure() const noexcept { return failure_; }
    // The folder; %WINDIR%\Temp, where everybody may create names, when it is not usable.
    const std::filesystem::path& path() const noexcept { return path_; }

    // A new folder in path() for administrators only, its name the prefix and a GUID. Throws Win32Error "makeFolder".
    std::filesystem::path makeFolder(std::wstring_view prefix) const;
    // Whether an entry of the usable folder may be believed, or removed: no link, owned by administrators or SYSTEM.
    bool isTrusted(const std::filesystem::path& entry) const;
    // Deletes the trusted folders in it whose names begin so, but the one that is used.
    void removeStale(std::wstring_view prefix, const std::filesystem::path& used) const noexcept;

private:
    std::filesystem::path path_;
    win32::UniqueHandle handle_;
    std::string failure_;
};

} // namespace kelvane::bst
