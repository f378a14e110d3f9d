#include "test_support.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

using namespace glfd_test;
using Mode = GLFileDialogPanel::SelectionMode;
using Strings = std::vector<std::string>;

namespace
{

constexpr GLModifiers Ctrl{false, true, false};

// A hosted panel over a real folder with folders, hidden names and several kinds of file.
class Extensions : public testing::Test
{
protected:
    Extensions()
    {
        for (const char* file : {"a.PNG", "b.jpg", "c.txt", "report.pdf", ".hidden.png", "pics/inner.png"})
        {
            Tree.File(file, "x");
        }
        Tree.Dir(".config");
        host.SetContent(&panel);
        panel.SetBounds(GLRect{0.0F, 0.0F, 800.0F, 600.0F});
        log.Attach(panel);
    }
    Strings Take() { return std::exchange(log.Events, {}); }
    // Rows must always be the entries, in order.
    Strings Listed() const
    {
        const Strings names = EntryNames(panel);
        Strings firstCells;
        for (const std::string& row : ModelRows(panel))
        {
            firstCells.push_back(row.substr(0, row.find('|')));
        }
        EXPECT_EQ(firstCells, names);
        return names;
    }
    void Press(GLKey Key, GLModifiers Mods = {}) { panel.HandleKey(Key, Mods); }

    TempTree Tree;
    GLChildWindow host;
    GLFileDialogPanel panel;
    SignalLog log;
    const std::vector<GLFileFilter> Filters{
        {"Images", {"*.png", "*.jpg"}}, {"PDF", {"*.pdf"}}, {"All", {"*"}}};
};

} // namespace

TEST_F(Extensions, FiltersListFoldersAndMatchingFilesAndSwitchWithoutRereading)
{
    panel.SetFileFilters(Filters, 0);
    panel.OpenAtPath(Tree.Root());
    EXPECT_EQ(Listed(), (Strings{".config", "pics", ".hidden.png", "a.PNG", "b.jpg"}));
    EXPECT_EQ(panel.FilterChoice->SelectedText(), "Images (*.png *.jpg)");

    // A file that appears after the listing was read shows only once the folder is read again.
    Tree.File("late.pdf", "x");
    panel.FilterChoice->HandleKey(GLKey::Down, {});
    EXPECT_EQ(panel.GetActiveFileFilter(), 1);
    EXPECT_EQ(Listed(), (Strings{".config", "pics", "report.pdf"}));
    panel.RefreshDirectoryListing();
    EXPECT_EQ(Listed(), (Strings{".config", "pics", "late.pdf", "report.pdf"}));

    // The selection follows its entry across a switch, and goes when the entry is filtered out.
    panel.FileTable->ClickRow(3, {});
    EXPECT_EQ(panel.SelectedPath, Tree.Path("report.pdf"));
    panel.SetActiveFileFilter(2);
    EXPECT_EQ(panel.FileTable->SelectedRow, 7);
    EXPECT_EQ(panel.GetSelectedFilePath(), Tree.Path("report.pdf"));
    panel.SetActiveFileFilter(0);
    EXPECT_EQ(panel.FileTable->SelectedRow, -1);
    EXPECT_EQ(panel.SelectedPath, "");
    EXPECT_TRUE(Take().back() == "Status:File: " + Tree.Path("report.pdf")); // switching says nothing

    // An empty list ends filtering: everything is back, the selector is gone.
    panel.SetFileFilters({});
    EXPECT_EQ(panel.GetActiveFileFilter(), -1);
    EXPECT_FALSE(panel.FilterChoice->bShown);
    EXPECT_EQ(Listed().size(), 8U);
}

TEST_F(Extensions, FilteredRangesNeverReachFilesThatAreNotListed)
{
    panel.SetSelectionMode(Mode::OpenMultipleFiles);
    panel.SetFileFilters(Filters, 0);
    panel.OpenAtPath(Tree.Root());
    panel.FileTable->ClickRow(2, {});
    panel.FileTable->ClickRow(4, GLModifiers{true, false, false});
    EXPECT_EQ(panel.GetSelectedFilePaths(),
              (Strings{Tree.Path(".hidden.png"), Tree.Path("a.PNG"), Tree.Path("b.jpg")}));
    // After a switch the old row numbers would hit other files: the range is dropped.
    panel.SetActiveFileFilter(2);
    EXPECT_FALSE(panel.FileTable->bRangeSelection);
    EXPECT_EQ(panel.GetSelectedFilePaths(), Strings{Tree.Path("b.jpg")});
}

