#include "OstravelPack/image/Resources.h"

#include "OstravelPack/image/Bytes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <tuple>
#include <utility>

namespace kelvane::pack {
namespace {

// Marks an offset of a directory rather than of data, and of a text rather than a number.
constexpr DWORD highBit = 0x80000000;
constexpr std::size_t levels = 3; // type, name, language

using Path = std::array<ResourceKey, levels>;

class Reader {
public:
    Reader(std::string_view section, DWORD address) : section_(section), address_(address) {}

    std::vector<Resource> read() {
        readDirectory(0, 0);
        return std::move(resources_);
    }

private:
    void readDirectory(DWORD offset, std::size_t level) {
        const auto directory = valueAt<IMAGE_RESOURCE_DIRECTORY>(section_, offset);
        const auto count = std::size_t{directory.NumberOfNamedEntries} + directory.NumberOfIdEntries;
        for (std::size_t index = 0; index < count; ++index) {
            const auto place = offset + sizeof directory + index * 2 * sizeof(DWORD);
            path_[level] = key(valueAt<DWORD>(section_, place));
            const auto target = valueAt<DWORD>(section_, place + sizeof(DWORD));
            const bool isDirectory = (target & highBit) != 0;
            if (isDirectory == (level + 1 == levels)) throw Refusal("its resources are not laid out as usual");
            if (isDirectory) {
                readDirectory(target & ~highBit, level + 1);
            } else {
                readData(target);
            }
        }
    }

    void readData(DWORD offset) {
        const auto entry = valueAt<IMAGE_RESOURCE_DATA_ENTRY>(section_, offset);
        const auto start = std::size_t{entry.OffsetToData} - address_;
        if (start > section_.size() || entry.Size > section_.size() - start)
            throw Refusal("its resources are cut short");
        resources_.push_back(
            {path_[0], path_[1], path_[2].number, entry.CodePage, std::string(section_.substr(start, entry.Size))});
    }

    ResourceKey key(DWORD value) const {
        if ((value & highBit) == 0) return {{}, static_cast<WORD>(value)};
        const auto offset = value & ~highBit;
        std::wstring text(valueAt<WORD>(section_, offset), L'\0');
        for (std::size_t index = 0; index < text.size(); ++index)
            text[index] = valueAt<wchar_t>(section_, offset + sizeof(WORD) + index * sizeof(wchar_t));
        return {text, 0};
    }

    std::string_view section_;
    DWORD address_;
    Path path_;
    std::vector<Resource> resources_;
};

Path pathOf(const Resource& resource) { return {resource.type, resource.name, ResourceKey{{}, resource.language}}; }

// Directories, each with what its entries refer to behind it, then all data.
class Writer {
public:
    Writer(std::vector<Resource> resources, DWORD address) : resources_(std::move(resources)), address_(address) {
        std::ranges::sort(resources_, {}, pathOf);
    }

    std::string write() {
        writeDirectory(0, resources_.size(), 0);
        for (std::size_t index = 0; index < resources_.size(); ++index)
            writeData(entries_[index], resources_[index]);
        return std::move(section_);
    }

private:
    ResourceKey keyAt(std::size_t index, std::size_t level) const { return pathOf(resources_[index])[level]; }

    // Where the resources that share the key of the first one at this level end.
    std::size_t groupEnd(std::size_t first, std::size_t last, std::size_t level) const {
        const auto key = keyAt(first, level);
        while (first < last && keyAt(first, level) == key)
            ++first;
        return first;
    }

    std::size_t reserve(std::size_t size) {
        pad(section_, sizeof(DWORD));
        const auto start = section_.size();
        section_.resize(start + size);
        return start;
    }

    std::size_t directorySize(std::size_t first, std::size_t last, std::size_t level) const {
        std::size_t size = sizeof(IMAGE_RESOURCE_DIRECTORY);
        for (; first < last; first = groupEnd(first, last, level))
            size += 2 * sizeof(DWORD);
        return size;
    }

    DWORD writeDirectory(std::size_t first, std::size_t last, std::size_t level) {
        const auto start = reserve(directorySize(first, last, level));
        IMAGE_RESOURCE_DIRECTORY directory{};
        auto place = start + sizeof directory;
        for (std::size_t end = first; first < last; first = end, place += 2 * sizeof(DWORD)) {
            end = groupEnd(first, last, level);
            const auto key = keyAt(first, level);
            ++(key.text.empty() ? directory.NumberOfIdEntries : directory.NumberOfNamedEntries);
            const auto name = writeKey(key);
            const auto target = level + 1 < levels ? writeDirectory(first, end, level + 1) | highBit : writeEntry();
            setValue(section_, place, name);
            setValue(section_, place + sizeof name, target);
        }
        setValue(section_, start, directory);
        return static_cast<DWORD>(start);
    }

    DWORD writeKey(const ResourceKey& key) {
        if (key.text.empty()) return key.number;
        const auto offset = static_cast<DWORD>(reserve(0));
        append(section_, static_cast<WORD>(key.text.size()));
        append(section_, std::wstring_view(key.text));
        return offset | highBit;
    }

    DWORD writeEntry() {
        entries_.push_back(reserve(sizeof(IMAGE_RESOURCE_DATA_ENTRY)));
        return static_cast<DWORD>(entries_.back());
    }

    void writeData(std::size_t entry, const Resource& resource) {
        pad(section_, sizeof(std::uint64_t));
        const auto place = address_ + static_cast<DWORD>(section_.size());
        const auto size = static_cast<DWORD>(resource.content.size());
        setValue(section_, entry, IMAGE_RESOURCE_DATA_ENTRY{place, size, resource.codePage, 0});
        section_ += resource.content;
    }

    std::vector<Resource> resources_;
    DWORD address_;
    std::vector<std::size_t> entries_; // where each resource's entry of data stands
    std::string section_;
};

auto isOf(WORD type, WORD number) {
    return
        [=](const Resource& one) { return one.type == ResourceKey{{}, type} && one.name == ResourceKey{{}, number}; };
}

} // namespace

std::weak_ordering ResourceKey::operator<=>(const ResourceKey& other) const {
    return std::tuple(text.empty(), std::wstring_view(text), number) <=>
           std::tuple(other.text.empty(), std::wstring_view(other.text), other.number);
}

std::vector<Resource> readResources(std::string_view section, DWORD address) { return Reader(section, address).read(); }

std::string writeResources(std::vector<Resource> resources, DWORD address) {
    return Writer(std::move(resources), address).write();
}

const std::string* findResource(const std::vector<Resource>& resources, WORD type, WORD number) {
    const auto found = std::ranges::find_if(resources, isOf(type, number));
    return found == resources.end() ? nullptr : &found->content;
}

void putResource(std::vector<Resource>& resources, WORD type, WORD number, std::string content) {
    const auto found = std::ranges::find_if(resources, isOf(type, number));
    if (found != resources.end()) {
        found->content = std::move(content);
    } else {
        constexpr WORD usEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
        resources.push_back({{{}, type}, {{}, number}, usEnglish, 0, std::move(content)});
    }
}

} // namespace kelvane::pack
