#include "SharedLib/SystemRequirements.h"
#include "SharedLib/DiskRequirements.h"
#include "SharedLib/HostFacts.h"
#include "Support.h"
#include "libwin32/Win32Error.h"

#include <gtest/gtest.h>

using namespace kelvane::system_requirements;
using std::filesystem::path;

// A host that meets every requirement; each test spoils one fact.
struct FakeHost : HostFacts {
    static constexpr std::uint64_t mib = 1ULL << 20;
    bool windows7Sp1 = true, agentKey = false, fixed = true, addDllDirectory = true, strongHash = true;
    kelvane::WindowsVersion version{10, 0, 19045};
    std::uint64_t memory = 1'048'576'000, systemFree = 2048 * mib, dataFree = 4096 * mib;
    path windows = L"C:\\Windows";
    std::optional<std::wstring> fileSystem = L"ntfs";
    TlsClientCredentials tls{0, 0, 0xAA0};
    std::vector<std::wstring> suites{L"TLS_ECDHE_RSA_WITH_AES_256_GCM_SHA384"};
    support::Folder catroot2;

    bool isWindows7Sp1OrGreater() const override { return windows7Sp1; }
    kelvane::WindowsVersion windowsVersion() const override { return version; }
    std::uint64_t physicalMemoryBytes() const override { return memory; }
    bool agentKeyOpens() const override { return agentKey; }
    path programFiles() const override { return L"C:\\Program Files"; }
    path programData() const override { return L"c:\\ProgramData"; }
    path windowsDirectory() const override { return windows; }
    path catalogDatabases() const override { return catroot2.path; }
    bool areEquivalent(const path& a, const path& b) const override { return a.native()[0] % 32 == b.native()[0] % 32; }
    bool isFixedDrive(const path&) const override { return fixed; }
    std::optional<std::wstring> fileSystemName(const path&) const override { return fileSystem; }
    std::uint64_t freeBytes(const path& root, std::wstring_view) const override {
        return root == L"C:\\" ? systemFree : dataFree;
    }
    bool kernelExportsAddDllDirectory() const override { return addDllDirectory; }
    bool cryptExportsStrongHashCheck() const override { return strongHash; }
    TlsClientCredentials tlsClientCredentials() const override { return tls; }
    std::vector<std::wstring> cipherSuites() const override { return suites; }
};

constexpr auto sysDrive = L"C:\\Data", dataDrive = L"D:\\Data";

// The refusal's number, where it has one, and text; "" when the host is accepted.
static std::string refusal(const FakeHost& host, const std::wstring& folder = sysDrive,
                           SystemRequirementsFlags flags = {}, const WarningCallback& onWarning = {}) {
    try {
        checkSystemRequirements(folder, flags, onWarning, host);
        return "";
    } catch (const NotSupportedExceptionForWixUi& error) {
        return std::to_string(error.code()) + " " + error.what();
    } catch (const NotSupportedException& error) {
        return error.what();
    }
}

TEST(SystemRequirements, TheFirstUnmetOneIsRefused) {
    // The beginning of the refusal (empty: accepted), the folder for data, and what is wrong with the host.
    const std::tuple<std::string, const wchar_t*, void (*)(FakeHost&)> cases[] = {
        {"Windows 7 SP1 / ", sysDrive, [](auto& h) { h.windows7Sp1 = false; }},
        {"Minimum 1 GB of RAM is required.", sysDrive, [](auto& h) { --h.memory; }},
        {"The path entered for the Agent data folder is invalid", L"Data", [](auto&) {}},
        {"Insufficient space on the endpoint. Required: 2 GB ", sysDrive, [](auto& h) { --h.systemFree; }},
        {"", dataDrive, [](auto& h) { h.systemFree = 500 * h.mib; }},
        {"Insufficient space on the endpoint. Required: 4 ", dataDrive,
         [](auto& h) { h.systemFree = 500 * h.mib - 1; }},
        {"Insufficient space on the endpoint. Required: 4 ", dataDrive, [](auto& h) { --h.dataFree; }},
        {"", sysDrive, [](auto& h) { h.fixed = false, h.fileSystem = L"FAT32", h.dataFree = 0; }},
        {"The drive entered ", dataDrive, [](auto& h) { h.fixed = false, h.fileSystem = L"FAT32", h.dataFree = 0; }},
        {"The Agent data folder must ", dataDrive, [](auto& h) { h.fileSystem = L"FAT32", h.dataFree = 0; }},
        {"Program Files and Windows directory ", sysDrive, [](auto& h) { h.windows = L"D:\\Windows"; }},
        {"Microsoft KB2533623 ", sysDrive, [](auto& h) { h.addDllDirectory = false; }},
        {"SHA256 code signing is not supported ", sysDrive, [](auto& h) { h.strongHash = false; }},
        {"29009 Microsoft KB2919355 ", sysDrive, [](auto& h) { h.version = {6, 3, 0}; }},
        {"29010 Microsoft KB3042058 ", sysDrive, [](auto& h) { h.version = {6, 1, 0}, h.suites.clear(); }},
        {"", sysDrive, [](auto& h) { h.version = {6, 3, 0}, h.suites[0] = L"TLS_RSA_WITH_AES_128_GCM_SHA256"; }},
        {"29011 TLS version 1.2 ", sysDrive, [](auto& h) { h.tls.acquired = static_cast<long>(0x80090331); }},
        {"29011 TLS version 1.2 ", sysDrive, [](auto& h) { h.tls.protocols = 0x2A0; }},
        {"", sysDrive, [](auto& h) { h.suites.clear(); }},
    };
    for (const auto& [begin, folder, spoil] : cases) {
        FakeHost host;
        spoil(host);
        const auto text = refusal(host, folder);
        EXPECT_EQ(text.substr(0, begin.empty() ? text.npos : begin.size()), begin);
    }
}