TEST_F(Extensions, HiddenEntriesLeaveOnlyWhenAskedAndCtrlHToggles)
{
    panel.OpenAtPath(Tree.Root());
    EXPECT_EQ(Listed().front(), ".config");
    EXPECT_FALSE(panel.HiddenButton->bShown);
    Press(GLKey::H, Ctrl); // not offered: nothing happens
    EXPECT_TRUE(panel.GetShowHiddenEntries());

    panel.SetHiddenEntriesToggle(true);
    EXPECT_TRUE(panel.HiddenButton->bShown);
    EXPECT_EQ(panel.HiddenButton->Label, "Hidden files: shown");
    panel.SetFocus(panel.LocationInput); // Ctrl+H works whichever widget has the focus
    Press(GLKey::H, Ctrl);
    EXPECT_EQ(Listed(), (Strings{"pics", "a.PNG", "b.jpg", "c.txt", "report.pdf"}));
    EXPECT_EQ(panel.HiddenButton->Label, "Hidden files: hidden");
    EXPECT_EQ(panel.LocationInput->Text, Tree.Root());

    // Left out of new listings too, together with a filter; the button brings them back.
    panel.SetFileFilters(Filters, 0);
    panel.RefreshDirectoryListing();
    EXPECT_EQ(Listed(), (Strings{"pics", "a.PNG", "b.jpg"}));
    panel.HiddenButton->Click();
    EXPECT_EQ(Listed(), (Strings{".config", "pics", ".hidden.png", "a.PNG", "b.jpg"}));
    EXPECT_TRUE(Take().empty()); // toggling announces nothing
}

TEST_F(Extensions, ExtensionWidgetsJoinTheTabOrderOnlyWhileShown)
{
    panel.OpenAtPath(Tree.Root());
    const auto order = [this]
    {
        std::vector<GLWidget*> widgets;
        panel.SetFocus(panel.UpButton);
        do
        {
            widgets.push_back(panel.FocusedWidget);
            Press(GLKey::Tab);
        } while (panel.FocusedWidget != panel.UpButton && widgets.size() < 20);
        return widgets;
    };
    using Widgets = std::vector<GLWidget*>;
    EXPECT_EQ(order(), (Widgets{panel.UpButton, panel.LocationInput, panel.FileTable, panel.CancelButton,
                                panel.AcceptButton}));
    panel.SetFileFilters(Filters);
    panel.SetHiddenEntriesToggle(true);
    panel.SetSaveMode(true);
    EXPECT_EQ(order(),
              (Widgets{panel.UpButton, panel.LocationInput, panel.FileTable, panel.NameInput,
                       panel.FilterChoice, panel.CancelButton, panel.AcceptButton, panel.HiddenButton}));
}
TEST_F(Extensions, SaveModeDeliversFolderAndNameWithoutCreatingIt)
{
    panel.SetSaveMode(true);
    EXPECT_EQ(host.EffectiveTitle(), "Save File");
    EXPECT_EQ(panel.AcceptButton->Label, "Save");
    EXPECT_EQ(panel.HintLabel->Text, "Open a folder to save in, type a name, then press Save.");
    EXPECT_EQ(panel.FocusedWidget, panel.NameInput);
    panel.OpenAtPath(Tree.Path("notes.md")); // a name not taken yet: proposed, folder shown
    EXPECT_EQ(panel.NameInput->Text, "notes.md");
    EXPECT_EQ(panel.CurrentDirectory, Tree.Root());
    Take();

    EXPECT_EQ(panel.GetSelectedFilePaths(), Strings{Tree.Path("notes.md")});
    panel.NameInput->HandleKey(GLKey::Enter, {});
    const std::string saved = Tree.Path("notes.md");
    EXPECT_EQ(Take(),
              (Strings{"FilesSelected:" + saved, "FileSelected:" + saved, "Status:Save as " + saved}));
    EXPECT_FALSE(host.bVisible);
    EXPECT_FALSE(std::filesystem::exists(saved));

    // Names with a folder part; a folder that is not there is reported, and nothing is delivered.
    host.bVisible = true;
    panel.NameInput->EditText(" pics/new.png ");
    panel.AcceptButton->Click();
    EXPECT_EQ(Take().front(), "FilesSelected:" + Tree.Path("pics/new.png"));
    panel.NameInput->EditText("missing/new.png");
    panel.AcceptButton->Click();
    panel.NameInput->EditText("   ");
    panel.AcceptButton->Click();
    EXPECT_EQ(Take(), (Strings{"Status:Folder not found: " + Tree.Path("missing"),
                               "Status:Type a name to save as."}));
}

