// fuzz CORPUS SEED SECONDS TARGET[=RUNS] ...
//
// Asks each target with the kept inputs in CORPUS\TARGET (or in the one file that CORPUS is) and then with mutations of
// them. What comes depends on the seed and the answers alone: another build that answers alike ends with the same
// digest. An input that breaks a promise, the program or its patience is left in the current directory.
#include "Fuzz.h"

#include "libwin32/Text.h"

#include <windows.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <format>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <set>
#include <thread>

namespace fuzz {
namespace {

using Clock = std::chrono::steady_clock;
using Texts = std::vector<std::string>;
constexpr std::size_t longestInput = 4096, largestPool = 256;
constexpr auto patience = std::chrono::seconds(20);

// What is being asked, for whoever finds that it went wrong.
const char* target;
std::string input;
std::atomic<Clock::time_point> since{Clock::time_point::max()};

std::uint64_t hash(std::string_view bytes, std::uint64_t start = 0xcbf29ce484222325) {
    for (const unsigned char byte : bytes)
        start = (start ^ byte) * 0x100000001b3;
    return start;
}

bool report(const std::string& what) {
    const auto name = std::format("crash-{}-{:016x}", target, hash(input));
    std::ofstream(name, std::ios::binary) << input;
    std::cout << target << ": " << what << "\n    again: ./dev fuzz build/fuzz/" << name << std::endl;
    return false;
}

[[noreturn]] void reportAndEnd(const std::string& what) {
    report(what);
    std::_Exit(3);
}

LONG WINAPI onException(EXCEPTION_POINTERS* exception) {
    const auto& record = *exception->ExceptionRecord;
    reportAndEnd(std::format("exception {:08x} at {}", record.ExceptionCode, record.ExceptionAddress));
}

void watch() {
    ULONG stack = 1 << 16; // for the report of a stack that is used up
    SetThreadStackGuarantee(&stack);
    SetUnhandledExceptionFilter(onException);
    std::signal(SIGABRT, [](int) { reportAndEnd("ended itself"); });
    std::thread([] {
        while (Clock::now() - patience < since.load())
            std::this_thread::sleep_for(std::chrono::seconds(1));
        reportAndEnd("does not come to an end");
    }).detach();
}

class Inputs {
public:
    Inputs(Texts kept, const Texts& words, std::uint64_t seed)
        : pool_(std::move(kept)), words_(words), random_(seed), kept_(pool_.size()) {}

    std::string next() {
        if (given_ < kept_) return pool_[given_++];
        auto next = anyOf(pool_);
        for (auto steps = below(5) + 1; steps > 0; --steps)
            mutate(next);
        return next.substr(0, longestInput);
    }

    // An input whose answer has a form of its own is worth going on from.
    void learn(std::string_view answer) {
        std::string form;
        for (const unsigned char c : answer.substr(0, 512)) {
            const char kind = c >= 0x80 ? 'x' : std::isdigit(c) ? '0' : std::isalpha(c) ? 'a' : static_cast<char>(c);
            if (!form.ends_with(kind)) form += kind;
        }
        if (!forms_.insert(form).second) return;
        if (pool_.size() < kept_ + largestPool) return pool_.push_back(input);
        pool_[kept_ + below(largestPool)] = input;
    }

private:
    std::size_t below(std::size_t limit) { return random_() % limit; }
    const std::string& anyOf(const Texts& texts) { return texts[below(texts.size())]; }

    // A run of bytes gives way to another: none, a word, a part of another input, or any byte.
    void mutate(std::string& text) {
        const auto at = below(text.size() + 1);
        const auto& other = anyOf(pool_);
        const std::string choices[] = {"", anyOf(words_),
                                       other.substr(below(other.size() + 1), below(2) ? below(64) : -1),
                                       std::string(1, static_cast<char>(random_()))};
        const auto length = below(16);
        text.replace(at, below(2) ? 0 : length, choices[below(std::size(choices))]);
    }

    Texts pool_; // the kept ones first
    const Texts& words_;
    std::mt19937_64 random_;
    std::size_t kept_, given_ = 0;
    std::set<std::string> forms_;
};

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Texts keptInputs(const std::filesystem::path& corpus) {
    if (std::filesystem::is_regular_file(corpus)) return {readFile(corpus)};
    std::set<std::filesystem::path> files;
    for (const auto& file : std::filesystem::directory_iterator(corpus / target))
        files.insert(file.path());
    Texts texts{""};
    for (const auto& file : files)
        texts.push_back(readFile(file));
    return texts;
}

// A word a line, with \xNN.
Texts dictionary(const std::filesystem::path& corpus) {
    std::ifstream file(corpus / "dictionary.txt", std::ios::binary);
    Texts words;
    for (std::string line; std::getline(file, line); words.push_back(line)) {
        for (std::size_t at = 0; (at = line.find("\\x", at)) != std::string::npos; ++at)
            line.replace(at, 4, 1, static_cast<char>(std::stoi(line.substr(at + 2, 2), nullptr, 16)));
    }
    return words;
}

// False for a broken promise, which has been reported.
bool ask(const Target& one, std::string& answer) {
    since = Clock::now();
    try {
        answer = one.ask(input);
    } catch (const Broken& broken) {
        return report(broken.promise);
    } catch (const std::exception& error) {
        return report(error.what());
    }
    since = Clock::time_point::max();
    return true;
}

bool run(const Target& one, Inputs inputs, std::size_t most, std::chrono::seconds time) {
    const auto start = Clock::now();
    std::uint64_t digest = hash("");
    std::size_t runs = 0;
    for (; runs < most && Clock::now() - start < time; ++runs) {
        std::string answer;
        input = inputs.next();
        if (!ask(one, answer)) return false;
        digest = hash(answer, digest * 31);
        inputs.learn(answer);
    }
    const std::chrono::duration<double> took = Clock::now() - start;
    std::cout << std::format("{:18} {} runs, digest {:016x}, {:.0f} a second", target, runs, digest,
                             static_cast<double>(runs) / took.count())
              << std::endl;
    return true;
}

bool runNamed(std::string_view name, std::span<const std::string> arguments) {
    const auto words = dictionary(arguments[0]);
    const auto equals = std::min(name.find('='), name.size());
    const auto most = equals < name.size() ? std::stoull(std::string(name.substr(equals + 1))) : SIZE_MAX;
    for (const auto targets : {textTargets(), fileTargets()}) {
        for (const auto& one : targets) {
            if (name.substr(0, equals) != one.name) continue;
            target = one.name;
            return run(one, {keptInputs(arguments[0]), words, std::stoull(arguments[1])}, most,
                       std::chrono::seconds(std::stoi(arguments[2])));
        }
    }
    std::cout << "no target " << name << std::endl;
    return false;
}

} // namespace

std::wstring wide(std::string_view input) {
    if (auto text = win32::toWide(input); !text.empty()) return text;
    if (!input.starts_with("\xFF\xFE")) return {input.begin(), input.end()};
    std::wstring raw(input.size() / 2 - 1, L'\0');
    std::memcpy(raw.data(), input.data() + 2, raw.size() * sizeof(wchar_t));
    return raw;
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

int main(int count, char** values) {
    const std::vector<std::string> arguments(values + 1, values + count);
    fuzz::watch();
    bool kept = arguments.size() > 3;
    for (std::size_t i = 3; i < arguments.size(); ++i)
        kept &= fuzz::runNamed(arguments[i], arguments);
    return kept ? 0 : 1;
}
