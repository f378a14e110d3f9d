#include "test_support.h"

#include <algorithm>
#include <array>

using namespace glfd_test;
using Strings = std::vector<std::string>;
using Mode = GLFileDialogPanel::SelectionMode;

namespace
{

// Row of the entry called Name, or -1.
int RowOf(const GLFileDialogPanel& Panel, const std::string& Name)
{
    const Strings names = EntryNames(Panel);
    const auto it = std::find(names.begin(), names.end(), Name);
    return it == names.end() ? -1 : static_cast<int>(it - names.begin());
}

// Folder, selected path and selected row.
std::string Where(const GLFileDialogPanel& Panel)
{
    return Panel.CurrentDirectory + "|" + Panel.SelectedPath + "|" +
           std::to_string(Panel.FileTable->SelectedRow);
}

// The recorded signals joined by "|"; the record starts afresh.
std::string Drain(SignalLog& Log)
{
    std::string out;
    for (const std::string& line : Log.Events)
    {
        out += (out.empty() ? "" : "|") + line;
    }
    Log.Events.clear();
    return out;
}

// A hosted panel, HOME inside a real tree holding docs/sub/ and docs/a.txt, every signal recorded.
class DialogCycle : public testing::Test
{
protected:
    DialogCycle()
    {
        Host.SetContent(&Panel);
        Log.Attach(Panel);
    }
    void Select(const std::string& Name) { Panel.FileTable->SelectedRow = RowOf(Panel, Name); }
    void Type(const std::string& Text) { Panel.LocationInput->SetText(Text, false); }

    TempTree Tree;
    std::string Home = Tree.Dir("home");
    std::string Sub = Tree.Dir("docs/sub");
    std::string Docs = Tree.Path("docs");
    std::string A = Tree.File("docs/a.txt", "a");
    ScopedEnv HomeEnv{"HOME", Home};
    GLChildWindow Host;
    GLFileDialogPanel Panel;
    SignalLog Log;
};

} // namespace

TEST_F(DialogCycle, StatusWriterAndCancel)
{
    TestAccess::SetStatusTextInternal(Panel, "a", true);
    TestAccess::SetStatusTextInternal(Panel, "b", false);
    EXPECT_EQ(Panel.StatusLabel->Text, "b");
    Panel.StatusText = "direct";
    TestAccess::SetStatusTextInternal(Panel, Panel.StatusText, true);
    EXPECT_EQ(Panel.StatusLabel->Text, "direct");
    Panel.StatusLabel = nullptr;
    TestAccess::SetStatusTextInternal(Panel, "c", true);
    EXPECT_EQ(Drain(Log), "Status:a|Status:direct|Status:c");

    Panel.OpenAtPath(A);
    std::string seen;
    Panel.Cancelled.connect([&] { seen += Host.bVisible ? "shown " : "hidden "; });
    TestAccess::CancelDialog(Panel);
    TestAccess::CancelDialog(Panel);
    Host.bVisible = true;
    Panel.bHideHostOnFinish = false;
    TestAccess::CancelDialog(Panel);
    Panel.bHideHostOnFinish = true;
    Panel.HostWindow = nullptr;
    TestAccess::CancelDialog(Panel);
    EXPECT_EQ(seen, "hidden hidden shown shown ");
    EXPECT_TRUE(Host.bVisible);
    const std::string once = "Cancelled|Status:Closed file dialog.";
    EXPECT_EQ(Drain(Log), once + "|" + once + "|" + once + "|" + once);
    EXPECT_EQ(Where(Panel), Docs + "|" + A + "|1");
}

