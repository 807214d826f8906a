// Asks parsers with kept inputs and mutations of them:
//
//     fuzz CORPUS [--seconds N] [--runs N] [--seed N] [TARGET[=RUNS] ...]     or     fuzz FILE
//
// N runs of each target or, with --seconds, as many as their share of the time allows. What comes depends on the seed
// and the answers alone: another build that answers alike says the same digest. An input that breaks a promise, the
// program or its patience is left in the current directory as crash-TARGET-HASH. FILE, one of those or of the corpus,
// is asked alone.
#include "Fuzz.h"

#include "libwin32/Text.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <thread>
#include <unordered_set>

namespace fuzz {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::size_t longestInput = 4096, largestPool = 256;
constexpr auto patience = std::chrono::seconds(20);

std::uint64_t hash(std::string_view bytes, std::uint64_t start = 0xcbf29ce484222325) {
    for (const unsigned char byte : bytes)
        start = (start ^ byte) * 0x100000001b3;
    return start;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What is being asked, for whoever finds that it went wrong.
struct {
    const char* target = "";
    std::string input;
    std::atomic<Clock::time_point> since{Clock::time_point::max()};
} now;

void report(const char* what) {
    char name[128];
    std::snprintf(name, sizeof name, "crash-%s-%016llx", now.target, static_cast<unsigned long long>(hash(now.input)));
    std::ofstream(name, std::ios::binary) << now.input;
    std::printf("%s: %s\n    again: ./dev fuzz build/fuzz/%s\n", now.target, what, name);
    std::fflush(stdout);
}

[[noreturn]] void reportAndEnd(const char* what) {
    report(what);
    TerminateProcess(GetCurrentProcess(), 3);
    std::abort();
}

LONG WINAPI onException(EXCEPTION_POINTERS* exception) {
    char what[64];
    std::snprintf(what, sizeof what, "exception %08lx at %p", exception->ExceptionRecord->ExceptionCode,
                  exception->ExceptionRecord->ExceptionAddress);
    reportAndEnd(what);
}

void watch() {
    ULONG stack = 1 << 16; // for the report of a stack that is used up
    SetThreadStackGuarantee(&stack);
    SetUnhandledExceptionFilter(onException);
    std::signal(SIGABRT, [](int) { reportAndEnd("ended itself"); });
    std::thread([] {
        while (true) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            if (Clock::now() - patience > now.since.load()) reportAndEnd("does not come to an end");
        }
    }).detach();
}

// The answer, none for a broken promise.
bool ask(const Target& target, std::string input, std::string& answer) {
    now.target = target.name, now.input = std::move(input), now.since = Clock::now();
    try {
        answer = target.ask(now.input);
    } catch (const Broken& broken) {
        return report(broken.promise), false;
    } catch (const std::exception& error) {
        return report(error.what()), false;
    }
    now.since = Clock::time_point::max();
    return true;
}

class Inputs {
public:
    Inputs(std::vector<std::string> kept, const std::vector<std::string>& words, std::uint64_t seed)
        : pool_(std::move(kept)), words_(words), random_(seed), kept_(pool_.size()) {}

    std::string next() {
        if (given_ < kept_) return pool_[given_++];
        auto input = anyOf(pool_);
        for (auto steps = below(5) + 1; steps > 0; --steps)
            mutate(input);
        return input.substr(0, longestInput);
    }

    // An input whose answer has a form of its own is worth going on from.
    void learn(const std::string& input, std::string_view answer) {
        std::string form;
        for (const unsigned char c : answer.substr(0, 512)) {
            const char kind = c >= 0x80 ? 'x' : std::isdigit(c) ? '0' : std::isalpha(c) ? 'a' : static_cast<char>(c);
            if (form.empty() || form.back() != kind) form += kind;
        }
        if (!forms_.insert(hash(form)).second) return;
        if (pool_.size() < kept_ + largestPool) return pool_.push_back(input);
        pool_[kept_ + below(largestPool)] = input;
    }

private:
    std::size_t below(std::size_t limit) { return limit == 0 ? 0 : random_() % limit; }
    const std::string& anyOf(const std::vector<std::string>& texts) { return texts[below(texts.size())]; }

    void mutate(std::string& input) {
        const auto at = below(input.size() + 1), length = std::min(below(16) + 1, input.size() - at);
        const auto& other = anyOf(pool_);
        const auto from = below(other.size() + 1);
        switch (below(8)) {
        case 0:
            return void(input.insert(at, 1, static_cast<char>(random_())));
        case 1:
            if (length != 0) input[at] = static_cast<char>(input[at] ^ 1 << below(8));
            return;
        case 2:
            return void(input.erase(at, length));
        case 3:
            return void(input.insert(below(input.size() + 1), input.substr(at, length)));
        case 4:
            return void(input.insert(at, anyOf(words_)));
        case 5: {
            const auto& word = anyOf(words_);
            return void(input.replace(at, std::min(word.size(), input.size() - at), word));
        }
        case 6:
            return void(input.insert(at, other.substr(from, below(64))));
        default:
            return void(input.replace(at, std::string::npos, other.substr(from)));
        }
    }

