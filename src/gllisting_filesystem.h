// The portable listing route: an entry's type, path and labels through std::filesystem queries alone.
#pragma once

// The system route joins a folder's path and an entry's name and answers from one status query;
// entries it cannot vouch for that way (every entry of a folder whose path is not canonical, and
// entries whose path reaches the system's path limit) are resolved and labelled here instead.

#include "gllisting_entry.h"
#include "gllisting_labels.h"
#include "gllisting_system.h"

#include <filesystem>

// Whether the entry is a directory, as directory_entry::is_directory answers: from the folder's
// report when that settles it, else from a status query following links. bReadable turns false
// when that query failed.
bool GLFilesystemIsDirectory(const std::filesystem::path& EntryPath, GLEntryKind Kind, bool& bReadable);

// Path, name, size and modified labels of an entry (whose bDirectory is set) through
// std::filesystem queries: the canonical path, and the size and time that the library reports.
void GLFilesystemLabels(const std::filesystem::path& EntryPath, const GLSizeLabels& Sizes,
                        GLTimeLabels& Times, GLListingEntry& Item);
