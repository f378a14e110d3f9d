// Listings cut short by an exception (a throwing slot, memory exhaustion at any allocation) leave
// the table's rows backed by Entries, and the panel usable. Allocation failures are injected by
// replacing the global operator new in this executable only.

#include "gllisting.h"
#include "test_support.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <new>

using namespace glfd_test;
using Strings = std::vector<std::string>;

namespace
{
// Allocations left before the next one fails; negative when none is to fail.
std::atomic<long> AllocationsLeft{-1};

void* Allocate(std::size_t Size)
{
    if (AllocationsLeft.load() >= 0 && AllocationsLeft.fetch_sub(1) == 0)
    {
        throw std::bad_alloc();
    }
    if (void* p = std::malloc(Size == 0 ? 1 : Size))
    {
        return p;
    }
    throw std::bad_alloc();
}
} // namespace

void* operator new(std::size_t Size)
{
    return Allocate(Size);
}
void* operator new[](std::size_t Size)
{
    return Allocate(Size);
}
void operator delete(void* P) noexcept
{
    std::free(P);
}
void operator delete[](void* P) noexcept
{
    std::free(P);
}
void operator delete(void* P, std::size_t) noexcept
{
    std::free(P);
}
void operator delete[](void* P, std::size_t) noexcept
{
    std::free(P);
}

namespace
{

// The rows Entries calls for, one "name|type|size|modified" string each.
Strings RowsOfEntries(const GLFileDialogPanel& Panel)
{
    Strings rows;
    for (const auto& entry : Panel.Entries)
    {
        rows.push_back(entry.Name + "|" + entry.TypeLabel + "|" + entry.SizeLabel + "|" +
                       entry.ModifiedLabel);
    }
    return rows;
}

// Two folders with different names, sizes and kinds, large enough for every route of the reader.
void BuildFolders(const TempTree& Tree, int Count)
{
    for (int i = 0; i < Count; ++i)
    {
        Tree.File("one/file " + std::to_string(i) + ".txt", std::string(static_cast<std::size_t>(i), 'x'));
        Tree.File("two/Other name " + std::to_string(i * 7) + " ",
                  std::string(static_cast<std::size_t>(i % 3), 'y'));
    }
    Tree.Dir("two/Sub");
    Tree.Link("Sub", "two/to sub");
    Tree.Link("nowhere", "two/dangling");
}

} // namespace

TEST(ListingFailure, EveryFailedAllocationLeavesRowsBackedByEntries)
{
    TempTree tree;
    BuildFolders(tree, 40);
    GLFileDialogPanel panel;
    int failures = 0;
    for (long allowed = 0;; ++allowed)
    {
        panel.OpenAtPath(tree.Path("one"));
        ASSERT_EQ(ModelRows(panel).size(), 40U);
        panel.CurrentDirectory = tree.Path("two");
        AllocationsLeft = allowed;
        bool bThrew = false;
        try
        {
            panel.RefreshDirectoryListing();
        }
        catch (const std::bad_alloc&)
        {
            bThrew = true;
        }
        AllocationsLeft = -1;
        ASSERT_EQ(ModelRows(panel), RowsOfEntries(panel)) << "allocation " << allowed;
        EXPECT_LT(panel.FileTable->SelectedRow, static_cast<int>(panel.Entries.size()));
        if (!bThrew)
        {
            EXPECT_EQ(panel.Entries.size(), 43U);
            break;
        }
        ++failures;
    }
    EXPECT_GT(failures, 40);
    // The panel lists as before once memory is back.
    panel.OpenAtPath(tree.Path("one"));
    EXPECT_EQ(panel.StatusText, "Browsing " + tree.Path("one"));
    EXPECT_EQ(ModelRows(panel), RowsOfEntries(panel));
}

// The route of large folders, with its helper thread, taken for a small one: a failure anywhere
// unwinds cleanly, the helper joined and the caller's signal mask as it was.
TEST(ListingFailure, TheHelperThreadRouteUnwindsCleanly)
{
    TempTree tree;
    BuildFolders(tree, 40);
    const GLListingOptions largeRoute{true, false, 0, 0};
    sigset_t before;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &before);
    std::vector<GLListingEntry> entries;
    GLListingRows rows;
    for (long allowed = 0;; ++allowed)
    {
        AllocationsLeft = allowed;
        bool bThrew = false;
        try
        {
            GLListFolder(tree.Path("two"), largeRoute, entries, &rows);
        }
        catch (const std::bad_alloc&)
        {
            bThrew = true;
        }
        AllocationsLeft = -1;
        sigset_t after;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &after);
        for (int signal = 1; signal < 32; ++signal)
        {
            ASSERT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << "allocation " << allowed;
        }
        if (!bThrew)
        {
            break;
        }
    }
    EXPECT_EQ(entries.size(), 43U);
    EXPECT_EQ(rows.size(), 43U);
}

TEST(ListingFailure, AThrowingStatusSlotLeavesRowsBackedByEntries)
{
    TempTree tree;
    BuildFolders(tree, 3);
    tree.File("plain", "x");
    GLFileDialogPanel panel;
    panel.OpenAtPath(tree.Path("one"));
    panel.StatusChanged.connect([](const std::string&) { throw std::runtime_error("slot"); });
    // Announced failures: a missing folder (emitted before the table is rebuilt) and one that
    // cannot be opened (emitted after).
    tree.Dir("closed");
    tree.Chmod("closed", 0);
    const std::string seen = RunUnprivileged(
        [&]
        {
            std::string out;
            for (const std::string& folder : {tree.Path("plain"), tree.Path("closed")})
            {
                panel.OpenAtPath(tree.Path("one"));
                panel.CurrentDirectory = folder;
                try
                {
                    panel.RefreshDirectoryListing();
                    out += "no throw;";
                }
                catch (const std::runtime_error&)
                {
                    out += std::to_string(ModelRows(panel).size()) + "/" +
                           std::to_string(panel.Entries.size()) +
                           (ModelRows(panel) == RowsOfEntries(panel) ? " match;" : " differ;");
                }
            }
            return out;
        });
    EXPECT_EQ(seen, "0/0 match;0/0 match;");
}
