// The panel waiting on mounts that never answer: frames drawn meanwhile, giving up from within a
// frame (Escape, Up, a folder, a typed location, the host's AbandonWait), what a given-up read
// lists, and a program that exits with helpers still stuck in the kernel.

#include "slow_mount.h"
#include "test_support.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

using namespace glfd_test;
using Strings = std::vector<std::string>;

namespace
{

// A host's wait frame: counts frames, keeps the status label as each frame would draw it, and at
// frame ActAt does what a user would. Past SafetyFrames it gives up on its own, so that a panel
// that never lets go fails the test instead of hanging it.
struct ScriptedFrames
{
    int Frames = 0;
    int ActAt = 3;
    std::function<void()> Act;
    Strings Labels;
    bool bRanAway = false;
    static constexpr int SafetyFrames = 300;

    void Install(GLFileDialogPanel& Panel)
    {
        Panel.WaitFrame = [this, &Panel]
        {
            ++Frames;
            Labels.push_back(Panel.StatusLabel->Text);
            if (Frames == ActAt && Act)
            {
                Act();
            }
            if (Frames > SafetyFrames)
            {
                bRanAway = true;
                Panel.AbandonWait();
            }
        };
    }
};

// Row of the entry called Name, or -1.
int RowOf(const GLFileDialogPanel& Panel, const std::string& Name)
{
    const Strings names = EntryNames(Panel);
    const auto it = std::find(names.begin(), names.end(), Name);
    return it == names.end() ? -1 : static_cast<int>(it - names.begin());
}

// A hosted panel over a slow view of a tree in which the folder 'hung' can be opened but never
// read, and the status queries of 'deep/stuck' and 'dir/stuck' never answer. Every other status
// query takes StatDelayMs, so that helpers claim one entry at a time.
class HungMount : public testing::Test
{
protected:
    void SetUp() override
    {
        if (const std::string why = SlowMount::Skip(); !why.empty())
        {
            GTEST_SKIP() << why;
        }
        for (const char* file : {"a.txt", "b.txt", "hung/never.txt", "other/x.txt", "deep/stuck", "dir/one",
                                 "dir/stuck", "dir/two"})
        {
            Tree.File(file, "x");
        }
        Tree.Dir("dir/sub");
        SlowMountOptions options;
        options.StatDelayMs = 1;
        options.HangReaddir = {"hung"};
        options.HangStat = {"deep/stuck", "dir/stuck"};
        Mount.emplace(Tree.Root(), options);
        ASSERT_TRUE(Mount->IsMounted()) << Mount->Failure();
        M = Mount->Root();
        Host.SetContent(&Panel);
        Frames.Install(Panel);
        Panel.OpenAtPath(M);
        ASSERT_EQ(Panel.StatusText, "Browsing " + M);
        Log.Attach(Panel);
        Frames.Frames = 0; // a slow machine may have drawn frames already
        Frames.Labels.clear();
    }
    void TearDown() override { EXPECT_FALSE(Frames.bRanAway) << "the panel never gave up waiting"; }

    // Activates the row of Name with the keyboard, as a user would.
    void Activate(const std::string& Name)
    {
        Panel.SetFocus(Panel.FileTable);
        Panel.FileTable->SelectedRow = Panel.FileTable->FocusedRow = RowOf(Panel, Name);
        Panel.HandleKey(GLKey::Enter, GLModifiers{});
    }

    TempTree Tree;
    std::optional<SlowMount> Mount;
    std::string M;
    GLChildWindow Host;
    GLFileDialogPanel Panel;
    SignalLog Log;
    ScriptedFrames Frames;
};

const std::string Canceled = std::make_error_code(std::errc::operation_canceled).message();
const GLModifiers Alt{false, false, true};

} // namespace