TEST_F(DialogCycle, ThrowingSlotsCutAcceptanceAndCancelShort)
{
    Panel.OpenAtPath(A);
    Panel.FilesSelected.connect([](const Strings&) { throw std::runtime_error("slot"); });
    EXPECT_THROW(TestAccess::OpenSelectedPath(Panel), std::runtime_error);
    EXPECT_TRUE(Host.bVisible);
    Panel.Cancelled.connect([] { throw std::runtime_error("slot"); });
    EXPECT_THROW(TestAccess::CancelDialog(Panel), std::runtime_error);
    EXPECT_FALSE(Host.bVisible);
    EXPECT_EQ(Panel.StatusText, "Browsing " + Docs);
    EXPECT_EQ(Drain(Log), "FilesSelected:" + A + "|Cancelled");
}

TEST_F(DialogCycle, OpenAtPathPicksTheFolderAndTheSelection)
{
    Tree.Dir("home/inhome");
    Tree.Link(Docs, "link_docs");
    // In order, on one panel: path opened, then folder|selection|row.
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"inhome", Tree.Path("home/inhome") + "||-1"},
        {" \t ", Home + "||-1"},
        {Tree.Path("docs/sub/../."), Docs + "||-1"},
        {"a.txt", Docs + "|" + A + "|1"},
        {Tree.Path("link_docs") + "/", Docs + "||-1"},
        {Tree.Path("link_docs/a.txt"), Docs + "|" + A + "|1"},
        {" " + Docs + "/new.txt ", Docs + "|" + Docs + "/new.txt|-1"},
        {Tree.Path("nosuch/x/../y.txt"), Home + "|" + Tree.Path("nosuch/y.txt") + "|-1"}};
    for (const auto& [path, expected] : cases)
    {
        Panel.SelectedPath = "stale";
        Panel.OpenAtPath(path);
        EXPECT_EQ(Where(Panel), expected) << path;
        EXPECT_EQ(Panel.StatusText, "Browsing " + Panel.CurrentDirectory);
    }
    EXPECT_EQ(Drain(Log), "");
}

TEST_F(DialogCycle, TableSelectionIsMirroredIntoPathAndStatus)
{
    Panel.OpenAtPath(Docs);
    GLTableView& table = *Panel.FileTable;
    // SelectedRow, FocusedRow, expected index on two rows.
    const std::vector<std::array<int, 3>> cases = {
        {5, 1, -1}, {-1, 2, -1}, {-1, 1, 1}, {-1, -1, -1}, {0, 1, 0}};
    for (const auto& [selected, focused, expected] : cases)
    {
        table.SelectedRow = selected;
        table.FocusedRow = focused;
        EXPECT_EQ(TestAccess::SelectedEntryIndex(Panel), expected) << selected << "," << focused;
        EXPECT_EQ(TestAccess::SelectedEntry(Panel) == nullptr, expected < 0);
    }
    std::string paths;
    for (const int row : {0, 1, -1})
    {
        table.SelectedRow = row;
        table.FocusedRow = -1;
        TestAccess::SyncSelectionFromTable(Panel);
        paths += Panel.SelectedPath + ";";
    }
    EXPECT_EQ(paths, Sub + ";" + A + ";;");
    EXPECT_EQ(Drain(Log), "Status:Folder: " + Sub + "|Status:File: " + A + "|Status:Browsing " + Docs);
}

