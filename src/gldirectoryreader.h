#pragma once

// Internal to the panel library (not installed): reads one folder into the panel's listing with
// one status query per entry, giving byte for byte what the per-entry std::filesystem queries give.

#include "glfiledialogpanel.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

// How GLReadDirectoryListing reads a folder, and the panel helpers it defers to for rare entries.
struct GLDirectoryListingOptions
{
    // The folder path is canonical, so an entry's path is the folder and the name joined. When
    // false, every entry is resolved and labelled through std::filesystem, one query at a time.
    bool bCanonicalDirectory = true;
    // Treat every entry type as unreported, as on file systems whose readdir gives DT_UNKNOWN.
    bool bIgnoreEntryTypes = false;
    // The panel's own helpers; the listing calls them wherever its shortcuts could differ.
    std::string (*CanonicalizePath)(const std::string&) = nullptr;
    std::string (*FormatFileSize)(std::uintmax_t) = nullptr;
    std::string (*FormatModifiedTime)(const std::filesystem::file_time_type&) = nullptr;
    // Folders of at least this many entries are sorted by radix on the key prefixes first; the
    // result is identical to the comparison sort's (tests lower it to cover small folders).
    std::size_t RadixSortMinimum = 65536;
    // When at least this many entries need a status query after their type is known, a helper
    // thread makes those queries while the caller's thread sorts and writes names (tests lower it).
    std::size_t ParallelMinimum = 2048;
};

// What reading a folder ran into.
struct GLDirectoryListingResult
{
    // The error that ended the reading early: opening the folder or advancing in it.
    std::error_code Error;
    // The folder could be opened (entries read before an advance error are kept).
    bool bOpened = false;
    // The radix sort's order stood as it came out (names that tie once lowered, or a fault in it,
    // send the entries through the comparison sort instead).
    bool bRadixOrderKept = false;
};

// Replaces Entries (keeping its storage) by the entries of Directory, labelled and sorted folders
// first, then by name with every byte passed through tolower, in the order std::sort gives. Rows,
// when given, is refilled likewise with each entry's name, type, size and modified labels.
GLDirectoryListingResult GLReadDirectoryListing(const std::string& Directory,
                                                const GLDirectoryListingOptions& Options,
                                                std::vector<GLFileDialogPanel::FileEntry>& Entries,
                                                GLTableModel::RowList* Rows = nullptr);