    std::vector<std::string> pool_; // the kept ones first
    const std::vector<std::string>& words_;
    std::mt19937_64 random_;
    std::size_t kept_, given_ = 0;
    std::unordered_set<std::uint64_t> forms_;
};

std::vector<std::string> filesIn(const std::filesystem::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& file : std::filesystem::directory_iterator(folder))
        files[file.path().filename().string()] = readFile(file.path());
    std::vector<std::string> contents{""};
    for (const auto& [name, content] : files)
        contents.push_back(content);
    return contents;
}

// A word a line, with \xNN.
std::vector<std::string> dictionary(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> words;
    for (std::string line; std::getline(file, line);) {
        for (std::size_t at = 0; (at = line.find("\\x", at)) != std::string::npos; ++at)
            line.replace(at, 4, 1, static_cast<char>(std::stoi(line.substr(at + 2, 2), nullptr, 16)));
        words.push_back(line);
    }
    return words;
}

struct Limits {
    std::size_t runs;
    Clock::duration time;
    std::uint64_t seed;
};

bool run(const Target& target, std::vector<std::string> kept, const std::vector<std::string>& words, Limits limits) {
    Inputs inputs(std::move(kept), words, hash(target.name, limits.seed));
    const auto start = Clock::now();
    std::uint64_t digest = hash("");
    std::size_t runs = 0;
    for (; runs < limits.runs && Clock::now() - start < limits.time; ++runs) {
        std::string answer;
        if (!ask(target, inputs.next(), answer)) return false;
        digest = hash(answer, digest * 31);
        inputs.learn(now.input, answer);
    }
    const auto seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf("%-14s %9zu runs, digest %016llx, %.0f a second\n", target.name, runs,
                static_cast<unsigned long long>(digest), static_cast<double>(runs) / seconds);
    std::fflush(stdout);
    return true;
}

std::vector<Target> allTargets() {
    std::vector<Target> all;
    for (const auto some : {textTargets(), fileTargets()})
        all.insert(all.end(), some.begin(), some.end());
    return all;
}

bool askAlone(const std::filesystem::path& file) {
    auto name = file.filename().string();
    name = name.starts_with("crash-") ? name.substr(6, name.rfind('-') - 6) : file.parent_path().filename().string();
    for (const auto& target : allTargets()) {
        std::string answer;
        if (name != target.name || !ask(target, readFile(file), answer)) continue;
        std::printf("%s: %s\n", target.name, answer.c_str());
        return true;
    }
    return false;
}

// Which targets, each with its number of runs.
std::vector<std::pair<Target, std::size_t>> chosen(std::span<char* const> names, std::size_t runs) {
    std::vector<std::pair<Target, std::size_t>> targets;
    for (const auto& target : allTargets()) {
        const auto length = std::strlen(target.name);
        for (const std::string_view name : names) {
            if (!name.starts_with(target.name) || (name.size() > length && name[length] != '=')) continue;
            targets.push_back({target, name.size() > length ? std::stoul(std::string(name.substr(length + 1))) : runs});
        }
        if (names.empty()) targets.push_back({target, runs});
    }
    return targets;
}

bool runAll(const std::filesystem::path& corpus, std::span<char* const> arguments) {
    std::map<std::string_view, std::size_t> options{{"--seconds", 0}, {"--runs", SIZE_MAX}, {"--seed", 1}};
    for (; arguments.size() > 1 && options.contains(arguments[0]); arguments = arguments.subspan(2))
        options[arguments[0]] = std::stoull(arguments[1]);
    const auto targets = chosen(arguments, options["--runs"]);
    const auto share = Clock::duration(std::chrono::seconds(static_cast<int>(options["--seconds"]))) /
                       std::max(static_cast<int>(targets.size()), 1);
    const auto words = dictionary(corpus / "dictionary.txt");
    bool kept = !targets.empty();
    for (const auto& [target, runs] : targets) {
        const Limits limits{runs, share.count() != 0 ? share : Clock::duration::max(), options["--seed"]};
        kept &= run(target, filesIn(corpus / target.name), words, limits);
    }
    return kept;
}

} // namespace

std::wstring wide(std::string_view input) {
    if (input.starts_with("\xFF\xFE")) {
        std::wstring raw(input.size() / 2 - 1, L'\0');
        std::memcpy(raw.data(), input.data() + 2, raw.size() * sizeof(wchar_t));
        return raw;
    }
    if (auto text = win32::toWide(input); !text.empty()) return text;
    std::wstring bytes;
    for (const unsigned char byte : input)
        bytes += static_cast<wchar_t>(byte);
    return bytes;
}

std::string text(std::string_view input) { return win32::toUtf8(wide(input)); }
std::wstring wideText(std::string_view input) { return win32::toWide(text(input)); }

std::vector<std::string_view> pieces(std::string_view input, std::size_t least) {
    std::vector<std::string_view> pieces;
    for (std::size_t end; (end = input.find('\x1E')) != std::string_view::npos; input.remove_prefix(end + 1))
        pieces.push_back(input.substr(0, end));
    pieces.push_back(input);
    pieces.resize(std::max(pieces.size(), least));
    return pieces;
}

} // namespace fuzz

int main(int count, char** arguments) {
    if (count < 2) return 2;
    fuzz::watch();
    const bool folder = std::filesystem::is_directory(arguments[1]);
    const bool kept =
        folder ? fuzz::runAll(arguments[1], std::span(arguments + 2, arguments + count)) : fuzz::askAlone(arguments[1]);
    return kept ? 0 : 1;
}
