#pragma once

#include "OstravelInstallerLib/ArgumentNormalizer.h"
#include "OstravelInstallerLib/CommandLineUtils.h"

#include <tclap/CmdLine.h>

#include <functional>
#include <memory>
#include <vector>

namespace kelvane::bst {

// The program's options as the parser knows them.
class CommandLineOptions {
public:
    // Declares every option of the table, in its order. `commandLine` must outlive this and brings help and version
    // itself.
    explicit CommandLineOptions(TCLAP::CmdLineInterface& commandLine);

    // What was parsed, with defaults for what was not given. Throws TCLAP::ArgParseException for a text that the
    // option cannot take.
    Options read() const;

private:
    struct Declared {
        std::unique_ptr<TCLAP::Arg> argument;
        std::function<void(Options&)> read;
    };
    std::vector<Declared> declared_;
};

// How each option that the parser knows is written.
std::vector<OptionName> optionNames(TCLAP::CmdLineInterface& commandLine);

// The message of the first rule on options that exclude or need each other which the given options break; null when
// none.
const char* brokenRule(const Options& options);

} // namespace kelvane::bst
