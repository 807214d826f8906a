#include "OstravelInstaller/reporting/AnswerText.h"

#include <cpprest/interopstream.h>

#include <algorithm>
#include <ostream>

namespace kelvane::bst {
namespace {

// The HTTP library's adapter of a standard stream does not own what it writes to.
struct Adapter {
    explicit Adapter(std::shared_ptr<AnswerText> target) : text(std::move(target)) {}

    std::shared_ptr<AnswerText> text;
    std::ostream stream{text.get()};
    concurrency::streams::stdio_ostream<std::uint8_t> adapter{stream};
};

} // namespace

std::string AnswerText::taken() const {
    const std::scoped_lock lock(mutex_);
    return taken_;
}

concurrency::streams::ostream AnswerText::stream(const std::shared_ptr<AnswerText>& text) {
    using concurrency::streams::details::basic_streambuf;
    const auto owner = std::make_shared<Adapter>(text);
    const std::shared_ptr<basic_streambuf<std::uint8_t>> target(owner, owner->adapter.streambuf().get_base().get());
    return concurrency::streams::streambuf<std::uint8_t>(target).create_ostream();
}

std::streamsize AnswerText::xsputn(const char* bytes, std::streamsize count) {
    const std::scoped_lock lock(mutex_);
    const auto taken = std::min(static_cast<std::size_t>(count), longest - taken_.size());
    taken_.append(bytes, taken);
    return static_cast<std::streamsize>(taken);
}

} // namespace kelvane::bst
