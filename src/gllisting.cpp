// The listing engine's caller side: waiting for a folder read, sorting it, writing records and rows.
#include "gllisting.h"

#include "gllisting_job.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string_view>

namespace fs = std::filesystem;

namespace
{

// Stores Prefix followed by Name unless it is there already.
void StoreJoined(std::string& Target, std::string_view Prefix, std::string_view Name)
{
    const std::size_t length = Prefix.size() + Name.size();
    if (Target.size() == length &&
        std::memcmp(Target.data() + Prefix.size(), Name.data(), Name.size()) == 0 &&
        std::memcmp(Target.data(), Prefix.data(), Prefix.size()) == 0)
    {
        return;
    }
    if (Target.capacity() < length)
    {
        Target.reserve(length);
    }
    Target.resize(length);
    std::memcpy(&Target[0], Prefix.data(), Prefix.size());
    std::memcpy(&Target[Prefix.size()], Name.data(), Name.size());
}

// Writes the sorted listing into the records and rows, in display order. The previous listing's
// records are overwritten in place, so a refresh reuses their strings' storage instead of freeing
// and allocating it again, and leaves unchanged strings unwritten.
class ListingWriter
{
public:
    ListingWriter(GLFolderJob& Read, const std::vector<GLSortKey>& SortedKeys, bool bWithAnswers,
                  std::vector<GLListingEntry>& Records, GLListingRows* TableRows)
        : Job(Read), Keys(SortedKeys), bAnswers(bWithAnswers), Entries(Records), Rows(TableRows)
    {
        std::sort(Job.Resolved.begin(), Job.Resolved.end(),
                  [](const auto& A, const auto& B) { return A.first < B.first; });
        Entries.resize(Keys.size());
        if (Rows != nullptr)
        {
            Rows->resize(Keys.size());
        }
    }

    void Sweep()
    {
        for (std::size_t i = 0; i < Entries.size(); ++i)
        {
            Prefetch(i);
            GLListingEntry& item = Entries[i];
            Write(Keys[i], item);
            if (Rows != nullptr)
            {
                std::vector<std::string>& row = (*Rows)[i];
                row.resize(4);
                GLStoreText(row[0], item.Name);
                GLStoreText(row[1], item.TypeLabel);
                GLStoreText(row[2], item.SizeLabel);
                GLStoreText(row[3], item.ModifiedLabel);
            }
        }
    }

private:
    // Facts, names, answers and the old records' strings are read out of order or lie scattered,
    // so they are fetched ahead of use.
    void Prefetch(std::size_t I) const
    {
        constexpr std::size_t lookAhead = 16;
        const std::size_t count = Entries.size();
        if (I + lookAhead < count)
        {
            const std::uint32_t soonIndex = Keys[I + lookAhead].Index;
            __builtin_prefetch(&Job.Facts[soonIndex]);
            if (bAnswers)
            {
                __builtin_prefetch(&Job.Answers[soonIndex]);
            }
            const char* record = reinterpret_cast<const char*>(&Entries[I + lookAhead]);
            for (std::size_t line = 0; line < sizeof(GLListingEntry); line += 64)
            {
                __builtin_prefetch(record + line, 1);
            }
            // A row not filled yet (a first listing) has no cells to fetch.
            if (Rows != nullptr && !(*Rows)[I + lookAhead].empty())
            {
                const char* cells = reinterpret_cast<const char*>((*Rows)[I + lookAhead].data());
                __builtin_prefetch(cells, 1);
                __builtin_prefetch(cells + 64, 1);
            }
        }
        if (I + lookAhead / 2 < count)
        {
            const GLListingEntry& soon = Entries[I + lookAhead / 2];
            __builtin_prefetch(Job.Names.Name(Keys[I + lookAhead / 2].Index));
            __builtin_prefetch(soon.Name.data(), 1);
            __builtin_prefetch(soon.Path.data(), 1);
            __builtin_prefetch(soon.ModifiedLabel.data(), 1);
            if (Rows != nullptr && (*Rows)[I + lookAhead / 2].size() == 4)
            {
                __builtin_prefetch((*Rows)[I + lookAhead / 2][0].data(), 1);
            }
        }
    }

