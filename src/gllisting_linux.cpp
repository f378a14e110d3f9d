// The Linux side of the listing engine's system seam: getdents64, fstatat, signal masks, tm_gmtoff.
#include "gllisting_system.h"

#include <cerrno>
#include <climits>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

const std::size_t GLPathLimit = PATH_MAX;

GLFolderStream::GLFolderStream(const std::string& Path)
    : Fd(::open(Path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), OpenError(errno)
{
}

GLFolderStream::~GLFolderStream()
{
    if (Fd >= 0)
    {
        ::close(Fd);
    }
}

int GLFolderStream::Descriptor(std::error_code& Error) const
{
    if (Fd < 0)
    {
        Error.assign(OpenError, std::generic_category());
    }
    return Fd;
}

// Large batches: readdir's lock per entry is measurable at the scale of big folders.
bool GLFolderStream::Next(GLFolderEntry& Entry, std::error_code& Error)
{
    for (;;)
    {
        if (Offset >= Filled)
        {
            Buffer.resize(std::size_t{128} * 1024);
            const ssize_t got = ::getdents64(Fd, Buffer.data(), Buffer.size());
            if (got <= 0)
            {
                if (got < 0 && errno != ENOENT)
                {
                    Error.assign(errno, std::generic_category());
                }
                return false;
            }
            Filled = static_cast<std::size_t>(got);
            Offset = 0;
        }
        const auto* entry = reinterpret_cast<const dirent64*>(Buffer.data() + Offset);
        Offset += entry->d_reclen;
        const char* name = entry->d_name;
        const bool bDots = name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
        if (entry->d_ino == 0 || bDots)
        {
            continue;
        }
        Entry.Name = name;
        Entry.Length = std::strlen(name);
        switch (entry->d_type)
        {
        case DT_UNKNOWN:
            Entry.Kind = GLEntryKind::Unknown;
            break;
        case DT_DIR:
            Entry.Kind = GLEntryKind::Directory;
            break;
        case DT_LNK:
            Entry.Kind = GLEntryKind::Link;
            break;
        default:
            Entry.Kind = GLEntryKind::Other;
            break;
        }
        return true;
    }
}

GLStatusKind GLQueryStatus(int FolderFd, const char* Name, bool bFollowLinks, GLEntryStatus& Status)
{
    struct stat st; // filled by fstatat before any read; zeroing it costs a visible share
    GLStatusKind kind;
    if (::fstatat(FolderFd, Name, &st, bFollowLinks ? 0 : AT_SYMLINK_NOFOLLOW) != 0)
    {
        return kind;
    }
    kind.bKnown = true;
    kind.bDirectory = S_ISDIR(st.st_mode);
    kind.bLink = S_ISLNK(st.st_mode);
    if (!kind.bLink)
    {
        Status.bKnown = true;
        Status.bRegular = S_ISREG(st.st_mode);
        Status.Size = static_cast<std::uint64_t>(st.st_size);
        Status.MtimeSeconds = static_cast<std::int64_t>(st.st_mtim.tv_sec);
        Status.MtimeNanoseconds = static_cast<std::int32_t>(st.st_mtim.tv_nsec);
    }
    return kind;
}

bool GLStartQuietThread(std::thread& Thread, const std::function<void()>& Task)
{
    // The mask is inherited by the new thread and restored here, also when starting it throws.
    struct MaskRestorer
    {
        sigset_t Previous;
        ~MaskRestorer() { ::pthread_sigmask(SIG_SETMASK, &Previous, nullptr); }
    };
    sigset_t blocked;
    ::sigfillset(&blocked);
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS})
    {
        ::sigdelset(&blocked, signal);
    }
    MaskRestorer restorer{};
    ::pthread_sigmask(SIG_BLOCK, &blocked, &restorer.Previous);
    try
    {
        Thread = std::thread(Task);
    }
    catch (const std::system_error&)
    {
    }
    return Thread.joinable();
}

long GLZoneOffset(const std::tm& Local)
{
    return Local.tm_gmtoff;
}
