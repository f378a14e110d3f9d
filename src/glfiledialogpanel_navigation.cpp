// The panel's navigation: opening at a path, going to a typed or activated path, going up.
#include "glfiledialogpanel.h"

#include "gllisting_paths.h"

#include <system_error>

namespace fs = std::filesystem;

namespace
{

// The final path of a navigation: the resolved path canonicalised once more, which only a path
// that is not yet stable needs.
GLCanonicalForm Recanonicalize(const GLCanonicalForm& Resolved)
{
    return Resolved.bStable ? Resolved : GLCanonicalOrNormal(Resolved.Path);
}

// CanonicalizePath of the parent of a stable final path that exists, or that names something new
// in an existing folder. Such a parent is canonical and absolute already, so unless trimming would
// change it there is nothing to ask; bVouched tells whether that held.
std::string CanonicalParent(const GLCanonicalForm& FinalPath, const fs::path& Parent, bool& bVouched)
{
    bVouched =
        FinalPath.bStable && Parent.has_root_directory() && GLTrimCopy(Parent.native()) == Parent.native();
    return bVouched ? Parent.native() : GLCanonicalizePath(Parent.native());
}

} // namespace

void GLFileDialogPanel::OpenAtPath(const std::string& Path)
{
    const std::string trimmed = TrimCopy(Path);
    if (trimmed.empty())
    {
        CurrentDirectory = HomeDirectoryPath();
        SelectedPath.clear();
        RefreshDirectoryListing();
        return;
    }
    const fs::path baseDirectory = CurrentDirectory.empty() ? HomeDirectoryPath() : CurrentDirectory;
    const GLCanonicalForm finalPath = Recanonicalize(GLResolveUserPath(trimmed, baseDirectory));
    std::error_code ec;
    OpenAtFinalPath(finalPath.Path, finalPath.bStable, fs::status(finalPath.Path, ec));
}

void GLFileDialogPanel::OpenAtFinalPath(const fs::path& FinalPath, bool bStable, fs::file_status Status)
{
    bool bVouched = false;
    if (fs::is_directory(Status))
    {
        CurrentDirectory = FinalPath.native();
        SelectedPath.clear();
        bVouched = bStable;
    }
    else
    {
        // Something that exists has an existing parent; only a new name needs its parent tested.
        const fs::path parent = FinalPath.parent_path();
        std::error_code ec;
        if (!parent.empty() && ((bStable && fs::exists(Status)) || fs::exists(parent, ec)))
        {
            CurrentDirectory = CanonicalParent({FinalPath, bStable}, parent, bVouched);
        }
        else
        {
            CurrentDirectory = HomeDirectoryPath();
        }
        SelectedPath = FinalPath.native();
    }
    if (bVouched)
    {
        CanonicalDirectoryHint = CurrentDirectory;
    }
    RefreshDirectoryListing();
    AfterOpenAtPath();
}

void GLFileDialogPanel::NavigateToPath(const std::string& Path, bool bPreserveFileSelection)
{
    // A copy: Path may refer into Entries, which the refresh below replaces.
    const std::string trimmed = TrimCopy(Path);
    if (trimmed.empty())
    {
        return;
    }
    const fs::path base = CurrentDirectory.empty() ? HomeDirectoryPath() : CurrentDirectory;
    const GLCanonicalForm finalPath = Recanonicalize(GLResolveUserPath(trimmed, base));

    std::error_code ec;
    const fs::file_status status = fs::status(finalPath.Path, ec);
    if (fs::exists(status) && fs::is_directory(status))
    {
        CurrentDirectory = finalPath.Path.native();
        SelectedPath.clear();
        if (finalPath.bStable)
        {
            CanonicalDirectoryHint = CurrentDirectory;
        }
        RefreshDirectoryListing();
    }
    else if (fs::exists(status))
    {
        if (bPreserveFileSelection)
        {
            SelectedPath = finalPath.Path.native();
        }
        const fs::path parent = finalPath.Path.parent_path();
        if (!parent.empty())
        {
            bool bVouched = false;
            CurrentDirectory = CanonicalParent(finalPath, parent, bVouched);
            if (bVouched)
            {
                CanonicalDirectoryHint = CurrentDirectory;
            }
        }
        RefreshDirectoryListing();
    }
    else
    {
        SetStatusTextInternal("Path not found: " + trimmed, true);
    }
}

void GLFileDialogPanel::NavigateFromLocationInput(bool bAcceptFile)
{
    const std::string text = LocationInput != nullptr ? LocationInput->Text : std::string();
    const std::string trimmed = TrimCopy(text);
    if (trimmed.empty())
    {
        SetStatusTextInternal("Enter a directory or file path.", true);
        return;
    }
    const fs::path base = CurrentDirectory.empty() ? HomeDirectoryPath() : CurrentDirectory;
    const GLCanonicalForm resolved = GLResolveUserPath(trimmed, base);

    std::error_code ec;
    const fs::file_status status = fs::status(resolved.Path, ec);
    if (fs::exists(status) && !fs::is_directory(status))
    {
        // OpenAtPath of the resolved text would trim it, resolve it and ask for its status again;
        // for a stable absolute path that trimming leaves alone, all three give what is known.
        const std::string& resolvedText = resolved.Path.native();
        if (resolved.bStable && resolved.Path.has_root_directory() && TrimCopy(resolvedText) == resolvedText)
        {
            OpenAtFinalPath(resolved.Path, true, status);
        }
        else
        {
            OpenAtPath(resolvedText);
        }
        if (bAcceptFile)
        {
            OpenSelectedPath();
        }
        return;
    }
    NavigateToPath(resolved.Path.native(), true);
}

void GLFileDialogPanel::NavigateToParent()
{
    fs::path parent = fs::path(CurrentDirectory).parent_path();
    if (parent.empty())
    {
        parent = "/";
    }
    NavigateToPath(parent.native(), true);
}

void GLFileDialogPanel::EnterSelectedEntry()
{
    const FileEntry* entry = SelectedEntry();
    if (entry == nullptr)
    {
        SetStatusTextInternal("Select a file or folder first.", true);
        return;
    }
    if (entry->bDirectory)
    {
        const std::string target = entry->Path;
        NavigateToPath(target, true);
        return;
    }
    OpenSelectedPath();
}
