// The program that makes installers, beside the one that it has made elsewhere.
#include "Acceptance.h"
#include "libkelvane/ZipFile.h"
#include "libwin32/Win32Error.h"

using namespace acceptance;

namespace {

void unpackPayload(const Path& target) {
    const win32::UniqueModule module(LoadLibraryExW(installer().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    win32::check(bool(module), "LoadLibraryEx");
    const HRSRC resource = FindResourceW(module.get(), MAKEINTRESOURCEW(102), RT_RCDATA);
    win32::check(resource != nullptr, "FindResource");
    const auto* content = static_cast<const char*>(LockResource(LoadResource(module.get(), resource)));
    const auto zip = work() / L"payload.zip";
    files::writeFile(zip, {content, SizeofResource(module.get(), resource)});
    const win32::UniqueHandle file(CreateFileW(zip.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                               FILE_ATTRIBUTE_NORMAL, nullptr));
    kelvane::UnzipFile(file.get(), target);
}

using Packing = Item;

TEST_F(Packing, GivesTheSameBytesHere) {
    settles("the payload taken out of the installer and packed into it again gives the same file, which verifies");
    const auto payload = work() / L"Payload";
    const auto again = work() / L"Again.exe";
    unpackPayload(payload);
    const auto quoted = [](const Path& path) { return L'"' + path.native() + L'"'; };
    command(besideThis(L"OstravelPack.exe").c_str(), L"--installer " + quoted(installer()) + L" --payload " +
                                                         quoted(payload) + L" --out " + quoted(again) + L" --verify " +
                                                         quoted(again));
    EXPECT_TRUE(files::readFile(again) == files::readFile(installer()));
}

} // namespace
