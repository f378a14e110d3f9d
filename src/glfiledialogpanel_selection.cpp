// The panel's selection and acceptance: the selected entry, the paths acceptance delivers, the modes.
#include "glfiledialogpanel.h"

#include "gllisting_paths.h"
#include "gllisting_workers.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

int GLFileDialogPanel::SelectedEntryIndex() const
{
    if (FileTable == nullptr)
    {
        return -1;
    }
    int index = FileTable->SelectedRow;
    if (index < 0)
    {
        index = FileTable->FocusedRow;
        if (index < 0)
        {
            return -1;
        }
    }
    if (index >= static_cast<int>(Entries.size()))
    {
        return -1;
    }
    return index;
}

const GLFileDialogPanel::FileEntry* GLFileDialogPanel::SelectedEntry() const
{
    const int index = SelectedEntryIndex();
    if (index < 0 || index >= static_cast<int>(Entries.size()))
    {
        return nullptr;
    }
    return &Entries[static_cast<std::size_t>(index)];
}

GLFileDialogPanel::FileEntry* GLFileDialogPanel::SelectedEntry()
{
    return const_cast<FileEntry*>(std::as_const(*this).SelectedEntry());
}

void GLFileDialogPanel::SyncSelectionFromTable()
{
    const FileEntry* entry = SelectedEntry();
    SelectedPath = entry != nullptr ? entry->Path : std::string();
    if (entry == nullptr)
    {
        SetStatusTextInternal("Browsing " + CurrentDirectory, true);
    }
    else
    {
        SetStatusTextInternal((entry->bDirectory ? "Folder: " : "File: ") + entry->Path, true);
    }
}

std::vector<std::string> GLFileDialogPanel::GetSelectedFilePaths() const
{
    if (bSaveMode)
    {
        return SaveModePaths();
    }
    std::vector<std::string> result;
    if (CurrentMode == SelectionMode::SelectFolder)
    {
        const FileEntry* entry = SelectedEntry();
        if (entry != nullptr && entry->bDirectory)
        {
            result.push_back(entry->Path);
        }
        else if (!CurrentDirectory.empty())
        {
            result.push_back(CurrentDirectory);
        }
        return result;
    }

    if (CurrentMode == SelectionMode::OpenMultipleFiles && FileTable != nullptr && FileTable->bRangeSelection)
    {
        const int rowCount = static_cast<int>(Entries.size());
        const int first = std::max(0, std::min(FileTable->RangeAnchorRow, FileTable->RangeEndRow));
        const int last = std::min(rowCount - 1, std::max(FileTable->RangeAnchorRow, FileTable->RangeEndRow));
        for (int index = first; index <= last; ++index)
        {
            const FileEntry& entry = Entries[static_cast<std::size_t>(index)];
            if (!entry.bDirectory)
            {
                result.push_back(entry.Path);
            }
        }
        if (!result.empty())
        {
            return result;
        }
    }

    const FileEntry* entry = SelectedEntry();
    if (entry != nullptr && !entry->bDirectory)
    {
        result.push_back(entry->Path);
        return result;
    }
    if (LocationInput == nullptr)
    {
        return result;
    }
    const std::string typed = TrimCopy(LocationInput->Text);
    if (typed.empty())
    {
        return result;
    }
    // The typed path is looked up on a helper; given up on, it reads as a path whose status could
    // not be read.
    const std::string baseDirectory = CurrentDirectory.empty() ? HomeDirectoryPath() : CurrentDirectory;
    GLAsyncCall<std::string> call(
        [typed, baseDirectory]
        {
            const GLCanonicalForm resolved = GLResolveUserPath(typed, baseDirectory);
            std::error_code ec;
            const fs::file_status status = fs::status(resolved.Path, ec);
            if (!fs::exists(status) || fs::is_directory(status))
            {
                return std::string();
            }
            // A stable absolute path that trimming leaves alone is its own canonical form.
            const std::string& text = resolved.Path.native();
            const bool bCanonical =
                resolved.bStable && resolved.Path.has_root_directory() && GLTrimCopy(text) == text;
            return bCanonical ? text : GLCanonicalizePath(text);
        });
    WaitTarget = CurrentDirectory;
    if (WaitForFileSystem(call, "Looking up " + typed, false))
    {
        std::string path = call.Take();
        if (!path.empty())
        {
            result.push_back(std::move(path));
        }
    }
    return result;
}

std::string GLFileDialogPanel::GetSelectedFilePath() const
{
    std::vector<std::string> paths = GetSelectedFilePaths();
    return paths.empty() ? std::string() : std::move(paths.front());
}

void GLFileDialogPanel::OpenSelectedPath()
{
    if (bSaveMode)
    {
        AcceptSaveName();
        return;
    }
    const std::vector<std::string> paths = GetSelectedFilePaths();
    if (paths.empty())
    {
        SetStatusTextInternal(CurrentMode == SelectionMode::SelectFolder
                                  ? "Select a folder to continue."
                                  : "Select one or more files to open.",
                              true);
        return;
    }
    FilesSelected.emit(paths);
    FileSelected.emit(paths.front());
    const char* suffix = CurrentMode == SelectionMode::SelectFolder ? " folder." : " file(s).";
    SetStatusTextInternal("Selected " + std::to_string(paths.size()) + suffix, true);
    if (bHideHostOnFinish && HostWindow != nullptr)
    {
        HostWindow->bVisible = false;
    }
}

void GLFileDialogPanel::SetSelectionMode(SelectionMode Mode)
{
    if (Mode == CurrentMode)
    {
        return;
    }
    CurrentMode = Mode;
    SelectedPath.clear();
    if (FileTable != nullptr)
    {
        FileTable->FocusedRow = -1;
        FileTable->SelectedRow = -1;
        FileTable->bRangeSelection = false;
    }
    SyncSelectionModeLabels();
}

void GLFileDialogPanel::SyncSelectionModeLabels()
{
    if (TitleLabel == nullptr || AcceptButton == nullptr || HintLabel == nullptr)
    {
        return;
    }
    if (WriteSaveModeLabels())
    {
        return;
    }
    switch (CurrentMode)
    {
    case SelectionMode::OpenMultipleFiles:
        TitleLabel->Text = "Open Files";
        AcceptButton->Label = "Open";
        HintLabel->Text = "Use Shift-click to select a file range, then press Open.";
        break;
    case SelectionMode::SelectFolder:
        TitleLabel->Text = "Select Folder";
        AcceptButton->Label = "Select";
        HintLabel->Text = "Open folders to browse, then press Select for the current folder.";
        break;
    case SelectionMode::OpenFile:
    default:
        TitleLabel->Text = "Open File";
        AcceptButton->Label = "Open";
        HintLabel->Text = "Double-click a folder to enter it, or a file to choose it.";
        break;
    }
}