TEST_F(HungMount, EscapeDuringAHungReadEndsTheDialogOnceTheReadHasUnwound)
{
    Frames.Act = [this]
    {
        Panel.HandleKey(GLKey::Escape, GLModifiers{});
    };
    Panel.OpenAtPath(M + "/hung");
    EXPECT_EQ(Log.Events, (Strings{"Status:Directory listing incomplete: " + M + "/hung (" + Canceled + ")",
                                   "Cancelled", "Status:Closed file dialog."}));
    EXPECT_EQ(Frames.Frames, 3);
    EXPECT_EQ(Frames.Labels.front().rfind("Reading " + M + "/hung", 0), 0U) << Frames.Labels.front();
    EXPECT_NE(Frames.Labels.front().find("0 entries so far"), std::string::npos) << Frames.Labels.front();
    EXPECT_FALSE(Host.bVisible);
    EXPECT_EQ(Panel.CurrentDirectory, M + "/hung");
    EXPECT_TRUE(Panel.Entries.empty() && ModelRows(Panel).empty());
    EXPECT_EQ(Panel.StatusLabel->Text, "Closed file dialog.");
}

TEST_F(HungMount, UpFromAHungFolderListsItsParent)
{
    const Strings rootRows = ModelRows(Panel);
    Frames.Act = [this]
    {
        Panel.HandleKey(GLKey::Up, Alt);
    };
    Activate("hung");
    EXPECT_EQ(Log.Events,
              (Strings{"Status:Directory listing incomplete: " + M + "/hung (" + Canceled + ")"}));
    EXPECT_EQ(Panel.CurrentDirectory + "|" + Panel.StatusText + "|" + Panel.LocationInput->Text,
              M + "|Browsing " + M + "|" + M);
    EXPECT_EQ(ModelRows(Panel), rootRows);
    EXPECT_TRUE(Host.bVisible);
}

TEST_F(HungMount, EntriesWhoseStatusNeverAnswersAreListedAsUnreadable)
{
    Frames.Act = [this]
    {
        Panel.AbandonWait();
    };
    Panel.OpenAtPath(M + "/dir");
    EXPECT_EQ(Log.Events, (Strings{"Status:Directory listing incomplete: " + M + "/dir (" + Canceled + ")"}));
    ASSERT_EQ(EntryNames(Panel), (Strings{"sub", "one", "stuck", "two"}));
    std::string facts;
    for (const auto& entry : Panel.Entries)
    {
        facts += entry.Path + "|" + entry.TypeLabel + "|" + entry.SizeLabel + "|" +
                 (entry.ModifiedLabel.empty() ? "" : "date") + (entry.bReadable ? "|r\n" : "|u\n");
    }
    const std::string d = M + "/dir/";
    EXPECT_EQ(facts, d + "sub|Dir|-|date|r\n" + d + "one|File|1 B|date|r\n" + d + "stuck|File|-||u\n" + d +
                         "two|File|1 B|date|r\n");
    EXPECT_EQ(ModelRows(Panel).size(), 4U);
    EXPECT_EQ(ModelRows(Panel)[2], "stuck|File|-|");
    EXPECT_EQ(Frames.Labels.back(), "Reading " + M + "/dir \xe2\x80\xa6 3 of 4 entries");
}

TEST_F(HungMount, AGivenUpPathLookupReadsAsAPathThatCannotBeRead)
{
    const Strings rootRows = ModelRows(Panel);
    Frames.Act = [this]
    {
        Panel.HandleKey(GLKey::Escape, GLModifiers{});
    };
    Panel.LocationInput->EditText("deep/stuck");
    Panel.LocationInput->Submit();
    EXPECT_EQ(Log.Events, (Strings{"Status:Path not found: " + M + "/deep/stuck", "Cancelled",
                                   "Status:Closed file dialog."}));
    EXPECT_EQ(Panel.CurrentDirectory + "|" + Panel.LocationInput->Text, M + "|deep/stuck");
    EXPECT_EQ(ModelRows(Panel), rootRows);
    EXPECT_EQ(Frames.Labels.front(), "Opening " + M + "/deep/stuck \xe2\x80\xa6");
}

