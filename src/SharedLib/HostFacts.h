#pragma once

#include "libkelvane/WindowsVersion.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::system_requirements {

// What came of asking the security package for client credentials, call by call.
struct TlsClientCredentials {
    long acquired = 0;           // SECURITY_STATUS of acquiring them
    long queried = 0;            // SECURITY_STATUS of asking for their protocols; 0 when none were acquired
    std::uint32_t protocols = 0; // SP_PROT_ bits
};

// What the requirement checks ask about a host. A fact that cannot be read is a Win32Error.
class HostFacts {
public:
    virtual ~HostFacts() = default;

    virtual bool isWindows7Sp1OrGreater() const = 0;
    virtual WindowsVersion windowsVersion() const = 0;
    virtual std::uint64_t physicalMemoryBytes() const = 0;
    // Whether the registry key of an installed agent opens for reading.
    virtual bool agentKeyOpens() const = 0;

    virtual std::filesystem::path programFiles() const = 0;
    virtual std::filesystem::path programData() const = 0;
    virtual std::filesystem::path windowsDirectory() const = 0;
    virtual std::filesystem::path catalogDatabases() const = 0; // catroot2

    // Whether two roots (as of rootOf) are the same place. A root that does not exist equals none; any other failure is
    // a std::runtime_error.
    virtual bool areEquivalent(const std::filesystem::path& left, const std::filesystem::path& right) const = 0;
    virtual bool isFixedDrive(const std::filesystem::path& root) const = 0;
    // The name of the file system that holds the folder; none when the volume cannot be asked.
    virtual std::optional<std::wstring> fileSystemName(const std::filesystem::path& folder) const = 0;
    // Bytes available to the caller; a failure is a Win32Error with `failureMessage` as its call.
    virtual std::uint64_t freeBytes(const std::filesystem::path& root, std::wstring_view failureMessage) const = 0;

    virtual bool kernelExportsAddDllDirectory() const = 0;
    virtual bool cryptExportsStrongHashCheck() const = 0;

    virtual TlsClientCredentials tlsClientCredentials() const = 0;
    // The system's Schannel suites in its order of preference.
    virtual std::vector<std::wstring> cipherSuites() const = 0;
};

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
