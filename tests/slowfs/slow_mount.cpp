// SlowMount: starts glfd_slowfs, waits for its mount, and takes it down again.

#include "slow_mount.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace glfd_test
{
namespace
{

using Clock = std::chrono::steady_clock;
constexpr auto PollInterval = std::chrono::milliseconds(5);
constexpr auto MountTimeout = std::chrono::seconds(10);
constexpr auto ExitTimeout = std::chrono::seconds(3);

std::string ReadWhole(const std::string& Path)
{
    std::ifstream in(Path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool InMountTable(pid_t Daemon)
{
    // The daemon names its file system after its process id.
    const std::string marker = " - fuse.glfd_slowfs glfd_slowfs." + std::to_string(Daemon) + " ";
    std::ifstream mounts("/proc/self/mountinfo");
    std::string line;
    while (std::getline(mounts, line))
    {
        if (line.find(marker) != std::string::npos)
        {
            return true;
        }
    }
    return false;
}

// Runs Argv and returns its exit status (-1 when it could not run).
int RunProgram(std::vector<std::string> Argv)
{
    std::vector<char*> argv;
    for (std::string& arg : Argv)
    {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    pid_t pid = -1;
    if (::posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
    {
        return -1;
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR)
    {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Waits up to Limit for Pid to end; true (and the status) when it did.
bool Reap(pid_t Pid, Clock::duration Limit, int& Status)
{
    const auto deadline = Clock::now() + Limit;
    for (;;)
    {
        const pid_t done = ::waitpid(Pid, &Status, WNOHANG);
        if (done == Pid || (done < 0 && errno == ECHILD))
        {
            return true;
        }
        if (Clock::now() >= deadline)
        {
            return false;
        }
        std::this_thread::sleep_for(PollInterval);
    }
}

bool OnPath(const std::string& Name)
{
    const char* path = std::getenv("PATH");
    std::stringstream folders(path != nullptr ? path : "/usr/bin:/bin");
    std::string folder;
    while (std::getline(folders, folder, ':'))
    {
        if (::access((folder + "/" + Name).c_str(), X_OK) == 0)
        {
            return true;
        }
    }
    return false;
}

} // namespace

SlowMount::SlowMount(const std::string& Source, const SlowMountOptions& Options)
{
    std::string pattern = (std::getenv("TMPDIR") != nullptr ? std::string(std::getenv("TMPDIR")) : "/tmp") +
                          "/glfd-slowfs-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr)
    {
        FailureText = "cannot make a temporary folder: " + std::string(std::strerror(errno));
        return;
    }
    WorkFolder = pattern;
    MountPoint = WorkFolder + "/mnt";
    LogPath = WorkFolder + "/daemon.log";
    ::mkdir(MountPoint.c_str(), 0755);

    std::vector<std::string> args = {Program(), Source, MountPoint,
                                     "--stat-delay-ms=" + std::to_string(Options.StatDelayMs),
                                     "--readdir-delay-ms=" + std::to_string(Options.ReaddirDelayMs)};
    for (const std::string& name : Options.HangStat)
    {
        args.push_back("--hang-stat=" + name);
    }
    for (const std::string& name : Options.HangReaddir)
    {
        args.push_back("--hang-readdir=" + name);
    }
    for (const std::string& name : Options.HangOpen)
    {
        args.push_back("--hang-open=" + name);
    }
    std::vector<char*> argv;
    for (std::string& arg : args)
    {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, LogPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    const int spawned = ::posix_spawn(&Daemon, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
    {
        Daemon = -1;
        FailureText = "cannot start " + args[0] + ": " + std::strerror(spawned);
        return;
    }

    // Ready once the mount is in the table and a status query of its root comes back from it.
    struct stat parent
    {
    };
    ::stat(WorkFolder.c_str(), &parent);
    const auto deadline = Clock::now() + MountTimeout;
    while (!bMounted)
    {
        int status = 0;
        if (::waitpid(Daemon, &status, WNOHANG) == Daemon)
        {
            Daemon = -1;
            const std::string said = ReadWhole(LogPath);
            FailureText = "glfd_slowfs ended before mounting" + (said.empty() ? std::string() : ": " + said);
            break;
        }
        struct stat root
        {
        };
        bMounted =
            InMountTable(Daemon) && ::stat(MountPoint.c_str(), &root) == 0 && root.st_dev != parent.st_dev;
        if (!bMounted && Clock::now() >= deadline)
        {
            FailureText = "the mount did not answer within 10 s";
            break;
        }
        if (!bMounted)
        {
            std::this_thread::sleep_for(PollInterval);
        }
    }
    if (!bMounted)
    {
        Unmount();
    }
}

SlowMount::~SlowMount()
{
    Unmount();
}

std::string SlowMount::Path(const std::string& Relative) const
{
    return Relative.empty() ? MountPoint : MountPoint + "/" + Relative;
}

std::string SlowMount::Unmount()
{
    std::string how;
    if (Daemon > 0)
    {
        if (InMountTable(Daemon))
        {
            // Lazy, since a hung request keeps the mount busy; the daemon notices it is gone.
            if (::geteuid() != 0 || ::umount2(MountPoint.c_str(), MNT_DETACH) != 0)
            {
                RunProgram({"fusermount3", "-u", "-z", "-q", MountPoint});
            }
        }
        int status = 0;
        if (!Reap(Daemon, ExitTimeout, status))
        {
            how = "needed SIGTERM";
            ::kill(Daemon, SIGTERM);
            if (!Reap(Daemon, ExitTimeout, status))
            {
                how = "needed SIGKILL";
                ::kill(Daemon, SIGKILL);
                ::waitpid(Daemon, &status, 0);
            }
        }
        else if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        {
            how = "ended with status " + std::to_string(status);
        }
        Daemon = -1;
    }
    bMounted = false;
    if (!WorkFolder.empty())
    {
        ::rmdir(MountPoint.c_str());
        ::unlink(LogPath.c_str());
        ::rmdir(WorkFolder.c_str());
        WorkFolder.clear();
    }
    return how;
}

std::string SlowMount::Program()
{
    const char* configured = std::getenv("GLFD_SLOWFS");
#ifdef GLFD_SLOWFS_PROGRAM
    return configured != nullptr && configured[0] != '\0' ? configured : GLFD_SLOWFS_PROGRAM;
#else
    return configured != nullptr ? configured : "glfd_slowfs";
#endif
}

std::string SlowMount::UnavailableReason()
{
    static std::once_flag once;
    static std::string reason;
    std::call_once(once,
                   []
                   {
                       if (::access(Program().c_str(), X_OK) != 0)
                       {
                           reason = "the slow file system program " + Program() + " is missing";
                           return;
                       }
                       const int fuse = ::open("/dev/fuse", O_RDWR | O_CLOEXEC);
                       if (fuse < 0)
                       {
                           reason = "cannot open /dev/fuse (" + std::string(std::strerror(errno)) +
                                    "): FUSE is not available here";
                           return;
                       }
                       ::close(fuse);
                       if (::geteuid() != 0 && !OnPath("fusermount3"))
                       {
                           reason = "fusermount3 is not installed (Debian package fuse3)";
                           return;
                       }
                       std::string empty = "/tmp/glfd-slowfs-probe-XXXXXX";
                       if (::mkdtemp(empty.data()) == nullptr)
                       {
                           reason = "cannot make a temporary folder";
                           return;
                       }
                       {
                           SlowMount probe(empty, {});
                           if (!probe.IsMounted())
                           {
                               reason = "cannot mount FUSE here: " + probe.Failure();
                           }
                       }
                       ::rmdir(empty.c_str());
                   });
    return reason;
}

} // namespace glfd_test
