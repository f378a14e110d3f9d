#include "oracle/straightforward_listing.h"

#include "test_support.h"

#include <algorithm>
#include <cctype>

namespace fs = std::filesystem;
using FileEntry = GLFileDialogPanel::FileEntry;

glfd_oracle::StraightforwardListing glfd_oracle::ListStraightforwardly(const std::string& Directory)
{
    StraightforwardListing out;
    std::string& current = out.Directory;
    current = Directory.empty() ? TestAccess::HomeDirectoryPath() : Directory; // never empty

    std::error_code ec;
    fs::path dirPath = current;
    if (!dirPath.has_root_directory())
    {
        dirPath = fs::absolute(dirPath, ec);
    }
    const fs::path canonicalDir = fs::weakly_canonical(dirPath, ec);
    current = ec ? dirPath.lexically_normal().native() : canonicalDir.native();
    ec.clear();
    if (!(fs::exists(current, ec) && fs::is_directory(current, ec)))
    {
        out.Status = "Directory is not available: " + current;
        out.bStatusAnnounced = true;
        return out;
    }

    // A folder that cannot be opened leaves ec set too: it ends as "incomplete", never as "Cannot read".
    for (fs::directory_iterator it(current, fs::directory_options::none, ec), end; !ec && it != end;
         it.increment(ec))
    {
        const fs::directory_entry& entry = *it;
        FileEntry item;
        const fs::path entryPath = entry.path();
        item.Path = TestAccess::CanonicalizePath(entryPath.native());
        item.Name = entryPath.filename().native();
        if (item.Name.empty())
        {
            item.Name = entryPath.native();
        }
        std::error_code itemEc;
        item.bDirectory = entry.is_directory(itemEc);
        item.bReadable = !itemEc;
        item.TypeLabel = item.bDirectory ? "Dir" : "File";
        if (item.bDirectory)
        {
            item.SizeLabel = "-";
        }
        else
        {
            itemEc.clear();
            const std::uintmax_t size = entry.file_size(itemEc);
            item.SizeLabel = itemEc ? std::string("-") : TestAccess::FormatFileSize(size);
        }
        itemEc.clear();
        item.ModifiedLabel = TestAccess::FormatModifiedTime(entry.last_write_time(itemEc));
        out.Entries.push_back(item);
    }
    out.Status =
        ec ? "Directory listing incomplete: " + current + " (" + ec.message() + ")" : "Browsing " + current;
    out.bStatusAnnounced = bool(ec);

    // Directories first, then names compared bytewise after tolower; no further tie-break.
    std::sort(out.Entries.begin(), out.Entries.end(),
              [](const FileEntry& A, const FileEntry& B)
              {
                  if (A.bDirectory != B.bDirectory)
                  {
                      return A.bDirectory;
                  }
                  std::string a = A.Name;
                  std::string b = B.Name;
                  for (char& c : a)
                  {
                      c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
                  }
                  for (char& c : b)
                  {
                      c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
                  }
                  return a < b;
              });
    return out;
}