TEST_F(Extensions, SaveModeEntersFoldersAndAppendsTheExtension)
{
    panel.SetSaveMode(true);
    panel.OpenAtPath(Tree.Root());
    panel.NameInput->EditText("pics");
    panel.NameInput->Submit();
    EXPECT_EQ(panel.CurrentDirectory, Tree.Path("pics"));
    EXPECT_EQ(panel.NameInput->Text, "");
    panel.NameInput->EditText("..");
    panel.NameInput->Submit();
    EXPECT_EQ(panel.CurrentDirectory, Tree.Root());

    // The active filter's extension wins over the owner's default; a typed one is kept.
    panel.SetDefaultExtension("txt");
    panel.SetDefaultFileName("draft");
    EXPECT_EQ(panel.GetSelectedFilePath(), Tree.Path("draft.txt"));
    panel.SetFileFilters(Filters, 1);
    EXPECT_EQ(panel.GetSelectedFilePath(), Tree.Path("draft.pdf"));
    panel.SetActiveFileFilter(2); // "*" names no extension
    EXPECT_EQ(panel.GetSelectedFilePath(), Tree.Path("draft.txt"));
    panel.NameInput->EditText("draft.tar.gz");
    EXPECT_EQ(panel.GetSelectedFilePath(), Tree.Path("draft.tar.gz"));
    panel.SetActiveFileFilter(1);
    panel.NameInput->EditText("report");
    EXPECT_EQ(panel.GetSelectedFilePath(), Tree.Path("report.pdf")); // exists: the question comes next
    Take();
    panel.AcceptButton->Click();
    EXPECT_EQ(Take(), Strings{"Status:Replace \"report.pdf\"? It already exists."});
}

TEST_F(Extensions, ReplacingAFileIsAskedInsideTheDialogAndCanBeBackedOutOf)
{
    panel.SetSaveMode(true);
    panel.OpenAtPath(Tree.Root());
    const std::string report = Tree.Path("report.pdf");
    panel.FileTable->ClickRow(6, {}); // picking a file proposes its name
    EXPECT_EQ(panel.NameInput->Text, "report.pdf");
    Take();
    panel.NameInput->Submit();
    EXPECT_TRUE(panel.IsAskingToReplace());
    EXPECT_EQ(Take(), Strings{"Status:Replace \"report.pdf\"? It already exists."});
    EXPECT_TRUE(panel.ReplaceButton->bShown && panel.BackButton->bShown);
    EXPECT_FALSE(panel.AcceptButton->bShown || panel.CancelButton->bShown);
    EXPECT_EQ(panel.FocusedWidget, panel.ReplaceButton);
    EXPECT_EQ(panel.ReplaceButton->Bounds.X, panel.AcceptButton->Bounds.X);

    // Escape backs out of the question, not out of the dialog.
    Press(GLKey::Escape);
    EXPECT_FALSE(panel.IsAskingToReplace());
    EXPECT_TRUE(host.bVisible);
    EXPECT_EQ(panel.FocusedWidget, panel.NameInput);
    EXPECT_TRUE(panel.AcceptButton->bShown && panel.CancelButton->bShown);
    EXPECT_EQ(Take(), Strings{"Status:Browsing " + Tree.Root()});

    // Editing the name drops a question too; asked again, Enter on Replace accepts.
    panel.NameInput->Submit();
    panel.NameInput->InsertText("x");
    EXPECT_FALSE(panel.IsAskingToReplace());
    panel.NameInput->DeleteBackward();
    panel.NameInput->Submit();
    Take();
    Press(GLKey::Enter);
    EXPECT_EQ(Take(),
              (Strings{"FilesSelected:" + report, "FileSelected:" + report, "Status:Save as " + report}));
    EXPECT_FALSE(host.bVisible);

    // A double-click on a file asks as well; Back with the mouse, then Escape cancels as ever.
    host.bVisible = true;
    panel.FileTable->DoubleClickRow(5);
    EXPECT_EQ(Take().back(), "Status:Replace \"c.txt\"? It already exists.");
    panel.BackButton->Click();
    Press(GLKey::Escape);
    EXPECT_EQ(Take(), (Strings{"Status:Browsing " + Tree.Root(), "Cancelled", "Status:Closed file dialog."}));
}

