#include "test_support.h"

#include <string>
#include <utility>
#include <vector>

using namespace glfd_test;
using Mode = GLFileDialogPanel::SelectionMode;
using Log = std::vector<std::string>;

namespace
{

constexpr GLModifiers Shift{true, false, false};
constexpr GLModifiers Alt{false, false, true};

// A panel in a host window, driven only through widget input, over this folder:
// rows 0 docs/, 1 Music/, 2 apple.txt, 3 Banana.txt, 4 berry.txt, 5 cherry.txt.
class DialogInput : public ::testing::Test
{
protected:
    void SetUp() override
    {
        for (const char* name : {"docs/a.md", "docs/b.md", "docs/c.md", "docs/report.txt", "apple.txt",
                                 "Banana.txt", "berry.txt", "cherry.txt"})
        {
            tree.File(name, "x");
        }
        tree.Dir("Music");
        host.SetContent(&panel);
        panel.SetBounds(GLRect{0.0F, 0.0F, 640.0F, 480.0F});
        log.Attach(panel);
    }

    void Press(GLKey Key, int Times = 1, GLModifiers Mods = {})
    {
        for (int i = 0; i < Times; ++i)
        {
            panel.HandleKey(Key, Mods);
        }
    }
    // Types one character at a time, 0.1 s apart, from Start when one is given.
    void Type(const std::string& Text, double Start = -1.0)
    {
        clock = Start >= 0.0 ? Start : clock;
        for (const char c : Text)
        {
            panel.HandleText(std::string(1, c).c_str(), clock += 0.1);
        }
    }
    std::string Selected() const
    {
        const std::string* name = panel.TableModel->CellAt(panel.FileTable->SelectedRow, 0);
        return name != nullptr ? *name : "-";
    }
    Log TakeLog() { return std::exchange(log.Events, {}); }

    TempTree tree;
    GLFileDialogPanel panel;
    GLChildWindow host;
    SignalLog log;
    double clock = 0.0;
};

} // namespace

TEST_F(DialogInput, KeyboardAloneTakesTheUserFromOpeningToAcceptance)
{
    const std::string docs = tree.Path("docs");
    panel.OpenAtPath(tree.Root());
    ASSERT_EQ(panel.FocusedWidget, panel.FileTable);
    Press(GLKey::Down);
    Press(GLKey::Enter);
    EXPECT_EQ(panel.LocationInput->Text, docs);
    Press(GLKey::End);
    Press(GLKey::Enter);
    const std::string report = docs + "/report.txt";
    EXPECT_EQ(TakeLog(), (Log{"Status:Folder: " + docs, "Status:File: " + report, "FilesSelected:" + report,
                              "FileSelected:" + report, "Status:Selected 1 file(s)."}));
    EXPECT_FALSE(host.bVisible);

    // Next cycle: Backspace goes up, type-ahead picks a file, Tab reaches Open, space presses it.
    host.bVisible = true;
    Press(GLKey::Backspace);
    Type("c");
    Press(GLKey::Tab, 2);
    ASSERT_EQ(panel.FocusedWidget, panel.AcceptButton);
    panel.HandleText(" ", clock);
    EXPECT_EQ(TakeLog().at(1), "FilesSelected:" + tree.Path("cherry.txt"));
    // Alt+Up goes up from the location input too.
    Press(GLKey::Tab, 3, Shift);
    ASSERT_EQ(panel.FocusedWidget, panel.LocationInput);
    Press(GLKey::Up, 1, Alt);
    EXPECT_EQ(panel.CurrentDirectory, std::filesystem::path(tree.Root()).parent_path().native());
}

