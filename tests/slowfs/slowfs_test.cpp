// The slow file system itself: delays that are really paid, hung names that hang alone until the
// mount goes away, and a source that is never written.

#include "slow_mount.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <future>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using glfd_test::SlowMount;
using glfd_test::SlowMountOptions;
using Clock = std::chrono::steady_clock;

namespace
{

int StatOf(const std::string& Path)
{
    struct stat st
    {
    };
    return ::stat(Path.c_str(), &st) == 0 ? 0 : errno;
}

// Every entry below Root with its status and contents, as text to compare.
std::string Snapshot(const std::string& Root)
{
    std::ostringstream out;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(Root))
    {
        struct stat st
        {
        };
        ::lstat(entry.path().c_str(), &st);
        out << entry.path().native() << ' ' << st.st_mode << ' ' << st.st_size << ' ' << st.st_mtim.tv_nsec
            << ' ' << st.st_ctim.tv_nsec << '\n';
        if (S_ISREG(st.st_mode))
        {
            out << std::ifstream(entry.path()).rdbuf() << '\n';
        }
    }
    return out.str();
}

class SlowFsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (const std::string why = SlowMount::UnavailableReason(); !why.empty())
        {
            GTEST_SKIP() << why;
        }
        Tree.File("docs/a.txt", "alpha\n");
        Tree.File("stuck/file", "s");
        Tree.File("stuck/other", "o");
    }

    glfd_test::TempTree Tree;
};

TEST_F(SlowFsTest, ShowsTheSourceButNeverWritesIt)
{
    SlowMount mount(Tree.Root(), {});
    ASSERT_TRUE(mount.IsMounted()) << mount.Failure();
    const std::string before = Snapshot(Tree.Root());
    std::ifstream file(mount.Path("docs/a.txt"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "alpha\n");

    const std::string docs = mount.Path("docs");
    EXPECT_EQ(::open((docs + "/new").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644), -1);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(::open((docs + "/a.txt").c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC), -1);
    EXPECT_EQ(::mkdir((docs + "/dir").c_str(), 0755), -1);
    EXPECT_EQ(::rename((docs + "/a.txt").c_str(), (docs + "/c.txt").c_str()), -1);
    EXPECT_EQ(::chmod((docs + "/a.txt").c_str(), 0600), -1);
    EXPECT_EQ(Snapshot(Tree.Root()), before);
    EXPECT_EQ(mount.Unmount(), "") << "the daemon should end by itself once unmounted";
}

TEST_F(SlowFsTest, EveryStatusQueryPaysTheDelay)
{
    SlowMountOptions options;
    options.StatDelayMs = 80;
    SlowMount mount(Tree.Root(), options);
    ASSERT_TRUE(mount.IsMounted()) << mount.Failure();
    for (int round = 0; round < 2; ++round) // the second one may not come from a cache
    {
        const auto start = Clock::now();
        EXPECT_EQ(StatOf(mount.Path("docs/a.txt")), 0);
        EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(80)) << "round " << round;
    }
}

TEST_F(SlowFsTest, AHungNameHangsAloneUntilUnmounted)
{
    SlowMountOptions options;
    options.HangStat = {"stuck/file"};
    SlowMount mount(Tree.Root(), options);
    ASSERT_TRUE(mount.IsMounted()) << mount.Failure();
    auto hung = std::async(std::launch::async, [&] { return StatOf(mount.Path("stuck/file")); });
    EXPECT_EQ(hung.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
    EXPECT_EQ(StatOf(mount.Path("stuck/other")), 0); // a sibling is not queued behind it
    EXPECT_EQ(mount.Unmount(), "") << "the daemon should end by itself once unmounted";
    ASSERT_EQ(hung.wait_for(std::chrono::seconds(5)), std::future_status::ready) << "still hangs";
    EXPECT_NE(hung.get(), 0);
}

} // namespace
