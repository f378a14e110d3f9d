// Fuzz target: location navigation with arbitrary bytes. A fresh panel per input, in the mode the
// input picks, runs a short sequence of navigation, selection and acceptance operations on a real
// tree; after each one the panel must be consistent: the folder absolute and normal, the listing
// what the straightforward route lists there, the table's rows and selection matching it, and
// what acceptance delivers fitting the mode.
//
// Input: one byte choosing the mode and the start, then up to eight commands separated by NUL
// bytes, each an operation byte followed by its text. Paths that would leave the tree are skipped
// (HOME is the tree), so every input stays cheap and the real file system is never wandered.

#include "fuzz_check.h"
#include "fuzz_tree.h"
#include "oracle/straightforward_listing.h"
#include "test_support.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using glfd_fuzz::Check;
using Mode = GLFileDialogPanel::SelectionMode;

namespace
{

bool InTree(const std::string& Path)
{
    const std::string& root = glfd_fuzz::TreeRoot();
    return Path == root || Path.compare(0, root.size() + 1, root + "/") == 0;
}

// Where typed text would lead, by the panel's own rule; only paths inside the tree, or missing
// ones (a "Path not found" costs nothing), are let through.
bool Allowed(const GLFileDialogPanel& Panel, const std::string& Text, bool bMissingAllowed)
{
    const std::string trimmed = TestAccess::TrimCopy(Text);
    if (trimmed.empty())
    {
        return true; // a message, or the home folder, which is the tree
    }
    const fs::path base =
        Panel.CurrentDirectory.empty() ? TestAccess::HomeDirectoryPath() : Panel.CurrentDirectory;
    const fs::path target = TestAccess::ResolveUserPath(trimmed, base);
    std::error_code ec;
    return InTree(target.native()) || (bMissingAllowed && !fs::exists(target, ec));
}

std::string Describe(const std::vector<GLFileDialogPanel::FileEntry>& Entries)
{
    std::string text;
    for (const auto& e : Entries)
    {
        text += e.Name + "|" + e.Path + "|" + e.TypeLabel + "|" + e.SizeLabel + "|" + e.ModifiedLabel + "|" +
                (e.bDirectory ? "D" : "-") + (e.bReadable ? "R\n" : "-\n");
    }
    return text;
}

bool RowInRange(int Row, std::size_t Count)
{
    return Row >= -1 && Row < static_cast<int>(Count);
}

void CheckConsistent(const GLFileDialogPanel& Panel)
{
    const std::string& dir = Panel.CurrentDirectory;
    Check(!dir.empty() && dir[0] == '/', "CurrentDirectory is absolute", dir);
    Check(fs::path(dir) == fs::path(dir).lexically_normal(), "CurrentDirectory is normal", dir);
    Check(InTree(dir), "navigation stays where the input led", dir);

    // The tree does not change while the target runs, so each folder's listing is computed once.
    static std::map<std::string, std::string> wantedListings;
    auto wanted = wantedListings.find(dir);
    if (wanted == wantedListings.end())
    {
        wanted = wantedListings.emplace(dir, Describe(glfd_oracle::ListStraightforwardly(dir).Entries)).first;
    }
    Check(Describe(Panel.Entries) == wanted->second, "Entries match the straightforward listing",
          Describe(Panel.Entries), wanted->second);

    const auto& rows = Panel.TableModel->GetRows();
    Check(rows.size() == Panel.Entries.size(), "one table row per entry", std::to_string(rows.size()),
          std::to_string(Panel.Entries.size()));
    for (std::size_t i = 0; i < rows.size(); ++i)
    {
        const auto& e = Panel.Entries[i];
        const std::vector<std::string> wantedRow = {e.Name, e.TypeLabel, e.SizeLabel, e.ModifiedLabel};
        Check(rows[i] == wantedRow, "row i shows entry i", rows[i].empty() ? "" : rows[i][0], e.Name);
    }

    const GLTableView& table = *Panel.FileTable;
    const std::size_t count = Panel.Entries.size();
    Check(RowInRange(table.SelectedRow, count) && RowInRange(table.FocusedRow, count),
          "selected and focused rows exist", std::to_string(table.SelectedRow), std::to_string(count));
    if (table.SelectedRow >= 0)
    {
        Check(Panel.Entries[static_cast<std::size_t>(table.SelectedRow)].Path == Panel.SelectedPath,
              "the selected row is SelectedPath",
              Panel.Entries[static_cast<std::size_t>(table.SelectedRow)].Path, Panel.SelectedPath);
    }
    Check(!Panel.StatusText.empty(), "a status is shown");
}

// What acceptance delivered fits the mode: folders in SelectFolder, never a folder otherwise, one
// path in OpenFile; all absolute; FileSelected carries the first.
struct Acceptance
{
    std::vector<std::vector<std::string>> Lists;
    std::vector<std::string> Firsts;

