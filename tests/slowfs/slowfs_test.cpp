// The slow file system itself: a faithful read-only view, delays that are really paid, and hung
// names that hang until the mount goes away.

#include "slow_mount.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <future>
#include <map>
#include <sstream>
#include <thread>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

using glfd_test::SlowMount;
using glfd_test::SlowMountOptions;
using glfd_test::TempTree;
using Clock = std::chrono::steady_clock;

namespace
{

constexpr auto StillBlocked = std::chrono::milliseconds(300);
constexpr auto Released = std::chrono::seconds(5);

// name -> d_type, as readdir reports them.
std::map<std::string, int> ReaddirTypes(const std::string& Folder)
{
    std::map<std::string, int> types;
    DIR* dir = ::opendir(Folder.c_str());
    if (dir != nullptr)
    {
        while (const dirent* entry = ::readdir(dir))
        {
            types[entry->d_name] = entry->d_type;
        }
        ::closedir(dir);
    }
    return types;
}

// Every entry below Root with its status and contents, as text to compare.
std::string Snapshot(const std::string& Root)
{
    std::ostringstream out;
    std::error_code ec;
    for (auto it = std::filesystem::recursive_directory_iterator(Root, ec);
         !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec))
    {
        struct stat st
        {
        };
        ::lstat(it->path().c_str(), &st);
        out << it->path().native() << ' ' << st.st_mode << ' ' << st.st_size << ' ' << st.st_mtim.tv_nsec
            << ' ' << st.st_ctim.tv_sec << '.' << st.st_ctim.tv_nsec;
        if (S_ISREG(st.st_mode))
        {
            std::ifstream file(it->path());
            out << ' ' << file.rdbuf();
        }
        out << '\n';
    }
    return out.str();
}

// errno of Call run on another thread (0 for success), as a future.
std::future<int> InBackground(std::function<int()> Call)
{
    return std::async(std::launch::async, [Call] { return Call() == 0 ? 0 : errno; });
}

int StatOf(const std::string& Path)
{
    struct stat st
    {
    };
    return ::stat(Path.c_str(), &st);
}

int ListOf(const std::string& Path)
{
    DIR* dir = ::opendir(Path.c_str());
    if (dir == nullptr)
    {
        return -1;
    }
    errno = 0;
    while (::readdir(dir) != nullptr)
    {
    }
    const int error = errno;
    ::closedir(dir);
    errno = error;
    return error == 0 ? 0 : -1;
}

int OpenOf(const std::string& Path)
{
    const int fd = ::open(Path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0)
    {
        ::close(fd);
    }
    return fd < 0 ? -1 : 0;
}

class SlowFsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const std::string why = SlowMount::UnavailableReason();
        if (!why.empty())
        {
            GTEST_SKIP() << why;
        }
        Tree.File("docs/a.txt", "alpha\n");
        Tree.File("docs/deeper/b.txt", "beta");
        Tree.File("big.bin", std::string(300000, 'x'));
        Tree.File(".hidden", "h");
        Tree.Link("docs", "to-docs");
        Tree.Link("nowhere", "dangling");
        Tree.Fifo("pipe");
        Tree.Socket("sock");
        Tree.File("stuck/file", "s");
        Tree.File("stuck/other", "o");
    }

    TempTree Tree;
};

