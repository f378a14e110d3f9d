// The file dialog panel: its state, signals and operations (defined in glfiledialogpanel*.cpp).
#pragma once

#include "glbutton.h"
#include "glchildwindow.h"
#include "glchoice.h"
#include "glfilefilter.h"
#include "gllabel.h"
#include "gllisting_entry.h"
#include "gltablemodel.h"
#include "gltableview.h"
#include "gltextinput.h"
#include "glwindow.h"
#include "signalslot.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class GLPendingWork;

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
    // Gives up the file-system call the panel waits on (a host calls it from WaitFrame when its
    // window is closed or the program interrupted): the call reads as one that failed, and so
    // does every further one of the operation that waited.
    void AbandonWait() override;
    // Routes a key as every window does; Ctrl+H and Escape during a question are handled first.
    bool HandleKey(GLKey Key, GLModifiers Mods) override;

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

    // ---------------------------------------------------------------------------------------
    // Extensions: filters, a save mode and hidden entries. Each is off until the owner turns it
    // on; while all are off the panel lists, shows, says and signals exactly what it would
    // without them.

    // Offers these filters in the selector with the given one active (clamped); files the active
    // filter does not match are not listed, folders always are. An empty list ends filtering.
    void SetFileFilters(std::vector<GLFileFilter> Filters, int ActiveIndex = 0);
    // Makes another filter active, as the selector does; re-lists without re-reading the folder.
    void SetActiveFileFilter(int Index);
    // The filters offered.
    const std::vector<GLFileFilter>& GetFileFilters() const { return FileFilters; }
    // Index of the active filter; -1 without filters.
    int GetActiveFileFilter() const { return ActiveFileFilter; }

    // Save mode: the user picks a folder and types a name; acceptance delivers folder + name,
    // after asking inside the dialog when that file exists. The panel never creates the file.
    void SetSaveMode(bool bSave);
    // Whether save mode is on.
    bool IsSaveMode() const { return bSaveMode; }
    // Puts a name into the save field (the name the user starts from).
    void SetDefaultFileName(const std::string& Name);
    // Appended to a saved name without an extension when the active filter names none ("pdf" or
    // ".pdf"; empty for none).
    void SetDefaultExtension(const std::string& Extension);
    // Whether the dialog is asking to replace an existing file.
    bool IsAskingToReplace() const { return !PendingReplacePath.empty(); }

    // Lists names beginning with "." (true, the default) or leaves them out.
    void SetShowHiddenEntries(bool bShow);
    // Whether names beginning with "." are listed.
    bool GetShowHiddenEntries() const { return bShowHiddenEntries; }
    // Flips SetShowHiddenEntries; what the toggle button and Ctrl+H do.
    void ToggleHiddenEntries();
    // Offers the user the toggle (a button showing the state, and Ctrl+H); off by default.
    void SetHiddenEntriesToggle(bool bOffered);

    // The extensions' widgets; each is shown only while its extension is on.
    GLChoice* FilterChoice = nullptr;
    GLButton* HiddenButton = nullptr;
    GLLabel* NameLabel = nullptr;
    GLTextInput* NameInput = nullptr;
    GLButton* BackButton = nullptr;
    GLButton* ReplaceButton = nullptr;

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
    // The Up action and cancelling as the user asks for them (deferred while waiting).
    void GoUp();
    void EndDialog();
    // Opens at a path resolved and queried once: a folder is shown itself, anything else in
    // Folder (or the home folder when Folder is empty) with FinalPath selected. bVouched: the
    // folder is canonical already.
    void OpenAtLanding(const std::string& FinalPath, bool bFolder, const std::string& Folder, bool bVouched);

    // Waiting on the file system (glfiledialogpanel_wait.cpp). Waits for Work; once it has waited
    // about 100 ms the host draws (WaitFrame) about every 16 ms while the status label shows
    // Activity (and the entries answered so far). False when the wait was given up.
    bool WaitForFileSystem(GLPendingWork& Work, const std::string& Activity, bool bCountsEntries) const;
    // Runs an operation the user or the owner started; once the outermost one has unwound, what
    // the user asked for while it waited runs in turn.
    void RunUserOperation(const std::function<void()>& Operation);
    // Keeps what the user asked for inside a wait frame, and gives up the wait.
    void DeferWhileWaiting(std::function<void()> Action, bool bEndsDialog);

    // CurrentDirectory as navigation resolved it just before the refresh it asked for, known
    // canonical; lets that refresh skip canonicalising it again. Consumed by the next listing.
    std::string CanonicalDirectoryHint;
    // Inside WaitFrame: input that reaches the panel is deferred, file-system calls are not waited for.
    mutable bool bInWaitFrame = false;
    // The user gave up waiting: the operation's remaining file-system calls read as failed.
    mutable bool bAbandonRequested = false;
    // The folder or path the operation waits on: going up from a wait goes to its parent.
    mutable std::string WaitTarget;
    // Nesting of operations started through RunUserOperation.
    int OperationDepth = 0;
    // What the user asked for during a wait, and whether it ends the dialog (which wins).
    std::function<void()> DeferredAction;
    bool bDeferredEndsDialog = false;

    // Extensions (glfiledialogpanel_options.cpp, glfiledialogpanel_save.cpp).
    struct SaveTarget;
    void CreateExtensionWidgets();
    void BeginListingForExtensions();
    void FilterListing(GLTableModel::RowList* Rows);
    void ReapplyFilters();
    bool PassesExtensions(const FileEntry& Entry) const;
    bool AnyEntryFilter() const;
    float ExtensionRowsHeight(float Width, float ButtonWidth, float Gap) const;
    float PlaceNameRow(float Left, float Top, float Width);
    float PlaceOptionRow(float Left, float Top, float Width, float ButtonWidth, float Gap);
    float OptionWidths(float& FilterWidth, float& HiddenWidth) const;
    bool WriteSaveModeLabels();
    void AfterOpenAtPath();
    SaveTarget ResolveSaveTarget() const;
    std::vector<std::string> SaveModePaths() const;
    void AcceptSaveName();
    void DeliverSavePath(const std::string& Path);
    void AskToReplace(const std::string& Path);
    void EndReplaceQuestion(bool bFocusName);
    void NavigateFromSaveName(const std::string& Folder);

    std::vector<GLFileFilter> FileFilters;
    int ActiveFileFilter = -1;
    bool bShowHiddenEntries = true;
    bool bHiddenToggleOffered = false;
    bool bSaveMode = false;
    std::string DefaultSaveExtension;
    // While asking to replace: the path that Replace delivers.
    std::string PendingReplacePath;
    // The listing as read, while Entries holds only what the extensions let through, so that a
    // change of filter re-lists without reading the folder again (otherwise spare records).
    std::vector<FileEntry> UnfilteredEntries;
    bool bListingFiltered = false;
};
