#include "Fuzz.h"

#include "OstravelInstaller/cleaner/CleanerCommandLine.h"
#include "OstravelInstaller/continuation/ContinuationCommandLine.h"
#include "OstravelInstaller/package/MsiProperties.h"
#include "OstravelInstaller/reporting/Enrolment.h"
#include "OstravelInstallerLib/CommandLineOptions.h"
#include "OstravelInstallerLib/InstallerProperty.h"
#include "SharedLib/AgentPaths.h"
#include "libkelvane/PathUtils.h"
#include "libkelvane/ProxyLists.h"
#include "libkelvane/ProxyUtilities.h"
#include "libwin32/Handles.h"
#include "libwin32/Text.h"

#include <shellapi.h>

#include <algorithm>

namespace fuzz {
namespace {

using namespace kelvane;
using namespace kelvane::bst;
using std::wstring;
using std::wstring_view;
using win32::toUtf8;
using win32::toWide;

bool holdsAnyOf(wstring_view text, wstring_view characters) {
    return text.find_first_of(characters) != wstring_view::npos;
}
constexpr wstring_view lineEnds(L"\r\n\0", 3), lineEndsAndQuote(L"\"\r\n\0", 4), blanksAndQuote(L"\"\r\n\0 \t\v\f", 8);

std::vector<wstring> words(const wstring& line) {
    int count = 0;
    const win32::UniqueLocal<LPWSTR> words(CommandLineToArgvW((L"program " + line).c_str(), &count));
    return {words.get(), words.get() + count};
}

// The arguments of the run after the reboot, as that one reads them.
std::string readBack(const ContinuationArguments& given) {
    OstravelInstallerCmdLine commandLine;
    require(commandLine.parse(words(continuationCommandLine(given))), "nothing is shown in quiet mode");
    const Options& options = commandLine.options();
    require(options.quiet() && options.r.value == static_cast<std::uint32_t>(given.action) &&
                toUtf8(options.fallback_site_token.value) == given.siteToken &&
                options.INSTALLATION_ID.value == given.installationId && options.tmd.value == given.tmd &&
                toUtf8(options.installer_arguments.value) == given.installerArguments &&
                options.ppc.value == given.ppc && toUtf8(options.diagnostic_UID.value) == given.diagnosticUid &&
                options.reboot_on_need.value == given.rebootOnNeed && options.diagnostics.value == given.diagnostics &&
                options.send_log.value == given.sendLog && options.pmu.value == given.pmu,
            "the run after the reboot reads the arguments that were written");
    return toUtf8(continuationCommandLine(given));
}

std::string askContinuation(std::string_view input) {
    const auto parts = pieces(input, 7);
    ContinuationArguments given;
    given.siteToken = text(parts[0]), given.installationId = wideText(parts[1]), given.tmd = wideText(parts[2]);
    given.installerArguments = text(parts[3]), given.ppc = wideText(parts[4]), given.diagnosticUid = text(parts[5]);
    given.action = parts[6].empty() ? PostRebootAction::CleanAndInstall : PostRebootAction::Install;
    given.reinstallReason = "HealthCheck";
    given.rebootOnNeed = parts[6].size() % 2, given.sendLog = parts[6].size() % 3, given.pmu = parts[6].size() % 5;
    const auto identifiers = toWide(given.siteToken) + given.installationId + toWide(*given.diagnosticUid);
    const auto rest = given.tmd + given.ppc + toWide(*given.installerArguments);
    const auto answer = answerOf([&] { return readBack(given); });
    require(answer.starts_with("refused") == (holdsAnyOf(identifiers, lineEndsAndQuote) || holdsAnyOf(rest, lineEnds)),
            "only what cannot be carried is refused");
    return answer;
}

std::string askCommandLine(std::string_view input) {
    static TCLAP::CmdLine parser("fuzz", ' ', "", false);
    static const CommandLineOptions declared(parser);
    const auto given = words(L"-q " + wide(input));
    std::vector<std::string> narrow(given.size() - 1);
    std::ranges::transform(given.begin() + 1, given.end(), narrow.begin(), toUtf8);
    const auto names = optionNames(parser);
    const auto once = normalizeArguments(narrow, names), twice = normalizeArguments(once.arguments, names);
    require(once.quiet && twice.quiet && once.arguments == twice.arguments, "normalising again changes nothing");
    // After it the parser reads nothing more in this process.
    if (std::ranges::count(once.arguments, "--") != 0) return "ignored";
    OstravelInstallerCmdLine commandLine;
    try {
        require(commandLine.parse(given), "nothing is shown in quiet mode");
    } catch (const HandledByCommandLineParserError& error) {
        return error.what();
    }
    const Options& options = commandLine.options();
    ContinuationArguments next{.siteToken = toUtf8(options.fallback_site_token.value),
                               .installationId = options.INSTALLATION_ID.value,
                               .tmd = options.tmd.value,
                               .reinstallReason = {},
                               .installerArguments = toUtf8(options.installer_arguments.value),
                               .i = {},
                               .u = {},
                               .m = {},
                               .ppc = options.ppc.value,
                               .diagnosticUid = toUtf8(options.diagnostic_UID.value),
                               .rebootOnNeed = options.reboot_on_need.value,
                               .diagnostics = options.diagnostics.value,
                               .sendLog = options.send_log.value,
                               .pmu = options.pmu.value};
    const auto answer = answerOf([&] { return readBack(next); });
    require(answer.starts_with("refused") == holdsAnyOf(options.installer_arguments.value, lineEnds),
            "what one run reads the next one is given");
    return answer;
}

std::string askProperty(std::string_view input) {
    const auto parts = pieces(input, 2);
    const auto value = wide(parts[0]), rest = wide(parts[1]);
    const auto found = findInstallerProperty(rest, L"NAME");
    require(found.has_value() == (rest.find(L"NAME=") != wstring::npos), "what is assigned is found");
    if (!holdsAnyOf(value, L"\"\r\n\u2028\u2029")) {
        require(findInstallerProperty(L"NAME=\"" + value + L"\" " + rest, L"NAME") == value,
                "quotes keep a value whole");
    }
    return toUtf8(found.value_or(L"none"));
}

// The words of a package's arguments, apart at blanks outside quotes, as far as the equals sign.
wstring propertyNames(wstring_view arguments) {
    wstring names;
    bool quoted = false, value = false;
    for (const wchar_t c : arguments) {
        if (c == L'"') quoted = !quoted;
        if (!quoted && (c == L' ' || c == L'\t')) value = false;
        value = value || c == L'=';
        if (!value) names += c;
    }
    return names;
}

std::string askPackageArguments(std::string_view input) {
    const auto parts = pieces(input, 5);
    BaseProperties base{.diagUid = wideText(parts[0]), .initiator = wideText(parts[1])};
    base.agentUid = wideText(parts[2]), base.customerId = wideText(parts[3]);
    RunProperties run{.siteToken = text(parts[4]), .installationId = base.diagUid};
    const auto bare = *base.agentUid,
               quoted = base.diagUid + base.initiator + *base.customerId + toWide(*run.siteToken);
    const auto answer = answerOf([&] {
        auto arguments = basePropertyString(base);
        appendServerProxy(arguments, *base.agentUid);
        const auto all = arguments + runPropertyString(run);
        const bool vdi = propertyNames(all).find(L"AGENT_UID") == wstring::npos;
        require(vdi ? win32::findIgnoringAsciiCase(all, L"VDI=true") != wstring::npos
                    : propertyNames(all) ==
                          L" DIAG_UID INSTALLATION_INITIATOR AGENT_UID FORCE_SET_AGENT_UID CUSTOMER_ID "
                          L"SERVER_PROXY BST_REINSTALL_REASON SITE_TOKEN INSTALLATION_ID",
                "no value brings in a property");
        return toUtf8(all);
    });
    require(answer.starts_with("refused") == (holdsAnyOf(bare, blanksAndQuote) || holdsAnyOf(quoted, lineEndsAndQuote)),
            "only what cannot be carried is refused");
    return answer;
}

std::string askCleaner(std::string_view input) {
    const auto parts = pieces(input, 2);
    CleanerOptions options{.siteToken = text(parts[0]), .diagUid = text(parts[1])};
    const auto answer = answerOf([&] {
        const auto given = words(cleaningCommandLine(L"C:\\a b\\c.exe", options));
        require(given == std::vector<wstring>{L"program", L"C:\\a b\\c.exe", L"-t", toWide(*options.siteToken), L"-d",
                                              L"0", L"-l", L"1", L"--diag_uid", toWide(*options.diagUid), L"-v", L"1",
                                              L"--log", L"0"},
                "the cleaner is given the values as they are");
        return toUtf8(given[3] + given[9]);
    });
    require(answer.starts_with("refused") ==
                holdsAnyOf(toWide(*options.siteToken + *options.diagUid), lineEndsAndQuote),
            "only what cannot be carried is refused");
    return answer;
}

// Numbers between dots, read another way.
bool isVersion(std::string text, std::ptrdiff_t least) {
    const auto parts = std::ranges::count(text, '.') + 1;
    for (std::size_t end = 0; end != std::string::npos; text.erase(0, end + 1)) {
        end = text.find('.');
        const auto digits = text.substr(0, end);
        const auto zeros = std::min(digits.find_first_not_of('0'), digits.size());
        if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) return false;
        if (digits.size() > zeros + 5 || std::stoul("0" + digits.substr(zeros)) > UINT16_MAX) return false;
        if (end == std::string::npos) break;
    }
    return parts >= least && parts <= 4;
}

std::string askVersion(std::string_view input) {
    const auto version = parseAgentVersion(wide(input)), shortened = parseShortAgentVersion(wide(input));
    require(version.has_value() == isVersion(text(input), 4) && shortened.has_value() == isVersion(text(input), 1),
            "a version is one to four dotted numbers up to 65535");
    if (!shortened) return "none";
    require(parseAgentVersion(shortened->str()) == *shortened && (!version || *version == *shortened),
            "a version that is written is read back");
    for (const auto* folder : {L"D:\\x\\Ostravel\\", L"C:\\P\\Kelvane Agent "}) {
        const auto path = folder + shortened->str() + L"\\" + wide(input);
        require(versionFromAgentPath(path) == *shortened, "an agent's path tells its version");
    }
    return toUtf8(shortened->str());
}

std::string askAgentPath(std::string_view input) {
    const auto path = wide(input);
    const auto version = versionFromAgentPath(path);
    if (!path.empty() && !holdsAnyOf(path, wstring_view(L"\"% \t\0", 5))) {
        require(programOfImagePath(L'"' + path + L"\" -k x") == programOfImagePath(path) &&
                    programOfImagePath(path + L" ").native().starts_with(programOfImagePath(path).native()),
                "quotes and arguments are no part of a program's path");
    }
    if (path.find(L'\0') == wstring::npos && path.substr(0, 3) == L"C:\\" && PathUtils::isPathValid(path)) {
        require(PathUtils::fullPath(PathUtils::longPath(path + L"\\")) == PathUtils::fullPath(path + L"\\"),
                "the long form of a path is the same path");
    }
    return toUtf8(version ? version->str() : L"none") + toUtf8(programOfImagePath(path).native());
}

std::string askProxy(std::string_view input) {
    using namespace ProxyUtilities;
    constexpr wstring_view password = L"S3cret";
    std::string noNul(input); // command lines and checked configuration hold none
    std::erase(noNul, '\0');
    const auto parts = pieces(noNul, 5);
    const auto before = wide(parts[0]), user = wide(parts[1]) + L':', after = wide(parts[2]);
    const auto secret = user + wstring(password) + wide(parts[3]) + L"@";
    const auto hidden = [&](const wstring& shown, const char* promise) {
        require(shown.find(password) == wstring::npos, promise);
        return toUtf8(shown) + "\n";
    };
    std::string answer;
    const auto setting = wide(parts[4]) + secret + after;
    if (after.find(L'@') == wstring::npos &&
        (before + user + after + wide(parts[3]) + wide(parts[4])).find(password) == wstring::npos) {
        answer += hidden(withoutUserPart(setting), "no password is in a setting that is logged");
        if (!holdsAnyOf(setting, L"\" \t\r\n\\") &&
            win32::findIgnoringAsciiCase(before, L"SERVER_PROXY=") == wstring::npos) {
            for (const auto* quote : {L"", L"\"", L"\\\""}) {
                const auto line = before + L" SERVER_PROXY=" + quote + setting + quote + L" A=b";
                answer += hidden(loggedCommandLine(line), "no password is in a command line that is logged");
            }
        }
    }
    return answer + answerOf([&] {
               const auto configuration = ParseProxyConfiguration(setting);
               if (answer.empty()) return toUtf8(configuration.address.to_string());
               return hidden(ProxyToString(configuration), "no password is in a proxy that is logged");
           });
}

std::string askProxyLists(std::string_view input) {
    using namespace ProxyUtilities;
    const auto parts = pieces(input, 2);
    const auto list = wide(parts[0]), server = wide(parts[1]);
    return answerOf([&]() -> std::string {
        const bool bypassed = isBypassed(list, server);
        require(isBypassed(list + L";*", server) && isBypassed(L"* " + list, server), "* is for every server");
        require(isBypassed(list + L" ;x", server) >= bypassed, "an entry more takes nothing away");
        return (bypassed ? "direct " : "proxy ") + toUtf8(proxyForScheme(list, server).value_or(L"none"));
    });
}

std::string askToken(std::string_view input) {
    const auto parts = pieces(input, 2);
    const auto url = wideText(parts[0]), key = wideText(parts[1]);
    auto object = web::json::value::object();
    object[L"url"] = web::json::value::string(url), object[L"site_key"] = web::json::value::string(key);
    const auto json = toUtf8(object.serialize());
    const auto made = siteFromToken(toUtf8(utility::conversions::to_base64({json.begin(), json.end()})));
    const bool fit = !win32::hasControlCharacter(toUtf8(url + key));
    require(made.has_value() == fit && (!made || (made->server == url && made->siteKey == key)),
            "a site's token tells its server and key");
    const auto site = siteFromToken(input);
    if (!site) return "opaque";
    require(!win32::hasControlCharacter(toUtf8(site->server + site->siteKey)),
            "no control character comes out of a token");
    return toUtf8(site->server + L" " + site->siteKey);
}

std::string askServer(std::string_view input) {
    const wstring address = wide(input).c_str(); // what follows a NUL is no part of an address
    if (!mayReportTo(address)) return "refused";
    // The host, found another way.
    auto rest = address.substr(address.find(L"://") + 3);
    rest = rest.substr(0, rest.find_first_of(L"/?#"));
    rest = rest.substr(rest.rfind(L'@') + 1);
    if (const auto port = rest.find_last_of(L":]"); port != wstring::npos && rest[port] == L':') rest.resize(port);
    if (address.size() > 4 && win32::equalsIgnoringAsciiCase(address.substr(0, 5), L"https"))
        return toUtf8(L"https " + rest);
    require(win32::equalsIgnoringAsciiCase(rest, L"localhost") || rest == L"[::1]" ||
                (rest.starts_with(L"127.") && rest.find_first_not_of(L"0123456789.") == wstring::npos),
            "plain HTTP stays on this machine");
    return toUtf8(L"http " + rest);
}

constexpr Target targets[] = {
    {"agent_path", askAgentPath},
    {"cleaner", askCleaner},
    {"command_line", askCommandLine},
    {"continuation", askContinuation},
    {"package_arguments", askPackageArguments},
    {"property", askProperty},
    {"proxy", askProxy},
    {"proxy_lists", askProxyLists},
    {"server", askServer},
    {"token", askToken},
    {"version", askVersion},
};

} // namespace

std::span<const Target> textTargets() { return targets; }

} // namespace fuzz
