#include "glfiledialogpanel.h"

#include "gldirectoryreader.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace
{

bool IsTrimmedByte(unsigned char Byte)
{
    return Byte == ' ' || Byte == '\t' || Byte == '\n' || Byte == '\r';
}

// Weakly canonical form of Path, or its lexically normal form when that cannot be computed.
fs::path CanonicalOrNormal(const fs::path& Path)
{
    std::error_code ec;
    fs::path canonical = fs::weakly_canonical(Path, ec);
    if (ec)
    {
        return Path.lexically_normal();
    }
    return canonical;
}

// Installs rows made from Entries and selects the last row whose path is SelectedPath (a link
// and its target share one).
void ShowTableRows(GLFileDialogPanel& Panel, GLTableModel::RowList&& Rows)
{
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
    Panel.TableModel->SetRows(std::move(Rows));
    if (Panel.FileTable != nullptr)
    {
        Panel.FileTable->FocusedRow = selectedRow;
        Panel.FileTable->SelectedRow = selectedRow;
    }
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Lifecycle and status

void GLFileDialogPanel::SetStatusTextInternal(const std::string& Text, bool bEmitSignal)
{
    if (&Text != &StatusText)
    {
        StatusText = Text;
    }
    if (StatusLabel != nullptr && &StatusLabel->Text != &StatusText)
    {
        StatusLabel->Text = StatusText;
    }
    if (bEmitSignal)
    {
        StatusChanged.emit(StatusText);
    }
}

void GLFileDialogPanel::CancelDialog()
{
    if (bHideHostOnFinish && HostWindow != nullptr)
    {
        HostWindow->bVisible = false;
    }
    Cancelled.emit();
    SetStatusTextInternal("Closed file dialog.", true);
}

// ---------------------------------------------------------------------------------------------
// Listing

void GLFileDialogPanel::RefreshDirectoryListing()
{
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

    if (CurrentDirectory.empty())
    {
        CurrentDirectory = HomeDirectoryPath();
        if (CurrentDirectory.empty())
        {
            CurrentDirectory = "/";
        }
    }

    std::error_code ec;
    fs::path dirPath = CurrentDirectory;
    if (!dirPath.has_root_directory())
    {
        dirPath = fs::absolute(dirPath, ec);
    }
    const fs::path canonicalDir = fs::weakly_canonical(dirPath, ec);
    const bool bCanonical = !ec;
    CurrentDirectory = ec ? dirPath.lexically_normal().native() : canonicalDir.native();

    ec.clear();
    const bool bAvailable = fs::exists(CurrentDirectory, ec) && fs::is_directory(CurrentDirectory, ec);
    if (!bAvailable)
    {
        Entries.clear();
        SetStatusTextInternal("Directory is not available: " + CurrentDirectory, true);
        RebuildTableModel();
        WriteLocationInput();
        return;
    }

    std::string browseStatus = "Browsing " + CurrentDirectory;
    bool bBrowseStatusEmit = false;

    // Read, labelled and sorted (after an error too, so a partial listing shows sorted) into the
    // old records, whose string storage a refresh reuses. In a folder that is not canonical,
    // joined entry paths could differ from resolved ones, so every entry is then resolved through
    // std::filesystem.
    GLDirectoryListingOptions options;
    options.bCanonicalDirectory = bCanonical;
    options.CanonicalizePath = &CanonicalizePath;
    options.FormatFileSize = &FormatFileSize;
    options.FormatModifiedTime = &FormatModifiedTime;
    // The table's rows are filled in the same pass, from the freshly written records.
    GLTableModel::RowList rows = TableModel ? TableModel->TakeRows() : GLTableModel::RowList();
    const GLDirectoryListingResult listing =
        GLReadDirectoryListing(CurrentDirectory, options, Entries, TableModel ? &rows : nullptr);
    ec = listing.Error;
    if (!listing.bOpened)
    {
        browseStatus = "Cannot read directory: " + CurrentDirectory + " (" + ec.message() + ")";
        bBrowseStatusEmit = true;
    }

    // Deliberately after the open test: an unopenable folder reports "incomplete".
    if (ec)
    {
        browseStatus = "Directory listing incomplete: " + CurrentDirectory + " (" + ec.message() + ")";
        bBrowseStatusEmit = true;
    }

    FilterListing(TableModel ? &rows : nullptr);
    if (TableModel)
    {
        ShowTableRows(*this, std::move(rows));
    }
    WriteLocationInput();
    SetStatusTextInternal(browseStatus, bBrowseStatusEmit);
}

// ---------------------------------------------------------------------------------------------
// Table presentation

void GLFileDialogPanel::RebuildTableModel()
{
    if (!TableModel)
    {
        return;
    }
    // The previous rows are refilled in place: a refresh of a large folder then reuses their
    // strings' storage instead of freeing one listing's worth and allocating the next.
    GLTableModel::RowList rows = TableModel->TakeRows();
    rows.resize(Entries.size());
    for (std::size_t i = 0; i < Entries.size(); ++i)
    {
        const FileEntry& entry = Entries[i];
        GLTableModel::Row& row = rows[i];
        row.resize(4);
        row[0] = entry.Name;
        row[1] = entry.TypeLabel;
        row[2] = entry.SizeLabel;
        row[3] = entry.ModifiedLabel;
    }
    ShowTableRows(*this, std::move(rows));
}

// ---------------------------------------------------------------------------------------------
// Opening at a path

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
    std::error_code ec;
    const fs::path fsPath = ResolveUserPath(trimmed, baseDirectory);
    const fs::path finalPath = CanonicalOrNormal(fsPath);

    if (fs::is_directory(finalPath, ec))
    {
        CurrentDirectory = finalPath.native();
        SelectedPath.clear();
    }
    else
    {
        const fs::path parent = finalPath.parent_path();
        if (!parent.empty() && fs::exists(parent, ec))
        {
            CurrentDirectory = CanonicalizePath(parent.native());
        }
        else
        {
            CurrentDirectory = HomeDirectoryPath();
        }
        SelectedPath = finalPath.native();
    }
    RefreshDirectoryListing();
    AfterOpenAtPath();
}

// ---------------------------------------------------------------------------------------------
// Navigation

void GLFileDialogPanel::NavigateToPath(const std::string& Path, bool bPreserveFileSelection)
{
    // A copy: Path may refer into Entries, which the refresh below replaces.
    const std::string trimmed = TrimCopy(Path);
    if (trimmed.empty())
    {
        return;
    }
    const fs::path base = CurrentDirectory.empty() ? HomeDirectoryPath() : CurrentDirectory;
    const fs::path finalPath = CanonicalOrNormal(ResolveUserPath(trimmed, base));

    std::error_code ec;
    const fs::file_status status = fs::status(finalPath, ec);
    if (fs::exists(status) && fs::is_directory(status))
    {
        CurrentDirectory = finalPath.native();
        SelectedPath.clear();
        RefreshDirectoryListing();
    }
    else if (fs::exists(status))
    {
        if (bPreserveFileSelection)
        {
            SelectedPath = finalPath.native();
        }
        const fs::path parent = finalPath.parent_path();
        if (!parent.empty())
        {
            CurrentDirectory = CanonicalizePath(parent.native());
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
    const fs::path resolved = ResolveUserPath(trimmed, base);

    std::error_code ec;
    const bool bExists = fs::exists(resolved, ec);
    ec.clear();
    const bool bDirectory = bExists && fs::is_directory(resolved, ec);
    if (bExists && !bDirectory)
    {
        OpenAtPath(resolved.native());
        if (bAcceptFile)
        {
            OpenSelectedPath();
        }
        return;
    }
    NavigateToPath(resolved.native(), true);
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

// ---------------------------------------------------------------------------------------------
// Selection and acceptance

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
    const fs::path baseDirectory = CurrentDirectory.empty() ? HomeDirectoryPath() : CurrentDirectory;
    const fs::path fsPath = ResolveUserPath(typed, baseDirectory);
    std::error_code ec;
    if (fs::exists(fsPath, ec) && !fs::is_directory(fsPath, ec))
    {
        result.push_back(CanonicalizePath(fsPath.native()));
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

// ---------------------------------------------------------------------------------------------
// Selection modes

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

// ---------------------------------------------------------------------------------------------
// Path helpers

std::string GLFileDialogPanel::TrimCopy(const std::string& Text)
{
    std::size_t begin = 0;
    while (begin < Text.size() && IsTrimmedByte(static_cast<unsigned char>(Text[begin])))
    {
        ++begin;
    }
    if (begin == Text.size())
    {
        return {};
    }
    std::size_t end = Text.size() - 1;
    while (end > begin && IsTrimmedByte(static_cast<unsigned char>(Text[end])))
    {
        --end;
    }
    return Text.substr(begin, end - begin + 1);
}

std::string GLFileDialogPanel::HomeDirectoryPath()
{
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] != '\0')
    {
        return home;
    }
    return "/";
}

fs::path GLFileDialogPanel::ResolveUserPath(const std::string& Text, const fs::path& BaseDirectory)
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
    return CanonicalOrNormal(path);
}

std::string GLFileDialogPanel::CanonicalizePath(const std::string& Path)
{
    const std::string trimmed = TrimCopy(Path);
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

// ---------------------------------------------------------------------------------------------
// Display formatting

std::string GLFileDialogPanel::FormatFileSize(std::uintmax_t Size)
{
    static const std::array<const char*, 5> suffixes = {"B", "KB", "MB", "GB", "TB"};
    auto value = static_cast<double>(Size);
    std::size_t suffixIndex = 0;
    while (value >= 1024.0 && suffixIndex < 4)
    {
        value /= 1024.0;
        ++suffixIndex;
    }
    std::ostringstream stream;
    if (suffixIndex == 0)
    {
        stream << Size << ' ' << suffixes[0];
    }
    else
    {
        stream << std::fixed << std::setprecision(value < 100.0 ? 1 : 0) << value << ' '
               << suffixes[suffixIndex];
    }
    return stream.str();
}

std::string GLFileDialogPanel::FormatModifiedTime(const fs::file_time_type& Time)
{
    if (Time == fs::file_time_type::min())
    {
        return {};
    }
    using std::chrono::nanoseconds;
    const auto fileNow = fs::file_time_type::clock::now();
    const auto systemNow = std::chrono::system_clock::now();

    // Time - fileNow + systemNow, truncated to whole seconds toward zero. Seconds and
    // remainders are summed apart so that times near the clock's limits cannot overflow.
    constexpr std::int64_t nanosPerSecond = 1000000000;
    const std::int64_t timeNs = std::chrono::duration_cast<nanoseconds>(Time.time_since_epoch()).count();
    const std::int64_t offsetNs =
        std::chrono::duration_cast<nanoseconds>(systemNow.time_since_epoch()).count() -
        std::chrono::duration_cast<nanoseconds>(fileNow.time_since_epoch()).count();
    std::int64_t seconds = timeNs / nanosPerSecond + offsetNs / nanosPerSecond;
    const std::int64_t remainder = timeNs % nanosPerSecond + offsetNs % nanosPerSecond;
    seconds += remainder / nanosPerSecond;
    const std::int64_t rest = remainder % nanosPerSecond;
    if (seconds > 0 && rest < 0)
    {
        --seconds;
    }
    else if (seconds < 0 && rest > 0)
    {
        ++seconds;
    }

    const auto tt = static_cast<std::time_t>(seconds);
    std::tm tm{};
    localtime_r(&tt, &tm);
    std::array<char, 32> buf{};
    std::strftime(buf.data(), buf.size(), "%Y-%m-%d %H:%M", &tm);
    return std::string(buf.data());
}
