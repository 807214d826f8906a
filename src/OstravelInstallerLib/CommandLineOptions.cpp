#include "OstravelInstallerLib/CommandLineOptions.h"

#include "libkelvane/PathUtils.h"
#include "libwin32/Text.h"

#include <charconv>
#include <variant>

namespace kelvane::bst {
namespace {

template <class Value>
using Member = Option<Value> Options::*;

// What an option's text is for, and so which texts it takes.
enum class TextUse {
    AsItIs,
    Path,       // made full, as seen from where the program was started
    Identifier, // goes into quotes in other programs' command lines; an empty one is none
    OneLine,    // goes into the command line of the run after a reboot
};

// The member's type decides whether the option is a switch, a text or a number; its initial value is the default.
struct OptionRow {
    const char* name;
    const char* flag;
    std::variant<Member<bool>, Member<std::wstring>, Member<int>, Member<std::uint32_t>> member;
    const char* description = "";
    TextUse use = TextUse::AsItIs;
};

// clang-format off
constexpr OptionRow optionTable[] = {
    {"clean_only", "c", &Options::clean_only, "Defines that installation won't occur after a successful cleaning"},
    {"", "r", &Options::r},
    {"installer_arguments", "a", &Options::installer_arguments, "arguments to the installer"},
    {"alternative_installer_path", "", &Options::alternative_installer_path, "Path to an alternative installer", TextUse::Path},
    {"fallback_site_token", "t", &Options::fallback_site_token, "Site token in case old site token would not be found automatically", TextUse::Identifier},
    {"diagnostics_site_token", "d", &Options::diagnostics_site_token, "Site token for diagnostics", TextUse::Identifier},
    {"diagnostics", "", &Options::diagnostics, "Take diagnostics"},
    {"diagnostics_only", "o", &Options::diagnostics_only, "Run to only take diagnostics"},
    {"lm", "l", &Options::lm},
    {"health_check_mode", "H", &Options::health_check_mode, "health check mode"},
    {"pmu", "", &Options::pmu},
    {"reboot_on_need", "b", &Options::reboot_on_need, "Reboot on need"},
    {"temp_path", "p", &Options::temp_path, "Temporary path for usage", TextUse::Path},
    {"diagnostics_verbosity_level", "v", &Options::diagnostics_verbosity_level},
    {"force", "f", &Options::force},
    {"ignore_pending_reboot_request", "", &Options::ignore_pending_reboot_request},
    {"dont_cleanstall", "", &Options::dont_cleanstall, "Don't reinstall after the initial installation even if it fails (Stateless Upgrade)"},
    {"no_initial_installation", "", &Options::no_initial_installation, "Don't execute an initial installation (Stateless Upgrade)"},
    {"ppc", "", &Options::ppc, "", TextUse::OneLine},
    {"dont_preserve_proxy", "", &Options::dont_preserve_proxy, "Do not try to preserve the old proxy configuration"},
    {"dont_preserve_agent_uid", "", &Options::dont_preserve_agent_uid, "Do not try to preserve the old Agent uid"},
    {"dont_preserve_config_dir", "", &Options::dont_preserve_config_dir, "Do not try to preserve the old Agent's config dir (Stateless Upgrade)"},
    {"stateless_upgrade", "", &Options::stateless_upgrade, "Executing a stateless upgrade (when possible, proceeding to re-installation after cleaning without rebooting)"},
    {"qn", "q", &Options::qn, "Quiet mode"},
    {"wait", "", &Options::wait},
    {"INSTALLATION_INITIATOR", "", &Options::INSTALLATION_INITIATOR, "", TextUse::Identifier},
    {"dont_fail_on_config_preserving_failures", "", &Options::dont_fail_on_config_preserving_failures, "Don't fail when failing on retrieving previous Agent's configurations (Stateless Upgrade)"},
    {"diagnostic_UID", "", &Options::diagnostic_UID, "", TextUse::Identifier},
    {"INSTALLATION_ID", "", &Options::INSTALLATION_ID, "", TextUse::Identifier},
    {"tmd", "", &Options::tmd, "", TextUse::OneLine},
    {"send_log", "", &Options::send_log},
    {"af", "", &Options::af},
};

struct Rule {
    bool (*broken)(const Options&);
    const char* message;
};

// In the order in which they are checked.
constexpr Rule rules[] = {
    // The stray quote at the end of these two has always been there; tools compare the text.
    {[](const Options& o) { return o.clean_only && o.no_initial_installation; },
     R"("c" and "--no_initial_installation" cannot be used together")"},
    {[](const Options& o) { return o.clean_only && o.dont_cleanstall; },
     R"("c" and "--dont_cleanstall" cannot be used together")"},
    {[](const Options& o) { return (o.no_initial_installation || o.dont_cleanstall) && o.stateless_upgrade.value != 1; },
     R"(stateless_upgrade must be set to 1 if you use "--no_initial_installation" or "--dont_cleanstall")"},
    {[](const Options& o) { return o.no_initial_installation && o.dont_cleanstall; },
     R"("--no_initial_installation" and "--dont_cleanstall" cannot be used together)"},
    {[](const Options& o) { return o.clean_only && o.pmu; },
     R"("--clean_only" and "--pmu" cannot be used together)"},
};
// clang-format on

// A number in decimal digits and nothing else; the parser's own conversion takes an empty text, and a minus sign for an
// unsigned number.
template <class Number>
struct StrictNumber {
    using ValueCategory = TCLAP::StringLike;

