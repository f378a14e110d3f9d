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

// Starts Args with its output going to Log; -1 when it could not.
pid_t Spawn(std::vector<std::string> Args, const std::string& Log)
{
    std::vector<char*> argv;
    for (std::string& arg : Args)
    {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, Log.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    pid_t pid = -1;
    const int error = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? pid : -1;
}

// Waits up to Limit for Pid to end; true (and the status) when it did.
bool Reap(pid_t Pid, Clock::duration Limit, int& Status)
{
    for (const auto deadline = Clock::now() + Limit; Clock::now() < deadline;)
    {
        const pid_t done = ::waitpid(Pid, &Status, WNOHANG);
        if (done == Pid || (done < 0 && errno == ECHILD))
        {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

dev_t DeviceOf(const std::string& Path)
{
    struct stat st
    {
    };
    return ::stat(Path.c_str(), &st) == 0 ? st.st_dev : 0;
}

} // namespace

SlowMount::SlowMount(const std::string& Source, const SlowMountOptions& Options)
{
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp != nullptr ? tmp : "/tmp") + "/glfd-slowfs-XXXXXX";
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
    for (const auto& [flag, names] : {std::make_pair("--hang-stat=", &Options.HangStat),
                                      std::make_pair("--hang-readdir=", &Options.HangReaddir),
                                      std::make_pair("--hang-open=", &Options.HangOpen)})
    {
        for (const std::string& name : *names)
        {
            args.push_back(flag + name);
        }
    }
    Daemon = Spawn(args, LogPath);
    if (Daemon < 0)
    {
        FailureText = "cannot start " + args[0];
        return;
    }
    // Mounted once the mount point answers from another device than its parent's. Bounded: a
    // daemon that neither mounts nor ends is given up on after ten seconds.
    const dev_t parent = DeviceOf(WorkFolder);
    for (const auto deadline = Clock::now() + std::chrono::seconds(10); !bMounted;
         std::this_thread::sleep_for(std::chrono::milliseconds(5)))
    {
        int status = 0;
        if (::waitpid(Daemon, &status, WNOHANG) == Daemon)
        {
            Daemon = -1;
            std::ifstream log(LogPath);
            FailureText = "glfd_slowfs ended before mounting: " +
                          std::string(std::istreambuf_iterator<char>(log), std::istreambuf_iterator<char>());
            break;
        }
        bMounted = DeviceOf(MountPoint) != parent;
        if (!bMounted && Clock::now() >= deadline)
        {
            FailureText = "the mount did not answer within 10 s";
            break;
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
        int status = 0;
        // Lazy, since a hung request keeps the mount busy; the daemon notices it is gone.
        if (::geteuid() != 0 || ::umount2(MountPoint.c_str(), MNT_DETACH) != 0)
        {
            const pid_t helper = Spawn({"fusermount3", "-u", "-z", "-q", MountPoint}, "/dev/null");
            if (helper > 0)
            {
                Reap(helper, std::chrono::seconds(3), status);
            }
        }
        for (const auto& [signal, name] :
             {std::make_pair(SIGTERM, "SIGTERM"), std::make_pair(SIGKILL, "SIGKILL")})
        {
            if (Reap(Daemon, std::chrono::seconds(3), status))
            {
                break;
            }
            how = std::string("needed ") + name;
            ::kill(Daemon, signal);
        }
        if (how == "needed SIGKILL")
        {
            ::waitpid(Daemon, &status, 0);
        }
        else if (how.empty() && (!WIFEXITED(status) || WEXITSTATUS(status) != 0))
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
                       const int fuse = ::open("/dev/fuse", O_RDWR | O_CLOEXEC);
                       std::string empty = "/tmp/glfd-slowfs-probe-XXXXXX";
                       if (::access(Program().c_str(), X_OK) != 0)
                       {
                           reason = "the slow file system program " + Program() + " is missing";
                       }
                       else if (fuse < 0)
                       {
                           reason = "cannot open /dev/fuse: FUSE is not available here";
                       }
                       else if (::mkdtemp(empty.data()) == nullptr)
                       {
                           reason = "cannot make a temporary folder";
                       }
                       else
                       {
                           // Also covers a missing fusermount3 (Debian package fuse3) when not root.
                           SlowMount probe(empty, {});
                           reason = probe.IsMounted() ? "" : "cannot mount FUSE here: " + probe.Failure();
                           probe.Unmount();
                           ::rmdir(empty.c_str());
                       }
                       if (fuse >= 0)
                       {
                           ::close(fuse);
                       }
                   });
    return reason;
}

} // namespace glfd_test
