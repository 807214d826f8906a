#pragma once

#include <span>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

// Parsers of the product, each with what it promises for any input at all.
namespace fuzz {

// A promise that was not kept. No std::exception: nothing catches it by the way.
struct Broken {
    const char* promise;
};
inline void require(bool kept, const char* promise) {
    if (!kept) throw Broken{promise};
}

// Asks a parser and checks its promises. The answer is what the parser made of the input, the same on every machine.
struct Target {
    const char* name; // also of the folder with its kept inputs
    std::string (*ask)(std::string_view input);
};
std::span<const Target> textTargets();
std::span<const Target> fileTargets();

// The input as UTF-16: it is UTF-8, raw UTF-16 behind a byte order mark, else one code unit a byte (up to U+FFFF).
std::wstring wide(std::string_view input);
// The same without what UTF-8 cannot say.
std::wstring wideText(std::string_view input);
std::string text(std::string_view input);
// The input taken apart at its bytes 0x1E; at least `least` pieces, the last ones empty.
std::vector<std::string_view> pieces(std::string_view input, std::size_t least);

// What was made of an input, or the kind of error with which it was refused.
std::string answerOf(const auto& parse) {
    try {
        return parse();
    } catch (const std::exception& error) {
        return std::string("refused: ") + typeid(error).name();
    }
}
std::string answerUnless(bool unfit, const auto& parse) {
    auto answer = answerOf(parse);
    require(answer.starts_with("refused: ") == unfit, "what cannot be carried is refused, and nothing else");
    return answer;
}

} // namespace fuzz