TEST_F(SlowFsTest, MirrorsTheSourceAndNeverWritesIt)
{
    SlowMount mount(Tree.Root(), {});
    ASSERT_TRUE(mount.IsMounted()) << mount.Failure();
    const std::string before = Snapshot(Tree.Root());

    // Entry types come with the listing, as on a local disk; no DT_UNKNOWN.
    for (const std::string folder : {"", "docs"})
    {
        const auto source = ReaddirTypes(Tree.Path(folder));
        EXPECT_EQ(ReaddirTypes(mount.Path(folder)), source) << "folder '" << folder << "'";
        for (const auto& [name, type] : source)
        {
            EXPECT_NE(type, DT_UNKNOWN) << name;
        }
    }
    for (const std::string name :
         {"docs", "docs/a.txt", "big.bin", ".hidden", "to-docs", "dangling", "pipe", "sock"})
    {
        struct stat seen
        {
        };
        struct stat real
        {
        };
        ASSERT_EQ(::lstat(mount.Path(name).c_str(), &seen), 0) << name << ": " << std::strerror(errno);
        ASSERT_EQ(::lstat(Tree.Path(name).c_str(), &real), 0) << name;
        EXPECT_EQ(seen.st_mode, real.st_mode) << name;
        EXPECT_EQ(seen.st_size, real.st_size) << name;
        EXPECT_EQ(seen.st_ino, real.st_ino) << name;
        EXPECT_EQ(seen.st_nlink, real.st_nlink) << name;
        EXPECT_EQ(seen.st_mtim.tv_sec, real.st_mtim.tv_sec) << name;
        EXPECT_EQ(seen.st_mtim.tv_nsec, real.st_mtim.tv_nsec) << name;
    }
    EXPECT_EQ(std::filesystem::read_symlink(mount.Path("dangling")), "nowhere");
    EXPECT_TRUE(std::filesystem::is_directory(mount.Path("to-docs/deeper")));
    std::ifstream big(mount.Path("big.bin"), std::ios::binary);
    const std::string contents{std::istreambuf_iterator<char>(big), std::istreambuf_iterator<char>()};
    EXPECT_EQ(contents, std::string(300000, 'x'));

    // Every way of changing it is refused, and the source stays as it was.
    const std::string docs = mount.Path("docs");
    EXPECT_EQ(::open((docs + "/new").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644), -1);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(::open((docs + "/a.txt").c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC), -1);
    EXPECT_EQ(::mkdir((docs + "/dir").c_str(), 0755), -1);
    EXPECT_EQ(::unlink((docs + "/a.txt").c_str()), -1);
    EXPECT_EQ(::rename((docs + "/a.txt").c_str(), (docs + "/c.txt").c_str()), -1);
    EXPECT_EQ(::chmod((docs + "/a.txt").c_str(), 0600), -1);
    EXPECT_EQ(::truncate((docs + "/a.txt").c_str(), 0), -1);
    EXPECT_EQ(::utimes((docs + "/a.txt").c_str(), nullptr), -1);
    EXPECT_EQ(::symlink("x", (docs + "/link").c_str()), -1);
    EXPECT_EQ(Snapshot(Tree.Root()), before);
    EXPECT_EQ(mount.Unmount(), "") << "the daemon should end by itself once unmounted";
}

TEST_F(SlowFsTest, StatusQueriesAndFolderReadsPayTheirDelay)
{
    SlowMountOptions options;
    options.StatDelayMs = 80;
    options.ReaddirDelayMs = 120;
    SlowMount mount(Tree.Root(), options);
    ASSERT_TRUE(mount.IsMounted()) << mount.Failure();
    // The same name twice: nothing may be answered from a cache in between.
    for (int round = 0; round < 2; ++round)
    {
        const auto start = Clock::now();
        EXPECT_EQ(StatOf(mount.Path("big.bin")), 0);
        EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(80)) << "round " << round;
    }
    const auto start = Clock::now();
    EXPECT_EQ(ListOf(mount.Path("docs")), 0);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(120 + 80)); // finding docs, reading it
}