    // The canonical path a helper resolved for an entry, or null.
    const std::string* ResolvedPath(std::uint32_t Index) const
    {
        const auto found =
            std::lower_bound(Job.Resolved.begin(), Job.Resolved.end(), Index,
                             [](const auto& Pair, std::uint32_t Wanted) { return Pair.first < Wanted; });
        return found != Job.Resolved.end() && found->first == Index ? &found->second : nullptr;
    }

    void Write(const GLSortKey& Key, GLListingEntry& Item)
    {
        const GLReadFacts& facts = Job.Facts[Key.Index];
        const bool bAnswered = bAnswers && Job.Answered[Key.Index] != 0;
        const std::string_view name(Job.Names.Name(Key.Index), Key.Length);
        Item.bDirectory = Key.bDirectory;
        GLStoreText(Item.TypeLabel, Key.bDirectory ? std::string_view("Dir") : std::string_view("File"));
        GLStoreText(Item.Name, name);

        // Paths: the folder and the name joined, unless resolving could change that.
        const bool bResolvable = facts.bThroughFilesystem || facts.bTrailingBlank ||
                                 facts.Kind == GLEntryKind::Link ||
                                 (facts.Kind == GLEntryKind::Unknown && bAnswered);
        const std::string* resolved = bAnswered && bResolvable ? ResolvedPath(Key.Index) : nullptr;
        if (resolved != nullptr)
        {
            GLStoreText(Item.Path, *resolved);
        }
        else if (facts.bThroughFilesystem)
        {
            Item.Path = GLUnresolvedPath((fs::path(Job.Directory) / name).native());
        }
        else
        {
            StoreJoined(Item.Path, Job.JoinPrefix, name);
            if (facts.bTrailingBlank)
            {
                Item.Path = GLUnresolvedPath(Item.Path);
            }
        }

        if (!bAnswered)
        {
            // Never answered: listed like an entry whose type could not be determined.
            Item.bReadable = false;
            GLStoreText(Item.SizeLabel, "-");
            Item.ModifiedLabel.clear();
            return;
        }
        const GLEntryAnswer& answer = Job.Answers[Key.Index];
        const GLEntryStatus& status = answer.Status;
        Item.bReadable = answer.bReadable;
        if (Key.bDirectory || !status.bKnown || !status.bRegular)
        {
            GLStoreText(Item.SizeLabel, "-");
        }
        else
        {
            Sizes.Format(status.Size, Item.SizeLabel);
        }
        if (!status.bKnown)
        {
            Item.ModifiedLabel.clear();
        }
        else if (status.bFileTime)
        {
            Job.Times.Format(fs::file_time_type(fs::file_time_type::duration(status.MtimeSeconds)),
                             Item.ModifiedLabel);
        }
        else
        {
            Job.Times.Format(status.MtimeSeconds, status.MtimeNanoseconds, Item.ModifiedLabel);
        }
    }

    GLFolderJob& Job;
    const std::vector<GLSortKey>& Keys;
    bool bAnswers;
    std::vector<GLListingEntry>& Entries;
    GLListingRows* Rows;
    GLSizeLabels Sizes;
};

} // namespace

GLFolderRead::GLFolderRead(const std::string& Directory, const GLListingOptions& Options,
                           std::size_t ExpectedEntries)
    : Job(std::make_shared<GLFolderJob>())
{
    Job->Directory = Directory;
    Job->JoinPrefix = Directory.empty() || Directory.back() != '/' ? Directory + '/' : Directory;
    Job->Options = Options;
    Job->Names.Bytes.reserve(ExpectedEntries * 32);
    Job->Names.Offsets.reserve(ExpectedEntries);
    Job->Facts.reserve(ExpectedEntries);
    Keys.reserve(ExpectedEntries);
    GLStartFolderJob(Job);
}

GLFolderRead::~GLFolderRead()
{
    Abandon();
}

