// Fuzz target: the panel's path helpers (TrimCopy, HomeDirectoryPath, ResolveUserPath,
// CanonicalizePath) against the same rules computed directly with std::filesystem, and against
// properties any result must have, on paths inside a real tree and on arbitrary bytes.
//
// Input: one selector byte (base folder, HOME, working folder, whether the text is put under the
// tree's root), then the text.

#include "fuzz_check.h"
#include "fuzz_tree.h"
#include "test_support.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;
using glfd_fuzz::Check;

namespace
{

std::string DirectTrim(const std::string& Text)
{
    const char* blanks = " \t\n\r";
    const std::size_t begin = Text.find_first_not_of(blanks);
    if (begin == std::string::npos)
    {
        return {};
    }
    return Text.substr(begin, Text.find_last_not_of(blanks) - begin + 1);
}

fs::path WeaklyCanonicalOrNormal(const fs::path& Path)
{
    std::error_code ec;
    const fs::path canonical = fs::weakly_canonical(Path, ec);
    return ec ? Path.lexically_normal() : canonical;
}

fs::path DirectResolve(const std::string& Text, const fs::path& Base)
{
    if (Text.empty())
    {
        return {};
    }
    const fs::path path = Text;
    return WeaklyCanonicalOrNormal(path.has_root_directory() ? path : Base / path);
}

std::string DirectCanonicalize(const std::string& Text)
{
    const std::string trimmed = DirectTrim(Text);
    if (trimmed.empty())
    {
        return {};
    }
    const fs::path path = trimmed;
    return WeaklyCanonicalOrNormal(path.has_root_directory() ? path : fs::current_path() / path).native();
}

// A path the helpers hand out is in normal form: no "." or ".." left, no doubled separators.
bool IsNormal(const fs::path& Path)
{
    return Path == Path.lexically_normal();
}

void SetHome(unsigned Choice, const std::string& Root)
{
    switch (Choice)
    {
    case 0:
        ::unsetenv("HOME");
        break;
    case 1:
        ::setenv("HOME", "", 1);
        break;
    case 2:
        ::setenv("HOME", Root.c_str(), 1);
        break;
    default:
        ::setenv("HOME", (Root + "/alpha/").c_str(), 1);
        break;
    }
}

// The folder libFuzzer started in, restored after every input: it resolves relative paths
// given on its command line and writes findings relative to it.
std::string StartFolder;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    glfd_fuzz::TreeRoot();
    StartFolder = fs::current_path().native();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size)
{
    if (Size == 0)
    {
        return 0;
    }
    const std::string& root = glfd_fuzz::TreeRoot();
    const unsigned selector = Data[0];
    std::string text(reinterpret_cast<const char*>(Data + 1), Size - 1);
    if ((selector & 0x10U) != 0)
    {
        text = root + "/" + text;
    }
    const fs::path bases[] = {root, root + "/alpha/", root + "/nosuch/../beta", fs::path()};
    const fs::path& base = bases[selector & 3U];
    SetHome((selector >> 2) & 3U, root);
    const std::string cwd = (selector & 0x20U) != 0 ? root + "/alpha" : root;
    Check(::chdir(cwd.c_str()) == 0, "chdir into the tree", cwd);

    const std::string trimmed = TestAccess::TrimCopy(text);
    Check(trimmed == DirectTrim(text), "TrimCopy", trimmed, DirectTrim(text));

    const char* home = std::getenv("HOME");
    const std::string wantedHome = home != nullptr && home[0] != '\0' ? home : "/";
    Check(TestAccess::HomeDirectoryPath() == wantedHome, "HomeDirectoryPath", TestAccess::HomeDirectoryPath(),
          wantedHome);

    const fs::path resolved = TestAccess::ResolveUserPath(text, base);
    Check(resolved == DirectResolve(text, base), "ResolveUserPath", resolved.native(),
          DirectResolve(text, base).native());
    Check(resolved.empty() == text.empty(), "ResolveUserPath is empty exactly for empty text",
          resolved.native());
    Check(IsNormal(resolved), "ResolveUserPath gives a normal path", resolved.native());
    if (!text.empty() && (!base.empty() || text[0] == '/'))
    {
        Check(resolved.has_root_directory(), "ResolveUserPath gives an absolute path", resolved.native());
    }
    if (!text.empty() && text.find('\0') == std::string::npos)
    {
        // Where the whole joined path exists, the result is its canonical form (realpath's answer).
        // Not for text holding a NUL byte: system calls see the path only up to it.
        const fs::path joined = fs::path(text).has_root_directory() ? fs::path(text) : base / text;
        std::error_code ec;
        const fs::path canonical = fs::canonical(joined, ec);
        if (!ec)
        {
            Check(resolved == canonical, "ResolveUserPath of an existing path", resolved.native(),
                  canonical.native());
        }
    }

    const std::string canonicalized = TestAccess::CanonicalizePath(text);
    Check(canonicalized == DirectCanonicalize(text), "CanonicalizePath", canonicalized,
          DirectCanonicalize(text));
    Check(canonicalized.empty() == trimmed.empty(), "CanonicalizePath is empty exactly for blank text",
          canonicalized);
    if (!canonicalized.empty())
    {
        Check(canonicalized[0] == '/', "CanonicalizePath gives an absolute path", canonicalized);
        Check(IsNormal(canonicalized), "CanonicalizePath gives a normal path", canonicalized);
    }
    // The two resolving helpers agree where their inputs do: trimmed text, the working folder as base.
    if (!trimmed.empty() && trimmed == text)
    {
        const std::string viaResolve = TestAccess::ResolveUserPath(text, cwd).native();
        Check(canonicalized == viaResolve, "CanonicalizePath against ResolveUserPath from the working folder",
              canonicalized, viaResolve);
    }
    Check(::chdir(StartFolder.c_str()) == 0, "chdir back", StartFolder);
    return 0;
}
