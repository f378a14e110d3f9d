#include "test_support.h"

#include <array>
#include <cstdint>
#include <fcntl.h>
#include <sys/stat.h>

using namespace glfd_test;
namespace fs = std::filesystem;

TEST(PathHelpers, TrimCopyAndHomeDirectory)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", ""},
        {" \t\r\n \n", ""},
        {"  two  words  ", "two  words"},
        {"\v/tmp", "\v/tmp"},
        {"/tmp\n", "/tmp"},
        {"\f x\f", "\f x\f"},
        {"\t\xa0x\xa0\r", "\xa0x\xa0"},
        {std::string("\0 a", 3), std::string("\0 a", 3)}};
    for (const auto& [text, expected] : cases)
    {
        EXPECT_EQ(TestAccess::TrimCopy(text), expected) << testing::PrintToString(text);
    }
    const std::vector<std::pair<std::optional<std::string>, std::string>> homes = {
        {std::nullopt, "/"}, {std::string(), "/"}, {"/home/u/", "/home/u/"}, {" /h ", " /h "}};
    for (const auto& [value, expected] : homes)
    {
        ScopedEnv home("HOME", value);
        EXPECT_EQ(TestAccess::HomeDirectoryPath(), expected);
    }
}

TEST(PathHelpers, ResolveAgainstTheBaseCanonicalizeAgainstTheWorkingDirectory)
{
    TempTree tree;
    tree.Dir("home/docs");
    const std::string home = tree.Path("home");
    tree.Dir("data/docs");
    tree.Link(tree.Path("data/docs"), "home/linked");
    // Text, base, result.
    const std::vector<std::array<std::string, 3>> resolved = {
        {"", home, ""},
        {"docs", home, tree.Path("home/docs")},
        {"linked", home, tree.Path("data/docs")},
        {"linked/../x", home, tree.Path("data/x")},
        {tree.Path("home/./docs/../../data//docs"), "/nonexistent", tree.Path("data/docs")},
        {"~", home, tree.Path("home/~")},
        {" docs", home, tree.Path("home/ docs")},
        {"nosuch/../x", home, tree.Path("home/x")},
        {"nosuch/", home + "/", tree.Path("home/nosuch/")}};
    for (const auto& [text, base, expected] : resolved)
    {
        EXPECT_EQ(TestAccess::ResolveUserPath(text, base).native(), expected) << text << " in " << base;
    }
    ScopedCwd cwd(home);
    const std::vector<std::pair<std::string, std::string>> canonical = {
        {" \t ", ""},
        {"  " + tree.Root() + "/  ", tree.Root()},
        {tree.Path("nosuch/dir/"), tree.Path("nosuch/dir/")},
        {"docs", tree.Path("home/docs")},
        {" linked/../x\n", tree.Path("data/x")},
        {"./nosuch/..//y", tree.Path("home/y")}};
    for (const auto& [text, expected] : canonical)
    {
        EXPECT_EQ(TestAccess::CanonicalizePath(text), expected) << text;
    }

    // A folder that cannot be searched: the lexical form, where root would have followed the link.
    tree.Link(tree.Path("data/docs"), "home/docs/sub");
    tree.Chmod("home/docs", 0600);
    const std::string text = home + "//./docs/sub/../x";
    ASSERT_EQ(TestAccess::CanonicalizePath(text), tree.Path("data/x"));
    const std::string seen = RunUnprivileged(
        [&]
        {
            return TestAccess::ResolveUserPath("docs/sub/../x", home).native() + "#" +
                   TestAccess::CanonicalizePath(text) + "#" +
                   TestAccess::CanonicalizePath(home + "/docs/sub/");
        });
    EXPECT_EQ(seen, home + "/docs/x#" + home + "/docs/x#" + home + "/docs/sub/");
}

TEST(Formatting, FileSizeStepsAtBinaryThousandsAndNeverCarries)
{
    const std::vector<std::pair<std::uintmax_t, std::string>> cases = {
        {0, "0 B"},
        {1023, "1023 B"},
        {1024, "1.0 KB"},
        {1280, "1.2 KB"},
        {1536, "1.5 KB"},
        {102348, "99.9 KB"},
        {102349, "100.0 KB"},
        {1048575, "1024 KB"},
        {10485760, "10.0 MB"},
        {104857600, "100 MB"},
        {1610612736, "1.5 GB"},
        {1099511627776ULL, "1.0 TB"},
        {1125899906842624ULL, "1024 TB"},
        {UINTMAX_MAX, "16777216 TB"},
    };
    for (const auto& [size, expected] : cases)
    {
        EXPECT_EQ(TestAccess::FormatFileSize(size), expected) << size;
    }
}

TEST(Formatting, ModifiedTimeIsLocalTimeToTheMinute)
{
    TempTree tree;
    const std::string recent = tree.File("recent");
    const std::string early = tree.File("early");
    const timespec recentTimes[2] = {{1700000000, 0}, {1700000000, 0}};
    // Half a second before the Unix epoch: truncation toward zero gives the epoch itself.
    const timespec earlyTimes[2] = {{-1, 500000000}, {-1, 500000000}};
    ASSERT_EQ(::utimensat(AT_FDCWD, recent.c_str(), recentTimes, 0), 0);
    ASSERT_EQ(::utimensat(AT_FDCWD, early.c_str(), earlyTimes, 0), 0);
    {
        ScopedEnv tz("TZ", "UTC");
        EXPECT_EQ(TestAccess::FormatModifiedTime(fs::last_write_time(recent)), "2023-11-14 22:13");
        EXPECT_EQ(TestAccess::FormatModifiedTime(fs::last_write_time(early)), "1970-01-01 00:00");
        EXPECT_EQ(TestAccess::FormatModifiedTime(fs::file_time_type::min()), "");
        // Only the exact minimum means "unknown"; the clock's extremes still format.
        const std::string past =
            TestAccess::FormatModifiedTime(fs::file_time_type::min() + std::chrono::seconds(1));
        EXPECT_TRUE(past.size() == 16 && past < "1900") << past;
        const std::string future = TestAccess::FormatModifiedTime(fs::file_time_type::max());
        EXPECT_TRUE(future.size() == 16 && future > "2200") << future;
    }
    ScopedEnv tz("TZ", "JST-9");
    EXPECT_EQ(TestAccess::FormatModifiedTime(fs::last_write_time(recent)), "2023-11-15 07:13");
}
