// The panel's listing: reading the current folder into Entries and the table, and the status it ends with.
#include "glfiledialogpanel.h"

#include "gllisting.h"

#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace
{

// Keeps the table's rows backed by Entries when a listing is cut short by an exception (memory
// exhaustion, a throwing slot): unless dismissed, both are emptied, which cannot fail.
class RowsFollowEntries
{
public:
    explicit RowsFollowEntries(GLFileDialogPanel& Owner) : Panel(Owner) {}
    ~RowsFollowEntries()
    {
        if (bArmed)
        {
            Panel.Entries.clear();
            if (Panel.TableModel)
            {
                Panel.TableModel->ClearRows();
            }
            if (Panel.FileTable != nullptr)
            {
                Panel.FileTable->FocusedRow = -1;
                Panel.FileTable->SelectedRow = -1;
            }
        }
    }
    RowsFollowEntries(const RowsFollowEntries&) = delete;
    RowsFollowEntries& operator=(const RowsFollowEntries&) = delete;
    RowsFollowEntries(RowsFollowEntries&&) = delete;
    RowsFollowEntries& operator=(RowsFollowEntries&&) = delete;

    // The rows match Entries again.
    void Dismiss() { bArmed = false; }

private:
    GLFileDialogPanel& Panel;
    bool bArmed = true;
};

// Selects and focuses the last row whose path is SelectedPath (a link and its target share one).
void SelectRowOfSelectedPath(GLFileDialogPanel& Panel)
{
    if (Panel.FileTable == nullptr)
    {
        return;
    }
    int selectedRow = -1;
    if (!Panel.SelectedPath.empty())
    {
        for (std::size_t i = Panel.Entries.size(); i-- > 0;)
        {
            if (Panel.Entries[i].Path == Panel.SelectedPath)
            {
                selectedRow = static_cast<int>(i);
                break;
            }
        }
    }
    Panel.FileTable->FocusedRow = selectedRow;
    Panel.FileTable->SelectedRow = selectedRow;
}

// The folder made absolute (against the working directory) and weakly canonical; its lexically
// normal form, and false, where that cannot be computed.
std::pair<std::string, bool> CanonicalFolder(const std::string& Directory)
{
    std::error_code ec;
    fs::path dirPath = Directory;
    if (!dirPath.has_root_directory())
    {
        dirPath = fs::absolute(dirPath, ec);
    }
    const fs::path canonicalDir = fs::weakly_canonical(dirPath, ec);
    return {ec ? dirPath.lexically_normal().native() : canonicalDir.native(), !ec};
}

} // namespace

void GLFileDialogPanel::RefreshDirectoryListing()
{
    if (bInWaitFrame)
    {
        DeferWhileWaiting([this] { RefreshDirectoryListing(); }, false);
        return;
    }
    if (OperationDepth == 0)
    {
        RunUserOperation([this] { RefreshDirectoryListing(); });
        return;
    }
    bNeedsRefresh = true;
    EnsureUiUpToDate();
}

void GLFileDialogPanel::WriteLocationInput()
{
    if (LocationInput == nullptr)
    {
        return;
    }
    bSyncingLocationInput = true;
    LocationInput->SetText(CurrentDirectory, false);
    bSyncingLocationInput = false;
}

void GLFileDialogPanel::EnsureUiUpToDate()
{
    if (!bNeedsRefresh)
    {
        return;
    }
    bNeedsRefresh = false;
    BeginListingForExtensions();
    const std::string canonicalHint = std::exchange(CanonicalDirectoryHint, std::string());

    if (CurrentDirectory.empty())
    {
        CurrentDirectory = HomeDirectoryPath();
        if (CurrentDirectory.empty())
        {
            CurrentDirectory = "/";
        }
    }
    WaitTarget = CurrentDirectory;
    const std::string reading = "Reading " + CurrentDirectory;

    // Navigation that has just resolved the folder leaves nothing to canonicalise.
    bool bCanonical = true;
    if (canonicalHint.empty() || canonicalHint != CurrentDirectory)
    {
        GLAsyncCall<std::pair<std::string, bool>> call([directory = CurrentDirectory]
                                                       { return CanonicalFolder(directory); });
        if (WaitForFileSystem(call, reading, false))
        {
            std::tie(CurrentDirectory, bCanonical) = call.Take();
        }
        else
        {
            // Given up on: as when the canonical form cannot be computed.
            fs::path dirPath = CurrentDirectory;
            if (!dirPath.has_root_directory())
            {
                std::error_code ec;
                dirPath = fs::absolute(dirPath, ec);
            }
            CurrentDirectory = dirPath.lexically_normal().native();
            bCanonical = false;
        }
    }

    // Read on helpers, then labelled and sorted (after an error too, so a partial listing shows
    // sorted) into the old records and rows, whose string storage a refresh reuses. While the
    // helpers work, the table keeps showing the previous listing. In a folder that is not
    // canonical, joined entry paths could differ from resolved ones, so every entry is then
    // resolved through std::filesystem. Opened, the folder is there and is a folder (links
    // followed): only one that cannot be opened is tested for availability.
    GLListingOptions options;
    options.bCanonicalDirectory = bCanonical;
    GLFolderRead read(CurrentDirectory, options, Entries.size());
    WaitForFileSystem(read, reading, true);
    RowsFollowEntries rowsGuard(*this);
    const GLListingResult listing = read.Finish(Entries, TableModel ? &TableModel->EditRows() : nullptr);
    std::error_code ec = listing.Error;
    std::string browseStatus = "Browsing " + CurrentDirectory;
    bool bBrowseStatusEmit = false;
    if (!listing.bOpened && !listing.bAbandoned)
    {
        GLAsyncCall<bool> availability(
            [directory = CurrentDirectory]
            {
                std::error_code availabilityEc;
                return fs::exists(directory, availabilityEc) && fs::is_directory(directory, availabilityEc);
            });
        // Given up on, the folder that could not be opened is reported as a read given up on.
        const bool bAnswered = WaitForFileSystem(availability, reading, false);
        if (bAnswered && !availability.Take())
        {
            SetStatusTextInternal("Directory is not available: " + CurrentDirectory, true);
            RebuildTableModel();
            rowsGuard.Dismiss();
            WriteLocationInput();
            return;
        }
        if (!bAnswered)
        {
            ec = std::make_error_code(std::errc::operation_canceled);
        }
        browseStatus = "Cannot read directory: " + CurrentDirectory + " (" + ec.message() + ")";
        bBrowseStatusEmit = true;
        RebuildTableModel();
    }
    else
    {
        FilterListing(TableModel ? &TableModel->EditRows() : nullptr);
        if (TableModel)
        {
            SelectRowOfSelectedPath(*this);
        }
    }
    rowsGuard.Dismiss();

    // Deliberately after the open test: an unopenable folder reports "incomplete".
    if (ec)
    {
        browseStatus = "Directory listing incomplete: " + CurrentDirectory + " (" + ec.message() + ")";
        bBrowseStatusEmit = true;
    }
    WriteLocationInput();
    SetStatusTextInternal(browseStatus, bBrowseStatusEmit);
}

void GLFileDialogPanel::RebuildTableModel()
{
    if (!TableModel)
    {
        return;
    }
    // Built aside and swapped in, so that a failure part-way leaves the previous rows.
    GLTableModel::RowList rows;
    rows.reserve(Entries.size());
    for (const FileEntry& entry : Entries)
    {
        rows.push_back({entry.Name, entry.TypeLabel, entry.SizeLabel, entry.ModifiedLabel});
    }
    TableModel->SetRows(std::move(rows));
    SelectRowOfSelectedPath(*this);
}
