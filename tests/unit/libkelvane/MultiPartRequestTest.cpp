#include "libkelvane/MultiPartRequest.h"

#include <gtest/gtest.h>

#include <sstream>

using kelvane::MultiPartRequest;

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
