// A folder read in flight on helper threads: the state they share with the caller, and the helpers' side.
#include "gllisting_job.h"

#include "gllisting_filesystem.h"
#include "gllisting_paths.h"
#include "gllisting_workers.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

namespace fs = std::filesystem;

namespace
{

// Entries claimed at a time by a status helper: as many as answer within the budget, at most
// MaxChunk. A helper stuck on a query that never answers strands the rest of its claim, so on a
// slow file system it claims one at a time; its first claim is one entry, to learn the pace.
constexpr std::size_t MaxChunk = 16;
constexpr std::chrono::microseconds ChunkBudget{100};
// Status helpers of one read: at first, and at most once the file system proves slow.
constexpr std::size_t InitialWorkers = 2;
constexpr std::size_t MaxWorkers = 16;
// A chunk whose queries took longer than this each is waiting on I/O, not on a processor: more
// queries in flight will help.
constexpr std::chrono::microseconds SlowQuery{200};

// Ends the read: a helper ran into an exception (memory exhaustion).
void Fail(GLFolderJob& Job, std::exception_ptr Failure)
{
    const std::lock_guard<std::mutex> lock(Job.Mutex);
    if (!Job.Failure)
    {
        Job.Failure = std::move(Failure);
    }
    Job.bStop = true;
    Job.Changed.notify_all();
}

// Where the labels cannot mirror the library's conversion of a status time, the library's own
// file time is kept instead (an extra query, for times centuries away).
void KeepFileTimeWhereNeeded(const GLFolderJob& Job, std::uint32_t Index, GLEntryStatus& Status)
{
    if (Status.bKnown && !Status.bFileTime && !Job.Times.Mirrors(Status.MtimeSeconds))
    {
        std::error_code ec;
        const fs::file_time_type time = fs::last_write_time(Job.JoinPrefix + Job.Names.Name(Index), ec);
        Status.MtimeSeconds = time.time_since_epoch().count();
        Status.MtimeNanoseconds = 0;
        Status.bFileTime = true;
    }
}

// An entry whose type the folder did not settle (an untyped entry or a symbolic link): the status
// decides it. Two queries for an untyped symbolic link, one otherwise; a failure makes the entry
// unreadable.
void ReadUnsettledEntry(int Fd, const char* Name, GLEntryKind Kind, GLEntryAnswer& Answer, bool& bLink)
{
    GLStatusKind kind;
    bLink = Kind == GLEntryKind::Link;
    if (Kind == GLEntryKind::Unknown)
    {
        kind = GLQueryStatus(Fd, Name, false, Answer.Status);
        bLink = kind.bKnown && kind.bLink;
        if (bLink)
        {
            kind = GLQueryStatus(Fd, Name, true, Answer.Status);
        }
    }
    else
    {
        kind = GLQueryStatus(Fd, Name, true, Answer.Status);
    }
    Answer.bDirectory = kind.bKnown && kind.bDirectory;
    Answer.bReadable = kind.bKnown;
}

// Every query one entry needs, answered into its record; paths that must be resolved go to
// Resolved.
void AnswerEntry(GLFolderJob& Job, int Fd, std::uint32_t Index,
                 std::vector<std::pair<std::uint32_t, std::string>>& Resolved)
{
    const GLReadFacts& facts = Job.Facts[Index];
    GLEntryAnswer& answer = Job.Answers[Index];
    const char* name = Job.Names.Name(Index);
    if (facts.bThroughFilesystem)
    {
        const fs::path entryPath = fs::path(Job.Directory) / name;
        answer.bDirectory = GLFilesystemIsDirectory(entryPath, facts.Kind, answer.bReadable);
        Resolved.emplace_back(Index, GLCanonicalizePath(entryPath.native()));
        std::error_code ec;
        if (!answer.bDirectory)
        {
            const std::uintmax_t size = fs::file_size(entryPath, ec);
            answer.Status.bRegular = !ec;
            answer.Status.Size = ec ? 0 : size;
        }
        answer.Status.MtimeSeconds = fs::last_write_time(entryPath, ec).time_since_epoch().count();
        answer.Status.bFileTime = true;
        answer.Status.bKnown = true;
        return;
    }
    bool bResolve = facts.bTrailingBlank;
    if (facts.Kind == GLEntryKind::Unknown || facts.Kind == GLEntryKind::Link)
    {
        bool bLink = false;
        ReadUnsettledEntry(Fd, name, facts.Kind, answer, bLink);
        bResolve = bResolve || bLink;
    }
    else
    {
        answer.bDirectory = facts.Kind == GLEntryKind::Directory;
        GLQueryStatus(Fd, name, true, answer.Status);
    }
    KeepFileTimeWhereNeeded(Job, Index, answer.Status);
    if (bResolve)
    {
        // Without a status the joined path is what resolving it gives anyway; a link's target or
        // a trimmed name need the real thing.
        Resolved.emplace_back(Index, GLCanonicalizePath(Job.JoinPrefix + name));
    }
}

void AnswerStatuses(const std::shared_ptr<GLFolderJob>& Job);

void StartStatusHelpers(const std::shared_ptr<GLFolderJob>& Job, std::size_t Count)
{
    for (std::size_t i = 0; i < Count; ++i)
    {
        GLRunOnHelper([Job] { AnswerStatuses(Job); });
    }
}

// A status helper: claims chunks of the order until none is left, publishing each chunk's answers
// unless the read has been abandoned meanwhile. Asks for more helpers while queries are slow.
void AnswerStatuses(const std::shared_ptr<GLFolderJob>& Job)
{
    try
    {
        GLFolderJob& job = *Job;
        std::error_code ignored;
        const int fd = job.Stream->Descriptor(ignored);
        const std::size_t total = job.Order.size();
        std::vector<std::pair<std::uint32_t, std::string>> resolved;
        std::size_t chunk = 1;
        for (;;)
        {
            const std::size_t begin =
                job.bStop.load(std::memory_order_relaxed) ? total : job.NextClaim.fetch_add(chunk);
            if (begin >= total)
            {
                return;
            }
            const std::size_t end = std::min(begin + chunk, total);
            const auto started = std::chrono::steady_clock::now();
            for (std::size_t position = begin; position < end; ++position)
            {
                AnswerEntry(job, fd, job.Order[position], resolved);
            }
            const auto perQuery = (std::chrono::steady_clock::now() - started) / (end - begin);
            const bool bSlow = perQuery > SlowQuery;
            chunk = perQuery * MaxChunk <= ChunkBudget
                        ? MaxChunk
                        : std::max<std::size_t>(1, static_cast<std::size_t>(ChunkBudget / perQuery));
            std::size_t more = 0;
            {
                const std::lock_guard<std::mutex> lock(job.Mutex);
                if (job.bAbandoned)
                {
                    return;
                }
                for (std::size_t position = begin; position < end; ++position)
                {
                    job.Answered[job.Order[position]] = 1;
                }
                for (auto& path : resolved)
                {
                    job.Resolved.push_back(std::move(path));
                }
                resolved.clear();
                const std::size_t unsettled =
                    begin < job.UnsettledTotal ? std::min(end, job.UnsettledTotal) - begin : 0;
                job.UnsettledLeft -= unsettled;
                const std::size_t answered = job.AnsweredCount.fetch_add(end - begin) + (end - begin);
                if ((unsettled > 0 && job.UnsettledLeft == 0) || answered == total)
                {
                    job.Changed.notify_all();
                }
                if (bSlow && job.Workers < MaxWorkers)
                {
                    more = std::min(MaxWorkers - job.Workers, job.Workers);
                    job.Workers += more;
                }
            }
            StartStatusHelpers(Job, more);
        }
    }
    catch (...)
    {
        Fail(*Job, std::current_exception());
    }
}

// Appends one name read from the folder, with what its name and reported type tell.
void AddName(GLFolderJob& Job, const GLFolderEntry& Entry)
{
    Job.Names.Add(Entry.Name, Entry.Length);
    GLReadFacts& facts = Job.Facts.emplace_back();
    facts.Kind = Job.Options.bIgnoreEntryTypes ? GLEntryKind::Unknown : Entry.Kind;
    // The filesystem route sees paths, which stop resolving at the path limit; so must this one.
    facts.bThroughFilesystem =
        !Job.Options.bCanonicalDirectory || Job.JoinPrefix.size() + Entry.Length >= GLPathLimit;
    // Canonicalising a path trims it, so a name with trailing blanks loses them.
    facts.bTrailingBlank = GLIsTrimmedByte(static_cast<unsigned char>(Entry.Name[Entry.Length - 1]));
}

// The name reader: opens the folder, appends its names batch by batch, then orders the queries
// (unsettled types first, since the sort waits for them) and becomes the first status helper.
void ReadNames(const std::shared_ptr<GLFolderJob>& Job)
{
    GLFolderJob& job = *Job;
    auto stream = std::make_unique<GLFolderStream>(job.Directory);
    std::error_code error;
    stream->Descriptor(error);
    {
        const std::lock_guard<std::mutex> lock(job.Mutex);
        if (job.bAbandoned)
        {
            return;
        }
        if (error)
        {
            job.Error = error;
            job.bNamesDone = true;
            job.bNamesIn = true;
            job.Changed.notify_all();
            return;
        }
        job.bOpened = true;
        job.Stream = std::move(stream);
    }
    // Until the names are done only this helper touches the stream.
    GLFolderStream& folder = *job.Stream;
    while (folder.Fill(error))
    {
        const std::lock_guard<std::mutex> lock(job.Mutex);
        if (job.bAbandoned)
        {
            return;
        }
        GLFolderEntry entry;
        while (folder.NextBuffered(entry))
        {
            AddName(job, entry);
        }
        job.NamesCount.store(job.Facts.size(), std::memory_order_relaxed);
    }
    std::size_t workers = 0;
    {
        const std::lock_guard<std::mutex> lock(job.Mutex);
        if (job.bAbandoned)
        {
            return;
        }
        job.Error = error;
        const std::size_t count = job.Facts.size();
        job.Order.reserve(count);
        for (std::size_t i = 0; i < count; ++i)
        {
            const GLEntryKind kind = job.Facts[i].Kind;
            if (kind == GLEntryKind::Unknown || kind == GLEntryKind::Link)
            {
                job.Order.push_back(static_cast<std::uint32_t>(i));
            }
        }
        job.UnsettledTotal = job.UnsettledLeft = job.Order.size();
        for (std::size_t i = 0; i < count; ++i)
        {
            const GLEntryKind kind = job.Facts[i].Kind;
            if (kind != GLEntryKind::Unknown && kind != GLEntryKind::Link)
            {
                job.Order.push_back(static_cast<std::uint32_t>(i));
            }
        }
        job.Answers.resize(count);
        job.Answered.assign(count, 0);
        workers = count == 0 ? 0 : count >= job.Options.ParallelMinimum ? InitialWorkers : 1;
        job.Workers = workers;
        job.NamesCount.store(count);
        job.bNamesDone = true;
        job.bNamesIn = true;
        job.Changed.notify_all();
    }
    if (workers > 0)
    {
        StartStatusHelpers(Job, workers - 1);
        AnswerStatuses(Job);
    }
}

} // namespace

void GLStartFolderJob(const std::shared_ptr<GLFolderJob>& Job)
{
    GLRunOnHelper(
        [Job]
        {
            try
            {
                ReadNames(Job);
            }
            catch (...)
            {
                Fail(*Job, std::current_exception());
            }
        });
}

std::string GLUnresolvedPath(const std::string& Path)
{
    return fs::path(GLTrimCopy(Path)).lexically_normal().native();
}