bool GLFolderRead::WaitUntil(std::chrono::steady_clock::time_point Deadline)
{
    std::unique_lock<std::mutex> lock(Job->Mutex);
    bool bLastLook = false;
    for (;;)
    {
        if (Job->Failure || Job->bAbandoned)
        {
            return true;
        }
        if (Job->bNamesDone && !bSorted && Job->UnsettledLeft == 0)
        {
            // The order is settled: sort while the remaining queries run.
            lock.unlock();
            SortKeys();
            lock.lock();
            continue;
        }
        if (Job->bNamesDone && bSorted && Job->AnsweredCount.load() == Job->Order.size())
        {
            return true;
        }
        if (bLastLook)
        {
            return false;
        }
        if (Deadline == std::chrono::steady_clock::time_point::max())
        {
            Job->Changed.wait(lock);
        }
        else
        {
            bLastLook = Job->Changed.wait_until(lock, Deadline) == std::cv_status::timeout;
        }
    }
}

std::size_t GLFolderRead::Progress() const
{
    return Job->bNamesIn.load() ? Job->AnsweredCount.load() : Job->NamesCount.load();
}

std::size_t GLFolderRead::Expected() const
{
    return Job->bNamesIn.load() ? Job->NamesCount.load() : 0;
}

void GLFolderRead::Abandon()
{
    const std::lock_guard<std::mutex> lock(Job->Mutex);
    const bool bDone = Job->bNamesDone && Job->AnsweredCount.load() == Job->Order.size();
    if (!bDone && !Job->Failure)
    {
        Job->bAbandoned = true;
        Job->bStop = true;
    }
}

// The sort keys in readdir order, then sorted. Entries whose type never answered sort as the
// folder reported them: folders only where it said so.
void GLFolderRead::SortKeys()
{
    const std::size_t count = Job->Facts.size();
    Keys.resize(count);
    const bool bAnswers = Job->Answered.size() == count;
    for (std::size_t i = 0; i < count; ++i)
    {
        GLSortKey& key = Keys[i];
        key = GLSortKey{};
        key.Index = static_cast<std::uint32_t>(i);
        key.Length = static_cast<std::uint16_t>(Job->Names.Length(i));
        const GLEntryKind kind = Job->Facts[i].Kind;
        if (kind == GLEntryKind::Unknown || kind == GLEntryKind::Link)
        {
            key.bDirectory = bAnswers && Job->Answered[i] != 0 && Job->Answers[i].bDirectory;
        }
        else
        {
            key.bDirectory = kind == GLEntryKind::Directory;
        }
    }
    bRadixOrderKept = GLSortKeys(Keys, Job->Names, Job->Options.RadixSortMinimum);
    bSorted = true;
}

GLListingResult GLFolderRead::Finish(std::vector<GLListingEntry>& Entries, GLListingRows* Rows)
{
    GLListingResult result;
    {
        std::unique_lock<std::mutex> lock(Job->Mutex);
        if (Job->Failure)
        {
            std::rethrow_exception(Job->Failure);
        }
        const bool bDone = Job->bNamesDone && bSorted && Job->AnsweredCount.load() == Job->Order.size();
        if (!bDone)
        {
            // From here on no helper writes anything read below.
            Job->bAbandoned = true;
            Job->bStop = true;
        }
        result.bAbandoned = Job->bAbandoned;
        result.bOpened = Job->bOpened;
        result.Error = Job->Error;
    }
    if (result.bAbandoned)
    {
        // Sorted already, every type had answered and the order stands; else the entries read so
        // far are sorted with the types that did answer.
        result.Error = std::make_error_code(std::errc::operation_canceled);
        if (!bSorted)
        {
            SortKeys();
        }
    }
    else if (!result.bOpened)
    {
        Entries.clear();
        return result;
    }
    result.bRadixOrderKept = bRadixOrderKept;
    ListingWriter(*Job, Keys, Job->Answered.size() == Job->Facts.size(), Entries, Rows).Sweep();
    return result;
}

GLListingResult GLListFolder(const std::string& Directory, const GLListingOptions& Options,
                             std::vector<GLListingEntry>& Entries, GLListingRows* Rows)
{
    GLFolderRead read(Directory, Options, Entries.size());
    read.WaitUntil(std::chrono::steady_clock::time_point::max());
    return read.Finish(Entries, Rows);
}
