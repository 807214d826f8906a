#include "libkelvane/MultiPartRequest.h"

#include "libwin32/Text.h"

#include <cpprest/interopstream.h>

#include <sstream>

namespace kelvane {
namespace {

// The same for every request: nothing in a body depends on chance.
constexpr std::string_view boundary = "---------------------------boundary";
constexpr std::string_view lineEnd = "\r\n";

std::string dashBoundary() { return std::string("--").append(boundary); }

std::string delimiter() { return dashBoundary().append(lineEnd); }

// A value stands at the start of a line, where the boundary would end its part.
std::string partValue(std::wstring_view value) {
    std::string text = win32::toUtf8(value);
    if (text.starts_with(dashBoundary())) text.insert(0, 1, ' ');
    return text;
}

} // namespace

void MultiPartRequest::StreamCollectionStreambuf::add(std::unique_ptr<std::istream> stream) {
    const std::scoped_lock lock(mutex_);
    pending_.push_back(std::move(stream));
}

bool MultiPartRequest::StreamCollectionStreambuf::atEnd() const { return pending_.empty() || pending_.front()->bad(); }

bool MultiPartRequest::StreamCollectionStreambuf::broken() {
    const std::scoped_lock lock(mutex_);
    return !pending_.empty() && pending_.front()->bad();
}

void MultiPartRequest::StreamCollectionStreambuf::retireFront() {
    read_.push_back(std::move(pending_.front()));
    pending_.pop_front();
}

std::streamsize MultiPartRequest::StreamCollectionStreambuf::read(char* buffer, std::size_t capacity,
                                                                  std::streamsize count) {
    if (count < 0 || static_cast<std::size_t>(count) > capacity) throw std::runtime_error("Buffer too small");
    const std::scoped_lock lock(mutex_);
    std::streamsize done = 0;
    while (done < count && !atEnd()) {
        std::istream& front = *pending_.front();
        front.read(buffer + done, count - done);
        done += front.gcount();
        if (!front && !front.bad()) retireFront();
    }
    position_ += done;
    return done;
}

void MultiPartRequest::StreamCollectionStreambuf::rewind() {
    const std::scoped_lock lock(mutex_);
    while (!read_.empty()) {
        pending_.push_front(std::move(read_.back()));
        read_.pop_back();
    }
    for (const auto& stream : pending_) {
        stream->clear();
        stream->seekg(0);
        if (!*stream) throw std::ios_base::failure("ios_base::badbit set");
    }
    position_ = 0;
}

void MultiPartRequest::StreamCollectionStreambuf::clear() noexcept {
    const std::scoped_lock lock(mutex_);
    pending_.clear();
    read_.clear();
}

std::streamsize MultiPartRequest::StreamCollectionStreambuf::xsgetn(char* buffer, std::streamsize count) {
    return read(buffer, static_cast<std::size_t>(count), count);
}

MultiPartRequest::StreamCollectionStreambuf::int_type MultiPartRequest::StreamCollectionStreambuf::underflow() {
    const std::scoped_lock lock(mutex_);
    while (!atEnd()) {
        const int_type next = pending_.front()->peek();
        if (!traits_type::eq_int_type(next, traits_type::eof())) return next;
        if (!pending_.front()->bad()) retireFront();
    }
    return traits_type::eof();
}

MultiPartRequest::StreamCollectionStreambuf::int_type MultiPartRequest::StreamCollectionStreambuf::uflow() {
    char next = 0;
    return read(&next, 1, 1) == 1 ? traits_type::to_int_type(next) : traits_type::eof();
}

bool MultiPartRequest::StreamCollectionStreambuf::skip(off_type count) {
    char scratch[4096];
    while (count > 0) {
        const auto step = read(scratch, sizeof scratch, std::min<std::streamsize>(count, sizeof scratch));
        if (step == 0) return false;
        count -= step;
    }
    return count == 0;
}

MultiPartRequest::StreamCollectionStreambuf::pos_type
MultiPartRequest::StreamCollectionStreambuf::seekoff(off_type offset, std::ios_base::seekdir from,
                                                     std::ios_base::openmode) {
    if (from == std::ios_base::end) return pos_type(off_type(-1));
    if (from == std::ios_base::beg) rewind();
    return skip(offset) ? pos_type(position_) : pos_type(off_type(-1));
}

MultiPartRequest::StreamCollectionStreambuf::pos_type
MultiPartRequest::StreamCollectionStreambuf::seekpos(pos_type position, std::ios_base::openmode which) {
    return seekoff(off_type(position), std::ios_base::beg, which);
}

// The HTTP library's adapter of a standard stream does not own what it reads from.
struct MultiPartRequest::Body {
    StreamCollectionStreambuf buffer;
    std::istream stream{&buffer};
    concurrency::streams::stdio_istream<std::uint8_t> adapter{stream};
};

MultiPartRequest::MultiPartRequest(const web::http::http_request& request)
    : request_(request), body_(std::make_shared<Body>()) {
    request_.headers().set_content_type(L"multipart/form-data; boundary=" + win32::toWide(boundary));
    request_.headers().add(web::http::header_names::transfer_encoding, L"chunked");
}

MultiPartRequest::~MultiPartRequest() { body_->buffer.clear(); }

void MultiPartRequest::addText(std::string text) {
    body_->buffer.add(std::make_unique<std::istringstream>(std::move(text)));
}

bool MultiPartRequest::AddTextPart(std::wstring_view name, std::wstring_view value) {
    if (finished_) return false;
    addText(delimiter() + "Content-Disposition: form-data; name=\"" + win32::toUtf8(name) + "\"" + "\r\n\r\n" +
            partValue(value) + std::string(lineEnd));
    return true;
}

bool MultiPartRequest::AddFilePart(std::wstring_view name, std::unique_ptr<std::istream> content,
                                   std::wstring_view fileName) {
    if (finished_) return false;
    // No blank before filename, and octet-string: servers have been reading it so for years.
    addText(delimiter() + "Content-Disposition: form-data; name=\"" + win32::toUtf8(name) + "\";" + "filename=\"" +
            win32::toUtf8(fileName) + "\"" + std::string(lineEnd) + "Content-Type: application/octet-string" +
            "\r\n\r\n");
    body_->buffer.add(std::move(content));
    addText(std::string(lineEnd));
    return true;
}

bool MultiPartRequest::Finish() {
    if (finished_) return false;
    addText(dashBoundary().append("--").append(lineEnd));
    using concurrency::streams::details::basic_streambuf;
    // Shares the ownership of the whole body: the library may read until a request given up on is closed.
    const std::shared_ptr<basic_streambuf<std::uint8_t>> source(body_, body_->adapter.streambuf().get_base().get());
    request_.set_body(concurrency::streams::streambuf<std::uint8_t>(source).create_istream(),
                      L"application/octet-stream");
    finished_ = true;
    return true;
}

bool MultiPartRequest::broken() const { return body_->buffer.broken(); }

} // namespace kelvane
