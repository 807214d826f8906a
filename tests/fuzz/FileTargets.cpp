#include "Fuzz.h"

#include "OstravelInstaller/continuation/ContinuationState.h"
#include "OstravelInstaller/reporting/AnswerText.h"
#include "SharedLib/AgentConfigUtils.h"
#include "libkelvane/FileStream.h"
#include "libkelvane/FileUtilities.h"
#include "libkelvane/MultiPartRequest.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/ZipFile.h"
#include "libwin32/Text.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace fuzz {
namespace {

using namespace kelvane;
using namespace kelvane::bst;
using win32::toUtf8;
using win32::toWide;

// An empty folder of this process, gone with it.
struct Scratch {
    Scratch() { FileUtilities::createDirectories(path); }
    ~Scratch() { FileUtilities::deleteDirectoryNoThrow(path); }
    const std::filesystem::path path = PathUtils::windowsTemp() / (L"fuzz-" + std::to_wstring(GetCurrentProcessId()));
};

const std::filesystem::path& scratch() {
    static const Scratch folder;
    return folder.path;
}

// The whole of a file and nothing more, whatever was there.
void put(const wchar_t* name, std::string_view bytes) {
    FileUtilities::writeFile(scratch() / name, std::string(bytes));
}

std::string askConfiguration(std::string_view input) {
    for (const auto* name : {L"UserConfig.json", L"AgentUid.json", L"ReadOnlyConfig.json"})
        put(name, input);
    std::string all;
    const auto take = [&](auto read) {
        const auto answer = answerOf(read);
        require(!win32::hasControlCharacter(answer), "no control character comes out of the agent's files");
        all += answer + "\n";
    };
    take([] { return readManagementSettings(scratch()).mgmtServer; });
    take([] { return readManagementSettings(scratch()).site; });
    take([] { return readProxy(scratch()).value_or("none"); });
    take([] { return readSiteKey(scratch()); });
    take([] { return std::string(readIsVdi(scratch()) ? "vdi" : "real") + (readUwfMode(scratch()) ? " uwf" : ""); });
    take([] {
        const auto uid = readAgentUid(scratch());
        require(!uid.empty() && uid.find_first_of(" \"") == std::string::npos, "an identifier fits its property");
        return uid;
    });
    return all;
}

std::string listed(const std::filesystem::path& folder) {
    std::vector<std::string> lines;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        lines.push_back(toUtf8(entry.path().lexically_relative(folder).native()) + "\n");
        if (!entry.is_directory()) lines.back().insert(0, std::to_string(entry.file_size()) + " ");
    }
    std::ranges::sort(lines);
    std::string text;
    for (const auto& line : lines)
        text += line;
    return text;
}

std::string askArchive(std::string_view input) {
    const auto top = scratch() / L"archive";
    FileUtilities::deleteDirectory(top);
    FileUtilities::createDirectories(top);
    put(L"archive.zip", input);
    const auto before = listed(scratch());
    const auto file = openForReading(scratch() / L"archive.zip");
    const auto answer =
        answerOf([&] { return std::string(UnzipFile(file.get(), top / L"out") ? "whole\n" : "broken\n"); });
    const auto unpacked = FileUtilities::exists(top / L"out") ? listed(top / L"out") : "";
    FileUtilities::deleteDirectory(top / L"out");
    require(listed(scratch()) == before, "nothing is written outside the destination");
    return answer + unpacked;
}

std::string askEntryName(std::string_view input) {
    auto name = wide(input);
    if (!isSafeEntryName(name)) return "refused";
    std::ranges::replace(name, L'/', L'\\');
    require(PathUtils::fullPath(L"C:\\base\\" + name).native() == L"C:\\base\\" + name,
            "a safe name is what Windows makes of it");
    return toUtf8(name);
}

bool same(const ContinuationState& a, const ContinuationState& b) {
    const auto management = [](const ContinuationState& state) {
        const auto& settings = state.managementSettings;
        return settings ? std::optional(std::pair(settings->mgmtServer, settings->site)) : std::nullopt;
    };
    const auto members = [](const ContinuationState& s) {
        return std::tie(s.guard, s.packageStarted, s.boots, s.arguments, s.agentUid, s.isVdi, s.uwfMode, s.serverProxy,
                        s.agentProxy, s.siteToken, s.initiator, s.alternativeInstaller, s.configBackup, s.record);
    };
    return members(a) == members(b) && management(a) == management(b);
}

void requireKept(const ContinuationState& state) {
    saveState(scratch(), state);
    const auto loaded = loadState(scratch());
    require(loaded && same(*loaded, state), "a state that is saved is loaded");
}

