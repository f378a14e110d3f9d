// The panel's navigation: opening at a path, going to a typed or activated path, going up.
#include "glfiledialogpanel.h"

#include "gllisting_paths.h"
#include "gllisting_workers.h"

#include <system_error>

namespace fs = std::filesystem;

// Every file-system question of a navigation is asked in one go on a helper thread, so that the
// panel can keep its host drawing while it waits; the answers are applied here, on the caller's
// thread. A question given up on reads as one whose status could not be read.

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

// Text resolved against Base without asking the file system: what resolving gives when the status
// of the path cannot be read.
fs::path LexicalPath(const std::string& Text, const std::string& Base)
{
    fs::path path = Text;
    if (!path.has_root_directory())
    {
        path = fs::path(Base) / path;
    }
    return path.lexically_normal();
}

// Where opening at a final path lands: the path itself when it is a folder, else its parent's
// canonical form, or the home folder (an empty Folder) when that parent does not exist.
struct Landing
{
    std::string FinalPath;
    bool bFolder = false;
    std::string Folder;
    bool bVouched = false; // Folder is canonical: the listing need not canonicalise it again
};

Landing LandAt(const GLCanonicalForm& FinalPath, const fs::file_status& Status)
{
    Landing landing;
    landing.FinalPath = FinalPath.Path.native();
    if (fs::is_directory(Status))
    {
        landing.bFolder = true;
        landing.Folder = landing.FinalPath;
        landing.bVouched = FinalPath.bStable;
        return landing;
    }
    // Something that exists has an existing parent; only a new name needs its parent tested.
    const fs::path parent = FinalPath.Path.parent_path();
    std::error_code ec;
    if (!parent.empty() && ((FinalPath.bStable && fs::exists(Status)) || fs::exists(parent, ec)))
    {
        landing.Folder = CanonicalParent(FinalPath, parent, landing.bVouched);
    }
    return landing;
}

// What NavigateToPath learns: the final path, its status, and for a non-folder its parent's
// canonical form.
struct Destination
{
    GLCanonicalForm FinalPath;
    fs::file_status Status;
    std::string Parent;
    bool bParentVouched = false;
};

// What NavigateFromLocationInput learns: the resolved path and its status, and for a file that
// OpenAtPath would resolve to itself, where opening at it lands.
struct TypedPath
{
    GLCanonicalForm Resolved;
    fs::file_status Status;
    bool bLanded = false;
    Landing Land;
};

} // namespace

void GLFileDialogPanel::OpenAtPath(const std::string& Path)
{
    if (bInWaitFrame)
    {
        DeferWhileWaiting([this, Path] { OpenAtPath(Path); }, false);
        return;
    }
    if (OperationDepth == 0)
    {
        RunUserOperation([this, &Path] { OpenAtPath(Path); });
        return;
    }
    const std::string trimmed = TrimCopy(Path);
    if (trimmed.empty())
    {
        CurrentDirectory = HomeDirectoryPath();
        SelectedPath.clear();
        RefreshDirectoryListing();
        return;
    }
    const std::string base = CurrentDirectory.empty() ? HomeDirectoryPath() : CurrentDirectory;
    GLAsyncCall<Landing> call(
        [trimmed, base]
        {
            const GLCanonicalForm finalPath = Recanonicalize(GLResolveUserPath(trimmed, base));
            std::error_code ec;
            return LandAt(finalPath, fs::status(finalPath.Path, ec));
        });
    WaitTarget = LexicalPath(trimmed, base).native();
    Landing landing;
    if (WaitForFileSystem(call, "Opening " + WaitTarget, false))
    {
        landing = call.Take();
    }
    else
    {
        landing.FinalPath = WaitTarget;
    }
    OpenAtLanding(landing.FinalPath, landing.bFolder, landing.Folder, landing.bVouched);
}

void GLFileDialogPanel::OpenAtLanding(const std::string& FinalPath, bool bFolder, const std::string& Folder,
                                      bool bVouched)
{
    if (bFolder)
    {
        CurrentDirectory = FinalPath;
        SelectedPath.clear();
    }
    else
    {
        CurrentDirectory = Folder.empty() ? HomeDirectoryPath() : Folder;
        SelectedPath = FinalPath;
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
    const std::string base = CurrentDirectory.empty() ? HomeDirectoryPath() : CurrentDirectory;
    GLAsyncCall<Destination> call(
        [trimmed, base]
        {
            Destination destination;
            destination.FinalPath = Recanonicalize(GLResolveUserPath(trimmed, base));
            std::error_code ec;
            destination.Status = fs::status(destination.FinalPath.Path, ec);
            const fs::path parent = destination.FinalPath.Path.parent_path();
            if (fs::exists(destination.Status) && !fs::is_directory(destination.Status) && !parent.empty())
            {
                destination.Parent =
                    CanonicalParent(destination.FinalPath, parent, destination.bParentVouched);
            }
            return destination;
        });
    WaitTarget = LexicalPath(trimmed, base).native();
    Destination destination;
    if (WaitForFileSystem(call, "Opening " + WaitTarget, false))
    {
        destination = call.Take();
    }

    if (fs::exists(destination.Status) && fs::is_directory(destination.Status))
    {
        CurrentDirectory = destination.FinalPath.Path.native();
        SelectedPath.clear();
        if (destination.FinalPath.bStable)
        {
            CanonicalDirectoryHint = CurrentDirectory;
        }
        RefreshDirectoryListing();
    }
    else if (fs::exists(destination.Status))
    {
        if (bPreserveFileSelection)
        {
            SelectedPath = destination.FinalPath.Path.native();
        }
        if (!destination.Parent.empty())
        {
            CurrentDirectory = destination.Parent;
            if (destination.bParentVouched)
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
    const std::string base = CurrentDirectory.empty() ? HomeDirectoryPath() : CurrentDirectory;
    GLAsyncCall<TypedPath> call(
        [trimmed, base]
        {
            TypedPath typed;
            typed.Resolved = GLResolveUserPath(trimmed, base);
            std::error_code ec;
            typed.Status = fs::status(typed.Resolved.Path, ec);
            // OpenAtPath of the resolved text would trim it, resolve it and ask for its status
            // again; for a stable absolute path that trimming leaves alone, all three give what
            // is known already.
            const std::string& resolvedText = typed.Resolved.Path.native();
            if (fs::exists(typed.Status) && !fs::is_directory(typed.Status) && typed.Resolved.bStable &&
                typed.Resolved.Path.has_root_directory() && GLTrimCopy(resolvedText) == resolvedText)
            {
                typed.bLanded = true;
                typed.Land = LandAt(typed.Resolved, typed.Status);
            }
            return typed;
        });
    WaitTarget = LexicalPath(trimmed, base).native();
    TypedPath typed;
    if (WaitForFileSystem(call, "Opening " + WaitTarget, false))
    {
        typed = call.Take();
    }
    else
    {
        typed.Resolved.Path = WaitTarget;
    }

    if (fs::exists(typed.Status) && !fs::is_directory(typed.Status))
    {
        if (typed.bLanded)
        {
            OpenAtLanding(typed.Land.FinalPath, typed.Land.bFolder, typed.Land.Folder, typed.Land.bVouched);
        }
        else
        {
            OpenAtPath(typed.Resolved.Path.native());
        }
        // A user who gave up on the listing meanwhile asked for something else.
        if (bAcceptFile && !bAbandonRequested)
        {
            OpenSelectedPath();
        }
        return;
    }
    NavigateToPath(typed.Resolved.Path.native(), true);
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
