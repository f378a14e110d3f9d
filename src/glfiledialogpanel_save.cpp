// The panel's save mode: a typed name in the folder shown, checked and delivered, never created.

#include "glfiledialogpanel.h"

#include "gllisting_paths.h"
#include "gllisting_workers.h"

#include <system_error>

namespace fs = std::filesystem;

// What accepting the save field's text would do.
struct GLFileDialogPanel::SaveTarget
{
    enum class Kind
    {
        Nothing,       // no name typed
        NewFile,       // Path does not exist yet: deliver it
        ExistingFile,  // Path exists and is not a folder: ask before delivering it
        Folder,        // Path is a folder: enter it
        MissingFolder, // Path, the folder the name is in, does not exist
    };
    Kind What = Kind::Nothing;
    std::string Path;
};

namespace
{

bool IsFolder(const fs::path& Path)
{
    std::error_code ec;
    return fs::is_directory(Path, ec);
}

// Whether anything is there, a dangling symbolic link included: saving would write through it.
bool NameIsTaken(const fs::path& Path)
{
    std::error_code ec;
    return fs::exists(fs::symlink_status(Path, ec));
}

} // namespace

void GLFileDialogPanel::SetSaveMode(bool bSave)
{
    if (bSave == bSaveMode)
    {
        return;
    }
    EndReplaceQuestion(false);
    bSaveMode = bSave;
    // As with a change of selection mode, a selection made for the one is not taken by the other.
    SelectedPath.clear();
    if (FileTable != nullptr)
    {
        FileTable->FocusedRow = -1;
        FileTable->SelectedRow = -1;
        FileTable->bRangeSelection = false;
    }
    SyncSelectionModeLabels();
    Layout();
    if (bSave && NameInput != nullptr)
    {
        SetFocus(NameInput);
    }
    else if (!bSave && FocusedWidget == NameInput)
    {
        SetFocus(FileTable);
    }
}

void GLFileDialogPanel::SetDefaultFileName(const std::string& Name)
{
    EndReplaceQuestion(false);
    if (NameInput != nullptr)
    {
        NameInput->SetText(Name, false);
    }
}

void GLFileDialogPanel::SetDefaultExtension(const std::string& Extension)
{
    DefaultSaveExtension = Extension.empty() || Extension.front() == '.' ? Extension : "." + Extension;
}

bool GLFileDialogPanel::WriteSaveModeLabels()
{
    if (!bSaveMode)
    {
        return false;
    }
    TitleLabel->Text = "Save File";
    AcceptButton->Label = "Save";
    HintLabel->Text = "Open a folder to save in, type a name, then press Save.";
    return true;
}

void GLFileDialogPanel::AfterOpenAtPath()
{
    // Opening at a file, or at a name not taken yet, proposes that name for saving.
    if (!bSaveMode || NameInput == nullptr || SelectedPath.empty())
    {
        return;
    }
    const std::string name = fs::path(SelectedPath).filename().native();
    if (!name.empty())
    {
        NameInput->SetText(name, false);
    }
}

GLFileDialogPanel::SaveTarget GLFileDialogPanel::ResolveSaveTarget() const
{
    using Kind = SaveTarget::Kind;
    const std::string typed = NameInput != nullptr ? TrimCopy(NameInput->Text) : std::string();
    if (typed.empty())
    {
        return {};
    }
    fs::path path = typed;
    if (!path.has_root_directory())
    {
        path = fs::path(CurrentDirectory.empty() ? HomeDirectoryPath() : CurrentDirectory) / path;
    }
    path = path.lexically_normal();
    const std::string leaf = path.filename().native();
    std::string name = leaf;
    if (fs::path(name).extension().empty())
    {
        const std::string fromFilter =
            ActiveFileFilter >= 0 ? FileFilters[static_cast<std::size_t>(ActiveFileFilter)].DefaultExtension()
                                  : std::string();
        name += fromFilter.empty() ? DefaultSaveExtension : fromFilter;
    }
    // The checks ask the file system, on a helper. Given up on, they read as paths whose status
    // cannot be read: no folder there, nothing taken.
    const auto classify = [path, leaf, name](bool bAsk) -> SaveTarget
    {
        const auto isFolder = [bAsk](const fs::path& Path)
        {
            return bAsk && IsFolder(Path);
        };
        // "sub/", ".", ".." and an existing folder's name all mean that folder.
        if (leaf.empty() || leaf == "." || leaf == ".." || isFolder(path))
        {
            const fs::path folder = leaf.empty() ? path.parent_path() : path;
            if (isFolder(folder))
            {
                return {Kind::Folder, GLCanonicalizePath(folder.native())};
            }
            return {Kind::MissingFolder, folder.native()};
        }
        const fs::path parent = path.parent_path();
        if (!isFolder(parent))
        {
            return {Kind::MissingFolder, parent.native()};
        }
        // The folder is resolved, the name is not: a link named like that is what the owner
        // writes to.
        const fs::path target = fs::path(GLCanonicalizePath(parent.native())) / name;
        if (isFolder(target))
        {
            return {Kind::Folder, GLCanonicalizePath(target.native())};
        }
        return {NameIsTaken(target) ? Kind::ExistingFile : Kind::NewFile, target.native()};
    };
    GLAsyncCall<SaveTarget> call([classify] { return classify(true); });
    WaitTarget = CurrentDirectory;
    return WaitForFileSystem(call, "Looking up " + path.native(), false) ? call.Take() : classify(false);
}

