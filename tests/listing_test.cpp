#include "test_support.h"

#include <fcntl.h>
#include <sys/stat.h>

using namespace glfd_test;
using Strings = std::vector<std::string>;

namespace
{

// Pins a path's modification time (links followed) to 2023-11-14 22:13:59.9 UTC, where any
// rounding up would show the next minute.
void Touch(const std::string& Path)
{
    const timespec times[2] = {{1700000039, 900000000}, {1700000039, 900000000}};
    ASSERT_EQ(::utimensat(AT_FDCWD, Path.c_str(), times, 0), 0) << Path;
}

// Points the panel at Dir and lists it.
void List(GLFileDialogPanel& Panel, const std::string& Dir)
{
    Panel.CurrentDirectory = Dir;
    Panel.RefreshDirectoryListing();
}

} // namespace

TEST(Listing, SortsFoldersFirstThenLoweredNamesBytewise)
{
    TempTree tree;
    tree.Dir("Zeta");
    tree.Dir("_d");
    tree.Dir("m dir");
    const std::string stem(40, 'l'); // longer than any shortcut a sort key might take
    const std::string longer = "L" + stem.substr(1) + ".TXT.bak";
    for (const std::string& file :
         Strings{"\xff\xfe", "b.txt", "with space", "alpha", "10", "A.txt", ".hidden", "new\nline", longer,
                 stem + ".txt", "tail ", "_x", "9", "a2.txt", "B"})
    {
        tree.File(file, "x");
    }
    GLFileDialogPanel panel;
    List(panel, tree.Root());
    const Strings expected = {"_d",          "m dir", "Zeta",      ".hidden", "10",         "9",
                              "_x",          "A.txt", "a2.txt",    "alpha",   "B",          "b.txt",
                              stem + ".txt", longer,  "new\nline", "tail ",   "with space", "\xff\xfe"};
    EXPECT_EQ(EntryNames(panel), expected);
    EXPECT_EQ(panel.Entries.back().Path, tree.Path("\xff\xfe"));
    // The path is trimmed like any other path the panel canonicalizes.
    EXPECT_EQ(panel.Entries[15].Path, tree.Path("tail"));
}

TEST(Listing, LabelsEveryKindOfEntryWithoutBlocking)
{
    ScopedEnv tz("TZ", "UTC");
    TempTree tree;
    tree.File("target.txt", std::string(1280, 'x'));
    tree.Dir("dir");
    tree.Link("target.txt", "to_file");
    tree.Link("dir", "to_dir");
    tree.Link("missing", "dangling");
    tree.Link("loop", "loop");
    tree.Fifo("fifo");
    tree.Socket("sock");
    for (const char* name : {"target.txt", "dir", "fifo", "sock"})
    {
        Touch(tree.Path(name));
    }
    GLFileDialogPanel panel;
    List(panel, tree.Root());
    const std::string t = "2023-11-14 22:13";
    EXPECT_EQ(ModelRows(panel), (Strings{"dir|Dir|-|" + t, "to_dir|Dir|-|" + t, "dangling|File|-|",
                                         "fifo|File|-|" + t, "loop|File|-|", "sock|File|-|" + t,
                                         "target.txt|File|1.2 KB|" + t, "to_file|File|1.2 KB|" + t}));
    std::string facts;
    for (const auto& entry : panel.Entries)
    {
        facts += (entry.bReadable ? " +" : " -") + entry.Path.substr(tree.Root().size());
    }
    EXPECT_EQ(facts, " +/dir +/dir -/dangling +/fifo -/loop +/sock +/target.txt +/target.txt");
    EXPECT_EQ(panel.StatusText, "Browsing " + tree.Root());
}

TEST(Listing, ReportsTheFolderAndMirrorsItIntoTheLocation)
{
    TempTree tree;
    const std::string empty = tree.Dir("empty");
    const std::string file = tree.File("f.txt");
    GLFileDialogPanel panel;
    SignalLog log;
    log.Attach(panel);
    int locationEvents = 0;
    panel.LocationInput->TextChanged.connect([&](const std::string&) { ++locationEvents; });
    panel.Entries.resize(2);
    panel.FileTable->SelectedRow = panel.FileTable->FocusedRow = 1;
    List(panel, tree.Root() + "//empty/./");
    EXPECT_EQ(panel.StatusText + "|" + panel.StatusLabel->Text + "|" + panel.LocationInput->Text,
              "Browsing " + empty + "|Browsing " + empty + "|" + empty);
    EXPECT_TRUE(log.Events.empty() && panel.Entries.empty());
    EXPECT_EQ(panel.TableModel->RowCount(), 0);
    EXPECT_EQ(panel.FileTable->SelectedRow + panel.FileTable->FocusedRow, -2);
    EXPECT_EQ(locationEvents, 0);
    EXPECT_FALSE(panel.bSyncingLocationInput || panel.bNeedsRefresh);

    // A file or a missing path is not a folder: reported, with an empty table.
    List(panel, tree.Root());
    ASSERT_EQ(panel.TableModel->RowCount(), 2);
    List(panel, tree.Root() + "/gone/../f.txt");
    EXPECT_EQ(panel.CurrentDirectory + "|" + panel.LocationInput->Text, file + "|" + file);
    EXPECT_TRUE(panel.Entries.empty());
    EXPECT_EQ(panel.TableModel->RowCount(), 0);
    List(panel, tree.Path("nosuch/dir/"));
    EXPECT_EQ(log.Events, (Strings{"Status:Directory is not available: " + file,
                                   "Status:Directory is not available: " + tree.Path("nosuch/dir/")}));

    // Without the refresh flag nothing is re-read or re-reported.
    panel.CurrentDirectory = "elsewhere";
    panel.StatusText = "kept";
    TestAccess::EnsureUiUpToDate(panel);
    EXPECT_EQ(panel.CurrentDirectory + "|" + panel.StatusText, "elsewhere|kept");
    EXPECT_TRUE(panel.Entries.empty());

    panel.LocationInput = nullptr;
    List(panel, tree.Root());
    EXPECT_EQ(EntryNames(panel), (Strings{"empty", "f.txt"}));
    EXPECT_FALSE(panel.bSyncingLocationInput);
}

