#pragma once

#include "libkelvane/HttpLibrary.h"

#include <memory>
#include <mutex>
#include <streambuf>
#include <string>

namespace kelvane::bst {

// The beginning of an answer's text. It takes no more than `longest` bytes; what it refuses ends the reading.
class AnswerText : public std::streambuf {
public:
    static constexpr std::size_t longest = 1 << 16;

    // What has come so far; the HTTP library may still be writing, from threads of its own.
    std::string taken() const;

    // As the stream that a request's answer is written to. Shares the text's ownership.
    static concurrency::streams::ostream stream(const std::shared_ptr<AnswerText>& text);

protected:
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;

private:
    mutable std::mutex mutex_;
    std::string taken_;
};

} // namespace kelvane::bst
