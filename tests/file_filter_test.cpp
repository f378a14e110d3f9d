#include "glchoice.h"
#include "glfilefilter.h"
#include "glwindow.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

// Pattern, name, whether they match.
struct Case
{
    const char* Pattern;
    std::string Name;
    bool bMatch;
};

void ExpectCases(const std::vector<Case>& Cases)
{
    for (const Case& c : Cases)
    {
        EXPECT_EQ(GLMatchFilePattern(c.Pattern, c.Name), c.bMatch) << c.Pattern << " vs " << c.Name;
    }
}

} // namespace

TEST(FilePattern, StarsAndQuestionMarksIgnoreAsciiCaseOnly)
{
    ExpectCases({
        {"*.png", "photo.png", true},
        {"*.png", "PHOTO.PNG", true},
        {"*.PnG", "a.pNg", true},
        {"*.png", ".png", true}, // a leading dot is an ordinary character
        {"*.png", "photo.png.bak", false},
        {"*.png", "photopng", false},
        {"*", "", true},
        {"", "", true},
        {"", "a", false},
        {"a*", "", false},
        {"*a*b*c", "xxaxxbxxbxxc", true},
        {"*a*b*c", "xxaxxbxxcxxd", false},
        {"?.txt", "a.txt", true},
        {"?.txt", "ab.txt", false},
        {"?.txt", ".txt", false},
        {"?.txt", "é.txt", true},    // one character, two bytes
        {"??.txt", "é.txt", false},  // not two
        {"?.txt", "\xff.txt", true}, // an invalid byte is one character
        {"*.ÄÖ", "x.äö", false},     // no case folding beyond ASCII
        {"*.äö", "x.äö", true},
        {"\\*.txt", "*.txt", true}, // escaped star is literal
        {"\\*.txt", "a.txt", false},
    });
}

TEST(FilePattern, BracketSetsRangesNegationAndUnclosedBrackets)
{
    ExpectCases({
        {"[abc].txt", "b.txt", true}, {"[abc].txt", "B.txt", true}, {"[abc].txt", "d.txt", false},
        {"[a-c]x", "bx", true},       {"[A-C]x", "bx", true}, // ranges ignore case too
        {"[a-c]x", "dx", false},      {"[!a-c]x", "dx", true},      {"[!a-c]x", "Bx", false},
        {"[^a-c]x", "dx", true},      {"[]]", "]", true},           {"[!]]", "]", false},
        {"[!]]", "a", true},          {"[a-]", "-", true},  // a trailing '-' is literal
        {"[é-ë]", "ê", true},         {"[ab", "[ab", true}, // unclosed: literal
        {"[ab", "a", false},          {"*.[ch]", "main.c", true},   {"*.[ch]", "main.H", true},
        {"*.[ch]", "main.cc", false}, {"[\\]]x", "]x", true},
    });
}

TEST(FilePattern, LongNamesAgainstManyStarsFinish)
{
    // Backtracking to every star would take exponential time here.
    const std::string name(2000, 'a');
    EXPECT_FALSE(GLMatchFilePattern("*a*a*a*a*a*a*a*a*b", name));
    EXPECT_TRUE(GLMatchFilePattern("*a*a*a*a*a*a*a*a*a", name));
}

