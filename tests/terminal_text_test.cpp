#include "glterminal_text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>

namespace
{

// Widths come from wcwidth, so every test runs with a UTF-8 character type.
class TerminalTextTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
    static std::wstring Safe(std::string_view Bytes, bool bUtf8 = true)
    {
        return TerminalSafeText(Bytes, bUtf8);
    }
};

TEST_F(TerminalTextTest, NamesThatWouldDriveTheTerminalShowAsEscapes)
{
    EXPECT_EQ(Safe("evil\x1b[2Jname"), L"evil\\x1b[2Jname");
    EXPECT_EQ(Safe("t\x1b]0;pwned\x07"), L"t\\x1b]0;pwned\\x07");
    EXPECT_EQ(Safe("a\nb\tc\\d\x7f"), L"a\\nb\\tc\\\\d\\x7f");
    EXPECT_EQ(Safe("\xc2\x9b[2J"), L"\\xc2\\x9b[2J");        // a C1 introducer, validly encoded
    EXPECT_EQ(Safe("x\xe2\x80\xaey"), L"x\\xe2\\x80\\xaey"); // right-to-left override
}

TEST_F(TerminalTextTest, InvalidUtf8IsEscapedByteByByteAndValidTextPasses)
{
    EXPECT_EQ(Safe("bad\xffname"), L"bad\\xffname");
    EXPECT_EQ(Safe("\xe0\x80\xaf"), L"\\xe0\\x80\\xaf"); // overlong "/"
    EXPECT_EQ(Safe("\xed\xa0\x80"), L"\\xed\\xa0\\x80"); // surrogate
    EXPECT_EQ(Safe("\xe6\x97-x"), L"\\xe6\\x97-x");      // cut short
    EXPECT_EQ(Safe("\xc3\xa9vian-\xe6\x97\xa5"), L"\u00e9vian-\u65e5");
    EXPECT_EQ(Safe("e\xcc\x81"), L"e\u0301");   // a decomposed accent stays on its letter
    EXPECT_EQ(Safe("\xcc\x81"), L"\\xcc\\x81"); // with nothing to sit on, it is shown
    EXPECT_EQ(Safe("\xc3\xa9", false), L"\\xc3\\xa9");
}

TEST_F(TerminalTextTest, NoByteSequenceReachesTheTerminalAsAControlCharacter)
{
    for (int byte = 0; byte < 256; ++byte)
    {
        for (const char* next : {"\x1b", "\x80", "\x9b", "\xbf", "a"})
        {
            const std::string bytes = std::string(1, static_cast<char>(byte)) + next;
            for (const wchar_t c : Safe(bytes) + Safe(bytes, false))
            {
                EXPECT_FALSE(c < 0x20 || (c >= 0x7f && c < 0xa0)) << byte << ' ' << next;
            }
        }
    }
}

TEST_F(TerminalTextTest, WideCharactersKeepColumnsAligned)
{
    const std::wstring name = Safe("\xe6\x97\xa5\xe6\x9c\xac-"); // two wide characters, then "-"
    EXPECT_EQ(TerminalColumns(name), 5);
    EXPECT_EQ(TerminalFit(name, 7, L'~'), L"\u65e5\u672c-  ");
    EXPECT_EQ(TerminalFit(name, 4, L'~'), L"\u65e5 ~"); // the wide character cut in half leaves a space
    EXPECT_EQ(TerminalSlice(name, 1, 3), L" \u672c");
    EXPECT_EQ(TerminalFit(Safe("e\xcc\x81xyz"), 2, L'~'), L"e\u0301~");
    for (int width = 0; width < 8; ++width)
    {
        EXPECT_EQ(TerminalColumns(TerminalFit(name, width, L'~')), width);
        EXPECT_EQ(TerminalColumns(TerminalSlice(name, 1, width)), width);
    }
}

} // namespace
