#pragma once

#include "libkelvane/HttpLibrary.h"

#include <deque>
#include <istream>
#include <memory>
#include <mutex>
#include <streambuf>
#include <string_view>

namespace kelvane {

// Turns an HTTP request into a multipart/form-data upload whose body is read from its parts while it is sent: text
// parts from memory, file parts from disk. The body's length is not computed; it goes out in chunks.
class MultiPartRequest {
public:
    // A read-only stream buffer over an ordered collection of streams, as one continuous text of bytes that can be read
    // again from its start.
    class StreamCollectionStreambuf : public std::streambuf {
    public:
        void add(std::unique_ptr<std::istream> stream);
        // Reads `count` bytes into a buffer of `capacity`, fewer at the end or where a stream cannot be read on. Throws
        // std::runtime_error "Buffer too small".
        std::streamsize read(char* buffer, std::size_t capacity, std::streamsize count);
        // Whether it stands at a place from which a stream could not be read on.
        bool broken();
        // Throws std::ios_base::failure "ios_base::badbit set" when a stream cannot be read again.
        void rewind();
        // Closes all streams.
        void clear() noexcept;

    protected:
        std::streamsize xsgetn(char* buffer, std::streamsize count) override;
        int_type underflow() override;
        int_type uflow() override;
        // From the beginning and from the current position forward; from the end is position -1.
        pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override;
        pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

    private:
        bool atEnd() const; // of all, or of what can be read
        void retireFront();
        bool skip(off_type count);

        std::mutex mutex_; // the HTTP library reads from threads of its own
        std::deque<std::unique_ptr<std::istream>> pending_;
        std::deque<std::unique_ptr<std::istream>> read_;
        std::int64_t position_ = 0;
    };

    // Sets the request's Content-Type and Transfer-Encoding.
    explicit MultiPartRequest(const web::http::http_request& request);
    // Closes the files, whatever the HTTP library still does with the request.
    ~MultiPartRequest();
    MultiPartRequest(const MultiPartRequest&) = delete;
    MultiPartRequest& operator=(const MultiPartRequest&) = delete;

    // Each returns false, and adds nothing, once the request is finished. A text's name and value hold no line breaks;
    // a value that begins like a delimiter gets a blank in front.
    bool AddTextPart(std::wstring_view name, std::wstring_view value);
    // The content is read while the request is sent.
    bool AddFilePart(std::wstring_view name, std::unique_ptr<std::istream> content, std::wstring_view fileName);
    // Adds the closing delimiter and makes the parts the request's body, to be sent while this object lives.
    bool Finish();
    // Whether the body ended early because a file could not be read. The library's threads do not hear of it: an
    // exception in their callbacks would end the process.
    bool broken() const;

private:
    struct Body;
    void addText(std::string text);

    web::http::http_request request_;
    std::shared_ptr<Body> body_;
    bool finished_ = false;
};

} // namespace kelvane