TEST_F(DialogInput, ShiftArrowRangeIsAcceptedAndNeverOutlivesItsFolder)
{
    panel.SetSelectionMode(Mode::OpenMultipleFiles);
    panel.OpenAtPath(tree.Root());
    Press(GLKey::Down, 3);
    Press(GLKey::Down, 2, Shift);
    panel.AcceptButton->Click();
    EXPECT_EQ(TakeLog().at(5), "FilesSelected:" + tree.Path("apple.txt") + "|" + tree.Path("Banana.txt") +
                                   "|" + tree.Path("berry.txt"));

    // Row numbers of the old folder must not select anything in the new one.
    panel.OpenAtPath(tree.Path("docs"));
    Press(GLKey::End, 1, Shift);
    panel.FileTable->TopRow = 2;
    panel.UpButton->Click();
    EXPECT_FALSE(panel.FileTable->bRangeSelection);
    EXPECT_EQ(panel.FileTable->TopRow, 0);
    panel.AcceptButton->Click();
    EXPECT_EQ(TakeLog().back(), "Status:Select one or more files to open.");

    // A path typed earlier, a range made since, then Enter in the location input: the typed
    // file is accepted, not the files that the range's rows hit in the file's folder.
    Press(GLKey::Tab, 1, Shift);
    Type("/docs/report.txt");
    Press(GLKey::Tab);
    Press(GLKey::End, 1, Shift);
    Press(GLKey::Tab, 1, Shift);
    Press(GLKey::Enter);
    EXPECT_EQ(TakeLog().back(), "Status:Selected 1 file(s).");
    EXPECT_EQ(panel.GetSelectedFilePaths(), Log{tree.Path("docs/report.txt")});
}

TEST_F(DialogInput, TypingInTheLocationReplacesTheRowSelectionAndEnterActsOnIt)
{
    panel.OpenAtPath(tree.Path("berry.txt"));
    // The panel's own write of the location kept the row selected.
    EXPECT_EQ(Selected(), "berry.txt");
    EXPECT_EQ(panel.LocationInput->Text, tree.Root());
    Press(GLKey::Tab, 1, Shift);
    Type("/c");
    EXPECT_EQ(panel.SelectedPath, "");
    EXPECT_EQ(TakeLog(), Log{"Status:Browsing " + tree.Root()});
    Type("herry.txt");
    Press(GLKey::Enter);
    const std::string cherry = tree.Path("cherry.txt");
    EXPECT_EQ(TakeLog(),
              (Log{"FilesSelected:" + cherry, "FileSelected:" + cherry, "Status:Selected 1 file(s)."}));

    host.bVisible = true;
    Type("/nope");
    Press(GLKey::Enter);
    EXPECT_EQ(TakeLog(),
              (Log{"Status:Browsing " + tree.Root(), "Status:Path not found: " + tree.Path("nope")}));
    panel.LocationInput->EditText(" docs ");
    Press(GLKey::Enter);
    EXPECT_EQ(panel.LocationInput->Text, tree.Path("docs"));
    EXPECT_TRUE(host.bVisible);
    EXPECT_TRUE(TakeLog().empty());
}

TEST_F(DialogInput, TypeAheadIgnoresCaseCyclesOnOneLetterAndRestartsAfterAPause)
{
    panel.OpenAtPath(tree.Root());
    Type("b", 0.0);
    EXPECT_EQ(Selected(), "Banana.txt");
    Type("er");
    EXPECT_EQ(Selected(), "berry.txt");
    Type("a", 3.0); // after a pause "a" starts afresh instead of making "bera"
    EXPECT_EQ(Selected(), "apple.txt");
    Type("M", 6.0);
    EXPECT_EQ(Selected(), "Music");
    Type("bbb", 9.0);
    EXPECT_EQ(Selected(), "Banana.txt"); // Banana, berry, Banana again
    EXPECT_EQ(panel.StatusText, "File: " + tree.Path("Banana.txt"));
}

TEST_F(DialogInput, EscapeAndCancelEndTheDialogFromAnyWidget)
{
    panel.OpenAtPath(tree.Root());
    Press(GLKey::Escape);
    EXPECT_FALSE(host.bVisible);
    host.bVisible = true;
    Press(GLKey::Tab, 1, Shift);
    Press(GLKey::Escape);
    panel.CancelButton->Click();
    const Log once = {"Cancelled", "Status:Closed file dialog."};
    EXPECT_EQ(TakeLog(), (Log{once[0], once[1], once[0], once[1], once[0], once[1]}));
    EXPECT_FALSE(host.bVisible);
}