    void Verify(Mode CurrentMode) const
    {
        glfd_fuzz::Check(Lists.size() == Firsts.size(), "FilesSelected and FileSelected come in pairs");
        for (std::size_t i = 0; i < Lists.size(); ++i)
        {
            const auto& paths = Lists[i];
            glfd_fuzz::Check(!paths.empty() && paths[0] == Firsts[i], "FileSelected carries the first path");
            glfd_fuzz::Check(CurrentMode != Mode::OpenFile || paths.size() == 1, "OpenFile delivers one path",
                             std::to_string(paths.size()));
            for (const std::string& path : paths)
            {
                std::error_code ec;
                const bool bFolder = fs::is_directory(path, ec);
                glfd_fuzz::Check(!path.empty() && path[0] == '/', "delivered paths are absolute", path);
                glfd_fuzz::Check(bFolder == (CurrentMode == Mode::SelectFolder),
                                 "delivered paths are folders exactly in SelectFolder", path);
            }
        }
    }
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    ::setenv("HOME", glfd_fuzz::TreeRoot().c_str(), 1);
    ::setenv("TZ", "UTC", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size)
{
    if (Size == 0)
    {
        return 0;
    }
    const std::string& root = glfd_fuzz::TreeRoot();
    const std::string input(reinterpret_cast<const char*>(Data), Size);

    GLFileDialogPanel panel;
    Acceptance accepted;
    panel.FilesSelected.connect([&](const std::vector<std::string>& Paths)
                                { accepted.Lists.push_back(Paths); });
    panel.FileSelected.connect([&](const std::string& Path) { accepted.Firsts.push_back(Path); });
    panel.SetSelectionMode(static_cast<Mode>(static_cast<unsigned char>(input[0]) % 3U));
    // The start: the home folder (the tree), a folder, a file to pre-select, a missing path.
    const unsigned start = (static_cast<unsigned char>(input[0]) >> 2) & 3U;
    const char* starts[] = {"", "alpha", "alpha/inner.txt", "nosuch"};
    panel.OpenAtPath(start == 0 ? std::string() : root + "/" + starts[start]);
    CheckConsistent(panel);

    std::size_t begin = 1;
    for (int step = 0; step < 8 && begin < input.size(); ++step)
    {
        std::size_t end = input.find('\0', begin);
        if (end == std::string::npos)
        {
            end = input.size();
        }
        const std::string command = input.substr(begin, end - begin);
        begin = end + 1;
        if (command.empty())
        {
            continue;
        }
        const unsigned op = static_cast<unsigned char>(command[0]);
        const std::string text = command.substr(1);
        const unsigned arg = text.empty() ? 0U : static_cast<unsigned char>(text[0]);

        const int rowCount = panel.TableModel->RowCount();
        switch (op % 10U)
        {
        case 0:
        case 1:
            if (Allowed(panel, text, true))
            {
                panel.LocationInput->Text = text;
                TestAccess::NavigateFromLocationInput(panel, op % 10U == 1);
            }
            break;
        case 2:
        case 3:
            if (Allowed(panel, text, true))
            {
                TestAccess::NavigateToPath(panel, text, op % 10U == 2);
            }
            break;
        case 4:
            if (panel.CurrentDirectory != root)
            {
                TestAccess::NavigateToParent(panel);
            }
            break;
        case 5: // a click, with Shift when the top bit is set; past the last row clears
            panel.FileTable->ClickRow(static_cast<int>((arg & 0x7fU) % static_cast<unsigned>(rowCount + 1)),
                                      GLModifiers{(arg & 0x80U) != 0, false, false});
            break;
        case 6: // a double-click enters a folder or accepts a file
            if (rowCount > 0)
            {
                panel.FileTable->DoubleClickRow(static_cast<int>(arg % static_cast<unsigned>(rowCount)));
            }
            break;
        case 7:
            if (Allowed(panel, text, false))
            {
                panel.OpenAtPath(text);
            }
            break;
        case 8:
            panel.SetSelectionMode(static_cast<Mode>(arg % 3U));
            break;
        default:
            TestAccess::OpenSelectedPath(panel);
            break;
        }
        CheckConsistent(panel);
        accepted.Verify(panel.CurrentMode);
        accepted = Acceptance();
    }
    return 0;
}
