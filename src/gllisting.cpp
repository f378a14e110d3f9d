// The listing engine's course through a folder: names, status queries, sort, then records and rows.
#include "gllisting.h"

#include "gllisting_filesystem.h"
#include "gllisting_labels.h"
#include "gllisting_paths.h"
#include "gllisting_sort.h"
#include "gllisting_system.h"

#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string_view>
#include <thread>

namespace fs = std::filesystem;

namespace
{

// What reading an entry's name and type told.
struct EntryFacts
{
    bool bReadable = true;
    bool bResolvePath = false;       // the path is GLCanonicalizePath's to decide
    bool bThroughFilesystem = false; // every field comes from std::filesystem queries
    bool bStatusPending = false;     // the status query is still to be made
};

// A folder as it was read, in readdir order: names, sort keys, facts and statuses by index.
struct FolderContents
{
    std::string Directory;
    std::string JoinPrefix; // the folder with one trailing separator
    GLNameTable Names;
    std::vector<GLSortKey> Keys;
    std::vector<EntryFacts> Facts;
    std::vector<GLEntryStatus> Statuses;
    std::size_t Pending = 0; // entries whose status query is still to be made

    // A refresh of the same folder is the common case: the previous listing's size sizes them.
    void Reserve(std::size_t Count)
    {
        Names.Bytes.reserve(Count * 32);
        Names.Offsets.reserve(Count);
        Keys.reserve(Count);
        Facts.reserve(Count);
        Statuses.reserve(Count);
    }
};

// Where the labels cannot mirror the library's conversion of a status time, the library's own
// file time is kept instead (an extra query, for times centuries away).
void KeepFileTimeWhereNeeded(const FolderContents& Folder, std::size_t Index, const GLTimeLabels& Times,
                             GLEntryStatus& Status)
{
    if (Status.bKnown && !Times.Mirrors(Status.MtimeSeconds))
    {
        std::error_code ec;
        const fs::file_time_type time = fs::last_write_time(Folder.JoinPrefix + Folder.Names.Name(Index), ec);
        Status.MtimeSeconds = time.time_since_epoch().count();
        Status.MtimeNanoseconds = 0;
        Status.bFileTime = true;
    }
}

// Reads an entry whose type the folder did not settle (an untyped entry or a symbolic link): the
// status decides it. Two queries for an untyped symbolic link, one otherwise; a failure makes the
// entry unreadable.
void ReadUnsettledEntry(int DirFd, const char* Name, GLEntryKind Kind, bool& bDirectory, EntryFacts& Facts,
                        GLEntryStatus& Status)
{
    GLStatusKind answer;
    bool bLink = Kind == GLEntryKind::Link;
    if (Kind == GLEntryKind::Unknown)
    {
        // Without a status the joined path is what resolving it would give anyway.
        answer = GLQueryStatus(DirFd, Name, false, Status);
        bLink = answer.bKnown && answer.bLink;
        if (bLink)
        {
            answer = GLQueryStatus(DirFd, Name, true, Status);
        }
    }
    else
    {
        answer = GLQueryStatus(DirFd, Name, true, Status);
    }
    bDirectory = answer.bKnown && answer.bDirectory;
    Facts.bReadable = answer.bKnown;
    Facts.bResolvePath = bLink;
}

// Pass 1, in readdir order: names, and the status of every entry whose type the folder did not
// report. Entries of a settled type only get their status query marked as pending.
void ReadNames(GLFolderStream& Stream, int DirFd, const GLListingOptions& Options, const GLTimeLabels& Times,
               FolderContents& Folder, std::error_code& Error)
{
    GLFolderEntry entry;
    while (Stream.Next(entry, Error))
    {
        const GLEntryKind kind = Options.bIgnoreEntryTypes ? GLEntryKind::Unknown : entry.Kind;
        const std::size_t index = Folder.Names.Add(entry.Name, entry.Length);
        EntryFacts& fact = Folder.Facts.emplace_back();
        GLEntryStatus& status = Folder.Statuses.emplace_back();
        GLSortKey& key = Folder.Keys.emplace_back();
        key.Index = static_cast<std::uint32_t>(index);
        key.Length = static_cast<std::uint16_t>(entry.Length);

        // The filesystem route sees paths, which stop resolving at the path limit; so must this one.
        if (!Options.bCanonicalDirectory || Folder.JoinPrefix.size() + entry.Length >= GLPathLimit)
        {
            fact.bThroughFilesystem = true;
            key.bDirectory =
                GLFilesystemIsDirectory(fs::path(Folder.Directory) / entry.Name, kind, fact.bReadable);
            continue;
        }
        if (kind == GLEntryKind::Unknown || kind == GLEntryKind::Link)
        {
            ReadUnsettledEntry(DirFd, entry.Name, kind, key.bDirectory, fact, status);
            KeepFileTimeWhereNeeded(Folder, index, Times, status);
        }
        else
        {
            // The type is settled: the status query can wait, and run beside the work below.
            key.bDirectory = kind == GLEntryKind::Directory;
            fact.bStatusPending = true;
            ++Folder.Pending;
        }
        // GLCanonicalizePath trims the path it is given, so the name loses trailing blanks.
        fact.bResolvePath =
            fact.bResolvePath || GLIsTrimmedByte(static_cast<unsigned char>(entry.Name[entry.Length - 1]));
    }
}

// How far, in readdir order, the status queries have come.
class StatusProgress
{
public:
    void Publish(std::size_t Done)
    {
        {
            const std::lock_guard<std::mutex> lock(Mutex);
            DoneCount = Done;
        }
        Changed.notify_one();
    }
    // Waits until more than Seen entries are done; returns how many are.
    std::size_t WaitBeyond(std::size_t Seen)
    {
        std::unique_lock<std::mutex> lock(Mutex);
        Changed.wait(lock, [this, Seen] { return DoneCount > Seen; });
        return DoneCount;
    }

private:
    std::mutex Mutex;
    std::condition_variable Changed;
    std::size_t DoneCount = 0;
};

// The pending status queries, one after another in readdir order, publishing progress in batches.
void ReadPendingStatuses(FolderContents& Folder, int DirFd, const GLTimeLabels& Times,
                         StatusProgress& Progress)
{
    constexpr std::size_t batch = 1024;
    const std::size_t count = Folder.Facts.size();
    for (std::size_t i = 0; i < count; ++i)
    {
        if (Folder.Facts[i].bStatusPending)
        {
            GLQueryStatus(DirFd, Folder.Names.Name(i), true, Folder.Statuses[i]);
            KeepFileTimeWhereNeeded(Folder, i, Times, Folder.Statuses[i]);
        }
        if ((i + 1) % batch == 0 || i + 1 == count)
        {
            Progress.Publish(i + 1);
        }
    }
}

// Joins a thread when it goes out of scope, also when the caller unwinds.
class JoinOnExit
{
public:
    explicit JoinOnExit(std::thread& Thread) : Joined(Thread) {}
    ~JoinOnExit()
    {
        if (Joined.joinable())
        {
            Joined.join();
        }
    }
    JoinOnExit(const JoinOnExit&) = delete;
    JoinOnExit& operator=(const JoinOnExit&) = delete;
    JoinOnExit(JoinOnExit&&) = delete;
    JoinOnExit& operator=(JoinOnExit&&) = delete;

private:
    std::thread& Joined;
};

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

// Pass 2, in display order, into the records and rows: names and paths first, labels once the
// status is in. The previous listing's records are overwritten in place, so a refresh reuses their
// strings' storage instead of freeing and allocating it again.
class ListingWriter
{
public:
    ListingWriter(const FolderContents& Read, GLTimeLabels& TimeLabels, std::vector<GLListingEntry>& Records,
                  GLListingRows* TableRows)
        : Folder(Read), Times(TimeLabels), Entries(Records), Rows(TableRows)
    {
        Entries.resize(Folder.Keys.size());
        if (Rows != nullptr)
        {
            Rows->resize(Folder.Keys.size());
        }
    }

