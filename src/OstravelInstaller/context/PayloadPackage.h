#pragma once

#include "libkelvane/AgentVersion.h"
#include "libwin32/Handles.h"

#include <filesystem>

namespace kelvane::bst {

// The payload carried in the executable's resource, unpacked into the run's working directory.
class PayloadPackage {
public:
    // Writes W\temp.zip and unpacks it into W\temp_content, a protected directory made anew.
    // Throws Win32Error, filesystem_error, std::logic_error, std::runtime_error "Failed unzip the resource file".
    void extract(const std::filesystem::path& workingDirectory);
    // Deletes what extract made.
    void clear() noexcept;

    const std::filesystem::path& contentDirectory() const { return content_; }
    // KelvaneInstaller.msi, else KelvaneInstaller.exe; else std::runtime_error "There is no installer in the resources
    // zip".
    std::filesystem::path installer() const;
    std::filesystem::path cleaner() const { return content_ / L"KelvaneCleaner.exe"; }
    // The agent version in VERSION. Throws Win32Error when it cannot be read, std::runtime_error when it is no version.
    AgentVersion version() const;

private:
    std::filesystem::path archive_;
    std::filesystem::path content_;
    win32::UniqueHandle heldContent_;
};

} // namespace kelvane::bst
