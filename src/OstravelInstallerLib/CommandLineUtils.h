#pragma once

#include "libwin32/Win32Error.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <source_location>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::bst {

// The parser has dealt with its own output in quiet mode: usage, version or a failure that is not shown. what() is the
// failure's text.
class HandledByCommandLineParserError : public std::runtime_error {
public:
    explicit HandledByCommandLineParserError(const std::string& text,
                                             const win32::ErrorLocation& location = std::source_location::current())
        : std::runtime_error(text), location_(location) {}

    const win32::ErrorLocation& location() const { return location_; }

private:
    win32::ErrorLocation location_;
};

// One option of this run: its value (the default when it was not given) and whether it was given.
template <class Value>
struct Option {
    Value value{};
    bool given = false;
    explicit operator bool() const { return given; }
};

// The options of this run, by their long names. Read-only after parsing.
struct Options {
    Option<bool> clean_only;
    Option<std::uint32_t> r; // the stage of a run that continues after a reboot
    Option<std::wstring> installer_arguments;
    Option<std::wstring> alternative_installer_path;
    Option<std::wstring> fallback_site_token;
    Option<std::wstring> diagnostics_site_token;
    Option<bool> diagnostics;
    Option<bool> diagnostics_only;
    Option<bool> lm;
    Option<int> health_check_mode;
    Option<bool> pmu;
    Option<bool> reboot_on_need;
    Option<std::wstring> temp_path;
    Option<int> diagnostics_verbosity_level{1, false};
    Option<bool> force;
    Option<bool> ignore_pending_reboot_request;
    Option<bool> dont_cleanstall;
    Option<bool> no_initial_installation;
    Option<std::wstring> ppc;
    Option<bool> dont_preserve_proxy;
    Option<bool> dont_preserve_agent_uid;
    Option<bool> dont_preserve_config_dir;
    Option<int> stateless_upgrade;
    Option<bool> qn;
    Option<bool> wait;
    Option<std::wstring> INSTALLATION_INITIATOR;
    Option<bool> dont_fail_on_config_preserving_failures;
    Option<std::wstring> diagnostic_UID;
    Option<std::wstring> INSTALLATION_ID;
    Option<std::wstring> tmd;
    Option<bool> send_log;
    Option<std::wstring> af;
    Option<std::wstring> BST_REINSTALL_REASON; // only as a bare NAME=VALUE: what a continuation was scheduled for

    bool stateless() const { return stateless_upgrade.value == 1 || wait.value; }
    bool afterReboot() const { return r.value != 0; }
    bool quiet() const { return qn.value; }
};

class OstravelInstallerCmdLine {
public:
    OstravelInstallerCmdLine();
    ~OstravelInstallerCmdLine();
    OstravelInstallerCmdLine(const OstravelInstallerCmdLine&) = delete;
    OstravelInstallerCmdLine& operator=(const OstravelInstallerCmdLine&) = delete;

    // Parses GetCommandLineW. False after usage, version or a failure has been printed on a console, whose window is
    // there then; in quiet mode it throws HandledByCommandLineParserError instead. Throws std::runtime_error "Cannot
    // get command line arguments".
    bool parse();
    // The same for another command line, or for given arguments, the program's own name first.
    bool parseLine(const std::wstring& commandLine);
    bool parse(const std::vector<std::wstring>& arguments);

    const Options& options() const { return options_; }
    const Options* operator->() const { return &options_; }
    // The value of NAME="value" or NAME=value inside installer_arguments.
    std::optional<std::wstring> getInstallerProperty(std::wstring_view name) const;

private:
    struct Parser;
    std::unique_ptr<Parser> parser_;
    Options options_;
};

} // namespace kelvane::bst