TEST(Listing, PermissionProblemsAreReportedOrMarkedPerEntry)
{
    TempTree tree;
    tree.File("locked/inside.txt", "x");
    tree.Chmod("locked", 0);
    tree.File("noexec/f", "abc");
    tree.Link("f", "noexec/l");
    tree.Chmod("noexec", 0444);
    const std::string seen = RunUnprivileged(
        [&]
        {
            GLFileDialogPanel panel;
            SignalLog log;
            log.Attach(panel);
            List(panel, tree.Path("locked"));
            std::string out = std::to_string(panel.Entries.size() + log.Events.size()) + "#" +
                              std::to_string(panel.TableModel->RowCount()) + "#" + panel.LocationInput->Text +
                              "#" + log.Events.back();
            List(panel, tree.Path("noexec"));
            out += "\n" + panel.StatusText;
            for (const auto& entry : panel.Entries)
            {
                out += "#" + entry.Path + "|" + entry.TypeLabel + "|" + entry.SizeLabel + "|" +
                       entry.ModifiedLabel + (entry.bReadable ? "|r" : "|u");
            }
            return out;
        });
    const std::string locked = tree.Path("locked");
    const std::string noexec = tree.Path("noexec");
    EXPECT_EQ(seen, "1#0#" + locked + "#Status:Directory listing incomplete: " + locked +
                        " (Permission denied)\n" + "Browsing " + noexec + "#" + noexec + "/f|File|-||r#" +
                        noexec + "/l|File|-||u");
}

TEST(Listing, ResolvesRelativeLinkedAndMissingFolders)
{
    TempTree tree;
    tree.Dir("docs/sub");
    tree.Link("docs", "shortcut");
    const std::string home = tree.Dir("home");
    ScopedCwd cwd(tree.Root());
    ScopedEnv env("HOME", home);
    GLFileDialogPanel panel;
    List(panel, "docs");
    EXPECT_EQ(panel.CurrentDirectory, tree.Path("docs"));
    EXPECT_EQ(EntryNames(panel), Strings{"sub"});
    List(panel, tree.Path("shortcut/sub/.."));
    EXPECT_EQ(panel.StatusText, "Browsing " + tree.Path("docs"));
    ScopedEnv noHome("HOME", std::nullopt);
    List(panel, "");
    EXPECT_EQ(panel.StatusText, "Browsing /");
}

TEST(Listing, RowsFollowTheSelectedPathAcrossRefreshes)
{
    TempTree tree;
    tree.File("m.txt");
    tree.File("z.txt");
    GLFileDialogPanel panel;
    GLTableView& table = *panel.FileTable;
    panel.SelectedPath = tree.Path("m.txt");
    table.bRangeSelection = true;
    table.RangeAnchorRow = 3;
    table.RangeEndRow = 9;
    List(panel, tree.Root());
    EXPECT_EQ(table.SelectedRow, 0);
    tree.File("a.txt");
    panel.RefreshDirectoryListing();
    EXPECT_EQ(std::to_string(table.SelectedRow) + std::to_string(table.FocusedRow), "11");
    EXPECT_TRUE(table.bRangeSelection && table.RangeAnchorRow == 3 && table.RangeEndRow == 9);
    panel.SelectedPath = tree.Path("M.TXT");
    panel.RefreshDirectoryListing();
    EXPECT_EQ(table.SelectedRow, -1);

    // Rows come straight from Entries: an empty path never matches, a repeated one picks the last.
    panel.Entries = {{"n0", "", "File", "1 B", "d0", false, true},
                     {"n1", "/p", "Dir", "-", "d1", true, true},
                     {"n2", "/p", "File", "2 B", "", false, false}};
    panel.SelectedPath.clear();
    TestAccess::RebuildTableModel(panel);
    EXPECT_EQ(ModelRows(panel), (Strings{"n0|File|1 B|d0", "n1|Dir|-|d1", "n2|File|2 B|"}));
    EXPECT_EQ(table.SelectedRow, -1);
    panel.SelectedPath = "/p";
    TestAccess::RebuildTableModel(panel);
    EXPECT_EQ(std::to_string(table.SelectedRow) + std::to_string(table.FocusedRow), "22");

    // Without a model, neither the rows nor the table view's selection change.
    const auto model = panel.TableModel;
    panel.TableModel = nullptr;
    panel.Entries.clear();
    table.SelectedRow = 7;
    TestAccess::RebuildTableModel(panel);
    EXPECT_EQ(table.SelectedRow, 7);
    EXPECT_EQ(model->RowCount(), 3);
}
