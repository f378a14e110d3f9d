// glfd_slowfs: a read-only FUSE view of a folder whose status queries are slow and whose chosen
// names never answer, standing in for network, cloud and phone mounts in tests and benchmarks.
//
//   glfd_slowfs SOURCE MOUNTPOINT [--stat-delay-ms=N] [--readdir-delay-ms=N]
//               [--hang-stat=NAME]... [--hang-readdir=NAME]... [--hang-open=NAME]...
//
// NAME is a path relative to the mount root ("big", "big/file7"). A hung request is parked, not
// answered, until the mount goes away or the program gets SIGTERM/SIGINT/SIGHUP; then every
// parked request fails with ENOTCONN and the program exits. Signals do not end a hung call, but
// a caller being killed (a process exiting with a thread stuck here) gets EINTR, as on hard
// network mounts, so that its process can be reaped.
//
// Every status query a program makes reaches this daemon and pays the delay exactly once: entries
// are never cached (a path is looked up again each time), and the attributes a lookup returns
// last one clock tick, just long enough to answer the status query that asked for the lookup.
// Permissions are those of the daemon's own calls on SOURCE (no kernel-side checks, which would
// add a status query of the parent folder to every look-up).

#define FUSE_USE_VERSION 312
#include <fuse_lowlevel.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace
{

struct Options
{
    std::string Source;
    std::string MountPoint;
    std::chrono::milliseconds StatDelay{0};
    std::chrono::milliseconds ReaddirDelay{0};
    std::set<std::string> HangStat;
    std::set<std::string> HangReaddir;
    std::set<std::string> HangOpen;
};

Options Config;
int SourceFd = -1;
// Zero would make the kernel ask again at once, so one status query would cost two round trips.
constexpr double AttributeTimeout = 1e-9;

// ---- Inodes: one number per relative path, kept for the daemon's life (the view is read-only
// and small enough that forgetting is not worth its races).

std::mutex InodeLock;
std::vector<std::string> InodePaths{"", ""}; // [FUSE_ROOT_ID] is the root, ""
std::unordered_map<std::string, fuse_ino_t> InodeOfPath{{"", FUSE_ROOT_ID}};

fuse_ino_t Intern(const std::string& Relative)
{
    std::lock_guard<std::mutex> lock(InodeLock);
    const auto found = InodeOfPath.find(Relative);
    if (found != InodeOfPath.end())
    {
        return found->second;
    }
    InodePaths.push_back(Relative);
    const fuse_ino_t ino = InodePaths.size() - 1;
    InodeOfPath.emplace(Relative, ino);
    return ino;
}

bool PathOf(fuse_ino_t Ino, std::string& Relative)
{
    std::lock_guard<std::mutex> lock(InodeLock);
    if (Ino >= InodePaths.size() || (Ino != FUSE_ROOT_ID && InodePaths[Ino].empty()))
    {
        return false;
    }
    Relative = InodePaths[Ino];
    return true;
}

// The argument *at() calls take for a relative path ("." for the root).
const char* AtName(const std::string& Relative)
{
    return Relative.empty() ? "." : Relative.c_str();
}

// ---- Parked (hung) requests. A hung call waits the way calls on a hard network mount do:
// signals do not end it, but a caller that is being killed (SIGKILL, or its process exiting)
// gets EINTR, so that its process can be reaped.

enum class ParkState
{
    Registering, // interrupt callback being installed
    Parked,      // waiting for release
    Interrupted, // the kernel passed on a signal: answered once the caller is being killed
};

struct ParkedCall
{
    ParkState State;
    pid_t Caller;                 // the calling thread
    bool bEarlyInterrupt = false; // interrupted while still Registering
};

std::mutex ParkLock;
std::map<fuse_req_t, ParkedCall> ParkedRequests;
bool bReleased = false;
std::condition_variable InterruptWake;

void OnInterrupt(fuse_req_t Req, void* /*Data*/)
{
    // Runs inside libfuse with the request locked: only note it here; answering would free it.
    std::lock_guard<std::mutex> lock(ParkLock);
    const auto found = ParkedRequests.find(Req);
    if (found == ParkedRequests.end())
    {
        return;
    }
    if (found->second.State == ParkState::Registering)
    {
        found->second.bEarlyInterrupt = true; // Park() settles it
        return;
    }
    found->second.State = ParkState::Interrupted;
    InterruptWake.notify_one();
}

// Never answers Req (until release, or until its caller is killed).
void Park(fuse_req_t Req)
{
    {
        std::lock_guard<std::mutex> lock(ParkLock);
        if (bReleased)
        {
            fuse_reply_err(Req, ENOTCONN);
            return;
        }
        ParkedRequests[Req] = {ParkState::Registering, fuse_req_ctx(Req)->pid};
    }
    fuse_req_interrupt_func(Req, OnInterrupt, nullptr);
    std::unique_lock<std::mutex> lock(ParkLock);
    const auto found = ParkedRequests.find(Req);
    if (bReleased)
    {
        ParkedRequests.erase(found);
        lock.unlock();
        fuse_reply_err(Req, ENOTCONN);
        return;
    }
    found->second.State = found->second.bEarlyInterrupt ? ParkState::Interrupted : ParkState::Parked;
    InterruptWake.notify_one();
}

// Whether the thread Tid has a SIGKILL pending (it is being killed) or is gone.
bool BeingKilled(pid_t Tid)
{
    std::ifstream status("/proc/" + std::to_string(Tid) + "/status");
    if (!status)
    {
        return true;
    }
    std::string line;
    while (std::getline(status, line))
    {
        if (line.rfind("SigPnd:", 0) == 0 || line.rfind("ShdPnd:", 0) == 0)
        {
            const unsigned long long pending = std::strtoull(line.c_str() + 7, nullptr, 16);
            if ((pending & (1ULL << (SIGKILL - 1))) != 0)
            {
                return true;
            }
        }
    }
    return false;
}

// Answers interrupted calls whose callers are being killed; looks again every 50 ms, since the
// kernel passes on only the first signal of a call. Runs outside libfuse's interrupt callback,
// which still holds a reference on the request while it unwinds.
void AnswerInterrupts()
{
    std::unique_lock<std::mutex> lock(ParkLock);
    for (;;)
    {
        InterruptWake.wait_for(lock, std::chrono::milliseconds(50));
        std::vector<fuse_req_t> killed;
        for (auto it = ParkedRequests.begin(); it != ParkedRequests.end();)
        {
            if (it->second.State == ParkState::Interrupted && BeingKilled(it->second.Caller))
            {
                killed.push_back(it->first);
                it = ParkedRequests.erase(it);
            }
            else
            {
                ++it;
            }
        }
        lock.unlock();
        for (fuse_req_t req : killed)
        {
            fuse_reply_err(req, EINTR);
        }
        lock.lock();
    }
}

// Fails every parked request (and any that would be parked later) with ENOTCONN.
void ReleaseParked()
{
    std::vector<fuse_req_t> parked;
    {
        std::lock_guard<std::mutex> lock(ParkLock);
        bReleased = true;
        for (auto it = ParkedRequests.begin(); it != ParkedRequests.end();)
        {
            if (it->second.State != ParkState::Registering) // those Park() answers itself
            {
                parked.push_back(it->first);
                it = ParkedRequests.erase(it);
            }
            else
            {
                ++it;
            }
        }
    }
    for (fuse_req_t req : parked)
    {
        fuse_reply_err(req, ENOTCONN);
    }
}

void Delay(std::chrono::milliseconds Time)
{
    if (Time.count() > 0)
    {
        std::this_thread::sleep_for(Time);
    }
}

// ---- Operations

void DoInit(void* /*UserData*/, fuse_conn_info* Conn)
{
    // Plain readdir: a bulk fetch of attributes would answer status queries behind the delay.
    Conn->want &= ~static_cast<unsigned>(FUSE_CAP_READDIRPLUS | FUSE_CAP_READDIRPLUS_AUTO);
}

void ReplyStat(fuse_req_t Req, const std::string& Relative, bool bEntry)
{
    struct stat st
    {
    };
    if (::fstatat(SourceFd, AtName(Relative), &st, AT_SYMLINK_NOFOLLOW) != 0)
    {
        fuse_reply_err(Req, errno);
        return;
    }
    if (!bEntry)
    {
        fuse_reply_attr(Req, &st, AttributeTimeout);
        return;
    }
    fuse_entry_param entry{};
    entry.ino = Intern(Relative);
    entry.attr = st;
    entry.attr_timeout = AttributeTimeout;
    entry.entry_timeout = 0.0;
    fuse_reply_entry(Req, &entry);
}

void DoLookup(fuse_req_t Req, fuse_ino_t Parent, const char* Name)
{
    std::string parent;
    if (!PathOf(Parent, parent))
    {
        fuse_reply_err(Req, ENOENT);
        return;
    }
    const std::string relative = parent.empty() ? std::string(Name) : parent + "/" + Name;
    if (Config.HangStat.count(relative) != 0)
    {
        Park(Req);
        return;
    }
    Delay(Config.StatDelay);
    ReplyStat(Req, relative, true);
}

void DoForget(fuse_req_t Req, fuse_ino_t /*Ino*/, uint64_t /*Lookups*/)
{
    fuse_reply_none(Req);
}

void DoForgetMulti(fuse_req_t Req, size_t /*Count*/, fuse_forget_data* /*Forgets*/)
{
    fuse_reply_none(Req);
}

void DoGetattr(fuse_req_t Req, fuse_ino_t Ino, fuse_file_info* /*Info*/)
{
    std::string relative;
    if (!PathOf(Ino, relative))
    {
        fuse_reply_err(Req, ENOENT);
        return;
    }
    if (Config.HangStat.count(relative) != 0)
    {
        Park(Req);
        return;
    }
    Delay(Config.StatDelay);
    ReplyStat(Req, relative, false);
}

void DoReadlink(fuse_req_t Req, fuse_ino_t Ino)
{
    std::string relative;
    char target[PATH_MAX + 1];
    const ssize_t length =
        PathOf(Ino, relative) ? ::readlinkat(SourceFd, AtName(relative), target, PATH_MAX) : -1;
    if (length < 0)
    {
        fuse_reply_err(Req, relative.empty() ? ENOENT : errno);
        return;
    }
    target[length] = '\0';
    fuse_reply_readlink(Req, target);
}

// A folder's entries, read whole when it is opened.
struct DirEntry
{
    std::string Name;
    ino_t Ino;
    unsigned char Type;
};
using DirListing = std::vector<DirEntry>;

void DoOpendir(fuse_req_t Req, fuse_ino_t Ino, fuse_file_info* Info)
{
    std::string relative;
    if (!PathOf(Ino, relative))
    {
        fuse_reply_err(Req, ENOENT);
        return;
    }
    if (Config.HangOpen.count(relative) != 0)
    {
        Park(Req);
        return;
    }
    const int fd = ::openat(SourceFd, AtName(relative), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* dir = fd < 0 ? nullptr : ::fdopendir(fd);
    if (dir == nullptr)
    {
        const int error = errno;
        if (fd >= 0)
        {
            ::close(fd);
        }
        fuse_reply_err(Req, error);
        return;
    }
    auto listing = std::make_unique<DirListing>();
    while (const dirent* entry = ::readdir(dir))
    {
        listing->push_back({entry->d_name, entry->d_ino, entry->d_type});
    }
    ::closedir(dir);
    Info->fh = reinterpret_cast<uint64_t>(listing.get());
    if (fuse_reply_open(Req, Info) == 0)
    {
        listing.release();
    }
}

void DoReaddir(fuse_req_t Req, fuse_ino_t Ino, size_t Size, off_t Offset, fuse_file_info* Info)
{
    std::string relative;
    if (PathOf(Ino, relative) && Config.HangReaddir.count(relative) != 0)
    {
        Park(Req);
        return;
    }
    Delay(Config.ReaddirDelay);
    const auto& listing = *reinterpret_cast<const DirListing*>(Info->fh);
    std::vector<char> buffer(Size);
    std::size_t used = 0;
    for (auto index = static_cast<std::size_t>(Offset); index < listing.size(); ++index)
    {
        struct stat st
        {
        };
        st.st_ino = listing[index].Ino;
        st.st_mode = static_cast<mode_t>(DTTOIF(listing[index].Type)); // the type, as the source gave it
        const std::size_t needed =
            fuse_add_direntry(Req, buffer.data() + used, Size - used, listing[index].Name.c_str(), &st,
                              static_cast<off_t>(index + 1));
        if (needed > Size - used)
        {
            break;
        }
        used += needed;
    }
    fuse_reply_buf(Req, buffer.data(), used);
}

void DoReleasedir(fuse_req_t Req, fuse_ino_t /*Ino*/, fuse_file_info* Info)
{
    delete reinterpret_cast<DirListing*>(Info->fh);
    fuse_reply_err(Req, 0);
}

void DoOpen(fuse_req_t Req, fuse_ino_t Ino, fuse_file_info* Info)
{
    std::string relative;
    if (!PathOf(Ino, relative))
    {
        fuse_reply_err(Req, ENOENT);
        return;
    }
    if (Config.HangOpen.count(relative) != 0)
    {
        Park(Req);
        return;
    }
    if ((Info->flags & O_ACCMODE) != O_RDONLY)
    {
        fuse_reply_err(Req, EROFS);
        return;
    }
    const int fd = ::openat(SourceFd, AtName(relative), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
    {
        fuse_reply_err(Req, errno);
        return;
    }
    Info->fh = static_cast<uint64_t>(fd);
    if (fuse_reply_open(Req, Info) != 0)
    {
        ::close(fd);
    }
}

void DoRead(fuse_req_t Req, fuse_ino_t /*Ino*/, size_t Size, off_t Offset, fuse_file_info* Info)
{
    std::vector<char> buffer(Size);
    const ssize_t got = ::pread(static_cast<int>(Info->fh), buffer.data(), Size, Offset);
    if (got < 0)
    {
        fuse_reply_err(Req, errno);
        return;
    }
    fuse_reply_buf(Req, buffer.data(), static_cast<size_t>(got));
}

void DoRelease(fuse_req_t Req, fuse_ino_t /*Ino*/, fuse_file_info* Info)
{
    ::close(static_cast<int>(Info->fh));
    fuse_reply_err(Req, 0);
}

void DoStatfs(fuse_req_t Req, fuse_ino_t /*Ino*/)
{
    struct statvfs st
    {
    };
    if (::fstatvfs(SourceFd, &st) != 0)
    {
        fuse_reply_err(Req, errno);
        return;
    }
    fuse_reply_statfs(Req, &st);
}

// ---- The device, read and written as libfuse would, except that the answer to the kernel's
// first message asks for look-ups in one folder to run in parallel. Without that the kernel
// queues every look-up in a folder behind a hung one (and behind each delayed one), and this
// libfuse cannot ask for it itself.

struct KernelInHeader // the kernel's fuse_in_header
{
    uint32_t Length;
    uint32_t Opcode;
    uint64_t Unique;
};
struct KernelOutHeader // fuse_out_header
{
    uint32_t Length;
    int32_t Error;
    uint64_t Unique;
};
struct KernelInitOut // the start of fuse_init_out
{
    uint32_t Major;
    uint32_t Minor;
    uint32_t MaxReadahead;
    uint32_t Flags;
};
constexpr uint32_t KernelOpInit = 26;
constexpr uint32_t KernelParallelDirops = 1U << 18;
std::atomic<uint64_t> InitUnique{0};

ssize_t DeviceRead(int Fd, void* Buffer, size_t Length, void* /*UserData*/)
{
    const ssize_t got = ::read(Fd, Buffer, Length);
    if (got >= static_cast<ssize_t>(sizeof(KernelInHeader)))
    {
        KernelInHeader in{};
        std::memcpy(&in, Buffer, sizeof(in));
        if (in.Opcode == KernelOpInit)
        {
            InitUnique = in.Unique;
        }
    }
    return got;
}

ssize_t DeviceWritev(int Fd, iovec* Parts, int Count, void* /*UserData*/)
{
    KernelOutHeader out{};
    if (Count >= 2 && Parts[0].iov_len >= sizeof(out) && Parts[1].iov_len >= sizeof(KernelInitOut))
    {
        std::memcpy(&out, Parts[0].iov_base, sizeof(out));
        if (out.Error == 0 && out.Unique == InitUnique && InitUnique != 0)
        {
            auto* init = static_cast<KernelInitOut*>(Parts[1].iov_base);
            init->Flags |= KernelParallelDirops;
            InitUnique = 0;
        }
    }
    return ::writev(Fd, Parts, Count);
}

// ---- Lifetime: ends on SIGTERM/SIGINT/SIGHUP or when the mount leaves the mount table (a lazy
// unmount while requests hang keeps the file system alive, so the kernel alone would never tell).

std::string FsName()
{
    return "glfd_slowfs." + std::to_string(::getpid());
}

bool StillMounted(const std::string& Name)
{
    std::ifstream mounts("/proc/self/mountinfo");
    std::string line;
    const std::string marker = " - fuse.glfd_slowfs " + Name + " ";
    while (std::getline(mounts, line))
    {
        if (line.find(marker) != std::string::npos)
        {
            return true;
        }
    }
    return false;
}

// Lazy, since hung requests keep the mount busy; the device stays open for the answers to come.
void UnmountLazily()
{
    if (::umount2(Config.MountPoint.c_str(), MNT_DETACH) == 0)
    {
        return;
    }
    const char* argv[] = {"fusermount3", "-u", "-z", "-q", Config.MountPoint.c_str(), nullptr};
    pid_t pid = -1;
    if (::posix_spawnp(&pid, argv[0], nullptr, nullptr, const_cast<char* const*>(argv), environ) == 0)
    {
        int status = 0;
        ::waitpid(pid, &status, 0);
    }
}

[[noreturn]] void Watch(int SignalFd)
{
    const std::string name = FsName();
    const int mountsFd = ::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC);
    bool bSignalled = false;
    bool bSeen = StillMounted(name); // the mount is in place by now; a quick unmount must not be missed
    for (;;)
    {
        pollfd fds[2] = {{SignalFd, POLLIN, 0}, {mountsFd, POLLPRI, 0}};
        // The mount table wakes the poll on every change; the timeout covers kernels that do not.
        const int ready = ::poll(fds, mountsFd >= 0 ? 2 : 1, 200);
        if (ready > 0 && (fds[0].revents & POLLIN) != 0)
        {
            bSignalled = true;
            break;
        }
        const bool bMounted = StillMounted(name);
        if (bSeen && !bMounted)
        {
            break;
        }
        bSeen = bSeen || bMounted;
    }
    if (bSignalled)
    {
        UnmountLazily(); // first, so that nothing released finds the mount still there
    }
    ReleaseParked();
    // Closing the device (by exiting) aborts the connection: anything still waiting gets an error.
    std::fflush(stderr);
    std::_Exit(0);
}

bool ParseDelay(const std::string& Text, std::chrono::milliseconds& Out)
{
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(Text.c_str(), &end, 10);
    if (Text.empty() || *end != '\0' || errno != 0 || value < 0 || value > 3600000)
    {
        return false;
    }
    Out = std::chrono::milliseconds(value);
    return true;
}

std::string Normalised(std::string Name)
{
    while (!Name.empty() && Name.front() == '/')
    {
        Name.erase(0, 1);
    }
    while (!Name.empty() && Name.back() == '/')
    {
        Name.pop_back();
    }
    return Name;
}

bool ParseArguments(int Argc, char** Argv)
{
    std::vector<std::string> positional;
    for (int i = 1; i < Argc; ++i)
    {
        const std::string arg = Argv[i];
        const auto value = [&arg](const char* Prefix) -> const char*
        {
            return arg.rfind(Prefix, 0) == 0 ? arg.c_str() + std::strlen(Prefix) : nullptr;
        };
        if (const char* v = value("--stat-delay-ms="))
        {
            if (!ParseDelay(v, Config.StatDelay))
            {
                return false;
            }
        }
        else if (const char* w = value("--readdir-delay-ms="))
        {
            if (!ParseDelay(w, Config.ReaddirDelay))
            {
                return false;
            }
        }
        else if (const char* s = value("--hang-stat="))
        {
            Config.HangStat.insert(Normalised(s));
        }
        else if (const char* r = value("--hang-readdir="))
        {
            Config.HangReaddir.insert(Normalised(r));
        }
        else if (const char* o = value("--hang-open="))
        {
            Config.HangOpen.insert(Normalised(o));
        }
        else if (arg.rfind("--", 0) == 0 && arg != "--")
        {
            return false;
        }
        else
        {
            positional.push_back(arg);
        }
    }
    if (positional.size() != 2)
    {
        return false;
    }
    Config.Source = positional[0];
    Config.MountPoint = positional[1];
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (!ParseArguments(argc, argv))
    {
        std::fprintf(
            stderr,
            "usage: glfd_slowfs SOURCE MOUNTPOINT [--stat-delay-ms=N] [--readdir-delay-ms=N]\n"
            "                   [--hang-stat=NAME]... [--hang-readdir=NAME]... [--hang-open=NAME]...\n"
            "Mounts a read-only view of SOURCE; runs until unmounted or sent SIGTERM.\n"
            "--hang-stat: lookups and status queries of NAME never answer;\n"
            "--hang-readdir: reading the folder NAME never answers (opening it does);\n"
            "--hang-open: opening the file or folder NAME never answers.\n");
        return 2;
    }
    SourceFd = ::open(Config.Source.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (SourceFd < 0)
    {
        std::fprintf(stderr, "glfd_slowfs: %s: %s\n", Config.Source.c_str(), std::strerror(errno));
        return 1;
    }

    // Delays as asked, not rounded up by the default 50 us of timer slack (threads inherit it).
    ::prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    // Signals are taken by the watcher alone; every thread started from here inherits the mask.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    for (int signal : {SIGTERM, SIGINT, SIGHUP})
    {
        sigaddset(&stopSignals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    const int signalFd = ::signalfd(-1, &stopSignals, SFD_CLOEXEC);

    const std::string mountOptions = "-oro,fsname=" + FsName() + ",subtype=glfd_slowfs";
    std::vector<char*> fuseArgv = {argv[0], const_cast<char*>(mountOptions.c_str())};
    fuse_args args = FUSE_ARGS_INIT(static_cast<int>(fuseArgv.size()), fuseArgv.data());
    fuse_lowlevel_ops ops{};
    ops.init = DoInit;
    ops.lookup = DoLookup;
    ops.forget = DoForget;
    ops.forget_multi = DoForgetMulti;
    ops.getattr = DoGetattr;
    ops.readlink = DoReadlink;
    ops.opendir = DoOpendir;
    ops.readdir = DoReaddir;
    ops.releasedir = DoReleasedir;
    ops.open = DoOpen;
    ops.read = DoRead;
    ops.release = DoRelease;
    ops.statfs = DoStatfs;
    fuse_session* session = fuse_session_new(&args, &ops, sizeof(ops), nullptr);
    if (session == nullptr || signalFd < 0 || fuse_session_mount(session, Config.MountPoint.c_str()) != 0)
    {
        std::fprintf(stderr, "glfd_slowfs: cannot mount %s\n", Config.MountPoint.c_str());
        return 1;
    }
    const fuse_custom_io io = {DeviceWritev, DeviceRead, nullptr, nullptr};
    if (fuse_session_custom_io(session, &io, fuse_session_fd(session)) != 0)
    {
        std::fprintf(stderr, "glfd_slowfs: cannot take over the device\n");
        return 1;
    }
    std::thread(AnswerInterrupts).detach();
    std::thread(Watch, signalFd).detach();

    // Enough workers that every delayed query of a parallel client sleeps at the same time.
    fuse_loop_config* loop = fuse_loop_cfg_create();
    fuse_loop_cfg_set_max_threads(loop, 256);
    fuse_loop_cfg_set_idle_threads(loop, 16);
    const int result = fuse_session_loop_mt(session, loop);
    // The kernel ended the connection (unmounted with nothing hanging).
    ReleaseParked();
    std::fflush(stderr);
    std::_Exit(result == 0 ? 0 : 1);
}
