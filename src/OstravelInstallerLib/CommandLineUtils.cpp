#include "OstravelInstallerLib/CommandLineUtils.h"

#include "OstravelInstallerLib/CommandLineOptions.h"
#include "OstravelInstallerLib/Console.h"
#include "OstravelInstallerLib/InstallerProperty.h"
#include "ProductLib/InstallerEvents.h"
#include "libwin32/Handles.h"
#include "libwin32/Text.h"

#include <tclap/CmdLine.h>

#include <shellapi.h>

#include <algorithm>
#include <iterator>
#include <span>

namespace kelvane::bst {
namespace {

// What the parser says of an argument may hold the whole of it.
std::wstring logged(const std::string& text) { return loggedCommandLine(win32::toWide(text)); }

// Where usage, version and failures go: on a console opened for them, and nowhere in quiet mode.
class OstravelInstallerOutput : public TCLAP::StdOutput {
public:
    void setQuiet(bool quiet) { quiet_ = quiet; }

    void usage(TCLAP::CmdLineInterface& commandLine) override {
        open("usage is not shown in quiet mode");
        StdOutput::usage(commandLine);
    }

    void version(TCLAP::CmdLineInterface& commandLine) override {
        open("version is not shown in quiet mode");
        StdOutput::version(commandLine);
    }

    void failure(TCLAP::CmdLineInterface& commandLine, TCLAP::ArgException& error) override {
        logEvent(LogLevel::Error, "CommandLineRefused",
                 {{"Argument", logged(error.argId())}, {"ErrorMsg", logged(error.error())}});
        if (quiet_) throw HandledByCommandLineParserError(error.error());
        openConsole();
        try {
            StdOutput::failure(commandLine, error);
        } catch (const TCLAP::ExitException&) {
            // The run driver decides how the process ends.
        }
    }

private:
    void open(const char* reasonInQuietMode) const {
        if (quiet_) throw HandledByCommandLineParserError(reasonInQuietMode);
        openConsole();
    }

    bool quiet_ = false;
};

std::vector<std::string> toUtf8(std::span<const std::wstring> arguments) {
    std::vector<std::string> narrow;
    std::ranges::transform(arguments, std::back_inserter(narrow), win32::toUtf8);
    return narrow;
}

} // namespace

struct OstravelInstallerCmdLine::Parser {
    Parser() {
        commandLine.setOutput(&output);
        commandLine.setExceptionHandling(false); // it would end the process
    }

    OstravelInstallerOutput output;
    TCLAP::CmdLine commandLine{"OstravelInstaller", ' ', "not_set_yet"};
    CommandLineOptions options{commandLine};
};

OstravelInstallerCmdLine::OstravelInstallerCmdLine() : parser_(std::make_unique<Parser>()) {}
OstravelInstallerCmdLine::~OstravelInstallerCmdLine() = default;

bool OstravelInstallerCmdLine::parse() {
    const wchar_t* text = GetCommandLineW();
    if (!text) throw std::runtime_error("Cannot get command line arguments");
    return parseLine(text);
}

bool OstravelInstallerCmdLine::parseLine(const std::wstring& commandLine) {
    int count = 0;
    const win32::UniqueLocal<LPWSTR> arguments(CommandLineToArgvW(commandLine.c_str(), &count));
    if (!arguments) throw std::runtime_error("Cannot get command line arguments");
    return parse({arguments.get(), arguments.get() + count});
}

bool OstravelInstallerCmdLine::parse(const std::vector<std::wstring>& arguments) {
    if (arguments.empty()) throw std::runtime_error("Cannot get command line arguments");
    const auto narrow = toUtf8(arguments);
    auto normalized = normalizeArguments(std::span(narrow).subspan(1), optionNames(parser_->commandLine));
    normalized.arguments.insert(normalized.arguments.begin(), narrow.front());
    parser_->output.setQuiet(normalized.quiet);
    parser_->commandLine.reset();
    options_ = {};
    try {
        if (normalized.endOfOptions) throw TCLAP::CmdLineParseException("Couldn't find match for argument", "--");
        parser_->commandLine.parse(normalized.arguments);
        Options options = parser_->options.read();
        if (const char* message = brokenRule(options)) throw TCLAP::CmdLineParseException(message);
        options_ = std::move(options);
    } catch (TCLAP::ArgException& error) {
        parser_->output.failure(parser_->commandLine, error);
        return false;
    } catch (const TCLAP::ExitException&) {
        return false; // usage or version has been printed
    }
    if (normalized.reinstallReason) options_.BST_REINSTALL_REASON = {win32::toWide(*normalized.reinstallReason), true};
    return true;
}

std::optional<std::wstring> OstravelInstallerCmdLine::getInstallerProperty(std::wstring_view name) const {
    return findInstallerProperty(options_.installer_arguments.value, name);
}

} // namespace kelvane::bst
