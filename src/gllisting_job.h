// A folder read in flight on helper threads: the state they share with the caller, and the helpers' side.
#pragma once

// One helper reads the names; then a few helpers (more when the file system answers slowly) make
// the status queries, chunk by chunk. The caller only waits, sorts and writes: it never calls the
// file system. Everything here is owned jointly by the caller and the helpers (a helper stuck in
// the kernel keeps it alive), and a caller that gives up marks it abandoned: from then on no helper
// writes anything the caller reads.

#include "gllisting.h"
#include "gllisting_labels.h"
#include "gllisting_sort.h"
#include "gllisting_system.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

// What reading an entry's name told.
struct GLReadFacts
{
    GLEntryKind Kind = GLEntryKind::Unknown;
    bool bThroughFilesystem = false; // every field comes from std::filesystem queries
    bool bTrailingBlank = false;     // canonicalising the path trims the name: it must be resolved
};

// What the queries of one entry told.
struct GLEntryAnswer
{
    GLEntryStatus Status;
    bool bDirectory = false;
    bool bReadable = true;
};

// The state a folder read shares between its caller and its helpers.
struct GLFolderJob
{
    // Set before any helper starts; read-only afterwards.
    std::string Directory;
    std::string JoinPrefix; // the folder with one trailing separator
    GLListingOptions Options;
    GLTimeLabels Times; // the helpers only ask it which status times it can mirror

    std::mutex Mutex;
    std::condition_variable Changed; // the names are in, the order is settled, or all has answered

    // Guarded by Mutex.
    bool bAbandoned = false;
    bool bNamesDone = false;
    bool bOpened = false;
    std::error_code Error;
    std::exception_ptr Failure;          // what a helper ran into (memory exhaustion); ends the read
    std::size_t UnsettledLeft = 0;       // type queries the order still waits for
    std::size_t Workers = 0;             // status helpers started
    std::vector<unsigned char> Answered; // by entry
    std::vector<std::pair<std::uint32_t, std::string>> Resolved; // canonical paths of some entries

    // Appended by the name reader under Mutex until bNamesDone; read-only afterwards.
    GLNameTable Names;
    std::vector<GLReadFacts> Facts;
    std::unique_ptr<GLFolderStream> Stream; // kept open for the status queries

    // Set with bNamesDone: the entries to query, those whose type is unsettled first.
    std::vector<std::uint32_t> Order;
    std::size_t UnsettledTotal = 0; // the first entries of Order, whose type is unsettled
    std::atomic<std::size_t> NextClaim{0};
    std::atomic<std::size_t> AnsweredCount{0};
    std::atomic<std::size_t> NamesCount{0};
    std::atomic<bool> bNamesIn{false};
    std::atomic<bool> bStop{false}; // bAbandoned, readable without the lock

    // Each entry's answer is written by the one helper that claimed it, and read by the caller
    // only once Answered says so.
    std::vector<GLEntryAnswer> Answers;
};

// Starts reading Job's folder on a helper thread; status helpers follow once the names are in.
void GLStartFolderJob(const std::shared_ptr<GLFolderJob>& Job);

// CanonicalizePath's answer for a path it could not resolve: trimmed and lexically normal.
std::string GLUnresolvedPath(const std::string& Path);
