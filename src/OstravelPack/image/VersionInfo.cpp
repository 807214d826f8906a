#include "OstravelPack/image/VersionInfo.h"

#include "OstravelPack/image/Bytes.h"

#include <windows.h>

#include <cstdint>
#include <vector>

namespace kelvane::pack {
namespace {

// One block: a length, the value's length (in characters when it is text), whether it is text, a key, then the value
// and the blocks within, each from a multiple of four bytes on.
struct Block {
    std::wstring key;
    WORD isText = 0;
    std::string value;
    std::vector<Block> blocks;
};

constexpr std::size_t alignment = 4;

std::wstring keyAt(std::string_view bytes, std::size_t offset) {
    std::wstring key;
    while (true) {
        const auto character = valueAt<wchar_t>(bytes, offset + key.size() * sizeof(wchar_t));
        if (character == L'\0') return key;
        key += character;
    }
}

Block readBlock(std::string_view bytes) {
    const auto valueLength = valueAt<WORD>(bytes, 2);
    Block block{keyAt(bytes, 6), valueAt<WORD>(bytes, 4), {}, {}};
    auto offset = alignedUp(6 + (block.key.size() + 1) * sizeof(wchar_t), alignment);
    const auto valueSize = std::size_t{valueLength} * (block.isText ? sizeof(wchar_t) : 1);
    if (valueSize != 0 && offset + valueSize > bytes.size()) throw Refusal("its version resource is cut short");
    if (valueSize != 0) block.value = bytes.substr(offset, valueSize);
    for (offset = alignedUp(offset + valueSize, alignment); offset < bytes.size();) {
        const auto length = valueAt<WORD>(bytes, offset);
        if (length == 0) throw Refusal("its version resource is damaged");
        block.blocks.push_back(readBlock(bytes.substr(offset, length)));
        offset += alignedUp(length, alignment);
    }
    return block;
}

std::string writeBlock(const Block& block) {
    std::string bytes;
    append(bytes, WORD{0});
    append(bytes, static_cast<WORD>(block.value.size() / (block.isText ? sizeof(wchar_t) : 1)));
    append(bytes, block.isText);
    append(bytes, std::wstring_view(block.key.c_str(), block.key.size() + 1));
    pad(bytes, alignment);
    bytes += block.value;
    for (const auto& inner : block.blocks) {
        pad(bytes, alignment);
        bytes += writeBlock(inner);
    }
    setValue(bytes, 0, static_cast<WORD>(bytes.size()));
    return bytes;
}

void setTexts(Block& block, const std::wstring& version) {
    if (block.key == L"FileVersion" || block.key == L"ProductVersion") {
        block.value.clear();
        append(block.value, std::wstring_view(version.c_str(), version.size() + 1));
    }
    for (auto& inner : block.blocks)
        setTexts(inner, version);
}

} // namespace

std::string withVersion(std::string_view resource, const kelvane::AgentVersion& version) {
    auto root = readBlock(resource.substr(0, valueAt<WORD>(resource, 0)));
    auto fixed = valueAt<VS_FIXEDFILEINFO>(root.value, 0);
    fixed.dwFileVersionMS = fixed.dwProductVersionMS = MAKELONG(version.minor, version.major);
    fixed.dwFileVersionLS = fixed.dwProductVersionLS = MAKELONG(version.revision, version.build);
    setValue(root.value, 0, fixed);
    setTexts(root, version.str());
    return writeBlock(root);
}

kelvane::AgentVersion fileVersionOf(std::string_view resource) {
    const auto root = readBlock(resource.substr(0, valueAt<WORD>(resource, 0)));
    const auto fixed = valueAt<VS_FIXEDFILEINFO>(root.value, 0);
    return {HIWORD(fixed.dwFileVersionMS), LOWORD(fixed.dwFileVersionMS), HIWORD(fixed.dwFileVersionLS),
            LOWORD(fixed.dwFileVersionLS)};
}

} // namespace kelvane::pack