std::vector<std::string> GLFileDialogPanel::SaveModePaths() const
{
    const SaveTarget target = ResolveSaveTarget();
    if (target.What == SaveTarget::Kind::NewFile || target.What == SaveTarget::Kind::ExistingFile)
    {
        return {target.Path};
    }
    return {};
}

void GLFileDialogPanel::AcceptSaveName()
{
    const SaveTarget target = ResolveSaveTarget();
    switch (target.What)
    {
    case SaveTarget::Kind::Nothing:
        SetStatusTextInternal("Type a name to save as.", true);
        break;
    case SaveTarget::Kind::MissingFolder:
        SetStatusTextInternal("Folder not found: " + target.Path, true);
        break;
    case SaveTarget::Kind::Folder:
        NavigateFromSaveName(target.Path);
        break;
    case SaveTarget::Kind::ExistingFile:
        // Without the question's buttons, asking again with the same name is the confirmation.
        if (target.Path == PendingReplacePath && (ReplaceButton == nullptr || BackButton == nullptr))
        {
            EndReplaceQuestion(false);
            DeliverSavePath(target.Path);
        }
        else
        {
            AskToReplace(target.Path);
        }
        break;
    case SaveTarget::Kind::NewFile:
        DeliverSavePath(target.Path);
        break;
    }
}

void GLFileDialogPanel::NavigateFromSaveName(const std::string& Folder)
{
    const std::string before = CurrentDirectory;
    NavigateToPath(Folder, false);
    if (CurrentDirectory != before)
    {
        if (FileTable != nullptr)
        {
            FileTable->ResetView();
        }
        if (NameInput != nullptr)
        {
            NameInput->SetText(std::string(), false);
        }
    }
}

void GLFileDialogPanel::DeliverSavePath(const std::string& Path)
{
    // The order of the open modes' acceptance: both signals, the status, then the host.
    const std::vector<std::string> paths{Path};
    FilesSelected.emit(paths);
    FileSelected.emit(paths.front());
    SetStatusTextInternal("Save as " + Path, true);
    if (bHideHostOnFinish && HostWindow != nullptr)
    {
        HostWindow->bVisible = false;
    }
}

void GLFileDialogPanel::AskToReplace(const std::string& Path)
{
    PendingReplacePath = Path;
    SetStatusTextInternal("Replace \"" + fs::path(Path).filename().native() + "\"? It already exists.", true);
    if (BackButton == nullptr || ReplaceButton == nullptr)
    {
        return;
    }
    for (GLButton* button : {CancelButton, AcceptButton})
    {
        if (button != nullptr)
        {
            button->bShown = false;
        }
    }
    BackButton->bShown = true;
    ReplaceButton->bShown = true;
    SetFocus(ReplaceButton);
}

void GLFileDialogPanel::EndReplaceQuestion(bool bFocusName)
{
    if (PendingReplacePath.empty())
    {
        return;
    }
    PendingReplacePath.clear();
    const bool bFocusOnQuestion =
        FocusedWidget != nullptr && (FocusedWidget == BackButton || FocusedWidget == ReplaceButton);
    for (GLButton* button : {BackButton, ReplaceButton})
    {
        if (button != nullptr)
        {
            button->bShown = false;
        }
    }
    for (GLButton* button : {CancelButton, AcceptButton})
    {
        if (button != nullptr)
        {
            button->bShown = true;
        }
    }
    if ((bFocusName || bFocusOnQuestion) && NameInput != nullptr && NameInput->bShown)
    {
        SetFocus(NameInput);
    }
    else if (bFocusOnQuestion)
    {
        SetFocus(FileTable);
    }
}
