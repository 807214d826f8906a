#include "OstravelPack/image/PeImage.h"

#include "OstravelPack/image/Bytes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace kelvane::pack {
namespace {

constexpr std::size_t checksumOffset =
    offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + offsetof(IMAGE_OPTIONAL_HEADER64, CheckSum);
// What Windows maps: images end below this.
constexpr std::size_t mostImageBytes = 0x7FFF0000;

DWORD firstBehind(const IMAGE_SECTION_HEADER& section) { return section.PointerToRawData + section.SizeOfRawData; }

} // namespace

PeImage::PeImage(std::string file) : file_(std::move(file)) {
    constexpr const char* noImage = "it is no 64-bit PE file";
    if (!file_.starts_with("MZ")) throw Refusal(noImage);
    const auto offset = headerOffset();
    // Tells a 32-bit file from one that is cut short: its headers are smaller.
    if (valueAt<DWORD>(file_, offset) != IMAGE_NT_SIGNATURE ||
        valueAt<IMAGE_FILE_HEADER>(file_, offset + sizeof(DWORD)).Machine != IMAGE_FILE_MACHINE_AMD64) {
        throw Refusal(noImage);
    }
    headers_ = valueAt<IMAGE_NT_HEADERS64>(file_, offset);
    if (headers_.OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC) throw Refusal(noImage);
    const auto table = offset + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + headers_.FileHeader.SizeOfOptionalHeader;
    for (std::size_t index = 0; index < headers_.FileHeader.NumberOfSections; ++index) {
        const auto place = table + index * sizeof(IMAGE_SECTION_HEADER);
        sections_.push_back(valueAt<IMAGE_SECTION_HEADER>(file_, place));
        if (firstBehind(sections_.back()) > file_.size()) throw Refusal("it is cut short");
    }
    const auto& certificates = directory(IMAGE_DIRECTORY_ENTRY_SECURITY); // an offset, not an address
    if (std::size_t{certificates.VirtualAddress} + certificates.Size > file_.size()) throw Refusal("it is cut short");
}

std::size_t PeImage::headerOffset() const { return valueAt<DWORD>(file_, offsetof(IMAGE_DOS_HEADER, e_lfanew)); }

std::size_t PeImage::resourceSection() const {
    const auto found = std::ranges::find(sections_, resourceAddress(), &IMAGE_SECTION_HEADER::VirtualAddress);
    if (resourceAddress() == 0 || found == sections_.end()) throw Refusal("it has no section for resources");
    return static_cast<std::size_t>(found - sections_.begin());
}

std::string_view PeImage::resources() const {
    const auto& section = sections_[resourceSection()];
    return std::string_view(file_).substr(section.PointerToRawData, section.SizeOfRawData);
}

// Nothing in the image refers to the relocations but their own entry.
void PeImage::checkMovable(std::size_t section) const {
    const auto behind = sections_.size() - section - 1;
    const auto relocations = directory(IMAGE_DIRECTORY_ENTRY_BASERELOC).VirtualAddress;
    if (behind > 1 || (behind == 1 && sections_.back().VirtualAddress != relocations)) {
        throw Refusal("behind its resources lies what cannot be moved");
    }
    if (firstBehind(sections_.back()) != file_.size()) throw Refusal("it carries data behind its sections");
}

// At the end of the file, which grows by it.
void PeImage::place(IMAGE_SECTION_HEADER& section, DWORD address, std::string_view content) {
    section.VirtualAddress = address;
    section.PointerToRawData = static_cast<DWORD>(file_.size());
    file_ += content;
    pad(file_, headers_.OptionalHeader.FileAlignment);
    section.SizeOfRawData = static_cast<DWORD>(file_.size()) - section.PointerToRawData;
}

void PeImage::replaceResources(std::string_view content) {
    const auto index = resourceSection();
    checkMovable(index);
    auto& optional = headers_.OptionalHeader;
    if (content.size() > mostImageBytes - optional.SizeOfImage) throw Refusal("a program cannot be that large");
    auto& section = sections_[index];
    const auto rest = file_.substr(firstBehind(section));
    const auto earlier = section.SizeOfRawData;

    file_.resize(section.PointerToRawData);
    place(section, section.VirtualAddress, content);
    section.Misc.VirtualSize = static_cast<DWORD>(content.size());
    optional.DataDirectory[IMAGE_DIRECTORY_ENTRY_RESOURCE].Size = section.Misc.VirtualSize;
    optional.SizeOfInitializedData += section.SizeOfRawData - earlier;
    const auto end = [&](const IMAGE_SECTION_HEADER& last) {
        return static_cast<DWORD>(alignedUp(last.VirtualAddress + last.Misc.VirtualSize, optional.SectionAlignment));
    };
    if (&section != &sections_.back()) {
        place(sections_.back(), end(section), rest);
        optional.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].VirtualAddress = sections_.back().VirtualAddress;
    }
    optional.SizeOfImage = end(sections_.back());
    storeHeaders();
}

void PeImage::storeHeaders() {
    const auto offset = headerOffset();
    const auto table = offset + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + headers_.FileHeader.SizeOfOptionalHeader;
    for (std::size_t index = 0; index < sections_.size(); ++index)
        setValue(file_, table + index * sizeof(IMAGE_SECTION_HEADER), sections_[index]);
    setValue(file_, offset, headers_);
    headers_.OptionalHeader.CheckSum = checksum();
    setValue(file_, offset, headers_);
}

// The sum of all 16-bit words with carries added again, the field itself as 0, plus the file's length.
DWORD PeImage::checksum() const {
    const auto field = headerOffset() + checksumOffset;
    std::uint64_t sum = 0;
    for (std::size_t offset = 0; offset < file_.size(); offset += sizeof(std::uint16_t)) {
        if (offset == field || offset == field + sizeof(std::uint16_t)) continue;
        const auto high = offset + 1 < file_.size() ? static_cast<std::uint8_t>(file_[offset + 1]) : std::uint8_t{0};
        sum += static_cast<std::uint8_t>(file_[offset]) + std::uint64_t{high} * 0x100;
    }
    while (sum >> 16 != 0)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<DWORD>(sum + file_.size());
}

} // namespace kelvane::pack
