#pragma once

// The listing as the panel first computed it: each entry resolved, typed and labelled by its own
// std::filesystem queries, then sorted by a comparator that lowers copies of both names on every
// comparison. The reference for identity tests and the baseline of the benchmarks.

#include "glfiledialogpanel.h"

#include <string>
#include <vector>

namespace glfd_oracle
{

// What the straightforward route makes of one folder.
struct StraightforwardListing
{
    std::string Directory;                             // the folder as the panel shows it
    std::vector<GLFileDialogPanel::FileEntry> Entries; // sorted
    std::string Status;                                // the status line that ends the listing
    bool bStatusAnnounced = false;                     // whether StatusChanged carries it
};

// Lists Directory (empty: the home folder) the straightforward way.
StraightforwardListing ListStraightforwardly(const std::string& Directory);

} // namespace glfd_oracle