// Input reaching the panel inside a frame runs once the read has unwound: ending the dialog wins
// over anything asked for after it, otherwise the last wish counts; a row activated during the
// wait is one of the listing shown, and a typed location is taken as typed.
TEST_F(HungMount, InputDuringAWaitRunsOnceTheWaitHasUnwound)
{
    Frames.Act = [this]
    {
        Panel.HandleKey(GLKey::Escape, GLModifiers{});
        Panel.HandleKey(GLKey::Up, Alt);
    };
    Panel.OpenAtPath(M + "/hung");
    EXPECT_EQ(Log.Events.size(), 3U);
    EXPECT_EQ(Log.Events.back(), "Status:Closed file dialog.");
    EXPECT_EQ(Panel.CurrentDirectory, M + "/hung");

    Host.bVisible = true;
    Panel.OpenAtPath(M);
    Frames = ScriptedFrames();
    Frames.Install(Panel);
    Frames.Act = [this]
    {
        Panel.HandleKey(GLKey::Up, Alt);
        Activate("other"); // a row of the listing still shown: M's
    };
    Log.Events.clear();
    Activate("hung");
    EXPECT_EQ(Panel.CurrentDirectory + "|" + Panel.StatusText, M + "/other|Browsing " + M + "/other");
    EXPECT_EQ(EntryNames(Panel), Strings{"x.txt"});

    Frames = ScriptedFrames();
    Frames.Install(Panel);
    Frames.Act = [this]
    {
        Panel.LocationInput->EditText(M + "/other/x.txt");
        Panel.LocationInput->Submit();
    };
    Log.Events.clear();
    Panel.OpenAtPath(M + "/hung");
    EXPECT_EQ(Log.Events, (Strings{"Status:Directory listing incomplete: " + M + "/hung (" + Canceled + ")",
                                   "FilesSelected:" + M + "/other/x.txt",
                                   "FileSelected:" + M + "/other/x.txt", "Status:Selected 1 file(s)."}));
    EXPECT_FALSE(Host.bVisible);
}

// The process forks before it lists anything: a child of a process with threads may not start
// threads of its own under every tool that watches it.
TEST(HungMountExit, AProgramExitsWithHelpersStuckInTheKernel)
{
    if (const std::string why = SlowMount::Skip(); !why.empty())
    {
        GTEST_SKIP() << why;
    }
    TempTree tree;
    tree.File("hung/never.txt", "x");
    tree.File("dir/stuck", "x");
    tree.File("dir/one", "x");
    SlowMountOptions options;
    options.HangReaddir = {"hung"};
    options.HangStat = {"dir/stuck"};
    SlowMount mount(tree.Root(), options);
    ASSERT_TRUE(mount.IsMounted()) << mount.Failure();
    const std::string m = mount.Root();
    const auto giveUpAtFrame3 = [](GLFileDialogPanel& Panel, ScriptedFrames& Frames)
    {
        Frames.Act = [&Panel]
        {
            Panel.AbandonWait();
        };
        Frames.Install(Panel);
    };

    const pid_t child = ::fork();
    if (child == 0)
    {
        GLFileDialogPanel panel;
        ScriptedFrames frames;
        giveUpAtFrame3(panel, frames);
        panel.OpenAtPath(m + "/hung");
        frames.Frames = 0;
        panel.OpenAtPath(m + "/dir");
        std::exit(panel.StatusText == "Directory listing incomplete: " + m + "/dir (" + Canceled + ")" ? 0
                                                                                                       : 1);
    }
    ASSERT_GT(child, 0);
    int status = -1;
    for (int poll = 0; poll < 600 && ::waitpid(child, &status, WNOHANG) == 0; ++poll)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (status == -1)
    {
        ::kill(child, SIGKILL);
        ::waitpid(child, &status, 0);
        FAIL() << "the program did not exit with helpers stuck";
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;

    // In this process too: the panel gives up and goes away, and then the hung calls are released;
    // the helpers that made them find their read still there (sanitizers watch this).
    {
        GLFileDialogPanel panel;
        ScriptedFrames frames;
        giveUpAtFrame3(panel, frames);
        panel.OpenAtPath(m + "/dir");
        EXPECT_EQ(panel.Entries.size(), 2U);
        EXPECT_FALSE(frames.bRanAway);
    }
    mount.Unmount();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
}
