// The operating-system seam of the listing engine: reading a folder, status queries, quiet threads, zone
// offsets.
#pragma once

// Everything the engine asks of the system beyond the standard library goes through these few
// declarations; gllisting_linux.cpp provides them for Linux.

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

// What a folder reports about an entry's type, before any status query.
enum class GLEntryKind : unsigned char
{
    Unknown,   // not reported: a status query must tell
    Directory, // a directory (not a link to one)
    Link,      // a symbolic link: a status query following it must tell
    Other,     // a regular file, device, pipe or socket
};

// One entry as the folder reported it; Name stays valid until the next call of Next.
struct GLFolderEntry
{
    const char* Name = nullptr; // NUL-terminated, never "." or ".."
    std::size_t Length = 0;
    GLEntryKind Kind = GLEntryKind::Unknown;
};

// The facts of one status query (symbolic links followed) that labels are made from.
struct GLEntryStatus
{
    std::uint64_t Size = 0;
    std::int64_t MtimeSeconds = 0; // or the file time's ticks, when bFileTime
    std::int32_t MtimeNanoseconds = 0;
    bool bKnown = false;    // the status was read
    bool bRegular = false;  // ... and names a regular file
    bool bFileTime = false; // MtimeSeconds holds the library's file time, asked for separately
};

// The longest path, in bytes with its NUL, that the system resolves.
extern const std::size_t GLPathLimit;

// An open folder read in large batches, ending and failing as readdir does: entries without an
// inode number are skipped, and a folder removed meanwhile reads as ending.
class GLFolderStream
{
public:
    // Opens the folder (links followed); a failure is kept for Descriptor.
    explicit GLFolderStream(const std::string& Path);
    ~GLFolderStream();
    GLFolderStream(const GLFolderStream&) = delete;
    GLFolderStream& operator=(const GLFolderStream&) = delete;
    GLFolderStream(GLFolderStream&&) = delete;
    GLFolderStream& operator=(GLFolderStream&&) = delete;

    // The descriptor status queries are made relative to, or -1 with the reason in Error.
    int Descriptor(std::error_code& Error) const;
    // The next entry; false at the end and on a failure, which sets Error.
    bool Next(GLFolderEntry& Entry, std::error_code& Error);

private:
    int Fd = -1;
    int OpenError = 0;
    std::vector<char> Buffer;
    std::size_t Offset = 0;
    std::size_t Filled = 0;
};

// What a status query said of the entry's type.
struct GLStatusKind
{
    bool bKnown = false;     // the query answered
    bool bDirectory = false; // a directory
    bool bLink = false;      // a symbolic link (only when links are not followed)
};

// Asks for the status of Name in the folder FolderFd, following a final symbolic link or not;
// Status is filled when the query answered (for a link not followed, only the kind is).
GLStatusKind GLQueryStatus(int FolderFd, const char* Name, bool bFollowLinks, GLEntryStatus& Status);

// Starts Thread on Task with every asynchronous signal blocked in it, so that the host's threads
// keep receiving them; false (Thread left empty) when no thread can be started.
bool GLStartQuietThread(std::thread& Thread, const std::function<void()>& Task);

// The offset from UTC, in seconds, of a time that localtime_r broke down.
long GLZoneOffset(const std::tm& Local);
