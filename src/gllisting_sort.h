// Sort keys of a listing: folders first, then names lowered byte by byte, as std::sort orders them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The names of a folder's entries in readdir order, each NUL-terminated in one buffer.
struct GLNameTable
{
    std::string Bytes;
    std::vector<std::size_t> Offsets; // of each name in Bytes

    // Appends a name; returns its index.
    std::size_t Add(const char* Name, std::size_t Length)
    {
        Offsets.push_back(Bytes.size());
        Bytes.append(Name, Length + 1);
        return Offsets.size() - 1;
    }
    // The name at an index.
    const char* Name(std::size_t Index) const { return Bytes.data() + Offsets[Index]; }
};

// Sort key of one entry: 16 bytes for the sort to move around. The order answers from these
// fields exactly as comparing the entries' lowered names would, so sorting keys fed in readdir
// order yields the very permutation that std::sort over the entries yields, ties included.
struct GLSortKey
{
    std::uint64_t Prefix = 0; // lowered name bytes 0..7, big-endian, zero padded
    std::uint32_t Index = 0;  // into the name table, in readdir order
    std::uint16_t Length = 0; // a name is at most 255 bytes
    bool bDirectory = false;
};

// Sorts Keys (Index and Length filled in readdir order, bDirectory set) into the order of
// std::sort with "folders first, then names with every byte passed through tolower". Folders of
// at least RadixMinimum keys are sorted by radix first; returns whether that order stood.
bool GLSortKeys(std::vector<GLSortKey>& Keys, const GLNameTable& Names, std::size_t RadixMinimum);