    // One sweep over the records in display order, writing names, labels or both.
    void Sweep(bool bNames, bool bLabels)
    {
        for (std::size_t i = 0; i < Entries.size(); ++i)
        {
            Prefetch(i, bNames, bLabels);
            const GLSortKey& key = Folder.Keys[i];
            GLListingEntry& item = Entries[i];
            if (bNames)
            {
                WriteNames(key, item);
            }
            if (bLabels)
            {
                WriteLabels(key, item);
            }
            if (Rows != nullptr)
            {
                std::vector<std::string>& row = (*Rows)[i];
                row.resize(4);
                if (bNames)
                {
                    GLStoreText(row[0], item.Name);
                    GLStoreText(row[1], item.TypeLabel);
                }
                if (bLabels)
                {
                    GLStoreText(row[2], item.SizeLabel);
                    GLStoreText(row[3], item.ModifiedLabel);
                }
            }
        }
    }

    // Labels follow the status queries in readdir order, each written to its entry's record and
    // row, so that little is left to do once the last query returns.
    void WriteLabelsAsAnswered(StatusProgress& Progress)
    {
        const std::size_t count = Entries.size();
        std::vector<std::uint32_t> position(count);
        for (std::size_t i = 0; i < count; ++i)
        {
            position[Folder.Keys[i].Index] = static_cast<std::uint32_t>(i);
        }
        for (std::size_t index = 0; index < count;)
        {
            const std::size_t ready = Progress.WaitBeyond(index);
            for (; index < ready; ++index)
            {
                const std::size_t i = position[index];
                WriteLabels(Folder.Keys[i], Entries[i]);
                if (Rows != nullptr)
                {
                    GLStoreText((*Rows)[i][2], Entries[i].SizeLabel);
                    GLStoreText((*Rows)[i][3], Entries[i].ModifiedLabel);
                }
            }
        }
    }

private:
    // Facts, names and the old records' strings are read out of order or lie scattered, so they
    // are fetched ahead of use.
    void Prefetch(std::size_t I, bool bNames, bool bLabels) const
    {
        constexpr std::size_t lookAhead = 16;
        const std::size_t count = Entries.size();
        if (I + lookAhead < count)
        {
            const std::uint32_t soonIndex = Folder.Keys[I + lookAhead].Index;
            __builtin_prefetch(bNames ? static_cast<const void*>(&Folder.Facts[soonIndex])
                                      : &Folder.Statuses[soonIndex]);
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
            if (bNames)
            {
                __builtin_prefetch(Folder.Names.Name(Folder.Keys[I + lookAhead / 2].Index));
                __builtin_prefetch(soon.Name.data(), 1);
                __builtin_prefetch(soon.Path.data(), 1);
            }
            if (bLabels)
            {
                __builtin_prefetch(soon.ModifiedLabel.data(), 1);
            }
            if (Rows != nullptr && (*Rows)[I + lookAhead / 2].size() == 4)
            {
                const std::vector<std::string>& row = (*Rows)[I + lookAhead / 2];
                __builtin_prefetch((bNames ? row[0] : row[3]).data(), 1);
            }
        }
    }

