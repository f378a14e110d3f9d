// The listing engine's entry point: one folder read into sorted, labelled entries (and table rows).
#pragma once

// Internal to the library (not installed). The engine sits below the panel and knows nothing of
// it: the panel hands it a folder and the vectors to refill.

#include "gllisting_entry.h"

#include <cstddef>
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
    // When at least this many entries need a status query after their type is known, a helper
    // thread makes those queries while the caller's thread sorts and writes names (tests lower it).
    std::size_t ParallelMinimum = 2048;
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
};

// Table rows: per entry its name, type, size and modified labels.
using GLListingRows = std::vector<std::vector<std::string>>;

// Replaces Entries (keeping its storage) by the entries of Directory, labelled and sorted folders
// first, then by name with every byte passed through tolower, in the order std::sort gives. Rows,
// when given, is refilled likewise with each entry's name, type, size and modified labels. A folder
// that cannot be opened empties Entries and leaves Rows as they were. Only memory exhaustion
// throws; Entries and Rows are then partly refilled.
GLListingResult GLListFolder(const std::string& Directory, const GLListingOptions& Options,
                             std::vector<GLListingEntry>& Entries, GLListingRows* Rows = nullptr);
