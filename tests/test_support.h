#pragma once

// Shared fixtures: the one seam into the panel's private operations, real temporary
// folder trees, environment guards and a way to run code with root's privileges dropped.

#include "glfiledialogpanel.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// The deliberate seam through which tests reach private operations.
struct GLFileDialogPanelTestAccess
{
    using Panel = GLFileDialogPanel;
    static void EnsureUiUpToDate(Panel& P) { P.EnsureUiUpToDate(); }
    static void NavigateToPath(Panel& P, const std::string& Path, bool bPreserve)
    {
        P.NavigateToPath(Path, bPreserve);
    }
    static void NavigateFromLocationInput(Panel& P, bool bAcceptFile)
    {
        P.NavigateFromLocationInput(bAcceptFile);
    }
    static void NavigateToParent(Panel& P) { P.NavigateToParent(); }
    static void EnterSelectedEntry(Panel& P) { P.EnterSelectedEntry(); }
    static void OpenSelectedPath(Panel& P) { P.OpenSelectedPath(); }
    static void CancelDialog(Panel& P) { P.CancelDialog(); }
    static void RebuildTableModel(Panel& P) { P.RebuildTableModel(); }
    static void SyncSelectionFromTable(Panel& P) { P.SyncSelectionFromTable(); }
    static void SetStatusTextInternal(Panel& P, const std::string& Text, bool bEmit)
    {
        P.SetStatusTextInternal(Text, bEmit);
    }
    static int SelectedEntryIndex(const Panel& P) { return P.SelectedEntryIndex(); }
    static const Panel::FileEntry* SelectedEntry(const Panel& P) { return P.SelectedEntry(); }
    static std::string TrimCopy(const std::string& Text) { return Panel::TrimCopy(Text); }
    static std::string CanonicalizePath(const std::string& Path) { return Panel::CanonicalizePath(Path); }
    static std::string HomeDirectoryPath() { return Panel::HomeDirectoryPath(); }
    static std::filesystem::path ResolveUserPath(const std::string& Text, const std::filesystem::path& Base)
    {
        return Panel::ResolveUserPath(Text, Base);
    }
    static std::string FormatFileSize(std::uintmax_t Size) { return Panel::FormatFileSize(Size); }
    static std::string FormatModifiedTime(const std::filesystem::file_time_type& Time)
    {
        return Panel::FormatModifiedTime(Time);
    }
};
using TestAccess = GLFileDialogPanelTestAccess;

namespace glfd_test
{

// A real temporary folder, removed (permissions restored first) when it goes out of scope.
class TempTree
{
public:
    TempTree();
    ~TempTree();
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;
    TempTree(TempTree&&) = delete;
    TempTree& operator=(TempTree&&) = delete;

    // Canonical absolute path of the root folder.
    const std::string& Root() const { return RootPath; }
    // Root() + "/" + Relative.
    std::string Path(const std::string& Relative) const;
    // Creates a folder (and its parents); returns its path.
    std::string Dir(const std::string& Relative) const;
    // Creates a file with the given contents (parents created); returns its path.
    std::string File(const std::string& Relative, const std::string& Contents = {}) const;
    // Creates a symbolic link at Relative pointing to Target (taken as given).
    std::string Link(const std::string& Target, const std::string& Relative) const;
    // Creates a FIFO.
    std::string Fifo(const std::string& Relative) const;
    // Creates a bound UNIX socket node.
    std::string Socket(const std::string& Relative) const;
    // Sets permission bits (e.g. 0, 0300).
    void Chmod(const std::string& Relative, unsigned Mode) const;

private:
    std::string RootPath;
};

// Sets (or unsets, with nullopt) an environment variable and restores it afterwards.
class ScopedEnv
{
public:
    ScopedEnv(const char* Name, std::optional<std::string> Value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;
    ScopedEnv(ScopedEnv&&) = delete;
    ScopedEnv& operator=(ScopedEnv&&) = delete;

private:
    std::string VarName;
    std::optional<std::string> Saved;
};

// Changes the process's working directory and restores it afterwards.
class ScopedCwd
{
public:
    explicit ScopedCwd(const std::string& Path);
    ~ScopedCwd();
    ScopedCwd(const ScopedCwd&) = delete;
    ScopedCwd& operator=(const ScopedCwd&) = delete;
    ScopedCwd(ScopedCwd&&) = delete;
    ScopedCwd& operator=(ScopedCwd&&) = delete;

private:
    std::filesystem::path Saved;
};

// Runs Body in a forked child whose privileges are really dropped (when running as root:
// setgroups, setgid, setuid to an unprivileged id) and returns the text Body produced.
// Permission checks then apply even on a machine where the tests run as root.
// Fails the current test when the child cannot drop privileges or crashes.
std::string RunUnprivileged(const std::function<std::string()>& Body);

// Records what the panel's four signals carried, in order, as readable lines:
// "FilesSelected:a|b", "FileSelected:a", "Cancelled", "Status:text".
struct SignalLog
{
    std::vector<std::string> Events;
    void Attach(GLFileDialogPanel& Panel);
};

// The visible rows of a panel's model, one "name|type|size|modified" string each.
std::vector<std::string> ModelRows(const GLFileDialogPanel& Panel);
// The names of the panel's Entries, in order.
std::vector<std::string> EntryNames(const GLFileDialogPanel& Panel);

} // namespace glfd_test
