#include "chooser_options.h"

#include <gtest/gtest.h>

namespace
{

using Mode = GLFileDialogPanel::SelectionMode;

ChooserParseResult Parse(std::vector<std::string> Args)
{
    return ParseChooserArguments(Args);
}

} // namespace

TEST(ChooserOptions, DefaultsAndEveryFlag)
{
    const ChooserParseResult none = Parse({});
    EXPECT_TRUE(none.Error.empty());
    EXPECT_EQ(none.Options.Mode, Mode::OpenFile);
    EXPECT_EQ(none.Options.Backend, ChooserBackend::Auto);
    EXPECT_FALSE(none.Options.bPrint0);
    EXPECT_TRUE(none.Options.Path.empty());

    const ChooserParseResult all = Parse({"--folder", "--print0", "--terminal", "/srv"});
    EXPECT_TRUE(all.Error.empty());
    EXPECT_EQ(all.Options.Mode, Mode::SelectFolder);
    EXPECT_EQ(all.Options.Backend, ChooserBackend::Terminal);
    EXPECT_TRUE(all.Options.bPrint0);
    EXPECT_EQ(all.Options.Path, "/srv");

    EXPECT_EQ(Parse({"--multiple", "--multiple"}).Options.Mode, Mode::OpenMultipleFiles);
    EXPECT_TRUE(Parse({"-h"}).Options.bHelp);
    EXPECT_TRUE(Parse({"--version"}).Options.bVersion);
}

TEST(ChooserOptions, PathsThatLookLikeOptions)
{
    // "-" alone and anything after "--" are paths, so every file name can be given.
    EXPECT_EQ(Parse({"-"}).Options.Path, "-");
    const ChooserParseResult dashed = Parse({"--", "--folder"});
    EXPECT_TRUE(dashed.Error.empty());
    EXPECT_EQ(dashed.Options.Path, "--folder");
    EXPECT_EQ(dashed.Options.Mode, Mode::OpenFile);
}

TEST(ChooserOptions, UsageErrors)
{
    EXPECT_NE(Parse({"--bogus"}).Error.find("--bogus"), std::string::npos);
    EXPECT_FALSE(Parse({"--open", "--folder"}).Error.empty());
    EXPECT_FALSE(Parse({"--window", "--terminal"}).Error.empty());
    EXPECT_FALSE(Parse({"/a", "/b"}).Error.empty());
}