TEST(FileFilter, PatternListsExtensionsAndCaptions)
{
    EXPECT_EQ(GLSplitFilePatterns("  *.png\t*.jpg   *.jpeg "),
              (std::vector<std::string>{"*.png", "*.jpg", "*.jpeg"}));
    EXPECT_TRUE(GLSplitFilePatterns(" \t ").empty());

    const GLFileFilter images{"Images", {"*.png", "*.jpg"}};
    EXPECT_TRUE(images.Matches("a.JPG"));
    EXPECT_FALSE(images.Matches("a.gif"));
    EXPECT_TRUE((GLFileFilter{"Anything", {}}).Matches("x"));
    EXPECT_EQ(images.Caption(), "Images (*.png *.jpg)");
    EXPECT_EQ((GLFileFilter{"*.txt", {"*.txt"}}).Caption(), "*.txt");
    EXPECT_EQ((GLFileFilter{"Text (*.txt)", {"*.txt"}}).Caption(), "Text (*.txt)");
    EXPECT_EQ((GLFileFilter{"", {"*.a", "*.b"}}).Caption(), "*.a *.b");

    const auto extension = [](const char* Pattern)
    {
        return GLFileFilter{"x", {Pattern}}.DefaultExtension();
    };
    EXPECT_EQ(images.DefaultExtension(), ".png");
    EXPECT_EQ(extension("*.pdf"), ".pdf");
    EXPECT_EQ(extension("*.tar.gz"), ".tar.gz");
    for (const char* none : {"*", "*.*", "*.[ch]", "*.?", "report.pdf", "*.", "*.a/b"})
    {
        EXPECT_EQ(extension(none), "") << none;
    }
    EXPECT_EQ((GLFileFilter{"x", {}}).DefaultExtension(), "");
}

TEST(Choice, KeysStepWithoutWrappingSpaceWrapsAndOnlyRealChangesAreSignalled)
{
    GLChoice choice;
    EXPECT_FALSE(choice.AcceptsFocus());
    EXPECT_FALSE(choice.HandleKey(GLKey::Down, {}));
    std::vector<int> changes;
    choice.Changed.connect([&](int Index) { changes.push_back(Index); });

    choice.SetItems({"a", "b", "c"}, 7); // clamped, and no event for the program's own change
    EXPECT_EQ(choice.SelectedIndex, 2);
    EXPECT_EQ(choice.SelectedText(), "c");
    EXPECT_TRUE(choice.AcceptsFocus());
    EXPECT_TRUE(choice.HandleKey(GLKey::Down, {})); // at the end: consumed, no change
    EXPECT_TRUE(choice.HandleKey(GLKey::Up, {}));
    EXPECT_TRUE(choice.HandleKey(GLKey::Left, {}));
    EXPECT_TRUE(choice.HandleKey(GLKey::Left, {}));
    EXPECT_TRUE(choice.HandleKey(GLKey::End, {}));
    EXPECT_TRUE(choice.HandleText(" ", 0.0)); // wraps to the first
    EXPECT_FALSE(choice.HandleText("x", 0.0));
    EXPECT_FALSE(choice.HandleKey(GLKey::Down, GLModifiers{false, true, false})); // Ctrl: not ours
    EXPECT_FALSE(choice.HandleKey(GLKey::Enter, {}));
    choice.Choose(0);  // already chosen
    choice.Choose(-1); // out of range
    choice.Choose(3);
    EXPECT_EQ(changes, (std::vector<int>{1, 0, 2, 0}));

    choice.SetItems({}, 0);
    EXPECT_EQ(choice.SelectedIndex, -1);
    EXPECT_EQ(choice.SelectedText(), "");
}

TEST(Choice, PointerPressesStepAndFocusTheWheelStepsAndTheDumpShowsTheChoice)
{
    GLWindow window;
    GLChoice* choice = window.AddChild<GLChoice>();
    choice->Bounds = GLRect{0.0F, 0.0F, 20.0F, 1.0F};
    EXPECT_FALSE(window.PointerPress(1.5F, 0.5F, 1, {})); // nothing to choose: the press is not taken
    EXPECT_EQ(window.FocusedWidget, nullptr);
    choice->SetItems({"a", "b"}, 1);
    EXPECT_EQ(choice->Kind(), GLWidgetKind::Choice);
    EXPECT_TRUE(window.PointerPress(1.5F, 0.5F, 1, {}));
    EXPECT_EQ(window.FocusedWidget, choice);
    EXPECT_EQ(choice->SelectedIndex, 0); // wrapped
    EXPECT_TRUE(window.PointerWheel(1.5F, 0.5F, 3));
    EXPECT_EQ(choice->SelectedIndex, 1);
    EXPECT_NE(window.DescribeLayout().find("choice 0 0 20 1 focused b\n"), std::string::npos);
}
