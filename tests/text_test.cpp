// The toolkit's UTF-8 helper and name rule, checked against Unicode's data over every code point.
#include "gltext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace
{

// Marks in Set every code point whose field number Field is one of Values in a Unicode data file
// ("XXXX[..YYYY] ; field ; ... # comment"), "<..., First>" and "<..., Last>" line pairs included.
void ReadUnicodeData(const std::string& Path, std::size_t Field, const std::set<std::string>& Values,
                     std::vector<bool>& Set)
{
    std::ifstream in(Path);
    unsigned long first = 0;
    for (std::string line; std::getline(in, line);)
    {
        std::vector<std::string> fields;
        std::istringstream split(line.substr(0, line.find('#')));
        for (std::string field; std::getline(split, field, ';');)
        {
            fields.push_back(field);
        }
        std::string value;
        if (fields.size() <= Field || !(std::istringstream(fields[Field]) >> value))
        {
            continue;
        }
        const std::size_t dots = fields[0].find("..");
        const unsigned long last =
            std::stoul(dots == std::string::npos ? fields[0] : fields[0].substr(dots + 2), nullptr, 16);
        first = fields[1].find(", Last>") != std::string::npos ? first : std::stoul(fields[0], nullptr, 16);
        for (unsigned long code = first; Values.count(value) != 0 && code <= last; ++code)
        {
            Set[code] = true;
        }
    }
}

std::string Utf8(char32_t Code)
{
    std::string out;
    GLAppendUtf8(out, Code);
    return out;
}

} // namespace

TEST(NameRule, ConcealingSetIsExactlyUnicodesOwnOverTheWholeRange)
{
    const std::string folder = GLFD_UNICODE_DATA_DIR;
    if (!std::ifstream(folder + "/UnicodeData.txt") || !std::ifstream(folder + "/PropList.txt") ||
        !std::ifstream(folder + "/DerivedCoreProperties.txt"))
    {
        GTEST_SKIP() << "Unicode data files not found in " << folder << " (Debian package unicode-data)";
    }
    std::vector<bool> expected(0x110000, false);
    ReadUnicodeData(folder + "/UnicodeData.txt", 2, {"Cc", "Zl", "Zp"}, expected);
    ReadUnicodeData(folder + "/PropList.txt", 1, {"Bidi_Control"}, expected);
    ReadUnicodeData(folder + "/DerivedCoreProperties.txt", 1, {"Default_Ignorable_Code_Point"}, expected);
    int mismatches = 0;
    for (char32_t code = 0; code < 0x110000; ++code)
    {
        if (GLIsConcealingCodePoint(code) != expected[code] && ++mismatches <= 10)
        {
            ADD_FAILURE() << std::hex << "U+" << static_cast<unsigned long>(code) << " expected "
                          << expected[code];
        }
    }
    EXPECT_EQ(mismatches, 0);
    EXPECT_GT(std::count(expected.begin(), expected.end(), true), 4000); // the data really was read
    EXPECT_FALSE(GLIsConcealingCodePoint(0x110000));
}

TEST(NameRule, LookalikeNamesDrawDifferentlyAndOnOneLine)
{
    const std::vector<std::string> names = {
        "file",
        "file" + Utf8(0x034F),      // combining grapheme joiner
        "file" + Utf8(0xE0020),     // tag space
        "file" + Utf8(0x200B),      // zero-width space
        "file" + Utf8(0x00AD),      // soft hyphen
        "fi\nle",                   // a newline
        "fi" + Utf8(0x2028) + "le", // line separator
        "elif" + Utf8(0x202E),      // right-to-left override
        Utf8(0x202E) + "elif",
        "file\xFF",     // invalid byte
        "file\\xff",    // the escape's own text
        "file\xC3",     // cut short
        "fi\xC0\xAFle", // overlong
    };
    std::set<std::string> shown;
    for (const std::string& name : names)
    {
        const std::string visible = GLVisibleName(name);
        EXPECT_TRUE(shown.insert(visible).second) << visible;
        for (std::size_t at = 0; at < visible.size();) // valid UTF-8 with nothing concealing left
        {
            const GLUtf8Char c = GLDecodeUtf8(visible, at);
            ASSERT_TRUE(c.bValid && !GLIsConcealingCodePoint(c.CodePoint)) << visible;
            at += c.Length;
        }
    }
    EXPECT_EQ(GLVisibleName("file" + Utf8(0x034F)), "file\\xcd\\x8f");
    EXPECT_EQ(GLVisibleName("a\nb\tc\rd\\e\x1b"), "a\\nb\\tc\\rd\\\\e\\x1b");
    EXPECT_EQ(GLVisibleName("\xC3\xA9t\xC3\xA9 \xE6\x97\xA5"),
              "\xC3\xA9t\xC3\xA9 \xE6\x97\xA5"); // shown as is
}

TEST(Utf8, DecodingRejectsMalformedInputOneByteAtATimeAndRoundTrips)
{
    // Bytes, then whether they decode, then how many bytes were taken.
    const std::vector<std::tuple<std::string, bool, std::size_t>> cases = {
        {"a", true, 1},
        {"\xC3\xA9", true, 2},
        {"\xF0\x9F\x98\x80", true, 4},
        {"\xC0\xAF", false, 1},
        {"\xE0\x80\xAF", false, 1},
        {"\xED\xA0\x80", false, 1},
        {"\x80", false, 1},
        {"\xF4\x90\x80\x80", false, 1},
        {"\xE2\x82", false, 1},
        {"\xF8\x88\x80\x80\x80", false, 1},
    };
    for (const auto& [bytes, bValid, length] : cases)
    {
        const GLUtf8Char c = GLDecodeUtf8(bytes, 0);
        EXPECT_TRUE(c.bValid == bValid && c.Length == length) << GLEscapedBytes(bytes);
    }
    for (char32_t code = 0; code < 0x110000; code += (code < 0x10000 ? 1 : 97))
    {
        const std::string bytes = Utf8(code);
        const GLUtf8Char c = GLDecodeUtf8(bytes, 0);
        const bool bSurrogate = code >= 0xD800 && code <= 0xDFFF;
        ASSERT_TRUE(bSurrogate ? bytes == "\xEF\xBF\xBD"
                               : c.bValid && c.CodePoint == code && c.Length == bytes.size())
            << code;
    }
    EXPECT_EQ(Utf8(0x110000), "\xEF\xBF\xBD");
}
