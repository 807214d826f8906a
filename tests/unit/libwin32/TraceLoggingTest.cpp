#include "libwin32/TraceLogging.h"

#include <gtest/gtest.h>

using namespace win32;

static std::vector<std::uint8_t> bytes(std::string_view text) { return {text.begin(), text.end()}; }

// The layouts below are what Windows's decoders read: sizes include themselves, names end in NUL, 0x80 announces the
// output type (35 is UTF-8).
TEST(TraceLogging, EncodesNamesTypesAndData) {
    EXPECT_EQ(encodeProviderTraits("Abc"), bytes(std::string_view("\x06\0Abc\0", 6)));
    EXPECT_EQ(encodeEventMetadata(
                  "Ev", {{"W", L"x"}, {"U", "x"}, {"I", std::int32_t{1}}, {"N", std::uint32_t{1}}, {"B", true}}),
              bytes(std::string_view("\x16\0\0Ev\0W\0\x01U\0\x82\x23I\0\x07N\0\x08"
                                     "B\0\x0d",
                                     22)));
    EXPECT_EQ(encodeEventData({{"W", L"hi"}, {"U", "y"}, {"I", std::int32_t{-2}}, {"B", true}}, 100),
              bytes(std::string_view("h\0i\0\0\0y\0\xfe\xff\xff\xff\x01\0\0\0", 16)));
    EXPECT_EQ(encodeEventData({{"W", std::wstring_view(L"a\0b", 3)}}, 100).size(), 4U) << "a decoder stops at a NUL";
}

// What does not fit into a session's buffer is lost: the long texts give way, whole characters of them, and say so.
TEST(TraceLogging, CutsLongTexts) {
    const auto encode = [](TraceFields fields, std::size_t room) {
        const auto data = encodeEventData(fields, room);
        EXPECT_LE(data.size(), room);
        return std::string(data.begin(), data.end());
    };
    const std::string text(100, 'x');
    EXPECT_EQ(encode({{"A", "short"}, {"B", text}}, 40),
              std::string("short\0", 6) + text.substr(0, 26) + std::string("[...]\0", 6));
    EXPECT_EQ(encode({{"A", text}, {"B", text}}, 44),
              text.substr(0, 15) + std::string("[...]\0", 6) + text.substr(0, 15) + std::string("[...]\0", 6));
    EXPECT_EQ(encode({{"A", "\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC"}}, 12),
              std::string("\xE2\x82\xAC[...]\0", 9));
    EXPECT_EQ(encode({{"W", std::wstring(20, L'\xD83D').append(L"\xDE00")}}, 30).size(), 30U);
}
