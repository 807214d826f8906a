#include "libkelvane/MultiPartRequest.h"

#include "Support.h"
#include "libkelvane/FileStream.h"
#include "libwin32/Text.h"

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

using kelvane::MultiPartRequest;

TEST(MultiPartRequest, HasTheBytesOfItsParts) {
    const support::Folder folder;
    const auto path = folder / L"part_\u00e9.bin";
    const std::string bytes("\0\r\n--x\xff", 7);
    kelvane::FileUtilities::writeFile(path, bytes);
    const std::string line = "-----------------------------boundary";
    web::http::http_request request(web::http::methods::POST);
    {
        MultiPartRequest parts(request);
        EXPECT_TRUE(parts.AddTextPart(L"a", L"b"));
        EXPECT_TRUE(parts.AddTextPart(L"evil", win32::toWide(line + "--")));
        EXPECT_TRUE(parts.AddFilePart(L"file", kelvane::streamOf(kelvane::openForReading(path)), L"log.etl"));
        EXPECT_TRUE(parts.Finish());
        EXPECT_FALSE(parts.AddTextPart(L"late", L"x") || parts.Finish());
        concurrency::streams::container_buffer<std::string> content;
        request.body().read_to_end(content).get();
        EXPECT_EQ(content.collection(), line + "\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\nb\r\n" + line +
                                            "\r\nContent-Disposition: form-data; name=\"evil\"\r\n\r\n " + line +
                                            "--\r\n" + line +
                                            "\r\nContent-Disposition: form-data; name=\"file\";filename=\"log.etl\"\r\n"
                                            "Content-Type: application/octet-string\r\n\r\n" +
                                            bytes + "\r\n" + line + "--\r\n");
    }
    EXPECT_TRUE(DeleteFileW(path.c_str())) << "open as long as the request lives";
    EXPECT_EQ(request.headers().content_type(), L"multipart/form-data; boundary=---------------------------boundary");
    EXPECT_EQ(request.headers()[L"Transfer-Encoding"], L"chunked");
}

TEST(StreamCollectionStreambuf, ReadsAcrossStreamsAndAgainAfterRewind) {
    MultiPartRequest::StreamCollectionStreambuf buffer;
    for (const char* text : {"abc", "", "de"})
        buffer.add(std::make_unique<std::istringstream>(text));
    std::istream stream(&buffer);
    for (const auto& [start, text] : {std::pair(0, "abcde"), {0, "abcde"}, {2, "cde"}}) {
        stream.clear();
        stream.seekg(start);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), text);
    }
    EXPECT_EQ(buffer.pubseekoff(0, std::ios::end), std::streambuf::pos_type(std::streambuf::off_type(-1)));
    char small[2];
    EXPECT_THROW(buffer.read(small, sizeof small, 3), std::runtime_error);
}

TEST(StreamCollectionStreambuf, EndsWhereAStreamFails) {
    MultiPartRequest::StreamCollectionStreambuf buffer;
    for (const char* text : {"abc", "de", "f"})
        buffer.add(std::make_unique<std::istringstream>(text));
    auto broken = std::make_unique<std::istringstream>("x");
    broken->setstate(std::ios::badbit);
    buffer.add(std::move(broken));
    buffer.add(std::make_unique<std::istringstream>("end"));
    char all[16];
    EXPECT_FALSE(buffer.broken());
    EXPECT_EQ(std::string(all, static_cast<std::size_t>(buffer.read(all, sizeof all, sizeof all))), "abcdef");
    EXPECT_TRUE(buffer.broken());
}