TEST_F(DialogCycle, EachModeAcceptsWhatItsRuleAllows)
{
    Tree.Dir("many/d0");
    Tree.Dir("many/d1");
    // Rows 0 and 1 are folders, rows 2 to 9 the files f2 to f9.
    Strings files;
    for (int n = 2; n <= 9; ++n)
    {
        files.push_back(Tree.File("many/f" + std::to_string(n)));
    }
    const auto f = [&](int N)
    {
        return Strings{files[static_cast<std::size_t>(N - 2)]};
    };
    Panel.OpenAtPath(Tree.Path("many"));
    const Mode multi = Mode::OpenMultipleFiles;
    const Mode one = Mode::OpenFile;
    const Mode folder = Mode::SelectFolder;
    // Mode, range flag, anchor, end, selected row, typed text, result.
    const std::vector<std::tuple<Mode, bool, int, int, int, std::string, Strings>> cases = {
        {multi, true, 7, 2, -1, "", Strings(files.begin(), files.begin() + 6)},
        {multi, true, -4, 20, -1, "", files},
        {multi, true, 1, 0, 4, "", f(4)},
        {multi, true, -3, -1, -1, " f5 ", f(5)},
        {multi, false, 2, 5, 3, "", f(3)},
        {one, true, 2, 5, 6, "", f(6)},
        {one, false, 0, 0, 0, "", {}},
        {one, false, 0, 0, 0, "\t f8 \n", f(8)},
        {one, false, 0, 0, -1, "d1", {}},
        {one, false, 0, 0, -1, "missing", {}},
        {folder, false, 0, 0, 3, "f5", {Tree.Path("many")}},
        {folder, false, 0, 0, 1, "", {Tree.Path("many/d1")}},
        {static_cast<Mode>(7), true, 2, 5, 2, "", f(2)}};
    GLTableView& table = *Panel.FileTable;
    for (const auto& [mode, bRange, anchor, end, selected, typed, expected] : cases)
    {
        Panel.CurrentMode = mode;
        table.bRangeSelection = bRange;
        table.RangeAnchorRow = anchor;
        table.RangeEndRow = end;
        table.SelectedRow = selected;
        Type(typed);
        EXPECT_EQ(Panel.GetSelectedFilePaths(), expected) << static_cast<int>(mode) << " " << typed;
        EXPECT_EQ(Panel.GetSelectedFilePath(), expected.empty() ? "" : expected.front());
    }
    Panel.CurrentMode = one;
    table.SelectedRow = -1;
    Panel.LocationInput = nullptr;
    TestAccess::OpenSelectedPath(Panel);
    Panel.CurrentDirectory.clear();
    Panel.SetSelectionMode(folder);
    TestAccess::OpenSelectedPath(Panel);
    EXPECT_EQ(Drain(Log), "Status:Select one or more files to open.|Status:Select a folder to continue.");
    EXPECT_TRUE(Host.bVisible);
}

TEST_F(DialogCycle, AcceptanceAnnouncesThenReportsThenHides)
{
    const std::string b = Tree.File("docs/b.txt");
    const std::string c = Tree.File("docs/c.txt");
    Panel.OpenAtPath(Docs);
    Panel.SetSelectionMode(Mode::OpenMultipleFiles);
    Panel.FileTable->bRangeSelection = true;
    Panel.FileTable->RangeAnchorRow = 3;
    Panel.FileTable->RangeEndRow = 1;
    std::string seen;
    bool bSwitchMode = false;
    Panel.FilesSelected.connect([&](const Strings&) { seen += Host.bVisible ? "shown " : "hidden "; });
    Panel.FileSelected.connect(
        [&](const std::string&)
        {
            seen += Host.bVisible ? "shown " : "hidden ";
            if (bSwitchMode)
            {
                Panel.SetSelectionMode(Mode::SelectFolder);
            }
        });
    TestAccess::OpenSelectedPath(Panel);
    EXPECT_EQ(seen, "shown shown ");
    EXPECT_FALSE(Host.bVisible);
    EXPECT_EQ(Drain(Log), "FilesSelected:" + A + "|" + b + "|" + c + "|FileSelected:" + A +
                              "|Status:Selected 3 file(s).");
    EXPECT_EQ(Where(Panel), Docs + "||-1");
    EXPECT_TRUE(Panel.FileTable->bRangeSelection);

    // A slot that switches to folder mode changes the suffix; folder mode then takes the folder shown.
    Panel.SetSelectionMode(Mode::OpenFile);
    Select("b.txt");
    bSwitchMode = true;
    TestAccess::OpenSelectedPath(Panel);
    bSwitchMode = false;
    Select("b.txt");
    TestAccess::OpenSelectedPath(Panel);
    EXPECT_EQ(Drain(Log), "FilesSelected:" + b + "|FileSelected:" + b +
                              "|Status:Selected 1 folder.|FilesSelected:" + Docs + "|FileSelected:" + Docs +
                              "|Status:Selected 1 folder.");
}

