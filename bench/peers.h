#pragma once

// Other libraries' own directory listings, doing the work a file dialog needs per entry: name,
// type (links followed), size and modification time, sorted folders first, then by name
// ignoring case. Each returns the number of entries listed.

#include <cstddef>
#include <string>

#ifdef GLFD_BENCH_HAVE_QT
// Lists Path with QDir::entryInfoList (DirsFirst | Name | IgnoreCase).
std::size_t ListWithQt(const std::string& Path);
#endif

#ifdef GLFD_BENCH_HAVE_GIO
// Lists Path with g_file_enumerate_children, then sorts with g_ascii_strcasecmp.
std::size_t ListWithGio(const std::string& Path);
#endif
