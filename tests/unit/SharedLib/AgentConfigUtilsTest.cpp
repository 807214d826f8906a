#include "SharedLib/AgentConfigUtils.h"
#include "SharedLib/ConfigBackup.h"
#include "Support.h"
#include "libkelvane/JsonUtils.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

struct AgentConfig : testing::Test {
    void write(const char* name, std::string_view content) { kelvane::FileUtilities::writeFile(dir / name, content); }
    std::string errorOf(const auto& read) {
        try {
            read(folder.path);
            return "";
        } catch (const std::exception& error) {
            return error.what();
        }
    }

    const support::Folder folder{L"конфиг-of-tests"};
    const fs::path& dir = folder.path;
};

TEST_F(AgentConfig, FieldErrorsNameTheField) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {R"({"_uid":"u","_vdi":true})", "", ""},
        {"\xEF\xBB\xBF{\"_uid\":\"u\",\"_vdi\":false}", "", ""},
        {R"({})", "_uid field does not exist", "_vdi field does not exist"},
        {R"({"_uid":7,"_vdi":"true"})", "_uid field is not a string", "_vdi field is not a boolean"},
        {R"({"_uid":"","_vdi":true})", "_uid field is empty", ""},
        {R"({"_uid":"a b","_vdi":true})", "_uid field fits no property", ""},
        {R"({"_uid":"a\"b","_vdi":true})", "_uid field fits no property", ""},
        {R"({"_uid":"a\r\nx-evil: 1","_vdi":true})", "_uid field holds a control character", ""},
        {R"({"_uid":"a\u0000","_vdi":true})", "_uid field holds a control character", ""},
        {R"({"_uid":"\u007F","_vdi":true})", "_uid field holds a control character", ""},
        {R"({"_uid":"\u00e9\u0080","_vdi":true})", "", ""},
        {"{\"_uid\":\"\xEF\xBF\xBF\",\"_vdi\":true}", "", ""},
        {R"(["_uid","_vdi"])", "_uid field does not exist", "_vdi field does not exist"},
        {"null", "_uid field does not exist", "_vdi field does not exist"}};
    for (const auto& [content, uidError, vdiError] : cases) {
        write("AgentUid.json", content);
        EXPECT_EQ(errorOf(kelvane::readAgentUid), uidError) << content;
        EXPECT_EQ(errorOf(kelvane::readIsVdi), vdiError) << content;
    }
}

TEST_F(AgentConfig, UnreadableFilesAreErrors) {
    const auto file = (dir / "AgentUid.json").u8string();
    const std::string path(file.begin(), file.end());
    EXPECT_EQ(errorOf(kelvane::readAgentUid), "Json file \"" + path + "\" does not exist");
    write("AgentUid.json", std::string(kelvane::JsonUtils::mostFileBytes + 1, ' '));
    EXPECT_EQ(errorOf(kelvane::readAgentUid), "failed to open file: " + path + ". errno: 27");
    fs::remove(dir / "AgentUid.json");
    fs::create_directory(dir / "AgentUid.json");
    EXPECT_EQ(errorOf(kelvane::readAgentUid), "failed to open file: " + path + ". errno: 13");
    fs::remove(dir / "AgentUid.json");
    for (const auto& text : {std::string(), std::string("{\"_uid\":\"a"), std::string("\xFF\xFE{"),
                             std::string(5, '\0'), std::string(2'000'000, '[')}) {
        write("AgentUid.json", text);
        EXPECT_NE(errorOf(kelvane::readAgentUid), "") << text.substr(0, 20);
    }
}

TEST_F(AgentConfig, PlaceholderServersHaveNoProxyAndUwfModeIsStated) {
    const auto proxy = [&](const std::string& server, const std::string& site) {
        write("UserConfig.json",
              R"({"mgmtServer":")" + server + R"(","site":")" + site + R"(","proxy":"auto","site_key":"k"})");
        return kelvane::readProxy(dir);
    };
    for (const auto* server : {"", "http://localhost", "HTTPS://0.0.0.0"})
        EXPECT_FALSE(proxy(server, "s")) << server;
    EXPECT_FALSE(proxy("https://a", ""));
    for (const auto* server : {"https://a", "http://localhost/", "https://localhost"})
        EXPECT_EQ(proxy(server, "s"), "auto") << server;
    EXPECT_EQ(kelvane::readManagementSettings(dir).site, "s");
    EXPECT_EQ(kelvane::readSiteKey(dir), "k");
    write("UserConfig.json", R"({"mgmtServer":"https://a","site":"s"})");
    EXPECT_EQ(kelvane::readProxy(dir), "") << "no member: no proxy";
    const std::pair<const char*, const char*> unfit[] = {
        {R"({"mgmtServer":"https://a","site":"s","proxy":7})", "proxy field is not a string"},
        {R"({"mgmtServer":"https://a","site":"s","proxy":"a\nb"})", "proxy field holds a control character"},
        {R"({"mgmtServer":7,"site":"s","proxy":"p"})", ""},
        {R"({"mgmtServer":"https://a","site":"s\r\n","proxy":"p"})", ""},
        {R"([])", ""}};
    for (const auto& [content, error] : unfit) {
        write("UserConfig.json", content);
        EXPECT_EQ(errorOf(kelvane::readProxy), error) << content;
    }
    write("UserConfig.json", R"({"mgmtServer":"https://a\t","site":"s","site_key":"k\n"})");
    EXPECT_EQ(errorOf(kelvane::readManagementSettings), "mgmtServer field holds a control character");
    EXPECT_EQ(errorOf(kelvane::readSiteKey), "site_key field holds a control character");

    EXPECT_FALSE(kelvane::readUwfMode(dir));
    for (const auto& [content, mode] : {std::pair("{}", false), {R"({"uwfMode":true})", true}}) {
        write("ReadOnlyConfig.json", content);
        EXPECT_EQ(kelvane::readUwfMode(dir), mode);
    }
}
