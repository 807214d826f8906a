#include "libkelvane/ZipFile.h"

#include "Support.h"
#include "libkelvane/FileStream.h"

#include <gtest/gtest.h>

#include <zlib.h>

#include <algorithm>
#include <ranges>
#include <vector>

namespace FileUtilities = kelvane::FileUtilities;

struct Entry {
    std::string name, data = "content";
    bool deflated = false;
    int crcError = 0, sizeError = 0;
    std::uint32_t mode = 0;
    std::uint16_t flags = 0;
};

static std::string number(std::uint64_t n, std::size_t size) { return {reinterpret_cast<const char*>(&n), size}; }

// The fields that the entry's own header and the central directory share.
static std::string fields(const Entry& entry, std::size_t stored) {
    const auto crc = crc32(0, reinterpret_cast<const Bytef*>(entry.data.data()), static_cast<uInt>(entry.data.size()));
    return number(20, 2) + number(entry.flags, 2) + number(entry.deflated ? 8 : 0, 6) +
           number(crc + static_cast<unsigned>(entry.crcError), 4) + number(stored, 4) +
           number(entry.data.size() + static_cast<unsigned>(entry.sizeError), 4) + number(entry.name.size(), 4);
}

static std::string archive(const std::vector<Entry>& entries) {
    std::string body, directory;
    for (const auto& entry : entries) {
        // Deflated means one final block without compression: type, length, its complement.
        const auto block = entry.deflated ? "\x01" + number(entry.data.size(), 2) + number(~entry.data.size(), 2) : "";
        const std::string data = block + entry.data;
        directory += "PK\x01\x02" + number(0x0314, 2) + fields(entry, data.size()) + number(0, 6) +
                     number(entry.mode << 16, 4) + number(body.size(), 4) + entry.name;
        body += "PK\x03\x04" + fields(entry, data.size()) + entry.name + data;
    }
    return body + directory + "PK\x05\x06" + number(0, 4) + number(entries.size() * 0x10001, 4) +
           number(directory.size(), 4) + number(body.size(), 4) + number(0, 2);
}

struct ZipFileTest : testing::Test {
    bool unzip(const std::string& bytes) {
        FileUtilities::deleteDirectory(out);
        FileUtilities::writeFile(top / L"test.zip", bytes);
        percents.clear();
        return kelvane::UnzipFile(kelvane::openForReading(top / L"test.zip").get(), out,
                                  [&](unsigned percent) { percents.push_back(percent); });
    }
    std::string read(const std::wstring& name) { return FileUtilities::readFile(out / name); }

    const support::Folder top;
    const std::filesystem::path out = top / L"below" / L"out";
    std::vector<unsigned> percents;
};

TEST_F(ZipFileTest, UnpacksFilesAndFolders) {
    const std::string large(3000, 'x');
    EXPECT_TRUE(unzip(archive({{"a/b/c.txt", large, true},
                               {"empty", ""},
                               {"folder/", ""},
                               {"\x84.txt"},
                               {"\xE4\xB8\xAD", "utf-8", false, 0, 0, 0, 1 << 11},
                               {"twice", "1"},
                               {"twice", "2"}})));
    EXPECT_EQ(read(L"a\\b\\c.txt"), large);
    EXPECT_EQ(read(L"empty") + read(L"\x00e4.txt") + read(L"\x4e2d") + read(L"twice"), "contentutf-82");
    EXPECT_TRUE(FileUtilities::isDirectory(out / L"folder"));
    EXPECT_TRUE(std::ranges::is_sorted(percents) && percents.front() < percents.back() && percents.back() <= 100);
}

TEST_F(ZipFileTest, DamagedEntriesLeaveNoFileAndDoNotStopTheRest) {
    EXPECT_TRUE(unzip(archive({{"crc", "x", false, 1},
                               {"crc.deflated", "xyz", true, 1},
                               {"bomb", std::string(5000, 'x'), true, 0, -4000},
                               {"short", "xyz", true, 0, 5},
                               {"link", "../../victim", false, 0, 0, 0120777},
                               {"last"}})));
    for (const auto* name : {L"crc", L"crc.deflated", L"bomb", L"short", L"link"})
        EXPECT_FALSE(FileUtilities::exists(out / name)) << name;
    EXPECT_EQ(read(L"last"), "content");
}

TEST_F(ZipFileTest, NamesThatLeadOutsideAreRefused) {
    const std::string names[] = {
        "../up",       "a/../../up", "..\\up",   "/abs",   "\\abs", "C:\\abs", "C:up", "\\\\?\\C:\\up",
        "file:stream", "NUL",        "com1.txt", "a/con ", "x.",    "..",      ".",    "./x",
        "a//b",        "q?",         ""};
    std::vector<Entry> entries;
    for (const auto& name : names) {
        entries.push_back({name});
        EXPECT_FALSE(kelvane::isSafeEntryName(std::wstring(name.begin(), name.end()))) << name;
    }
    entries.push_back({"good"});
    EXPECT_TRUE(unzip(archive(entries)));
    // below, test.zip, out, good
    EXPECT_EQ(std::ranges::distance(std::filesystem::recursive_directory_iterator(top.path)), 4);
    for (const auto* name : {L"COM1x", L"nul-1", L"..a", L"a..b\\.c", L"COM", L"x/"})
        EXPECT_TRUE(kelvane::isSafeEntryName(name)) << name;
    EXPECT_FALSE(kelvane::isSafeEntryName(L"lpt\x00b9"));
}

TEST_F(ZipFileTest, ArchivesAsAWhole) {
    EXPECT_TRUE(unzip(archive({})) && FileUtilities::isDirectory(out));
    const auto whole = archive({{"a"}, {"b"}});
    for (const auto& broken : {std::string(), std::string("no archive"), whole.substr(0, whole.size() - 30)}) {
        EXPECT_STREQ(support::thrownBy<kelvane::ZipError>([&] { unzip(broken); }).what(),
                     "Zip file could not be opened.");
    }
    auto brokenList = whole;
    brokenList[brokenList.rfind("PK\x01\x02")] = 'X';
    EXPECT_FALSE(unzip(brokenList));
}
