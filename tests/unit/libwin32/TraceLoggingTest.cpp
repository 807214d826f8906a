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
    EXPECT_EQ(encodeEventData({{"W", L"hi"}, {"U", "y"}, {"I", std::int32_t{-2}}, {"B", true}}),
              bytes(std::string_view("h\0i\0\0\0y\0\xfe\xff\xff\xff\x01\0\0\0", 16)));
    // A decoder stops at the first NUL, and an event of 64 KiB or more is dropped.
    EXPECT_EQ(encodeEventData({{"W", std::wstring_view(L"a\0b", 3)}}).size(), 4U);
    const std::wstring longText(40000, L'x');
    EXPECT_EQ(encodeEventData({{"W", longText}}).size(), (maxTraceText + 1) * 2);
}
