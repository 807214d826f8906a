// What somebody without rights can put in the way before a run: it must have no effect.
#include "Acceptance.h"

#include <format>
#include <set>

using namespace acceptance;

namespace {

struct Attacks : Item {};

TEST_F(Attacks, PlantedTask) {
    settles("a task of the continuation's name that is not the installer's is no reason for 104, and removed");
    NEEDS_WINDOWS("has no tasks that the installer sees");
    registerTask(L"OstravelInstaller", paths::systemDirectory() / L"cmd.exe", L"/c exit");
    const auto ended = run(L"-q " + tokenOption());
    EXPECT_EQ(ended.code, 0U);
    EXPECT_TRUE(ended.says({"ForeignSchedTaskFound"}));
    EXPECT_FALSE(continuationRegistered());
}

// Every library that the image names in its data: what it imports, and what it loads later, of which it has no
// directory.
std::set<std::string> librariesOf(const Path& program) {
    const auto image = files::readFile(program);
    const auto isPart = [](char letter) { return std::isalnum(static_cast<unsigned char>(letter)) || letter == '_'; };
    std::set<std::string> names;
    for (std::size_t at = 0; (at = image.find(std::string_view(".dll\0", 5), at)) != image.npos; ++at) {
        auto start = at;
        while (isPart(image[start - 1]))
            --start;
        if (start < at) names.insert(image.substr(start, at + 4 - start));
    }
    return names;
}

TEST_F(Attacks, PlantedLibraries) {
    settles(
        "libraries of all imported and delay-loaded names beside the program and in its .local folder are not taken");
    const auto names = librariesOf(installer());
    EXPECT_TRUE(names.contains("KERNEL32.dll") && names.contains("winhttp.dll"));
    const auto redirected = installer().parent_path() / L"OstravelInstaller.exe.local";
    files::createDirectories(redirected);
    for (const auto& place : {installer().parent_path(), redirected}) {
        for (const auto& name : names)
            files::copyFile(besideThis(L"canary.dll"), place / name);
    }
    EXPECT_EQ(run(L"-q " + tokenOption()).code, 0U);
    for (const auto& place : {installer().parent_path(), redirected}) {
        files::scanDirectory(place,
                             [](const auto& entry) { EXPECT_NE(entry.path.extension(), L".taken") << entry.path; });
    }
}

// Ways to make a name stand for a victim.
struct Link {
    const char* name;
    const wchar_t* option; // of mklink
    bool directory;
    bool readOnly;
};

struct Links : ItemOf<Link> {
    const Path folder = work() / L"Victim";
    const Path victim = folder / L"file.txt";
    ~Links() override { SetFileAttributesW(victim.c_str(), FILE_ATTRIBUTE_NORMAL); }

    // Whether the link was made.
    bool plant(const Path& place) const {
        files::createDirectories(place.parent_path());
        const auto line = std::format(L"/c mklink {} \"{}\" \"{}\"", GetParam().option, place.native(),
                                      (GetParam().directory ? folder : victim).native());
        try {
            command(L"cmd.exe", line);
        } catch (const std::exception&) {
            return false;
        }
        return GetFileAttributesW(place.c_str()) != INVALID_FILE_ATTRIBUTES;
    }
};

TEST_P(Links, VictimIsUntouched) {
    const auto& link = GetParam();
    settles("in place of the exit-code file, in a deleted tree and in a --temp_path: the victim keeps content and "
            "attributes");
    files::createDirectories(folder);
    files::writeFile(victim, "kept");
    if (link.readOnly) files::setFileAttributes(victim, FILE_ATTRIBUTE_READONLY);
    const auto temp = work() / L"Temp";
    const bool planted = plant(paths::windowsTemp() / L"SC-exit-code.txt") &&
                         plant(paths::windowsTemp() / L"KelvaneConfig" / L"inner") &&
                         plant(temp / (link.directory ? L"temp_content" : L"temp.zip"));
    if (!planted) NEEDS_WINDOWS("makes no such link");
    ASSERT_TRUE(planted);
    const auto attributes = files::getFileAttributes(victim);
    installEarlierAgent(); // its backup takes the place of the planted folder
    const auto ended = run(L"-q --stateless_upgrade 1 --pmu --temp_path " + temp.native());
    EXPECT_EQ(files::readFile(victim), "kept");
    EXPECT_EQ(files::getFileAttributes(victim), attributes);
    EXPECT_TRUE(ended.code == 0 || link.readOnly) << ended.code;
}

ITEMS(Links, Link{"Junction", L"/j", true, false}, Link{"DirectoryLink", L"/d", true, false},
      Link{"FileLink", L"", false, false}, Link{"HardLink", L"/h", false, false},
      Link{"ReadOnlyHardLink", L"/h", false, true});

} // namespace