TEST_F(DialogCycle, NavigationReportsFailuresAndSettlesOnFoldersAndFiles)
{
    Panel.OpenAtPath(Docs);
    Panel.SelectedPath = "kept";
    Panel.FileTable->SelectedRow = 1;
    Type(" \t ");
    TestAccess::NavigateFromLocationInput(Panel, true);
    TestAccess::NavigateToPath(Panel, "  nosuch  ", true);
    TestAccess::NavigateToPath(Panel, " \n ", true);
    Type("nosuch/../gone");
    TestAccess::NavigateFromLocationInput(Panel, false);
    EXPECT_EQ(Where(Panel) + "|" + Panel.LocationInput->Text, Docs + "|kept|1|nosuch/../gone");
    Panel.FileTable->SelectedRow = -1;
    TestAccess::EnterSelectedEntry(Panel);
    EXPECT_EQ(Drain(Log), "Status:Enter a directory or file path.|Status:Path not found: nosuch|"
                          "Status:Path not found: " +
                              Docs + "/gone|Status:Select a file or folder first.");

    const std::string x = Tree.File("other/x.txt");
    Tree.Link("other/x.txt", "la");
    Panel.OpenAtPath(x);
    TestAccess::NavigateToPath(Panel, A, false);
    EXPECT_EQ(Where(Panel), Docs + "|" + x + "|-1");
    TestAccess::NavigateToPath(Panel, "a.txt", true);
    EXPECT_EQ(Where(Panel), Docs + "|" + A + "|1");
    TestAccess::NavigateToPath(Panel, Tree.Path("la"), true);
    EXPECT_EQ(Where(Panel), Tree.Path("other") + "|" + x + "|0");
    TestAccess::NavigateToPath(Panel, "../docs/sub", true);
    EXPECT_EQ(Where(Panel), Sub + "||-1");
    Panel.SelectedPath = A;
    TestAccess::NavigateToParent(Panel);
    EXPECT_EQ(Where(Panel), Docs + "||-1");
    Panel.CurrentDirectory = "/";
    Panel.SelectedPath = A;
    TestAccess::NavigateToParent(Panel);
    EXPECT_EQ(Where(Panel), "/||-1");

    // Typed text: a file is selected, and accepted only when asked; a folder is entered.
    Panel.OpenAtPath(Docs);
    Type(" a.txt ");
    TestAccess::NavigateFromLocationInput(Panel, false);
    EXPECT_EQ(Where(Panel), Docs + "|" + A + "|1");
    Type("sub");
    TestAccess::NavigateFromLocationInput(Panel, true);
    EXPECT_EQ(Where(Panel), Sub + "||-1");
    EXPECT_EQ(Drain(Log), "");
    Type("../a.txt");
    TestAccess::NavigateFromLocationInput(Panel, true);
    EXPECT_EQ(Where(Panel), Docs + "|" + A + "|1");
    EXPECT_FALSE(Host.bVisible);

    // Activation: a folder row is entered (its path lives in the listing the refresh replaces).
    Select("sub");
    TestAccess::EnterSelectedEntry(Panel);
    EXPECT_EQ(Where(Panel), Sub + "||-1");
    TestAccess::NavigateToParent(Panel);
    Select("a.txt");
    TestAccess::EnterSelectedEntry(Panel);
    const std::string accepted = "FilesSelected:" + A + "|FileSelected:" + A + "|Status:Selected 1 file(s).";
    EXPECT_EQ(Drain(Log), accepted + "|" + accepted);

    Panel.LocationInput = nullptr;
    TestAccess::NavigateFromLocationInput(Panel, true);
    EXPECT_EQ(Drain(Log), "Status:Enter a directory or file path.");

    GLFileDialogPanel fresh;
    TestAccess::NavigateToParent(fresh);
    EXPECT_EQ(fresh.CurrentDirectory, "/");
    ScopedEnv noHome("HOME", std::nullopt);
    GLFileDialogPanel homeless;
    TestAccess::NavigateToPath(homeless, Tree.Root().substr(1) + "/docs", true);
    EXPECT_EQ(homeless.CurrentDirectory, Docs);
}

