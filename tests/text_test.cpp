// The toolkit's UTF-8 helper and name rule, checked against Unicode's data over every code point.
#include "gltext.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace
{

// Every code point with the property in a property file ("XXXX..YYYY ; Name # ...").
void ReadProperty(const std::string& Path, const std::string& Name, std::vector<bool>& Set)
{
    std::ifstream in(Path);
    std::string line;
    while (std::getline(in, line))
    {
        line = line.substr(0, line.find('#'));
        const std::size_t semicolon = line.find(';');
        if (semicolon == std::string::npos)
        {
            continue;
        }
        std::istringstream value(line.substr(semicolon + 1));
        std::string property;
        value >> property;
        if (property != Name)
        {
            continue;
        }
        const std::string range = line.substr(0, semicolon);
        const std::size_t dots = range.find("..");
        const unsigned long first = std::stoul(range, nullptr, 16);
        const unsigned long last =
            dots == std::string::npos ? first : std::stoul(range.substr(dots + 2), nullptr, 16);
        for (unsigned long code = first; code <= last; ++code)
        {
            Set[code] = true;
        }
    }
}

// Every code point of general category Cc, Zl or Zp, "<..., First>"/"<..., Last>" ranges included.
void ReadCategories(const std::string& Path, std::vector<bool>& Set)
{
    std::ifstream in(Path);
    std::string line;
    unsigned long rangeStart = 0;
    bool bInRange = false;
    while (std::getline(in, line))
    {
        std::vector<std::string> fields;
        std::istringstream split(line);
        for (std::string field; std::getline(split, field, ';');)
        {
            fields.push_back(field);
        }
        if (fields.size() < 3)
        {
            continue;
        }
        const unsigned long code = std::stoul(fields[0], nullptr, 16);
        if (fields[1].find(", First>") != std::string::npos)
        {
            rangeStart = code;
            bInRange = true;
            continue;
        }
        const unsigned long first = bInRange ? rangeStart : code;
        bInRange = false;
        if (fields[2] == "Cc" || fields[2] == "Zl" || fields[2] == "Zp")
        {
            for (unsigned long each = first; each <= code; ++each)
            {
                Set[each] = true;
            }
        }
    }
}

std::string Utf8(char32_t Code)
{
    std::string out;
    GLAppendUtf8(out, Code);
    return out;
}

bool IsValidUtf8(const std::string& Text)
{
    for (std::size_t at = 0; at < Text.size();)
    {
        const GLUtf8Char c = GLDecodeUtf8(Text, at);
        if (!c.bValid)
        {
            return false;
        }
        at += c.Length;
    }
    return true;
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
    ReadCategories(folder + "/UnicodeData.txt", expected);
    ReadProperty(folder + "/PropList.txt", "Bidi_Control", expected);
    ReadProperty(folder + "/DerivedCoreProperties.txt", "Default_Ignorable_Code_Point", expected);

    int mismatches = 0;
    int concealing = 0;
    for (char32_t code = 0; code < 0x110000; ++code)
    {
        concealing += expected[code] ? 1 : 0;
        if (GLIsConcealingCodePoint(code) != expected[code] && ++mismatches <= 10)
        {
            ADD_FAILURE() << std::hex << "U+" << static_cast<unsigned long>(code) << " expected "
                          << expected[code];
        }
    }
    EXPECT_EQ(mismatches, 0);
    EXPECT_GT(concealing, 4000); // the data really was read
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
        EXPECT_TRUE(IsValidUtf8(visible)) << visible;
        EXPECT_EQ(visible.find('\n'), std::string::npos);
        for (std::size_t at = 0; at < visible.size();)
        {
            const GLUtf8Char c = GLDecodeUtf8(visible, at);
            EXPECT_FALSE(GLIsConcealingCodePoint(c.CodePoint)) << visible;
            at += c.Length;
        }
    }
    EXPECT_EQ(GLVisibleName("file"), "file");
    EXPECT_EQ(GLVisibleName("file" + Utf8(0x034F)), "file\\xcd\\x8f");
    EXPECT_EQ(GLVisibleName("a\nb\tc\rd\\e\x1b"), "a\\nb\\tc\\rd\\\\e\\x1b");
    EXPECT_EQ(GLVisibleName("\xC3\xA9t\xC3\xA9 \xE6\x97\xA5"),
              "\xC3\xA9t\xC3\xA9 \xE6\x97\xA5"); // shown as is
}

TEST(Utf8, DecodingRejectsMalformedInputOneByteAtATimeAndRoundTrips)
{
    struct Case
    {
        std::string Bytes;
        bool bValid;
        std::size_t Length;
    };
    const std::vector<Case> cases = {
        {"a", true, 1},
        {"\xC3\xA9", true, 2},
        {"\xF0\x9F\x98\x80", true, 4},
        {"\xC0\xAF", false, 1},
        {"\xE0\x80\xAF", false, 1},
        {"\xED\xA0\x80", false, 1},
        {"\xF4\x90\x80\x80", false, 1},
        {"\x80", false, 1},
        {"\xE2\x82", false, 1},
        {"\xF8\x88\x80\x80\x80", false, 1},
    };
    for (const Case& each : cases)
    {
        const GLUtf8Char c = GLDecodeUtf8(each.Bytes, 0);
        EXPECT_EQ(c.bValid, each.bValid) << GLEscapedBytes(each.Bytes);
        EXPECT_EQ(c.Length, each.Length) << GLEscapedBytes(each.Bytes);
    }
    for (char32_t code = 0; code < 0x110000; code += (code < 0x10000 ? 1 : 97))
    {
        const std::string bytes = Utf8(code);
        const GLUtf8Char c = GLDecodeUtf8(bytes, 0);
        if (code >= 0xD800 && code <= 0xDFFF)
        {
            EXPECT_EQ(bytes, "\xEF\xBF\xBD");
            continue;
        }
        ASSERT_TRUE(c.bValid && c.CodePoint == code && c.Length == bytes.size()) << code;
    }
    EXPECT_EQ(Utf8(0x110000), "\xEF\xBF\xBD");
}
