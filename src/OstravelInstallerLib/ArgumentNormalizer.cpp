#include "OstravelInstallerLib/ArgumentNormalizer.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace kelvane::bst {
namespace {

constexpr std::string_view quietFlag = "q";
constexpr std::string_view endOfOptions = "--";
constexpr std::string_view reinstallReasonPrefix = "BST_REINSTALL_REASON=";

struct SplitArgument {
    std::string_view name;      // without leading dashes
    std::string_view delimiter; // "=", " ", or none
    std::string_view value;
    std::size_t dashes;
};

SplitArgument split(std::string_view argument) {
    const auto dashes = std::min(argument.find_first_not_of('-'), argument.size());
    const auto rest = argument.substr(dashes);
    const auto end = std::min(rest.find_first_of(" ="), rest.size());
    const auto tail = rest.substr(end);
    return {rest.substr(0, end), tail.substr(0, 1), tail.empty() ? tail : tail.substr(1), dashes};
}

std::string dashed(std::string_view name) { return (name.size() == 1 ? "-" : "--") + std::string(name); }

class Normalizer {
public:
    explicit Normalizer(std::span<const OptionName> declared) : declared_(declared) {}

    void take(const std::string& argument) {
        if (valueFollows_) {
            valueFollows_ = false;
            result_.arguments.push_back(argument);
        } else if (argument.starts_with(reinstallReasonPrefix)) {
            result_.reinstallReason = argument.substr(reinstallReasonPrefix.size());
        } else {
            takeOption(argument);
        }
    }

    NormalizedArguments result() && { return std::move(result_); }

private:
    const OptionName* find(std::string_view name) const {
        const auto option = std::ranges::find_if(
            declared_, [&](const OptionName& o) { return name == (name.size() == 1 ? o.flag : o.name); });
        return name.empty() || option == declared_.end() ? nullptr : &*option;
    }

    void takeOption(const std::string& argument) {
        const auto parts = split(argument);
        const auto* option = find(parts.name);
        const bool bareValue = option && option->takesValue && parts.name == option->name && parts.delimiter == "=";
        if (option && (parts.dashes != 0 || bareValue)) {
            write(*option, parts);
        } else if (!takeFlags(parts)) {
            result_.endOfOptions = result_.endOfOptions || argument == endOfOptions;
            result_.arguments.push_back(argument);
        }
    }

    // "-bqt TOKEN": flags behind one dash, of which only the last may take a value.
    bool takeFlags(SplitArgument parts) {
        if (parts.dashes != 1 || parts.name.size() < 2) return false;
        std::vector<const OptionName*> options;
        for (const char& flag : parts.name)
            options.push_back(find({&flag, 1}));
        if (std::ranges::count(options, nullptr) != 0) return false;
        // Said, whatever is wrong with the rest.
        if (parts.name.find(quietFlag) != std::string_view::npos) result_.quiet = true;
        if (std::ranges::any_of(options.begin(), std::prev(options.end()), &OptionName::takesValue)) return false;
        for (; parts.name.size() > 1; parts.name.remove_prefix(1))
            result_.arguments.push_back(dashed(parts.name.substr(0, 1)));
        write(*options.back(), parts);
        return true;
    }

    void write(const OptionName& option, const SplitArgument& parts) {
        if (option.flag == quietFlag) result_.quiet = true;
        auto name = dashed(parts.name);
        if (option.takesValue && !parts.delimiter.empty()) {
            result_.arguments.push_back(std::move(name));
            result_.arguments.emplace_back(parts.value);
        } else {
            // A switch with a value stays in one piece, so that the parser refuses it.
            valueFollows_ = option.takesValue;
            result_.arguments.push_back(name.append(parts.delimiter).append(parts.value));
        }
    }

    std::span<const OptionName> declared_;
    NormalizedArguments result_;
    bool valueFollows_ = false;
};

} // namespace

NormalizedArguments normalizeArguments(std::span<const std::string> arguments, std::span<const OptionName> declared) {
    Normalizer normalizer(declared);
    for (const auto& argument : arguments)
        normalizer.take(argument);
    return std::move(normalizer).result();
}

} // namespace kelvane::bst