    StrictNumber& operator=(const std::string& text) {
        const auto* end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, value);
        if (error != std::errc() || stop != end) {
            throw TCLAP::ArgParseException("Couldn't read argument value from string '" + text + "'");
        }
        return *this;
    }

    Number value;
};

template <class Value>
class ValueArgument : public TCLAP::ValueArg<Value> {
public:
    using TCLAP::ValueArg<Value>::ValueArg;

    // The parser would take "--" for an option without a long name.
    bool argMatches(const std::string& argument) const override {
        return argument != TCLAP::Arg::nameStartString() && TCLAP::ValueArg<Value>::argMatches(argument);
    }
};

std::unique_ptr<TCLAP::SwitchArg> makeArgument(const OptionRow& row, bool) {
    return std::make_unique<TCLAP::SwitchArg>(row.flag, row.name, row.description);
}

std::unique_ptr<ValueArgument<std::string>> makeArgument(const OptionRow& row, const std::wstring& initial) {
    return std::make_unique<ValueArgument<std::string>>(row.flag, row.name, row.description, false,
                                                        win32::toUtf8(initial), "string");
}

template <class Number>
std::unique_ptr<ValueArgument<StrictNumber<Number>>> makeArgument(const OptionRow& row, Number initial) {
    return std::make_unique<ValueArgument<StrictNumber<Number>>>(row.flag, row.name, row.description, false,
                                                                 StrictNumber<Number>{initial}, "number");
}

[[noreturn]] void refuseValue(const TCLAP::ValueArg<std::string>& argument) {
    throw TCLAP::ArgParseException("Couldn't read argument value from string '" + argument.getValue() + "'",
                                   argument.toString());
}

std::wstring fullPath(const TCLAP::ValueArg<std::string>& argument) {
    try {
        return PathUtils::fullPath(win32::toWide(argument.getValue())).native();
    } catch (const win32::Win32Error&) {
        refuseValue(argument);
    }
}

Option<bool> fromParser(const TCLAP::SwitchArg& argument, TextUse) { return {argument.getValue(), argument.isSet()}; }

Option<std::wstring> fromParser(const TCLAP::ValueArg<std::string>& argument, TextUse use) {
    const std::string& text = argument.getValue();
    if (use == TextUse::Path) return {fullPath(argument), argument.isSet()};
    const auto unfit = std::string_view("\"\r\n\0", 4).substr(use == TextUse::Identifier ? 0 : 1);
    if (use != TextUse::AsItIs && text.find_first_of(unfit) != std::string::npos) refuseValue(argument);
    return {win32::toWide(text), argument.isSet() && (use != TextUse::Identifier || !text.empty())};
}

template <class Number>
Option<Number> fromParser(const TCLAP::ValueArg<StrictNumber<Number>>& argument, TextUse) {
    return {argument.getValue().value, argument.isSet()};
}

} // namespace

CommandLineOptions::CommandLineOptions(TCLAP::CmdLineInterface& commandLine) {
    for (const OptionRow& row : optionTable) {
        std::visit(
            [&](auto member) {
                auto argument = makeArgument(row, (Options().*member).value);
                commandLine.add(*argument);
                auto read = [member, use = row.use, source = argument.get()](Options& options) {
                    options.*member = fromParser(*source, use);
                };
                declared_.push_back({std::move(argument), std::move(read)});
            },
            row.member);
    }
}

Options CommandLineOptions::read() const {
    Options options;
    for (const auto& declared : declared_)
        declared.read(options);
    return options;
}

std::vector<OptionName> optionNames(TCLAP::CmdLineInterface& commandLine) {
    std::vector<OptionName> names;
    for (const auto* argument : commandLine.getArgList()) {
        names.push_back({argument->getName(), argument->getFlag(), argument->isValueRequired()});
    }
    return names;
}

const char* brokenRule(const Options& options) {
    for (const Rule& rule : rules) {
        if (rule.broken(options)) return rule.message;
    }
    return nullptr;
}

} // namespace kelvane::bst