TEST_F(SlowFsTest, HungNamesHangWithoutBlockingOthersUntilUnmounted)
{
    SlowMountOptions options;
    options.HangStat = {"stuck/file"};
    options.HangReaddir = {"stuck"};
    options.HangOpen = {"docs/a.txt", "docs/deeper"};
    SlowMount mount(Tree.Root(), options);
    ASSERT_TRUE(mount.IsMounted()) << mount.Failure();

    std::vector<std::future<int>> hung;
    hung.push_back(InBackground([&] { return StatOf(mount.Path("stuck/file")); }));
    hung.push_back(InBackground([&] { return ListOf(mount.Path("stuck")); }));
    hung.push_back(InBackground([&] { return OpenOf(mount.Path("docs/a.txt")); }));
    hung.push_back(InBackground([&] { return ListOf(mount.Path("docs/deeper")); }));
    std::this_thread::sleep_for(StillBlocked);
    for (std::size_t i = 0; i < hung.size(); ++i)
    {
        EXPECT_EQ(hung[i].wait_for(std::chrono::seconds(0)), std::future_status::timeout) << "call " << i;
    }
    // Everything else still answers, the hung names' neighbours and parents included.
    EXPECT_EQ(StatOf(mount.Path("docs/a.txt")), 0);
    EXPECT_EQ(StatOf(mount.Path("stuck")), 0);
    EXPECT_EQ(StatOf(mount.Path("stuck/other")), 0); // a sibling's look-up is not queued behind it
    EXPECT_EQ(ListOf(mount.Path("docs")), 0);
    EXPECT_EQ(OpenOf(mount.Path("big.bin")), 0);

    EXPECT_EQ(mount.Unmount(), "") << "the daemon should end by itself once unmounted";
    for (std::size_t i = 0; i < hung.size(); ++i)
    {
        ASSERT_EQ(hung[i].wait_for(Released), std::future_status::ready) << "call " << i << " still hangs";
        EXPECT_NE(hung[i].get(), 0) << "call " << i;
    }
}

TEST_F(SlowFsTest, SignalsLeaveHungCallsWaitingButKillingOrTerminationEndsThem)
{
    SlowMountOptions options;
    options.HangStat = {"docs", "stuck"};
    SlowMount mount(Tree.Root(), options);
    ASSERT_TRUE(mount.IsMounted()) << mount.Failure();

    // A caller's signals do not end its wait, but being killed does (as on a hard network mount),
    // so its process can be reaped; the name goes on hanging for everyone else.
    const pid_t child = ::fork();
    if (child == 0)
    {
        struct sigaction handler
        {
        };
        handler.sa_handler = [](int) {
        }; // no SA_RESTART: a call that ended early would return
        ::sigaction(SIGUSR1, &handler, nullptr);
        StatOf(mount.Path("docs"));
        ::_exit(0);
    }
    ASSERT_GT(child, 0);
    // Not the child's name: a second look-up of it would wait in the kernel for the child's.
    auto waiter = InBackground([&] { return StatOf(mount.Path("stuck/file")); });
    std::this_thread::sleep_for(StillBlocked);
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, WNOHANG), 0) << "the child's status query should hang";
    ::kill(child, SIGUSR1);
    std::this_thread::sleep_for(StillBlocked);
    EXPECT_EQ(::waitpid(child, &status, WNOHANG), 0) << "a signal that does not kill ended the wait";
    ::kill(child, SIGKILL);
    const auto deadline = Clock::now() + Released;
    pid_t reaped = 0;
    while ((reaped = ::waitpid(child, &status, WNOHANG)) == 0 && Clock::now() < deadline)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(reaped, child) << "a killed waiter was not released";
    EXPECT_EQ(waiter.wait_for(std::chrono::seconds(0)), std::future_status::timeout);

    ::kill(mount.DaemonPid(), SIGTERM);
    ASSERT_EQ(waiter.wait_for(Released), std::future_status::ready) << "SIGTERM did not release the call";
    EXPECT_EQ(waiter.get(), ENOTCONN);
    struct stat point
    {
    };
    struct stat parent
    {
    };
    ::stat(mount.Root().c_str(), &point);
    ::stat((mount.Root() + "/..").c_str(), &parent);
    EXPECT_EQ(point.st_dev, parent.st_dev) << "the daemon left its mount behind";
    EXPECT_EQ(mount.Unmount(), "");
}

} // namespace
