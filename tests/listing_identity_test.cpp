#include "gllisting.h"
#include "oracle/straightforward_listing.h"
#include "test_support.h"

#include <fcntl.h>
#include <random>
#include <set>
#include <sys/stat.h>

using namespace glfd_test;
namespace fs = std::filesystem;
using EntryList = std::vector<GLFileDialogPanel::FileEntry>;

namespace
{

std::string Describe(const std::string& Dir, const EntryList& Entries, const std::string& Status,
                     bool bAnnounced)
{
    std::string text = Dir + "\n";
    for (const auto& e : Entries)
    {
        text += e.Name + "|" + e.Path + "|" + e.TypeLabel + "|" + e.SizeLabel + "|" + e.ModifiedLabel + "|" +
                (e.bDirectory ? "D" : "-") + (e.bReadable ? "R\n" : "-\n");
    }
    return text + Status + (bAnnounced ? " (announced)" : "");
}

// The reader as on a file system without entry types, and as for a folder that is not canonical.
const GLListingOptions Untyped{true, true};
// The route of large folders (radix sort, status queries on a helper thread), taken whatever the size.
const GLListingOptions LargeFolderRoute{true, false, 0, 0};
const GLListingOptions ThroughFilesystem{false, false};

// Empty when the panel's refresh (or the reader, given Options) lists Dir exactly as the
// straightforward route does; otherwise both listings.
std::string Mismatch(const std::string& Dir, const GLListingOptions* Options = nullptr)
{
    const auto want = glfd_oracle::ListStraightforwardly(Dir);
    const std::string wanted = Describe(want.Directory, want.Entries, want.Status, want.bStatusAnnounced);
    std::string got;
    if (Options == nullptr)
    {
        GLFileDialogPanel panel;
        SignalLog log;
        log.Attach(panel);
        panel.CurrentDirectory = Dir;
        panel.RefreshDirectoryListing();
        got = Describe(panel.CurrentDirectory, panel.Entries, panel.StatusText, !log.Events.empty());
    }
    else // statuses are the panel's: only the entries are compared
    {
        EntryList entries;
        GLListFolder(want.Directory, *Options, entries);
        got = Describe(want.Directory, entries, want.Status, want.bStatusAnnounced);
    }
    return got == wanted ? std::string() : "got:\n" + got + "\nwant:\n" + wanted;
}

void SetMtime(const std::string& Path, std::int64_t Seconds)
{
    const timespec times[2] = {{0, UTIME_OMIT}, {static_cast<time_t>(Seconds), 500000000}};
    ASSERT_EQ(::utimensat(AT_FDCWD, Path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << Path;
}

// Every kind of entry, odd names, sizes at rounding edges, times at conversion edges, many ties.
// Sizes and times beyond what the file system keeps are clamped or refused; either is fine.
void BuildEveryKind(const TempTree& Tree)
{
    for (std::uintmax_t size :
         {0ULL, 1023ULL, 1024ULL, 1280ULL, 3840ULL, 102348ULL, 102349ULL, 102400ULL, 102912ULL, 103936ULL,
          1048575ULL, 10485760ULL, 1099511627776ULL, (1ULL << 53) - 1, 1ULL << 53,
          (1ULL << 53) + 3 * (1ULL << 39) - 1, 1ULL << 62})
    {
        std::error_code ec;
        fs::resize_file(Tree.File("size" + std::to_string(size)), size, ec);
    }
    for (std::int64_t seconds :
         {-9223372036LL, -2785708837LL, -2147483649LL, -2147483648LL, 0LL, 9223372034LL, 9223372035LL,
          9223372036LL, 15032385535LL, 4611686018427387903LL})
    {
        SetMtime(Tree.File("time" + std::to_string(seconds)), seconds);
    }
    // Across the spring and autumn changes of the zones below, every 37 minutes.
    for (const std::int64_t change : {1711846800LL, 1729990800LL, 1710048600LL, 1730608200LL})
    {
        for (std::int64_t step = -40; step <= 40; ++step)
        {
            SetMtime(Tree.File("dst" + std::to_string(change + step * 37 * 60)), change + step * 37 * 60);
        }
    }
    for (const char* name : {"shadow", "shadow ", "gone\t", "cr\r", "new\nline", " leading", " ",
                             "\xff\xfe bytes", "\xc3\x89t\xc3\xa9", ".hidden", "10", "9", "_x"})
    {
        Tree.File(name, "x");
    }
    for (const char* tail : {"", "a", "B", "b", "Ab"}) // ties beyond what sort keys carry inline
    {
        Tree.File(std::string(20, 'Q') + std::string(12, 'q') + tail);
    }
    Tree.Dir("Zeta");
    Tree.Dir("alpha dir ");
    Tree.Fifo("fifo");
    Tree.Socket("socket");
    const std::pair<const char*, const char*> links[] = {
        {"size1024", "to file"}, {"Zeta", "to dir"}, {"Zeta", "to dir "}, {"/", "to root"},
        {"nowhere", "dangling"}, {"loopB", "loopA"}, {"loopA", "loopB"},  {"fifo", "to fifo"}};
    for (const auto& [target, name] : links)
    {
        Tree.Link(target, name);
    }
    for (int variant = 0; variant < 64; ++variant) // every letter case of "abcdef": all tie
    {
        std::string name = "abcdef";
        for (std::size_t bit = 0; bit < 6; ++bit)
        {
            name[bit] = static_cast<char>(((variant >> bit) & 1) ? std::toupper(name[bit]) : name[bit]);
        }
        variant % 5 == 0 ? Tree.Dir(name) : Tree.File(name);
    }
}

} // namespace

TEST(ListingIdentity, EveryKindOfEntryInEveryTimeZone)
{
    TempTree disk;
    BuildEveryKind(disk);
    std::optional<TempTree> shm; // tmpfs keeps the times and sizes that ext4 clamps or refuses
    if (fs::is_directory("/dev/shm"))
    {
        ScopedEnv tmp("TMPDIR", "/dev/shm");
        BuildEveryKind(shm.emplace());
    }
    for (const char* zone : {"UTC0", "Europe/Amsterdam", "America/St_Johns", "right/Europe/Amsterdam"})
    {
        if (zone[0] == 'r' && !fs::exists(std::string("/usr/share/zoneinfo/") + zone))
        {
            continue; // leap-second zones are an optional part of the time zone data
        }
        ScopedEnv tz("TZ", zone);
        for (const TempTree* tree : {&disk, shm ? &*shm : &disk})
        {
            EXPECT_EQ(Mismatch(tree->Root()), "");
            EXPECT_EQ(Mismatch(tree->Root(), &Untyped), "");
            EXPECT_EQ(Mismatch(tree->Root(), &LargeFolderRoute), "");
            EXPECT_EQ(Mismatch(tree->Root(), &ThroughFilesystem), "");
        }
    }
}

TEST(ListingIdentity, FoldersThroughLinksDeepOrAtTheRoot)
{
    TempTree tree;
    std::string deep = tree.Root(); // the paths of its entries with long names exceed PATH_MAX
    while (deep.size() + 201 < 4090)
    {
        deep += "/" + std::string(200, 'd');
    }
    tree.File(deep.substr(tree.Root().size() + 1) + "/s");
    const int deepFd = ::open(deep.c_str(), O_DIRECTORY | O_RDONLY);
    const std::string longName(250, 'n');
    ::close(::openat(deepFd, longName.c_str(), O_CREAT | O_WRONLY, 0644));
    ::symlinkat("s", deepFd, (longName + "L").c_str());
    EXPECT_EQ(Mismatch(deep), "");
    ::unlinkat(deepFd, longName.c_str(), 0);
    ::unlinkat(deepFd, (longName + "L").c_str(), 0);
    ::close(deepFd);

    tree.File("target/inner.txt", "x");
    tree.Link(tree.Path("target"), "via");
    EXPECT_EQ(Mismatch(tree.Path("via")), "");
    std::string root = Mismatch("/"); // the root's own entries may change meanwhile: retry
    for (int attempt = 0; attempt < 2 && !root.empty(); ++attempt)
    {
        root = Mismatch("/");
    }
    EXPECT_EQ(root, "");
}

TEST(ListingIdentity, EntriesWhoseStatusIsDeniedOrFoldersThatCannotBeOpened)
{
    TempTree tree;
    const std::pair<const char*, unsigned> folders[] = {
        {"listable", 0444}, {"openonly", 0644}, {"searchonly", 0111}, {"closed", 0}};
    for (const auto& [dir, mode] : folders)
    {
        tree.File(std::string(dir) + "/file", "abc");
        tree.Dir(std::string(dir) + "/Sub");
        tree.Link("file", std::string(dir) + "/link");
        tree.Chmod(dir, mode);
    }
    // Untyped entries in a folder that cannot be searched are rightly unreadable: not compared.
    const std::string mismatches = RunUnprivileged(
        [&]
        {
            std::string out;
            for (const auto& folder : folders)
            {
                out += Mismatch(tree.Path(folder.first)) +
                       Mismatch(tree.Path(folder.first), &ThroughFilesystem) +
                       Mismatch(tree.Path(folder.first), &LargeFolderRoute);
            }
            return out;
        });
    EXPECT_EQ(mismatches, "");
}

TEST(ListingIdentity, RandomTrees)
{
    const std::string bytes =
        "aAbBzZ09_.- \xc3\xa9\xc3\x89\x80\xff\t"; // short names: many tie after lowering
    for (std::uint32_t seed : {1U, 2U, 3U})
    {
        std::mt19937 random(seed);
        TempTree tree;
        std::set<std::string> made;
        while (made.size() < 300)
        {
            std::string name(1 + random() % 8, ' ');
            std::generate(name.begin(), name.end(), [&] { return bytes[random() % bytes.size()]; });
            if (name == "." || name == ".." || !made.insert(name).second)
            {
                continue;
            }
            const auto kind = random() % 10;
            if (kind < 3)
            {
                kind == 0 ? tree.Dir(name) : kind == 1 ? tree.Fifo(name) : tree.Link(*made.begin(), name);
            }
            else
            {
                fs::resize_file(tree.File(name), std::uintmax_t{1} << (random() % 40) | random() % 4096);
            }
            SetMtime(tree.Path(name), 1000000000 + static_cast<std::int64_t>(random() % 2000000000));
        }
        EXPECT_EQ(Mismatch(tree.Root()), "") << "seed " << seed;
        EXPECT_EQ(Mismatch(tree.Root(), &LargeFolderRoute), "") << "seed " << seed;
    }
    // Names unique once lowered but sharing long prefixes: the radix route's own order counts.
    TempTree shared;
    std::mt19937 random(7U);
    const char* const words[] = {"Report", "report", "IMG_2024", "img_2024", "Holiday"};
    for (int i = 0; i < 400; ++i)
    {
        const std::string name = std::string(words[random() % 5]) + words[random() % 5] + std::to_string(i);
        i % 7 == 0 ? shared.Dir(name) : shared.File(name);
    }
    for (int i = 0; i < 60; ++i) // buckets of a few names each
    {
        shared.File(std::string(1, static_cast<char>('a' + i % 26)) + std::to_string(i * 7919 % 1000));
    }
    EXPECT_EQ(Mismatch(shared.Root(), &LargeFolderRoute), "");
    EntryList entries;
    EXPECT_TRUE(GLListFolder(shared.Root(), LargeFolderRoute, entries).bRadixOrderKept);
}

// A refresh writes over the records and rows of the listing before it, skipping what is already
// there. Whatever they held, the result must be a fresh listing's, and the rows must mirror it.
// Folders of equal path lengths holding the same names, large enough for the helper thread.
TEST(ListingIdentity, ListingsOverEarlierOnesMatchFreshOnes)
{
    TempTree tree;
    for (int i = 0; i < 2100; ++i)
    {
        const std::string name = "n" + std::to_string(1000 + i);
        tree.File("aa/" + name, std::string(static_cast<std::size_t>(i % 10), 'x'));
        tree.File("bb/" + name, std::string(static_cast<std::size_t>(9 - i % 10), 'y'));
    }
    tree.Dir("aa/Sub");
    tree.Dir("bb/Sub");
    GLFileDialogPanel panel;
    const auto check = [&panel](const std::string& Dir)
    {
        panel.OpenAtPath(Dir);
        const auto want = glfd_oracle::ListStraightforwardly(Dir);
        EXPECT_EQ(Describe(panel.CurrentDirectory, panel.Entries, "", false),
                  Describe(want.Directory, want.Entries, "", false));
        std::vector<std::string> rows;
        for (const auto& entry : panel.Entries)
        {
            rows.push_back(entry.Name + "|" + entry.TypeLabel + "|" + entry.SizeLabel + "|" +
                           entry.ModifiedLabel);
        }
        EXPECT_EQ(ModelRows(panel), rows);
    };
    check(tree.Path("aa"));
    check(tree.Path("bb"));
    fs::resize_file(tree.Path("bb/n1004"), 7); // "5 B" becomes "7 B"
    SetMtime(tree.Path("bb/n1004"), 1000000000);
    check(tree.Path("bb"));
    check(tree.Path("aa"));
}
