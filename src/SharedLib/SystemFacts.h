#pragma once

#include "SharedLib/HostFacts.h"

namespace kelvane::system_requirements {

// The facts of this machine.
class SystemFacts : public HostFacts {
public:
    bool isWindows7Sp1OrGreater() const override;
    WindowsVersion windowsVersion() const override;
    std::uint64_t physicalMemoryBytes() const override;
    bool agentKeyOpens() const override;

    std::filesystem::path programFiles() const override;
    std::filesystem::path programData() const override;
    std::filesystem::path windowsDirectory() const override;
    std::filesystem::path catalogDatabases() const override;

    bool areEquivalent(const std::filesystem::path& left, const std::filesystem::path& right) const override;
    bool isFixedDrive(const std::filesystem::path& root) const override;
    std::optional<std::wstring> fileSystemName(const std::filesystem::path& folder) const override;
    std::uint64_t freeBytes(const std::filesystem::path& root, std::wstring_view failureMessage) const override;

    bool kernelExportsAddDllDirectory() const override;
    bool cryptExportsStrongHashCheck() const override;

    TlsClientCredentials tlsClientCredentials() const override;
    std::vector<std::wstring> cipherSuites() const override;
};

} // namespace kelvane::system_requirements
