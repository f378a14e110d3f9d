#pragma once

// A small real folder tree shared by the fuzz targets that touch the file system.

#include <string>

namespace glfd_fuzz
{

// Canonical root of a tree made once per process in a fresh temporary folder and removed at
// exit: folders, files, odd names, links of every kind (to folders, to files, dangling, loops),
// a FIFO, a folder without permissions and one large enough for the reader's large-folder route.
// Links never lead out of the tree.
const std::string& TreeRoot();

} // namespace glfd_fuzz
