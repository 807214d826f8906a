#pragma once

#include "libkelvane/AgentVersion.h"
#include "libkelvane/ProtectedFile.h"
#include "libwin32/Handles.h"

#include <filesystem>
#include <optional>

namespace kelvane::bst {

// The payload carried in the executable's resource, unpacked into the run's working directory.
class PayloadPackage {
public:
    // Makes W\temp_content, writes W\temp.zip and unpacks it. Both are made anew, for administrators only, and held
    // until clear(): whoever owns W changes, renames or exchanges neither.
    // Throws Win32Error, filesystem_error, std::logic_error, std::runtime_error "Failed unzip the resource file".
    void extract(const std::filesystem::path& workingDirectory);
    // Deletes what extract made.
    void clear() noexcept;

    // The directory's place without links, so that its name leads there as long as it is held.
    const std::filesystem::path& contentDirectory() const { return content_; }
    // KelvaneInstaller.msi, else KelvaneInstaller.exe; else std::runtime_error "There is no installer in the resources
    // zip".
    std::filesystem::path installer() const;
    std::filesystem::path cleaner() const { return content_ / L"KelvaneCleaner.exe"; }
    // The agent version in VERSION. Throws Win32Error when it cannot be read, std::runtime_error when it is no version.
    AgentVersion version() const;

private:
    void unpack(const std::filesystem::path& zip, const std::filesystem::path& target);

    std::optional<ProtectedFile> archive_;
    std::filesystem::path content_;
    win32::UniqueHandle heldContent_;
};

} // namespace kelvane::bst