TEST_F(Extensions, TurningEveryExtensionOffGivesThePlainDialog)
{
    // The same session on a plain panel and on one whose extensions were all turned on and off:
    // texts and signals (Said), and with them rows and widget states (Seen).
    struct Transcript
    {
        Strings Said;
        Strings Seen;
    };
    const auto session = [this](GLFileDialogPanel& Panel)
    {
        GLChildWindow window;
        window.SetContent(&Panel);
        SignalLog events;
        events.Attach(Panel);
        Transcript out;
        const auto snap = [&]
        {
            out.Said.push_back(Panel.TitleLabel->Text + "|" + Panel.AcceptButton->Label + "|" +
                               Panel.HintLabel->Text + "|" + Panel.StatusText + "|" +
                               Panel.LocationInput->Text);
            const Strings rows = ModelRows(Panel);
            out.Seen.insert(out.Seen.end(), rows.begin(), rows.end());
            for (const auto& child : Panel.Children)
            {
                out.Seen.push_back(child->bShown ? "shown" : "hidden");
            }
        };
        Panel.SetBounds(GLRect{0.0F, 0.0F, 640.0F, 480.0F});
        Panel.OpenAtPath(Tree.Root());
        snap();
        Panel.HandleKey(GLKey::Down, {});
        Panel.HandleKey(GLKey::Enter, {});
        snap();
        Panel.HandleKey(GLKey::H, Ctrl);
        Panel.HandleKey(GLKey::Backspace, {});
        Panel.SetSelectionMode(Mode::OpenMultipleFiles);
        Panel.FileTable->ClickRow(3, {});
        Panel.FileTable->ClickRow(6, GLModifiers{true, false, false});
        Panel.AcceptButton->Click();
        snap();
        window.bVisible = true;
        Panel.SetSelectionMode(Mode::SelectFolder);
        Panel.AcceptButton->Click();
        Panel.HandleKey(GLKey::Escape, {});
        snap();
        out.Said.insert(out.Said.end(), events.Events.begin(), events.Events.end());
        return out;
    };
    GLFileDialogPanel plain;
    GLFileDialogPanel toggled;
    toggled.SetFileFilters(Filters, 1);
    toggled.SetSaveMode(true);
    toggled.SetHiddenEntriesToggle(true);
    toggled.SetShowHiddenEntries(false);
    toggled.OpenAtPath(Tree.Path("pics"));
    toggled.SetFileFilters({});
    toggled.SetSaveMode(false);
    toggled.SetHiddenEntriesToggle(false);
    toggled.SetShowHiddenEntries(true);
    toggled.SetFocus(toggled.FileTable);
    const Transcript expected = session(plain);
    const Transcript got = session(toggled);
    EXPECT_EQ(got.Said, expected.Said);
    EXPECT_EQ(got.Seen, expected.Seen);
}

TEST_F(Extensions, LayoutKeepsEveryShownWidgetApartAtEverySize)
{
    panel.SetFileFilters(Filters);
    panel.SetHiddenEntriesToggle(true);
    panel.SetSaveMode(true);
    const auto overlap = [](const GLRect& A, const GLRect& B)
    {
        return A.X < B.X + B.Width && B.X < A.X + A.Width && A.Y < B.Y + B.Height && B.Y < A.Y + A.Height;
    };
    for (const auto& [metrics, bounds] :
         std::vector<std::pair<GLMetrics, GLRect>>{{GLMetrics{}, {0, 0, 1280, 900}},
                                                   {GLMetrics{}, {0, 0, 420, 300}},
                                                   {GLMetrics{1, 1, 0}, {0, 0, 100, 30}},
                                                   {GLMetrics{1, 1, 0}, {0, 0, 40, 10}}})
    {
        panel.SetMetrics(metrics);
        panel.SetBounds(bounds);
        EXPECT_GE(panel.FileTable->Bounds.Height, 2.0F * metrics.LineHeight);
        EXPECT_TRUE(panel.NameInput->bShown && panel.FilterChoice->bShown && panel.HiddenButton->bShown);
        EXPECT_GT(panel.FilterChoice->Bounds.Width, 0.0F);
        for (const auto& a : panel.Children)
        {
            EXPECT_TRUE(!a->bShown || a->Bounds.X + a->Bounds.Width <= bounds.X + bounds.Width);
            EXPECT_TRUE(!a->bShown || a->Bounds.Y + a->Bounds.Height <= bounds.Y + bounds.Height);
            for (const auto& b : panel.Children)
            {
                EXPECT_TRUE(a == b || !a->bShown || !b->bShown || !overlap(a->Bounds, b->Bounds))
                    << bounds.Width << "x" << bounds.Height;
            }
        }
    }
}
