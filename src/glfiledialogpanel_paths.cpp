// The panel's static path and label helpers, which forward to the listing engine's.
#include "glfiledialogpanel.h"

#include "gllisting_labels.h"
#include "gllisting_paths.h"

std::string GLFileDialogPanel::TrimCopy(const std::string& Text)
{
    return GLTrimCopy(Text);
}

std::string GLFileDialogPanel::HomeDirectoryPath()
{
    return GLHomeDirectoryPath();
}

std::filesystem::path GLFileDialogPanel::ResolveUserPath(const std::string& Text,
                                                         const std::filesystem::path& BaseDirectory)
{
    return GLResolveUserPath(Text, BaseDirectory).Path;
}

std::string GLFileDialogPanel::CanonicalizePath(const std::string& Path)
{
    return GLCanonicalizePath(Path);
}

std::string GLFileDialogPanel::FormatFileSize(std::uintmax_t Size)
{
    return GLSizeLabels::Text(Size);
}

std::string GLFileDialogPanel::FormatModifiedTime(const std::filesystem::file_time_type& Time)
{
    return GLTimeLabels::Text(Time);
}
