#include "Fuzz.h"

#include "OstravelInstaller/continuation/ContinuationCommandLine.h"
#include "OstravelInstaller/package/MsiProperties.h"
#include "OstravelInstaller/reporting/Enrolment.h"
#include "OstravelInstallerLib/CommandLineOptions.h"
#include "OstravelInstallerLib/InstallerProperty.h"
#include "SharedLib/AgentPaths.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/ProxyUtilities.h"
#include "libkelvane/ZipFile.h"
#include "libwin32/Handles.h"
#include "libwin32/Text.h"

#include <shellapi.h>

#include <algorithm>
#include <regex>

namespace fuzz {
namespace {

using namespace kelvane;
using namespace kelvane::bst;
using std::wstring;
using std::wstring_view;
using win32::toUtf8;
using win32::toWide;

constexpr wstring_view lineEnds(L"\r\n\0", 3), lineEndsAndQuote(L"\"\r\n\0", 4), blanksAndQuote(L"\"\r\n\0 \t\v\f", 8);
bool has(wstring_view text, wstring_view anyOf) { return text.find_first_of(anyOf) != wstring_view::npos; }
bool contains(wstring_view text, wstring_view part) { return text.find(part) != wstring_view::npos; }

std::vector<wstring> words(const wstring& line) {
    int count = 0;
    const win32::UniqueLocal<LPWSTR> words(CommandLineToArgvW((L"program " + line).c_str(), &count));
    return {words.get(), words.get() + count};
}

// What the run after the reboot is to know, and reads in its own command line.
std::string readBack(const ContinuationArguments& given) {
    const Options& options = given.options;
    OstravelInstallerCmdLine line;
    require(line.parse(words(continuationCommandLine(given))), "nothing is shown in quiet mode");
    require(line->quiet() && line->r.value == static_cast<std::uint32_t>(given.action) &&
                toUtf8(line->fallback_site_token.value) == given.siteToken &&
                line->INSTALLATION_ID.value == given.installationId && line->tmd.value == options.tmd.value &&
                line->installer_arguments.value == options.installer_arguments.value &&
                line->ppc.value == options.ppc.value && line->diagnostic_UID.value == given.diagnosticUid &&
                line->pmu.value == options.pmu.value && line->send_log.value == options.send_log.value,
            "the run after the reboot reads the arguments that were written");
    return toUtf8(continuationCommandLine(given));
}

std::string askContinuation(std::string_view input) {
    const auto parts = pieces(input, 6);
    Options options;
    options.tmd.value = wideText(parts[2]), options.installer_arguments = {wideText(parts[3]), true};
    options.ppc.value = wideText(parts[4]);
    options.send_log.value = input.size() % 2, options.pmu.value = input.size() % 3;
    ContinuationArguments given{.options = options, .action = PostRebootAction::Install, .siteToken = text(parts[0])};
    given.installationId = wideText(parts[1]), given.reinstallReason = L"HealthCheck";
    given.diagnosticUid = wideText(parts[5]);
    const auto unfit = has(toWide(given.siteToken) + given.diagnosticUid + given.installationId, lineEndsAndQuote) ||
                       has(options.tmd.value + options.ppc.value + options.installer_arguments.value, lineEnds);
    return answerUnless(unfit, [&] { return readBack(given); });
}

std::string askCommandLine(std::string_view input) {
    static TCLAP::CmdLine parser("fuzz", ' ', "", false);
    static const CommandLineOptions declared(parser);
    const auto given = words(L"-q " + wide(input));
    std::vector<std::string> narrow(given.size() - 1);
    std::ranges::transform(given.begin() + 1, given.end(), narrow.begin(), toUtf8);
    const auto once = normalizeArguments(narrow, optionNames(parser));
    const auto twice = normalizeArguments(once.arguments, optionNames(parser));
    require(once.quiet && twice.quiet && once.arguments == twice.arguments, "normalising again changes nothing");
    // After it the parser reads nothing more in this process.
    if (std::ranges::count(once.arguments, "--") != 0) return "ignored";
    OstravelInstallerCmdLine line;
    try {
        require(line.parse(given), "nothing is shown in quiet mode");
    } catch (const HandledByCommandLineParserError& error) {
        return error.what();
    }
    ContinuationArguments next{.options = line.options(), .siteToken = toUtf8(line->fallback_site_token.value)};
    next.installationId = line->INSTALLATION_ID.value, next.diagnosticUid = line->diagnostic_UID.value;
    return answerUnless(has(line->installer_arguments.value, lineEnds), [&] { return readBack(next); });
}

std::string askProperty(std::string_view input) {
    const auto parts = pieces(input, 2);
    const auto value = wide(parts[0]), rest = wide(parts[1]);
    const auto found = findInstallerProperty(rest, L"NAME");
    require(found.has_value() == contains(rest, L"NAME="), "what is assigned is found");
    require(has(value, L"\"\r\n\u2028\u2029") ||
                findInstallerProperty(L"NAME=\"" + value + L"\" " + rest, L"NAME") == value,
            "quotes keep a value whole");
    return toUtf8(found.value_or(L"none"));
}

// The words of a package's arguments, apart at blanks outside quotes, each as far as its equals sign.
wstring propertyNames(wstring_view arguments) {
    wstring names;
    bool quoted = false, value = false;
    for (const wchar_t c : arguments) {
        quoted ^= c == L'"';
        value = (value && (quoted || (c != L' ' && c != L'\t'))) || c == L'=';
        if (!value) names += c;
    }
    return names;
}

std::string askPackageArguments(std::string_view input) {
    const auto parts = pieces(input, 4);
    BaseProperties base{.diagUid = wideText(parts[0]), .initiator = wideText(parts[1]), .agentUid = wideText(parts[2])};
    const RunProperties run{.siteToken = text(parts[3]), .installationId = base.diagUid};
    const auto quoted = base.diagUid + base.initiator + toWide(*run.siteToken);
    return answerUnless(has(*base.agentUid, blanksAndQuote) || has(quoted, lineEndsAndQuote), [&] {
        auto all = basePropertyString(base);
        appendServerProxy(all, *base.agentUid);
        all += runPropertyString(run);
        require(win32::findIgnoringAsciiCase(all, L"VDI=true") != wstring::npos ||
                    propertyNames(all) == L" DIAG_UID INSTALLATION_INITIATOR AGENT_UID FORCE_SET_AGENT_UID SERVER_PROXY"
                                          L" BST_REINSTALL_REASON SITE_TOKEN INSTALLATION_ID",
                "no value brings in a property");
        return toUtf8(all);
    });
}

std::string askVersion(std::string_view input) {
    static const std::regex full("(0*\\d{1,5}\\.){3}0*\\d{1,5}"), brief("(0*\\d{1,5}\\.){0,3}0*\\d{1,5}");
    const auto given = text(input.substr(0, 100)), path = "\\" + given + "\\Ostravel\\";
    const auto version = parseAgentVersion(toWide(given)), shortened = parseShortAgentVersion(toWide(given));
    require(!version || (std::regex_match(given, full) && version == shortened), "a version has four numbers");
    if (!shortened) return "none";
    require(std::regex_match(given, brief), "a version is dotted numbers");
    require(parseAgentVersion(shortened->str()) == shortened, "a version that is written is read back");
    require(versionFromAgentPath(toWide(path) + shortened->str() + L"\\x") == shortened, "a path tells the version");
    return toUtf8(shortened->str());
}

std::string askAgentPath(std::string_view input) {
    const auto path = wide(input), program = programOfImagePath(path).native();
    require(path.empty() || has(path, wstring_view(L"\"% \t\0", 5)) ||
                (programOfImagePath(L'"' + path + L"\" -k x") == program &&
                 programOfImagePath(path + L".exe x").native().starts_with(program)),
            "quotes and arguments are no part of a program's path");
    require(has(path, wstring_view(L"\0", 1)) || !path.starts_with(L"C:\\") || !PathUtils::isPathValid(path) ||
                PathUtils::fullPath(PathUtils::longPath(path + L"\\")) == PathUtils::fullPath(path + L"\\"),
            "the long form of a path is the same path");
    const auto version = versionFromAgentPath(path);
    return toUtf8((version ? version->str() : L"none ") + program);
}

std::string askEntryName(std::string_view input) {
    auto name = wide(input);
    if (!isSafeEntryName(name)) return "refused";
    std::ranges::replace(name, L'/', L'\\');
    require(PathUtils::fullPath(L"C:\\base\\" + name).native() == L"C:\\base\\" + name,
            "a safe name stays where it is");
    return toUtf8(name);
}

std::string askProxy(std::string_view input) {
    std::string bytes(input); // without NUL, as command lines and checked configuration are
    std::erase(bytes, '\0');
    const auto parts = pieces(bytes, 5);
    const auto before = wide(parts[0]), host = wide(parts[1]), scheme = wide(parts[2]), user = wide(parts[3]);
    const auto setting = scheme + user + L":S3cret" + wide(parts[4]) + L"@" + host;
    if (contains(host, L"@") || contains(before + host + scheme + user + wide(parts[4]), L"S3cret")) return "unclear";
    std::string all;
    const auto show = [&](const wstring& shown) {
        require(!contains(shown, L"S3cret"), "no password is logged");
        all += toUtf8(shown) + "\n";
    };
    show(ProxyUtilities::withoutUserPart(setting));
    if (!has(setting, L"\" \t\r\n\\") && win32::findIgnoringAsciiCase(before, L"SERVER_PROXY=") == wstring::npos) {
        for (const auto* quote : {L"", L"\"", L"\\\""})
            show(loggedCommandLine(before + L" SERVER_PROXY=" + quote + setting + quote + L" A=b"));
    }
    return all + answerOf([&] {
               show(ProxyUtilities::ProxyToString(ProxyUtilities::ParseProxyConfiguration(setting)));
               return toUtf8(ProxyUtilities::MakeProxyUri(host).to_string());
           });
}

std::string askToken(std::string_view input) {
    const auto parts = pieces(input, 2);
    const auto url = wideText(parts[0]), key = wideText(parts[1]);
    const auto object =
        web::json::value::object({{L"url", web::json::value(url)}, {L"site_key", web::json::value(key)}});
    const auto json = toUtf8(object.serialize());
    const auto made = siteFromToken(toUtf8(utility::conversions::to_base64({json.begin(), json.end()})));
    require(made ? made->server == url && made->siteKey == key : win32::hasControlCharacter(toUtf8(url + key)),
            "a site's token tells its server and key");
    const auto site = siteFromToken(input).value_or(ManagementSite{L"opaque", {}});
    require(!win32::hasControlCharacter(toUtf8(site.server + site.siteKey)), "no control character comes of a token");
    return toUtf8(site.server + L" " + site.siteKey);
}

std::string askServer(std::string_view input) {
    // The host, found another way than the HTTP library's.
    static const std::wregex local(L"[^:]+://([^/?#]*@)?(localhost|127\\.[0-9.]+|\\[::1\\])(:[0-9]*)?([/?#].*)?",
                                   std::regex::icase);
    const auto address = wide(input.substr(0, 200));
    if (!mayReportTo(address)) return "refused";
    require(win32::equalsIgnoringAsciiCase(address.substr(0, 6), L"https:") || std::regex_match(address.c_str(), local),
            "plain HTTP stays on this machine");
    return toUtf8(address);
}

constexpr Target targets[] = {{"agent_path", askAgentPath},
                              {"command_line", askCommandLine},
                              {"continuation", askContinuation},
                              {"entry_name", askEntryName},
                              {"package_arguments", askPackageArguments},
                              {"property", askProperty},
                              {"proxy", askProxy},
                              {"server", askServer},
                              {"token", askToken},
                              {"version", askVersion}};

} // namespace

std::span<const Target> textTargets() { return targets; }

} // namespace fuzz
