#include "OstravelPack/payload/ZipArchive.h"

#include "OstravelPack/image/Bytes.h"

#include <zlib.h>

#include <cstdint>
#include <memory>
#include <new>

namespace kelvane::pack {
namespace {

constexpr std::size_t mostBytes = 0x7FF00000; // below the largest program, and below what needs the 64-bit form
constexpr std::uint16_t versionNeeded = 20;
constexpr std::uint16_t firstDay = 0x0021; // 1980-01-01, the oldest date that there is

// The same fields in the same order stand before each file and in the list at the end.
#pragma pack(push, 1)
struct FileFields {
    std::uint16_t version = versionNeeded;
    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint16_t time = 0;
    std::uint16_t date = firstDay;
    std::uint32_t checksum = 0;
    std::uint32_t packedSize = 0;
    std::uint32_t size = 0;
    std::uint16_t nameLength = 0;
    std::uint16_t extraLength = 0;
};
struct ListHead {
    std::uint32_t signature = 0x02014b50;
    std::uint16_t madeBy = versionNeeded;
};
struct ListTail {
    std::uint16_t commentLength = 0;
    std::uint16_t disk = 0;
    std::uint16_t internalAttributes = 0;
    std::uint32_t attributes = 0;
    std::uint32_t offset = 0;
};
struct EndOfList {
    std::uint32_t signature = 0x06054b50;
    std::uint16_t disk = 0;
    std::uint16_t firstDisk = 0;
    std::uint16_t countOnDisk = 0;
    std::uint16_t count = 0;
    std::uint32_t size = 0;
    std::uint32_t offset = 0;
    std::uint16_t commentLength = 0;
};
#pragma pack(pop)
constexpr std::uint32_t fileSignature = 0x04034b50;

struct EndDeflate {
    void operator()(z_stream* stream) const { deflateEnd(stream); }
};

// zlib's own pointers to what it only reads are not const.
Bytef* zlibBytes(const std::string& bytes) { return const_cast<Bytef*>(reinterpret_cast<const Bytef*>(bytes.data())); }

std::string deflated(const std::string& content) {
    z_stream state{};
    constexpr int mostMemory = 9;
    if (deflateInit2(&state, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, mostMemory, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::bad_alloc();
    const std::unique_ptr<z_stream, EndDeflate> stream(&state);
    std::string packed(deflateBound(&state, static_cast<uLong>(content.size())), '\0');
    state.next_in = zlibBytes(content);
    state.avail_in = static_cast<uInt>(content.size());
    state.next_out = reinterpret_cast<Bytef*>(packed.data());
    state.avail_out = static_cast<uInt>(packed.size());
    if (deflate(&state, Z_FINISH) != Z_STREAM_END) throw std::bad_alloc();
    packed.resize(packed.size() - state.avail_out);
    return packed;
}

void checkSize(std::size_t size) {
    if (size > mostBytes) throw Refusal("the payload is too large: a program can carry 2 GiB at most");
}

void appendListEntry(std::string& list, const FileFields& fields, const std::string& name, std::size_t offset) {
    append(list, ListHead{});
    append(list, fields);
    append(list, ListTail{.offset = static_cast<std::uint32_t>(offset)});
    list += name;
}

FileFields fieldsOf(const PayloadFile& file) {
    return {.method = static_cast<std::uint16_t>(file.packedSize < file.content.size() ? Z_DEFLATED : 0),
            .checksum =
                static_cast<std::uint32_t>(crc32(0, zlibBytes(file.content), static_cast<uInt>(file.content.size()))),
            .packedSize = static_cast<std::uint32_t>(file.packedSize),
            .size = static_cast<std::uint32_t>(file.content.size()),
            .nameLength = static_cast<std::uint16_t>(file.name.size())};
}

} // namespace

std::string zipArchive(std::vector<PayloadFile>& files) {
    std::string archive;
    std::string list;
    for (auto& file : files) {
        checkSize(file.content.size());
        const auto packed = file.stored ? std::string() : deflated(file.content);
        const bool shrinks = !file.stored && packed.size() < file.content.size();
        file.packedSize = shrinks ? packed.size() : file.content.size();
        const auto fields = fieldsOf(file);
        appendListEntry(list, fields, file.name, archive.size());
        append(archive, fileSignature);
        append(archive, fields);
        archive += file.name;
        archive += shrinks ? packed : file.content;
        checkSize(archive.size());
    }
    const auto count = static_cast<std::uint16_t>(files.size());
    const auto offset = static_cast<std::uint32_t>(archive.size());
    archive += list;
    append(archive, EndOfList{.countOnDisk = count,
                              .count = count,
                              .size = static_cast<std::uint32_t>(list.size()),
                              .offset = offset});
    return archive;
}

} // namespace kelvane::pack