TEST_F(DialogInput, ModesRewriteTheTextsAndOnlyMultipleFilesKeepsARange)
{
    EXPECT_EQ(host.EffectiveTitle(), "Open File");
    panel.OpenAtPath(tree.Root());
    panel.FileTable->ClickRow(2, {});
    panel.FileTable->ClickRow(4, Shift);
    EXPECT_FALSE(panel.FileTable->bRangeSelection);
    panel.AcceptButton->Click();
    EXPECT_EQ(TakeLog().at(2), "FilesSelected:" + tree.Path("berry.txt"));

    panel.SetSelectionMode(Mode::OpenMultipleFiles);
    EXPECT_EQ(host.EffectiveTitle(), "Open Files");
    panel.FileTable->ClickRow(5, Shift); // no stale anchor from before the switch: just row 5
    EXPECT_EQ(panel.GetSelectedFilePaths(), Log{tree.Path("cherry.txt")});

    panel.SetSelectionMode(Mode::SelectFolder);
    EXPECT_EQ(host.EffectiveTitle(), "Select Folder");
    Press(GLKey::Down, 2, Shift);
    EXPECT_FALSE(panel.FileTable->bRangeSelection);
    panel.AcceptButton->Click();
    EXPECT_EQ(TakeLog().back(), "Status:Selected 1 folder.");
    EXPECT_EQ(panel.GetSelectedFilePaths(), Log{tree.Path("Music")});
    panel.FileTable->DoubleClickRow(0);
    EXPECT_EQ(panel.CurrentDirectory, tree.Path("docs"));
}

TEST_F(DialogInput, LayoutFillsTheSpaceWithoutOverlapsAtEverySize)
{
    const auto overlap = [](const GLRect& A, const GLRect& B)
    {
        return A.X < B.X + B.Width && B.X < A.X + A.Width && A.Y < B.Y + B.Height && B.Y < A.Y + A.Height;
    };
    // Checks one size; the hint gives its line to the table when the panel is short.
    const auto check = [&](const GLMetrics& Metrics, const GLRect& Bounds, int PageRows, bool bHint)
    {
        panel.SetMetrics(Metrics);
        panel.SetBounds(Bounds);
        const GLRect& table = panel.FileTable->Bounds;
        const GLRect& below = bHint ? panel.HintLabel->Bounds : panel.StatusLabel->Bounds;
        const float gap = Metrics.Spacing;
        EXPECT_EQ(panel.HintLabel->bShown, bHint);
        EXPECT_EQ(panel.FileTable->PageRows, PageRows);
        EXPECT_FLOAT_EQ(table.Y, panel.LocationInput->Bounds.Y + Metrics.LineHeight + gap);
        EXPECT_FLOAT_EQ(table.Y + table.Height + gap, below.Y);
        EXPECT_FLOAT_EQ(table.Width, Bounds.Width - 2 * gap);
        EXPECT_FLOAT_EQ(panel.AcceptButton->Bounds.Y + Metrics.LineHeight + gap, Bounds.Y + Bounds.Height);
        for (const auto& a : panel.Children)
        {
            const bool bInside =
                a->Bounds.X >= Bounds.X && a->Bounds.X + a->Bounds.Width <= Bounds.X + Bounds.Width;
            EXPECT_TRUE(!a->bShown || bInside);
            for (const auto& b : panel.Children)
            {
                EXPECT_TRUE(a == b || !a->bShown || !b->bShown || !overlap(a->Bounds, b->Bounds));
            }
        }
    };
    check(GLMetrics{}, {0, 0, 320, 240}, 3, true);
    check(GLMetrics{}, {10, 20, 1280, 900}, 36, true);
    check(GLMetrics{}, {0, 0, 150, 150}, 1, false);
    check(GLMetrics{1, 1, 0}, {0, 0, 80, 24}, 18, true); // terminal cells
    check(GLMetrics{1, 1, 0}, {0, 0, 40, 6}, 1, false);
}
