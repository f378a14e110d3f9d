// The file dialog panel: its state, signals and operations (defined in glfiledialogpanel*.cpp).
#pragma once

#include "glbutton.h"
#include "glchildwindow.h"
#include "gllabel.h"
#include "gllisting_entry.h"
#include "gltablemodel.h"
#include "gltableview.h"
#include "gltextinput.h"
#include "glwindow.h"
#include "signalslot.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

// An in-application file dialog: shows one folder as a table, lets the user move between
// folders and choose one file, several files or a folder, and reports through signals.
// Construct it, connect the signals, SetSelectionMode, then OpenAtPath.
class GLFileDialogPanel : public GLWindow
{
public:
    // One listed item of the current folder: Name, Path, TypeLabel, SizeLabel, ModifiedLabel,
    // bDirectory, bReadable (the listing engine's record).
    using FileEntry = GLListingEntry;

    // What acceptance delivers.
    enum class SelectionMode : std::int32_t
    {
        OpenFile = 0,
        OpenMultipleFiles = 1,
        SelectFolder = 2,
    };

    // Builds the widgets, lays them out, starts in OpenFile and wires widget events.
    GLFileDialogPanel();
    ~GLFileDialogPanel() override;
    GLFileDialogPanel(const GLFileDialogPanel&) = delete;
    GLFileDialogPanel& operator=(const GLFileDialogPanel&) = delete;
    GLFileDialogPanel(GLFileDialogPanel&&) = delete;
    GLFileDialogPanel& operator=(GLFileDialogPanel&&) = delete;

    // Starts a cycle at a folder, a file (pre-selected) or a path that does not exist yet.
    void OpenAtPath(const std::string& Path);
    // Re-reads the current folder.
    void RefreshDirectoryListing();
    // The first path acceptance would deliver now, or empty.
    std::string GetSelectedFilePath() const;
    // Every path acceptance would deliver now, in order.
    std::vector<std::string> GetSelectedFilePaths() const;
    // Switches the mode; a real change drops the selection and rewrites title, caption and hint.
    void SetSelectionMode(SelectionMode Mode);

    // Places the widgets inside Bounds: title, Up + location, table, hint, status, buttons.
    void Layout() override;
    // The dialog title, for the host window.
    std::string WindowTitle() const override;

    // Acceptance: every chosen path, then the first one.
    Signal<std::string> FileSelected;
    Signal<std::vector<std::string>> FilesSelected;
    // The dialog was cancelled.
    Signal<> Cancelled;
    // A status message was set with notification.
    Signal<std::string> StatusChanged;

    // The panel's widgets (owned by its widget tree; any may be set to null).
    GLLabel* TitleLabel = nullptr;
    GLTextInput* LocationInput = nullptr;
    GLButton* AcceptButton = nullptr;
    GLTableView* FileTable = nullptr;
    GLLabel* StatusLabel = nullptr;
    GLLabel* HintLabel = nullptr;
    GLButton* UpButton = nullptr;
    GLButton* CancelButton = nullptr;
    // Rows shown by FileTable, rebuilt from Entries.
    std::shared_ptr<GLTableModel> TableModel;

    // Absolute, normalised folder being shown; empty only before the first listing.
    std::string CurrentDirectory;
    // Path to be (or last) selected; empty when nothing is.
    std::string SelectedPath;
    // The listing of CurrentDirectory, sorted; row i of the table is element i.
    std::vector<FileEntry> Entries;
    // The last status message.
    std::string StatusText;
    // The listing must be re-read.
    bool bNeedsRefresh = false;
    // Raised only while the panel itself writes LocationInput's text.
    bool bSyncingLocationInput = false;
    // The selection mode in force.
    SelectionMode CurrentMode = SelectionMode::OpenFile;

private:
    friend struct GLFileDialogPanelTestAccess;

    void EnsureUiUpToDate();
    void NavigateToPath(const std::string& Path, bool bPreserveFileSelection);
    void NavigateFromLocationInput(bool bAcceptFile);
    void NavigateToParent();
    void EnterSelectedEntry();
    void OpenSelectedPath();
    void CancelDialog();
    void RebuildTableModel();
    void SyncSelectionFromTable();
    void SyncSelectionModeLabels();
    void SetStatusTextInternal(const std::string& Text, bool bEmitSignal);
    int SelectedEntryIndex() const;
    const FileEntry* SelectedEntry() const;
    FileEntry* SelectedEntry();

    static std::string TrimCopy(const std::string& Text);
    static std::string CanonicalizePath(const std::string& Path);
    static std::string HomeDirectoryPath();
    static std::filesystem::path ResolveUserPath(const std::string& Text,
                                                 const std::filesystem::path& BaseDirectory);
    static std::string FormatFileSize(std::uintmax_t Size);
    static std::string FormatModifiedTime(const std::filesystem::file_time_type& Time);

    // Wiring helpers (construction side).
    void WireEvents();
    void OnLocationEdited();
    void OnKeyPressed(GLKey Key, GLModifiers Mods);
    void WriteLocationInput();
    // Shows the folder of a path resolved and queried once: FinalPath in its canonical form
    // (bStable: canonicalising it again would give it back), Status its status, links followed.
    void OpenAtFinalPath(const std::filesystem::path& FinalPath, bool bStable,
                         std::filesystem::file_status Status);

    // CurrentDirectory as navigation resolved it just before the refresh it asked for, known
    // canonical; lets that refresh skip canonicalising it again. Consumed by the next listing.
    std::string CanonicalDirectoryHint;
};
