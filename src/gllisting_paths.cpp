// Path helpers of the listing engine: trimming, the home folder, resolving typed text, canonical forms.
#include "gllisting_paths.h"

#include <cstdlib>
#include <system_error>

namespace fs = std::filesystem;

std::string GLTrimCopy(const std::string& Text)
{
    std::size_t begin = 0;
    while (begin < Text.size() && GLIsTrimmedByte(static_cast<unsigned char>(Text[begin])))
    {
        ++begin;
    }
    if (begin == Text.size())
    {
        return {};
    }
    std::size_t end = Text.size() - 1;
    while (end > begin && GLIsTrimmedByte(static_cast<unsigned char>(Text[end])))
    {
        --end;
    }
    return Text.substr(begin, end - begin + 1);
}

std::string GLHomeDirectoryPath()
{
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] != '\0')
    {
        return home;
    }
    return "/";
}

GLCanonicalForm GLCanonicalOrNormal(const fs::path& Path)
{
    std::error_code ec;
    fs::path canonical = fs::weakly_canonical(Path, ec);
    if (ec)
    {
        return {Path.lexically_normal(), false};
    }
    bool bClimbs = false;
    for (const fs::path& element : Path)
    {
        bClimbs = bClimbs || element == "..";
    }
    return {std::move(canonical), !bClimbs};
}

GLCanonicalForm GLResolveUserPath(const std::string& Text, const fs::path& BaseDirectory)
{
    fs::path path = Text;
    if (path.empty())
    {
        return {};
    }
    if (!path.has_root_directory())
    {
        path = BaseDirectory / path;
    }
    return GLCanonicalOrNormal(path);
}

std::string GLCanonicalizePath(const std::string& Path)
{
    const std::string trimmed = GLTrimCopy(Path);
    if (trimmed.empty())
    {
        return {};
    }
    std::error_code ec;
    fs::path path = trimmed;
    if (!path.has_root_directory())
    {
        path = fs::absolute(path, ec);
    }
    fs::path canonical = fs::weakly_canonical(path, ec);
    return ec ? path.lexically_normal().native() : canonical.native();
}
