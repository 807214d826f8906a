#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

namespace kelvane::pack {

// A 64-bit program, library or driver as it lies in its file.
class PeImage {
public:
    // Throws Refusal when it is none, or not whole.
    explicit PeImage(std::string file);

    const std::string& file() const { return file_; }
    // Whether it carries a certificate table.
    bool isSigned() const { return directory(IMAGE_DIRECTORY_ENTRY_SECURITY).Size != 0; }
    // Whether the checksum in the headers is that of the file.
    bool hasRightChecksum() const { return headers_.OptionalHeader.CheckSum == checksum(); }

    // The section that the resources lie in, as far as the file has it, and its address. Throws Refusal without one.
    std::string_view resources() const;
    DWORD resourceAddress() const { return directory(IMAGE_DIRECTORY_ENTRY_RESOURCE).VirtualAddress; }
    // Puts another content, laid out for the same address, in its place and sets the checksum. What lies behind in the
    // image moves: that can only be the relocations. Throws Refusal when there is anything else.
    void replaceResources(std::string_view content);

private:
    const IMAGE_DATA_DIRECTORY& directory(int index) const { return headers_.OptionalHeader.DataDirectory[index]; }
    std::size_t headerOffset() const;
    std::size_t resourceSection() const;
    void checkMovable(std::size_t section) const;
    void place(IMAGE_SECTION_HEADER& section, DWORD address, std::string_view content);
    void storeHeaders();
    DWORD checksum() const;

    std::string file_;
    IMAGE_NT_HEADERS64 headers_{};
    std::vector<IMAGE_SECTION_HEADER> sections_;
};

} // namespace kelvane::pack
