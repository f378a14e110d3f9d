#include "glchoice.h"
#include "glfilefilter.h"
#include "glwindow.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

// Each pattern-name pair of PatternsAndNames matches (or does not, as bMatch says).
void ExpectMatches(bool bMatch, const std::vector<std::string>& PatternsAndNames)
{
    for (std::size_t i = 0; i + 1 < PatternsAndNames.size(); i += 2)
    {
        EXPECT_EQ(GLMatchFilePattern(PatternsAndNames[i], PatternsAndNames[i + 1]), bMatch)
            << PatternsAndNames[i] << " vs " << PatternsAndNames[i + 1];
    }
}

} // namespace

TEST(FilePattern, StarsAndQuestionMarksIgnoreAsciiCaseOnly)
{
    // A leading dot is ordinary; '?' is one character, however many bytes (an invalid byte is one).
    ExpectMatches(true, {"*.png", "PHOTO.PNG", "*.PnG", "a.pNg", "*.png", ".png", "*", "", "*a*b*c",
                         "xxaxxbxxbxxc", "?.txt", "é.txt", "?.txt", "\xff.txt", "\\*.txt", "*.txt"});
    ExpectMatches(false, {"*.png",  "photo.png.bak", "*.png",        "photopng", "",        "a",     "a*",
                          "",       "*a*b*c",        "xxaxxbxxcxxd", "?.txt",    "ab.txt",  "?.txt", ".txt",
                          "??.txt", "é.txt",         "*.ÄÖ",         "x.äö",     "\\*.txt", "a.txt"});
    // Backtracking to every star would take exponential time here.
    EXPECT_FALSE(GLMatchFilePattern("*a*a*a*a*a*a*a*a*b", std::string(2000, 'a')));
}

TEST(FilePattern, BracketSetsRangesNegationAndUnclosedBrackets)
{
    // Ranges ignore ASCII case too; a trailing '-' is literal; an unclosed bracket is literal.
    ExpectMatches(true, {"[abc].txt", "B.txt", "[A-C]x", "bx",     "[!a-c]x", "dx", "[^a-c]x", "dx",
                         "[]]",       "]",     "[!]]",   "a",      "[a-]",    "-",  "[é-ë]",   "ê",
                         "[ab",       "[ab",   "*.[ch]", "main.H", "[\\]]x",  "]x"});
    ExpectMatches(false, {"[abc].txt", "d.txt", "[a-c]x", "dx", "[!a-c]x", "Bx", "[!]]", "]", "[ab", "a",
                          "*.[ch]", "main.cc"});
}

TEST(FileFilter, PatternListsExtensionsAndCaptions)
{
    EXPECT_EQ(GLSplitFilePatterns("  *.png\t*.jpg   *.jpeg "),
              (std::vector<std::string>{"*.png", "*.jpg", "*.jpeg"}));
    const GLFileFilter images{"Images", {"*.png", "*.jpg"}};
    EXPECT_TRUE(images.Matches("a.JPG") && !images.Matches("a.gif"));
    EXPECT_TRUE((GLFileFilter{"Anything", {}}).Matches("x"));
    EXPECT_EQ(images.Caption(), "Images (*.png *.jpg)");
    EXPECT_EQ((GLFileFilter{"*.txt", {"*.txt"}}).Caption(), "*.txt");
    EXPECT_EQ((GLFileFilter{"Text (*.txt)", {"*.txt"}}).Caption(), "Text (*.txt)");
    EXPECT_EQ((GLFileFilter{"", {"*.a", "*.b"}}).Caption(), "*.a *.b");
    EXPECT_EQ(images.DefaultExtension(), ".png");
    for (const auto& [pattern, extension] :
         std::vector<std::pair<const char*, const char*>>{{"*.tar.gz", ".tar.gz"},
                                                          {"*", ""},
                                                          {"*.*", ""},
                                                          {"*.[ch]", ""},
                                                          {"*.?", ""},
                                                          {"report.pdf", ""},
                                                          {"*.", ""},
                                                          {"*.a/b", ""}})
    {
        EXPECT_EQ((GLFileFilter{"x", {pattern}}.DefaultExtension()), extension) << pattern;
    }
}

TEST(Choice, KeysStepWithoutWrappingSpaceWrapsAndOnlyRealChangesAreSignalled)
{
    GLChoice choice;
    EXPECT_FALSE(choice.AcceptsFocus() || choice.HandleKey(GLKey::Down, {}));
    std::vector<int> changes;
    choice.Changed.connect([&](int Index) { changes.push_back(Index); });
    choice.SetItems({"a", "b", "c"}, 7); // clamped, and no event for the program's own change
    EXPECT_EQ(choice.SelectedText(), "c");
    for (const GLKey key : {GLKey::Down, GLKey::Up, GLKey::Left, GLKey::Left, GLKey::End}) // Down: at the end
    {
        EXPECT_TRUE(choice.HandleKey(key, {}));
    }
    EXPECT_TRUE(choice.HandleText(" ", 0.0)); // wraps to the first
    EXPECT_FALSE(choice.HandleText("x", 0.0) || choice.HandleKey(GLKey::Enter, {}));
    EXPECT_FALSE(choice.HandleKey(GLKey::Down, GLModifiers{false, true, false})); // Ctrl: not ours
    choice.Choose(0);                                                             // already chosen
    choice.Choose(-1);                                                            // out of range
    choice.Choose(3);
    EXPECT_EQ(changes, (std::vector<int>{1, 0, 2, 0}));
    choice.SetItems({}, 0);
    EXPECT_EQ(choice.SelectedIndex, -1);
}

TEST(Choice, PointerPressesStepAndFocusTheWheelStepsAndTheDumpShowsTheChoice)
{
    GLWindow window;
    GLChoice* choice = window.AddChild<GLChoice>();
    choice->Bounds = GLRect{0.0F, 0.0F, 20.0F, 1.0F};
    EXPECT_FALSE(window.PointerPress(1.5F, 0.5F, 1, {})); // nothing to choose: the press is not taken
    choice->SetItems({"a", "b"}, 1);
    EXPECT_TRUE(window.PointerPress(1.5F, 0.5F, 1, {}));
    EXPECT_EQ(choice->SelectedIndex, 0); // wrapped
    EXPECT_TRUE(window.PointerWheel(1.5F, 0.5F, 3));
    EXPECT_NE(window.DescribeLayout().find("choice 0 0 20 1 focused b\n"), std::string::npos);
}
