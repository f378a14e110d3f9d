#include "glimgui_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace
{

const std::string Replacement = "\xEF\xBF\xBD";

std::string Encoded(std::uint32_t CodePoint)
{
    std::string out;
    AppendUtf8(out, CodePoint);
    return out;
}

} // namespace

TEST(WindowText, WellFormedTextPassesThroughUnchanged)
{
    for (const std::string text : {"plain.txt", "Ελληνικά.txt", "Кириллица", "café-naïve",
                                   "\xF0\x9F\x93\x81 box", "\xF4\x8F\xBF\xBF", ""})
    {
        EXPECT_EQ(SanitizeUtf8(text), text);
    }
}

TEST(WindowText, EachMalformedByteBecomesOneReplacementAndTheRestSurvives)
{
    EXPECT_EQ(SanitizeUtf8("bad-\xFF\xFE.txt"), "bad-" + Replacement + Replacement + ".txt");
    EXPECT_EQ(SanitizeUtf8("\x80x"), Replacement + "x");   // stray continuation
    EXPECT_EQ(SanitizeUtf8("ab\xCE"), "ab" + Replacement); // cut at the end
    EXPECT_EQ(SanitizeUtf8("\xE2\x82"
                           "A"),
              Replacement + Replacement + "A");                                       // cut before ASCII
    EXPECT_EQ(SanitizeUtf8("\xC0\xAF"), Replacement + Replacement);                   // overlong '/'
    EXPECT_EQ(SanitizeUtf8("\xE0\x80\xAF"), Replacement + Replacement + Replacement); // overlong, 3 bytes
    EXPECT_EQ(SanitizeUtf8("\xED\xA0\x80"), Replacement + Replacement + Replacement); // surrogate
    EXPECT_EQ(SanitizeUtf8("\xF4\x90\x80\x80"),
              Replacement + Replacement + Replacement + Replacement); // > U+10FFFF
}

TEST(WindowText, TypedCodePointsEncodeAndInvalidOnesAreReplaced)
{
    EXPECT_EQ(Encoded('A'), "A");
    EXPECT_EQ(Encoded(0xE9), "\xC3\xA9");
    EXPECT_EQ(Encoded(0x3B1), "\xCE\xB1");
    EXPECT_EQ(Encoded(0x20AC), "\xE2\x82\xAC");
    EXPECT_EQ(Encoded(0x1F600), "\xF0\x9F\x98\x80");
    EXPECT_EQ(Encoded(0xD800), Replacement);
    EXPECT_EQ(Encoded(0x110000), Replacement);
}

TEST(WindowText, DumpEscapingKeepsAnyNameOnOneLine)
{
    EXPECT_EQ(EscapeBytes("a b\\c\n\xFF\xCE\xB1"), "a b\\x5cc\\x0a\\xff\\xce\\xb1");
}
