#include "SharedLib/DiskRequirements.h"

#include "SharedLib/NotSupportedException.h"
#include "libkelvane/PathUtils.h"
#include "libwin32/Text.h"

namespace kelvane::system_requirements {
namespace {

constexpr std::uint64_t mebibyte = 1024ULL * 1024;
constexpr std::uint64_t gibibyte = 1024 * mebibyte;

struct DiskRequirement {
    std::uint64_t bytes;
    const char* message;
};
// Binary units, though the messages say MB and GB. The message for two drives has no full stop.
constexpr DiskRequirement upgradeSpace{350 * mebibyte, "350 MB on the system drive."};
constexpr DiskRequirement systemSpace{2 * gibibyte, "2 GB on the system drive."};
constexpr DiskRequirement systemSpaceBesideData{500 * mebibyte,
                                                "4 GB on the data drive and 500 MB on the system drive"};
constexpr DiskRequirement dataSpace{4 * gibibyte, systemSpaceBesideData.message};

constexpr std::wstring_view globalRoot = L"\\\\?\\GLOBALROOT";
constexpr std::wstring_view devicePrefix = L"\\Device\\";

// A valid path as file functions take it: those know device paths only below the global root.
std::filesystem::path openablePath(const std::filesystem::path& path) {
    const auto plain = PathUtils::withoutLongPrefix(path);
    if (!plain.native().starts_with(devicePrefix)) return plain;
    return std::wstring(globalRoot) + plain.native();
}

template <class Refusal>
void requireSpace(std::uint64_t freeBytes, const DiskRequirement& requirement) {
    if (freeBytes >= requirement.bytes) return;
    throw Refusal(std::string("Insufficient space on the endpoint. Required: ") + requirement.message);
}

void checkDataDrive(const HostFacts& facts, const std::filesystem::path& folder, const std::filesystem::path& root) {
    if (!facts.isFixedDrive(root)) {
        throw NotSupportedException("The drive entered for the Agent data folder must be an existing fixed drive.");
    }
    if (!win32::equalsIgnoringAsciiCase(facts.fileSystemName(openablePath(folder)).value_or(L""), L"NTFS")) {
        throw NotSupportedException("The Agent data folder must be on an NTFS drive.");
    }
}

} // namespace

std::filesystem::path rootOf(const std::filesystem::path& path) {
    const auto usable = openablePath(path).native();
    if (!usable.starts_with(globalRoot)) return usable.substr(0, 2) + L'\\';
    const auto volumeEnd = usable.find_first_of(L"\\/", globalRoot.size() + devicePrefix.size());
    return usable.substr(0, volumeEnd) + L'\\';
}

void checkDiskForUpgrade(const HostFacts& facts) {
    requireSpace<NotSupportedExceptionDiskSpaceForUpgrade>(
        facts.freeBytes(rootOf(facts.programFiles()), L"Getting disk free space available for system drive failed!"),
        upgradeSpace);
}

void checkDiskForInstallation(const HostFacts& facts, const std::wstring& dataFolder) {
    if (!PathUtils::isPathValid(dataFolder)) {
        throw NotSupportedException("The path entered for the Agent data folder is invalid");
    }
    const auto dataRoot = rootOf(dataFolder);
    const bool hasDataDrive = !facts.areEquivalent(dataRoot, rootOf(facts.programData()));
    if (hasDataDrive) checkDataDrive(facts, dataFolder, dataRoot);
    requireSpace<NotSupportedException>(
        facts.freeBytes(rootOf(facts.programFiles()), L"Call to GetDiskFreeSpaceEx for Program Files failed!"),
        hasDataDrive ? systemSpaceBesideData : systemSpace);
    if (!hasDataDrive) return;
    requireSpace<NotSupportedException>(
        facts.freeBytes(dataRoot, L"Call to GetDiskFreeSpaceEx for custom supplied Agent data directory failed!"),
        dataSpace);
}

void checkSystemDriveLetters(const HostFacts& facts) {
    const auto programs = rootOf(facts.programFiles());
    if (win32::equalsIgnoringAsciiCase(programs.native(), rootOf(facts.windowsDirectory()).native())) return;
    throw NotSupportedException("Program Files and Windows directory must reside on the same drive letter. Changing "
                                "the location of Program Files is "
                                "not supported by Microsoft. See Microsoft KB933700.");
}

} // namespace kelvane::system_requirements
