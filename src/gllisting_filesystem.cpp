// The portable listing route: an entry's type, path and labels through std::filesystem queries alone.
#include "gllisting_filesystem.h"

#include "gllisting_paths.h"

#include <system_error>

namespace fs = std::filesystem;

bool GLFilesystemIsDirectory(const fs::path& EntryPath, GLEntryKind Kind, bool& bReadable)
{
    bReadable = true;
    if (Kind != GLEntryKind::Unknown && Kind != GLEntryKind::Link)
    {
        return Kind == GLEntryKind::Directory;
    }
    std::error_code ec;
    const bool bDirectory = fs::status(EntryPath, ec).type() == fs::file_type::directory;
    bReadable = !ec;
    return bDirectory;
}

void GLFilesystemLabels(const fs::path& EntryPath, const GLSizeLabels& Sizes, GLTimeLabels& Times,
                        GLListingEntry& Item)
{
    Item.Path = GLCanonicalizePath(EntryPath.native());
    Item.Name = EntryPath.filename().native();
    if (Item.Name.empty())
    {
        Item.Name = EntryPath.native();
    }
    std::error_code ec;
    if (Item.bDirectory)
    {
        Item.SizeLabel = "-";
    }
    else
    {
        const std::uintmax_t size = fs::file_size(EntryPath, ec);
        if (ec)
        {
            Item.SizeLabel = "-";
        }
        else
        {
            Sizes.Format(size, Item.SizeLabel);
        }
    }
    Times.Format(fs::last_write_time(EntryPath, ec), Item.ModifiedLabel);
}