TEST(SystemRequirements, AnInstalledAgentNeedsOnlySpaceForItsUpgrade) {
    FakeHost host;
    host.agentKey = true;
    host.systemFree = 350 * host.mib;
    SystemRequirementsFlags flags{.skipInstalledAgentDisk = false, .upgradeOfInstalledAgent = true};
    EXPECT_EQ(refusal(host, sysDrive, flags), "");
    host.systemFree -= 1;
    EXPECT_THROW(checkSystemRequirements(sysDrive, flags, {}, host), NotSupportedExceptionDiskSpaceForUpgrade);
    flags.upgradeOfInstalledAgent = false;
    EXPECT_EQ(refusal(host, sysDrive, flags), "");
}

TEST(SystemRequirements, CatalogDatabasesMustHoldTheirFile) {
    FakeHost host;
    std::filesystem::create_directories(host.catroot2 / "{00000000-38EE-11D1-85E5-00C04FC295EE}");
    EXPECT_EQ(refusal(host), "");
    const auto database = host.catroot2 / "{f750e6c3-38ee-11d1-85e5-00c04fc295ee}";
    std::filesystem::create_directories(database / "catdb");
    EXPECT_TRUE(refusal(host).starts_with("Agent installer could not proceed due to CryptSvc fatal error."));
    EXPECT_EQ(refusal(host, sysDrive, {.skipCatalogDatabase = true}), "");
    std::filesystem::remove(database / "catdb");
    EXPECT_NE(refusal(host), "");
    kelvane::FileUtilities::writeFile(database / "catdb", "x");
    EXPECT_EQ(refusal(host), "");
    std::filesystem::remove_all(host.catroot2.path);
    EXPECT_THROW(refusal(host), std::filesystem::filesystem_error);
}

TEST(SystemRequirements, TlsCallsThatFailAndSuitesThatAreWeak) {
    FakeHost host;
    host.suites = {L"TLS_A", L"TLS_B"};
    std::wstring warning;
    EXPECT_EQ(refusal(host, sysDrive, {}, [&](const std::wstring& text) { warning = text; }), "");
    EXPECT_EQ(warning, L"Strong cipher suites are unavailable. Available suites: TLS_A, TLS_B");
    host.tls.queried = static_cast<long>(0x80090302);
    EXPECT_THROW(refusal(host), win32::Win32Error);
    host.tls = {static_cast<long>(0x80090304), 0, 0};
    EXPECT_THROW(refusal(host), win32::Win32Error);
    EXPECT_EQ(refusal(host, sysDrive, {.skipTls = true}), "");
}

TEST(SystemFacts, TellVolumesApart) {
    for (const auto& [folder, root] : {std::pair(L"D:/Data/Agent", L"D:\\"),
                                       {L"\\\\?\\D:\\Data", L"D:\\"},
                                       {L"\\Device\\Harddisk3\\Data", L"\\\\?\\GLOBALROOT\\Device\\Harddisk3\\"}})
        EXPECT_EQ(rootOf(folder), root);
    EXPECT_TRUE(SystemFacts().areEquivalent(L"C:\\", L"c:\\") && !SystemFacts().areEquivalent(L"C:\\", L"Q:\\"));
}