std::string askState(std::string_view input) {
    put(L"Continuation.json", input);
    const auto loaded = loadState(scratch());
    if (loaded) {
        requireKept(*loaded);
        return toUtf8(loaded->arguments) + std::to_string(loaded->boots);
    }
    const auto parts = pieces(input, 5);
    ContinuationState state;
    state.arguments = L"-q" + wideText(parts[0]), state.agentUid = text(parts[1]);
    state.serverProxy = wideText(parts[2]), state.alternativeInstaller = wideText(parts[2]);
    state.managementSettings = ManagementSettings{text(parts[3]), text(parts[1])};
    state.record[wideText(parts[4])] = wideText(parts[0]);
    state.boots = static_cast<std::uint32_t>(input.size()), state.guard = input.size() % 2;
    requireKept(state);
    // Cut off by a power failure.
    const auto whole = FileUtilities::readFile(scratch() / L"Continuation.json");
    put(L"Continuation.json", std::string_view(whole).substr(0, input.size() * 7 % whole.size()));
    require(!loadState(scratch()), "half a state is none");
    return "none";
}

// Reads a body's parts as RFC 7578 has them: each the header lines and the content.
std::vector<std::pair<std::string, std::string>> partsOf(std::string_view body, const std::string& boundary) {
    const std::string delimiter = "\r\n--" + boundary;
    std::vector<std::pair<std::string, std::string>> parts;
    const std::string all = "\r\n" + std::string(body);
    auto at = all.find(delimiter);
    require(at == 0, "a body begins with its first part");
    while (all.compare(at += delimiter.size(), 2, "--") != 0) {
        const auto head = at + 2, end = all.find(delimiter, at), content = all.find("\r\n\r\n", at);
        require(all.compare(at, 2, "\r\n") == 0 && end != std::string::npos && content < end,
                "a part has head and end");
        parts.emplace_back(all.substr(head, content - head), all.substr(content + 4, end - content - 4));
        at = end;
    }
    require(all.substr(at) == "--\r\n", "nothing follows the last part");
    return parts;
}

std::string askMultipart(std::string_view input) {
    web::http::http_request request(web::http::methods::POST);
    MultiPartRequest body(request);
    const std::string type = toUtf8(request.headers().content_type()), boundary = type.substr(type.find('=') + 1);
    std::vector<std::pair<std::string, std::string>> given;
    for (const auto piece : pieces(input, 1)) {
        const auto number = std::to_string(given.size());
        auto value = text(piece);
        if (given.size() % 3 == 2 && piece.find("--" + boundary) == std::string::npos) {
            body.AddFilePart(L"f" + toWide(number), std::make_unique<std::istringstream>(std::string(piece)), L"n");
            given.emplace_back("Content-Disposition: form-data; name=\"f" + number +
                                   "\";filename=\"n\"\r\nContent-Type: application/octet-string",
                               piece);
        } else {
            std::erase_if(value, [](char c) { return c == '\r' || c == '\n'; });
            body.AddTextPart(L"t" + toWide(number), toWide(value));
            given.emplace_back("Content-Disposition: form-data; name=\"t" + number + "\"", value);
        }
    }
    require(body.Finish(), "a body is finished once");
    const auto bytesAtOnce = input.size() / 5 + 64;
    const auto read = [&] {
        concurrency::streams::container_buffer<std::string> content;
        std::size_t size = 0;
        while (const auto more = request.body().read(content, bytesAtOnce).get())
            size += more;
        return content.collection().substr(0, size);
    };
    const auto bytes = read();
    auto parts = partsOf(bytes, boundary);
    for (std::size_t i = 0; i < given.size() && i < parts.size(); ++i) {
        if (given[i].second.starts_with("--" + boundary)) given[i].second.insert(0, " ");
    }
    require(parts == given, "a reader gets the parts that were added");
    request.body().seek(0);
    require(read() == bytes, "a body that is sent again is the same");
    return bytes;
}

std::string askAnswer(std::string_view input) {
    const auto answer = std::make_shared<AnswerText>();
    const auto stream = AnswerText::stream(answer);
    std::string sent;
    const auto length = input.size() % 7 == 0 ? AnswerText::longest + input.size() : input.size();
    while (!input.empty() && sent.size() < length)
        sent += input;
    const auto step = sent.size() / (input.size() % 13 + 1) + 1;
    for (std::size_t at = 0; at < sent.size(); at += step) {
        const auto size = std::min(step, sent.size() - at);
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(sent.data() + at);
        if (stream.streambuf().putn_nocopy(bytes, size).get() != size) break;
    }
    require(answer->taken() == sent.substr(0, AnswerText::longest), "the beginning of an answer is kept");
    return std::to_string(answer->taken().size());
}

constexpr Target targets[] = {
    {"answer", askAnswer},        {"archive", askArchive},     {"configuration", askConfiguration},
    {"entry_name", askEntryName}, {"multipart", askMultipart}, {"state", askState}};

} // namespace

std::span<const Target> fileTargets() { return targets; }

} // namespace fuzz
