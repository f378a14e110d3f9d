// The record of one listed folder entry, shared by the listing engine and the panel.
#pragma once

#include <string>

// One listed item of a folder: what the table shows and what acceptance hands out.
struct GLListingEntry
{
    std::string Name;          // file name (the whole path when it has none); sort key
    std::string Path;          // canonical full path
    std::string TypeLabel;     // "Dir" or "File"
    std::string SizeLabel;     // human-readable size, or "-"
    std::string ModifiedLabel; // local "YYYY-MM-DD HH:MM", or empty when unknown
    bool bDirectory = false;   // a directory, symbolic links followed
    bool bReadable = true;     // the entry's type could be determined
};
