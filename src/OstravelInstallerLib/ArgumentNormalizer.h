#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kelvane::bst {

// How one declared option is written, without dashes; it may lack either form.
struct OptionName {
    std::string name;
    std::string flag;
    bool takesValue = false;
};

struct NormalizedArguments {
    std::vector<std::string> arguments; // what the parser is given
    bool quiet = false;                 // the quiet switch is among them, whatever else is wrong with them
    bool endOfOptions = false;          // so is "--" in an option's place, behind which the parser reads nothing
    std::optional<std::string> reinstallReason;
};

// Brings the arguments that follow the program's own name into the one form that the parser knows:
// - known options get one dash before a flag and two before a long name, however many were typed;
// - flags behind one dash, of which at most the last takes a value, become an argument each;
// - NAME=VALUE with a long name that takes a value, with dashes or bare, becomes two arguments; so does one argument
//   that holds both with a blank between;
// - BST_REINSTALL_REASON=VALUE, which only this program's own continuation writes, is taken out;
// - the value after an option that takes one, and all that names no option, are passed on unchanged.
NormalizedArguments normalizeArguments(std::span<const std::string> arguments, std::span<const OptionName> declared);

} // namespace kelvane::bst