    // Everything but the labels that need the status.
    void WriteNames(const GLSortKey& Key, GLListingEntry& Item)
    {
        const EntryFacts& fact = Folder.Facts[Key.Index];
        Item.bDirectory = Key.bDirectory;
        Item.bReadable = fact.bReadable;
        GLStoreText(Item.TypeLabel, Key.bDirectory ? std::string_view("Dir") : std::string_view("File"));
        const std::string_view name(Folder.Names.Name(Key.Index), Key.Length);
        if (fact.bThroughFilesystem)
        {
            GLFilesystemLabels(fs::path(Folder.Directory) / name, Sizes, Times, Item);
            return;
        }
        // One copy each into storage that a refresh usually already has.
        GLStoreText(Item.Name, name);
        StoreJoined(Item.Path, Folder.JoinPrefix, name);
        if (fact.bResolvePath)
        {
            Item.Path = GLCanonicalizePath(Item.Path);
        }
    }

    void WriteLabels(const GLSortKey& Key, GLListingEntry& Item)
    {
        if (Folder.Facts[Key.Index].bThroughFilesystem)
        {
            return;
        }
        const GLEntryStatus& status = Folder.Statuses[Key.Index];
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
            Times.Format(fs::file_time_type(fs::file_time_type::duration(status.MtimeSeconds)),
                         Item.ModifiedLabel);
        }
        else
        {
            Times.Format(status.MtimeSeconds, status.MtimeNanoseconds, Item.ModifiedLabel);
        }
    }

    const FolderContents& Folder;
    GLSizeLabels Sizes;
    GLTimeLabels& Times;
    std::vector<GLListingEntry>& Entries;
    GLListingRows* Rows;
};

} // namespace

GLListingResult GLListFolder(const std::string& Directory, const GLListingOptions& Options,
                             std::vector<GLListingEntry>& Entries, GLListingRows* Rows)
{
    GLListingResult result;
    GLFolderStream stream(Directory);
    const int dirFd = stream.Descriptor(result.Error);
    if (dirFd < 0)
    {
        Entries.clear();
        return result;
    }
    result.bOpened = true;

    FolderContents folder;
    folder.Directory = Directory;
    folder.JoinPrefix = Directory.back() == '/' ? Directory : Directory + '/';
    folder.Reserve(Entries.size());
    GLTimeLabels times;
    ReadNames(stream, dirFd, Options, times, folder, result.Error);

    // The pending status queries run on a helper thread for large folders, while this one sorts,
    // writes names and paths, and then labels entries as their statuses come in. The kernel's work
    // itself is not split: the helper makes the same queries, one after another, that this thread
    // would.
    StatusProgress progress;
    std::thread helper;
    const JoinOnExit joinHelper(helper);
    const auto readPending = [&folder, dirFd, &times, &progress]
    {
        ReadPendingStatuses(folder, dirFd, times, progress);
    };
    const bool bHelper = folder.Pending >= Options.ParallelMinimum && GLStartQuietThread(helper, readPending);
    if (!bHelper)
    {
        readPending();
    }

    result.bRadixOrderKept = GLSortKeys(folder.Keys, folder.Names, Options.RadixSortMinimum);
    ListingWriter writer(folder, times, Entries, Rows);
    if (bHelper)
    {
        writer.Sweep(true, false);
        writer.WriteLabelsAsAnswered(progress);
    }
    else
    {
        writer.Sweep(true, true);
    }
    return result;
}
