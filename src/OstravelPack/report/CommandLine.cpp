#include "OstravelPack/report/CommandLine.h"

#include "libkelvane/PathUtils.h"
#include "libwin32/Text.h"

#include <algorithm>
#include <format>
#include <string_view>

namespace kelvane::pack {

const std::string_view usage =
    "usage: OstravelPack --payload DIR --out FILE [--version A.B.C.D] [--installer FILE] [--verify FILE]\n"
    "       OstravelPack --verify FILE\n"
    "\n"
    "  --payload DIR       the folder with KelvaneInstaller.msi (or .exe), KelvaneCleaner.exe, the driver and VERSION\n"
    "  --out FILE          the installer with that payload in it\n"
    "  --version A.B.C.D   the version of that file; without it that of the payload\n"
    "  --installer FILE    the installer to be packed; without it OstravelInstaller.exe beside this program\n"
    "  --verify FILE       checks a packed installer and lists its payload and its signature\n"
    "\n"
    "Ends with 0; 1 when something is refused; 2 for a wrong command line; 3 when the signature is whole and this\n"
    "machine does not trust its signer.\n";

namespace {

using kelvane::PathUtils::fullPath;

void readVersion(CommandLine& line, const wchar_t* value) {
    line.version = kelvane::parseAgentVersion(value);
    if (!line.version) throw UsageError("--version takes four dotted numbers of at most 65535");
}

struct Option {
    std::wstring_view name;
    void (*read)(CommandLine&, const wchar_t* value);
};
constexpr Option options[] = {
    {L"--payload", [](CommandLine& line, const wchar_t* value) { line.payload = fullPath(value); }},
    {L"--out", [](CommandLine& line, const wchar_t* value) { line.out = fullPath(value); }},
    {L"--installer", [](CommandLine& line, const wchar_t* value) { line.installer = fullPath(value); }},
    {L"--version", &readVersion},
    {L"--verify", [](CommandLine& line, const wchar_t* value) { line.verify = fullPath(value); }},
};

} // namespace

CommandLine readCommandLine(int count, wchar_t** arguments) {
    CommandLine line;
    line.installer = kelvane::PathUtils::ownExecutable().parent_path() / L"OstravelInstaller.exe";
    for (int index = 1; index < count; index += 2) {
        const auto* option = std::ranges::find(options, std::wstring_view(arguments[index]), &Option::name);
        const auto name = win32::toUtf8(arguments[index]);
        if (option == std::end(options)) throw UsageError(std::format("there is no option {}", name));
        if (index + 1 == count || *arguments[index + 1] == L'\0')
            throw UsageError(std::format("{} lacks its value", name));
        option->read(line, arguments[index + 1]);
    }
    if (line.payload.empty() != line.out.empty()) throw UsageError("--payload and --out go together");
    if (line.payload.empty() && line.version) throw UsageError("--version goes with --payload");
    if (line.payload.empty() && line.verify.empty()) throw UsageError("there is nothing to do");
    return line;
}

} // namespace kelvane::pack
