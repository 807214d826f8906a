#include "libwin32/FileTree.h"

#include "libwin32/Handles.h"
#include "libwin32/IoTimeLimit.h"
#include "libwin32/NativeFile.h"

#include <winternl.h>

#include <cstddef>
#include <string_view>
#include <vector>

namespace win32 {
namespace {

constexpr ULONG shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
// The trees that are deleted are small; one that takes longer is somebody's trap.
constexpr std::uint32_t longestMs = 15'000;

struct Entry {
    std::wstring name;
    DWORD attributes;
    DWORD reparseTag = 0;

    bool isDescendable() const {
        return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && !isLink(attributes, reparseTag);
    }
    // Just what deleting needs, as a file may be deletable for us and still closed to anything else.
    ACCESS_MASK access() const {
        return DELETE | FILE_READ_ATTRIBUTES | (isDescendable() ? FILE_LIST_DIRECTORY : 0u) |
               ((attributes & FILE_ATTRIBUTE_READONLY) != 0 ? FILE_WRITE_ATTRIBUTES : 0u);
    }
};

// A directory whose entries are being deleted; `entries` are those still to do.
struct Level {
    std::wstring path;
    UniqueHandle directory;
    DWORD attributes;
    std::vector<Entry> entries;
};

UniqueHandle openRelative(HANDLE parent, const Entry& entry) {
    return openNative({.parent = parent,
                       .name = entry.name,
                       .access = entry.access(),
                       .share = shareAll,
                       .disposition = FILE_OPEN,
                       .options = FILE_OPEN_FOR_BACKUP_INTENT});
}

// Appends the entries of one filled buffer.
void readEntries(const std::uint8_t* buffer, std::vector<Entry>& entries) {
    while (true) {
        const auto* info = reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(buffer);
        const std::wstring_view name(info->FileName, info->FileNameLength / sizeof(wchar_t));
        if (name != L"." && name != L"..") {
            // For a reparse point this field holds the tag.
            const bool reparse = (info->FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
            entries.push_back({std::wstring(name), info->FileAttributes, reparse ? info->EaSize : 0});
        }
        if (info->NextEntryOffset == 0) return;
        buffer += info->NextEntryOffset;
    }
}

bool list(HANDLE directory, std::vector<Entry>& entries) {
    alignas(FILE_ID_BOTH_DIR_INFO) std::uint8_t buffer[8192];
    while (GetFileInformationByHandleEx(directory, FileIdBothDirectoryInfo, buffer, sizeof buffer)) {
        readEntries(buffer, entries);
    }
    return GetLastError() == ERROR_NO_MORE_FILES;
}

// Whether the open file, as it is now, is a directory that may be descended into.
bool isDescendable(HANDLE file) {
    FILE_ATTRIBUTE_TAG_INFO info{};
    return GetFileInformationByHandleEx(file, FileAttributeTagInfo, &info, sizeof info) &&
           (info.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && !isLink(info.FileAttributes, info.ReparseTag);
}

// Not of a file with several names: the others may be somebody else's, put there to have them changed.
bool clearReadOnly(HANDLE file) {
    FILE_STANDARD_INFO standard{};
    if (!GetFileInformationByHandleEx(file, FileStandardInfo, &standard, sizeof standard)) return false;
    if (standard.NumberOfLinks > 1) {
        SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    FILE_BASIC_INFO basic{}; // times of 0 stay as they are
    basic.FileAttributes = FILE_ATTRIBUTE_NORMAL;
    return SetFileInformationByHandle(file, FileBasicInfo, &basic, sizeof basic);
}

bool dispose(HANDLE file, DWORD flags) {
    FILE_DISPOSITION_INFO_EX disposition{FILE_DISPOSITION_FLAG_DELETE | FILE_DISPOSITION_FLAG_POSIX_SEMANTICS | flags};
    return SetFileInformationByHandle(file, FileDispositionInfoEx, &disposition, sizeof disposition);
}

// The name goes at once, though a scanner may still have the file open; file systems and systems that do not know these
// forms (before Windows 10) get the older ones.
bool remove(HANDLE file, DWORD attributes) {
    if (dispose(file, FILE_DISPOSITION_FLAG_IGNORE_READONLY_ATTRIBUTE)) return true;
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0 && !clearReadOnly(file)) return false;
    if (dispose(file, 0)) return true;
    FILE_DISPOSITION_INFO onClose{TRUE};
    return SetFileInformationByHandle(file, FileDispositionInfo, &onClose, sizeof onClose);
}

class TreeDeletion {
public:
    explicit TreeDeletion(const std::function<void(const std::wstring&, std::uint32_t)>& onFailure)
        : onFailure_(onFailure) {}

    std::uint32_t run(const std::wstring& path) {
        const DWORD attributes = GetFileAttributesW(path.c_str());
        if (attributes == INVALID_FILE_ATTRIBUTES) {
            fail(path, GetLastError());
            return first_;
        }
        const Entry root{path, attributes};
        visit(path, root,
              UniqueHandle(CreateFileW(path.c_str(), root.access(), shareAll, nullptr, OPEN_EXISTING,
                                       FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr)));
        // An explicit stack: a tree can be deeper than the thread's own stack is.
        while (!levels_.empty() && !limit_.expired())
            step();
        if (!levels_.empty()) fail(path, ERROR_TIMEOUT);
        return first_;
    }

private:
    void step() {
        if (levels_.back().entries.empty()) {
            const Level done = std::move(levels_.back());
            levels_.pop_back();
            if (!remove(done.directory.get(), done.attributes)) fail(done.path, GetLastError());
            return;
        }
        const Entry entry = std::move(levels_.back().entries.back());
        levels_.back().entries.pop_back();
        visit(levels_.back().path + L"\\" + entry.name, entry, openRelative(levels_.back().directory.get(), entry));
    }

    void visit(const std::wstring& path, const Entry& entry, UniqueHandle file) {
        if (!file) {
            fail(path, GetLastError());
        } else if (entry.isDescendable() && isDescendable(file.get())) {
            Level level{path, std::move(file), entry.attributes, {}};
            if (!list(level.directory.get(), level.entries)) fail(path, GetLastError());
            levels_.push_back(std::move(level));
        } else if (!remove(file.get(), entry.attributes)) {
            fail(path, GetLastError());
        }
    }

    // Something that is gone is deleted, whoever did it.
    void fail(const std::wstring& path, std::uint32_t code) {
        if (isNotFound(code)) return;
        if (first_ == 0) first_ = code;
        onFailure_(path, code);
    }

    const std::function<void(const std::wstring&, std::uint32_t)>& onFailure_;
    std::vector<Level> levels_;
    std::uint32_t first_ = 0;
    IoTimeLimit limit_{longestMs};
};

} // namespace

bool deleteOpenFile(HANDLE file) { return remove(file, 0); }

bool isNotFound(std::uint32_t code) {
    return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND || code == ERROR_BAD_NETPATH;
}

bool isLink(std::uint32_t attributes, std::uint32_t reparseTag) {
    // A tag that is not known counts as a link: not to descend is the safe answer.
    return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           (reparseTag == 0 || IsReparseTagNameSurrogate(reparseTag));
}

std::uint32_t deleteTree(const std::wstring& path,
                         const std::function<void(const std::wstring& path, std::uint32_t code)>& onFailure) {
    return TreeDeletion(onFailure).run(path);
}

} // namespace win32
