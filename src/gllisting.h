// The listing engine's entry point: one folder read into sorted, labelled entries (and table rows).
#pragma once

// Internal to the library (not installed). The engine sits below the panel and knows nothing of
// it: the panel hands it a folder and the vectors to refill. Every file-system call of a read runs
// on helper threads (gllisting_workers.h), so the caller can keep its user interface alive while
// it waits, and can give up.

#include "gllisting_entry.h"
#include "gllisting_sort.h"
#include "gllisting_workers.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

// How GLListFolder reads a folder.
struct GLListingOptions
{
    // The folder path is canonical, so an entry's path is the folder and the name joined. When
    // false, every entry is resolved and labelled through std::filesystem, one query at a time.
    bool bCanonicalDirectory = true;
    // Treat every entry type as unreported, as on file systems whose readdir gives DT_UNKNOWN.
    bool bIgnoreEntryTypes = false;
    // Folders of at least this many entries are sorted by radix on the key prefixes first; the
    // result is identical to the comparison sort's (tests lower it to cover small folders).
    std::size_t RadixSortMinimum = 65536;
    // When at least this many entries need status queries, several helpers make them together
    // from the start (more join on a slow file system); below it one does (tests lower it).
    std::size_t ParallelMinimum = 256;
};

// What reading a folder ran into.
struct GLListingResult
{
    // The error that ended the reading early: opening the folder or advancing in it.
    std::error_code Error;
    // The folder could be opened (entries read before an advance error are kept).
    bool bOpened = false;
    // The radix sort's order stood as it came out (names that tie once lowered, or a fault in it,
    // send the entries through the comparison sort instead).
    bool bRadixOrderKept = false;
    // The caller gave up before the read was done: Error is the cancellation, and what had not
    // answered is listed as unreadable.
    bool bAbandoned = false;
};

// Table rows: per entry its name, type, size and modified labels.
using GLListingRows = std::vector<std::vector<std::string>>;

struct GLFolderJob;

// A folder being read on helper threads: the caller waits for it (or gives up), then writes it out.
class GLFolderRead final : public GLPendingWork
{
public:
    // Starts reading Directory; ExpectedEntries sizes the buffers (say, the previous listing's size).
    GLFolderRead(const std::string& Directory, const GLListingOptions& Options,
                 std::size_t ExpectedEntries = 0);
    // Gives up on a read that was not finished.
    ~GLFolderRead() override;

    // Waits until everything has answered or Deadline has passed, sorting as soon as the order is
    // settled; true when done.
    bool WaitUntil(std::chrono::steady_clock::time_point Deadline) override;
    // Names read so far, then entries whose queries have answered.
    std::size_t Progress() const override;
    // The entries read, once every name is in.
    std::size_t Expected() const override;
    // Gives up: helpers stop, and nothing they learn from now on is used.
    void Abandon() override;

    // Writes the listing into Entries and Rows as GLListFolder describes; a read that was not done
    // is abandoned first, and lists what had been read, with entries whose queries had not
    // answered as unreadable ("File" unless the folder reported a directory, "-", no date).
    GLListingResult Finish(std::vector<GLListingEntry>& Entries, GLListingRows* Rows = nullptr);

private:
    void SortKeys();

    std::shared_ptr<GLFolderJob> Job;
    std::vector<GLSortKey> Keys;
    bool bSorted = false;
    bool bRadixOrderKept = false;
};

// Replaces Entries (keeping its storage) by the entries of Directory, labelled and sorted folders
// first, then by name with every byte passed through tolower, in the order std::sort gives. Rows,
// when given, is refilled likewise with each entry's name, type, size and modified labels. A folder
// that cannot be opened empties Entries and leaves Rows as they were. Only memory exhaustion
// throws; Entries and Rows are then partly refilled. Waits as long as the file system takes.
GLListingResult GLListFolder(const std::string& Directory, const GLListingOptions& Options,
                             std::vector<GLListingEntry>& Entries, GLListingRows* Rows = nullptr);
