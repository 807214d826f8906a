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

#include <filesystem>
#include <set>
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

std::string askConfiguration(std::string_view input) {
    for (const auto* name : {L"UserConfig.json", L"AgentUid.json", L"ReadOnlyConfig.json"})
        FileUtilities::writeFile(scratch() / name, input);
    std::string (*const readers[])() = {
        [] { return readManagementSettings(scratch()).mgmtServer + " " + readManagementSettings(scratch()).site; },
        [] { return readProxy(scratch()).value_or("none"); }, [] { return readSiteKey(scratch()); },
        [] { return std::string(readIsVdi(scratch()) ? "vdi" : "real") + (readUwfMode(scratch()) ? " uwf" : ""); },
        [] {
            const auto uid = readAgentUid(scratch());
            require(!uid.empty() && uid.find_first_of(" \"") == std::string::npos, "an identifier fits its property");
            return uid;
        }};
    std::string all;
    for (const auto& read : readers) {
        const auto answer = answerOf(read);
        require(!win32::hasControlCharacter(answer), "no control character comes of the agent's files");
        all += answer + "\n";
    }
    return all;
}

std::set<std::string> filesIn(const std::filesystem::path& folder) {
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        files.insert(toUtf8(entry.path().lexically_relative(folder).native()) +
                     (entry.is_directory() ? "" : " " + std::to_string(entry.file_size())));
    return files;
}

std::string askArchive(std::string_view input) {
    static const auto top = scratch() / L"archive", out = top / L"below" / L"out";
    FileUtilities::createDirectories(out);
    FileUtilities::writeFile(top / L"zip", input);
    const auto zip = openForReading(top / L"zip");
    auto answer = answerOf([&] { return std::string(UnzipFile(zip.get(), out) ? "whole" : "broken"); });
    const auto unpacked = filesIn(out);
    for (const auto& file : unpacked)
        answer += "\n" + file;
    if (!unpacked.empty()) FileUtilities::deleteDirectory(out);
    require(filesIn(top).size() == (unpacked.empty() ? 3 : 2), "nothing is written outside the destination");
    return answer;
}

std::string askState(std::string_view input) {
    const auto file = scratch() / L"Continuation.json";
    FileUtilities::writeFile(file, input);
    auto state = loadState(scratch());
    if (!state) {
        const auto parts = pieces(input, 5);
        state.emplace();
        state->arguments = L"-q" + wideText(parts[0]), state->agentUid = text(parts[1]);
        state->serverProxy = wideText(parts[2]), state->alternativeInstaller = wideText(parts[2]);
        state->managementSettings = {text(parts[3]), text(parts[1])};
        state->record[wideText(parts[4])] = wideText(parts[0]);
        state->boots = static_cast<std::uint32_t>(input.size());
    }
    saveState(scratch(), *state);
    const auto saved = FileUtilities::readFile(file);
    const auto loaded = loadState(scratch());
    require(loaded && loaded->arguments == state->arguments && loaded->agentUid == state->agentUid &&
                loaded->serverProxy == state->serverProxy && loaded->record == state->record,
            "a state that is saved is loaded");
    saveState(scratch(), *loaded);
    require(FileUtilities::readFile(file) == saved, "a state stays what it is");
    FileUtilities::writeFile(file, std::string_view(saved).substr(0, input.size() * 7 % saved.size()));
    require(!loadState(scratch()), "half a state is none");
    return saved;
}

// A body's parts as RFC 7578 has them: each its header lines and its content.
std::vector<std::pair<std::string, std::string>> partsOf(const std::string& body, const std::string& boundary) {
    std::vector<std::pair<std::string, std::string>> parts;
    const auto all = "\r\n" + body, delimiter = "\r\n--" + boundary;
    auto at = all.find(delimiter);
    while (all.compare(at += delimiter.size(), 2, "--") != 0) {
        const auto end = all.find(delimiter, at), content = all.find("\r\n\r\n", at);
        require(all.compare(at, 2, "\r\n") == 0 && end != std::string::npos && content < end,
                "a part has head and end");
        parts.emplace_back(all.substr(at + 2, content - at - 2), all.substr(content + 4, end - content - 4));
        at = end;
    }
    require(all.starts_with(delimiter) && all.substr(at) == "--\r\n", "nothing stands around the parts");
    return parts;
}

std::string askMultipart(std::string_view input) {
    web::http::http_request request(web::http::methods::POST);
    MultiPartRequest body(request);
    const auto boundary = std::string(27, '-') + "boundary";
    require(toUtf8(request.headers().content_type()) == "multipart/form-data; boundary=" + boundary &&
                request.headers()[L"Transfer-Encoding"] == L"chunked",
            "the head says how the body is read");
    const std::string head = "Content-Disposition: form-data; name=\"n\"";
    std::vector<std::pair<std::string, std::string>> given;
    for (const auto piece : pieces(input, 1)) {
        if (auto value = text(piece); piece.size() % 2 || piece.find(boundary) != std::string::npos) {
            std::erase_if(value, [](char c) { return c == '\r' || c == '\n'; });
            body.AddTextPart(L"n", toWide(value));
            given.emplace_back(head, (value.starts_with("--" + boundary) ? " " : "") + value);
        } else {
            body.AddFilePart(L"n", std::make_unique<std::istringstream>(std::string(piece)), L"f");
            given.emplace_back(head + ";filename=\"f\"\r\nContent-Type: application/octet-string", piece);
        }
    }
    require(body.Finish() && !body.Finish() && !body.AddTextPart(L"n", L"late"), "a body is finished once");
    const auto read = [&](std::size_t bytesAtOnce) {
        concurrency::streams::container_buffer<std::string> content;
        std::size_t size = 0;
        while (const auto more = request.body().read(content, bytesAtOnce).get())
            size += more;
        return content.collection().substr(0, size);
    };
    const auto bytes = read(input.size() / 5 + 64);
    require(partsOf(bytes, boundary) == given, "a reader gets the parts that were added");
    request.body().seek(0);
    require(read(1 << 16) == bytes, "a body that is sent again is the same");
    return bytes;
}

std::string askAnswer(std::string_view input) {
    const auto answer = std::make_shared<AnswerText>();
    const auto stream = AnswerText::stream(answer);
    std::string sent(input.size() % 7 ? 0 : AnswerText::longest - input.size() / 2, 'x');
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

constexpr Target targets[] = {{"answer", askAnswer},
                              {"archive", askArchive},
                              {"configuration", askConfiguration},
                              {"multipart", askMultipart},
                              {"state", askState}};

} // namespace

std::span<const Target> fileTargets() { return targets; }

} // namespace fuzz