TEST_F(DialogCycle, UnprivilegedUserMeetsDeniedPaths)
{
    Tree.File("locked/inner.txt");
    Tree.Chmod("locked", 0);
    const std::string secret = Tree.File("secret.txt", "s");
    Tree.Chmod("secret.txt", 0);
    const std::string seen = RunUnprivileged(
        [&]
        {
            GLFileDialogPanel panel;
            SignalLog log;
            log.Attach(panel);
            panel.OpenAtPath(Tree.Root());
            panel.FileTable->SelectedRow = RowOf(panel, "secret.txt");
            TestAccess::OpenSelectedPath(panel);
            TestAccess::NavigateToPath(panel, Tree.Path("locked/inner.txt"), true);
            panel.FileTable->SelectedRow = RowOf(panel, "locked");
            TestAccess::EnterSelectedEntry(panel);
            return Drain(log) + "#" + panel.CurrentDirectory;
        });
    const std::string locked = Tree.Path("locked");
    EXPECT_EQ(seen, "FilesSelected:" + secret + "|FileSelected:" + secret +
                        "|Status:Selected 1 file(s).|Status:Path not found: " + locked +
                        "/inner.txt|Status:Directory listing incomplete: " + locked +
                        " (Permission denied)#" + locked);
}

TEST_F(DialogCycle, ModeSwitchResetsSelectionAndRewritesTexts)
{
    GLTableView& table = *Panel.FileTable;
    GLLabel* hint = Panel.HintLabel;
    const auto run = [&](Mode NewMode)
    {
        table.SelectedRow = table.FocusedRow = 2;
        table.bRangeSelection = true;
        table.RangeAnchorRow = 1;
        Panel.SelectedPath = "kept";
        Panel.TitleLabel->Text = Panel.AcceptButton->Label = hint->Text = "custom";
        Panel.SetSelectionMode(NewMode);
        return std::to_string(table.SelectedRow) + "," + std::to_string(table.FocusedRow) + "," +
               std::to_string(table.bRangeSelection) + "," + std::to_string(table.RangeAnchorRow) + "," +
               Panel.SelectedPath + "|" + Panel.TitleLabel->Text + "|" + Panel.AcceptButton->Label + "|" +
               hint->Text;
    };
    const std::string reset = "-1,-1,0,1,|";
    const std::string openFile = "Open File|Open|Double-click a folder to enter it, or a file to choose it.";
    const std::string openFiles = "Open Files|Open|Use Shift-click to select a file range, then press Open.";
    EXPECT_EQ(run(Mode::OpenFile), "2,2,1,1,kept|custom|custom|custom");
    EXPECT_EQ(run(Mode::SelectFolder),
              reset +
                  "Select Folder|Select|Open folders to browse, then press Select for the current folder.");
    EXPECT_EQ(run(Mode::OpenMultipleFiles), reset + openFiles);
    EXPECT_EQ(run(Mode::OpenFile), reset + openFile);
    EXPECT_EQ(run(static_cast<Mode>(7)), reset + openFile);
    EXPECT_EQ(static_cast<int>(Panel.CurrentMode), 7);
    Panel.HintLabel = nullptr;
    EXPECT_EQ(run(Mode::SelectFolder), reset + "custom|custom|custom");
    Panel.HintLabel = hint;
    Panel.FileTable = nullptr;
    EXPECT_EQ(run(Mode::OpenMultipleFiles), "2,2,1,1,|" + openFiles);
    EXPECT_EQ(Panel.StatusText + Drain(Log), "");
}
