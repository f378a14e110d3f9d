#include "zenity_options.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace
{

using Mode = GLFileDialogPanel::SelectionMode;
using Args = std::vector<std::string>;

ChooserOptions Ok(const Args& Arguments)
{
    const ChooserParseResult parsed = ParseZenityArguments(Arguments);
    EXPECT_EQ(parsed.Error, "");
    return parsed.Options;
}

std::string Fails(const Args& Arguments)
{
    const ChooserParseResult parsed = ParseZenityArguments(Arguments);
    EXPECT_EQ(parsed.ErrorStatus, 255);
    EXPECT_NE(parsed.Error, "");
    return parsed.Error;
}

} // namespace

TEST(ZenityOptions, ValuesJoinedOrSeparateAndTheFileSelectionsOwnFlags)
{
    const ChooserOptions save =
        Ok({"--file-selection", "--save", "--confirm-overwrite", "--filename=report.pdf",
            "--file-filter=PDF | *.pdf", "--title", "Export as", "--separator", "\n"});
    EXPECT_TRUE(save.bZenity && save.bSave && save.Mode == Mode::OpenFile);
    EXPECT_EQ(save.Path + "|" + save.Title + "|" + save.Separator,
              "report.pdf|Export as|\n"); // a newline stays one
    ASSERT_EQ(save.Filters.size(), 1U);
    EXPECT_EQ(save.Filters[0].Patterns, Args{"*.pdf"});

    const ChooserOptions plain = Ok({"--file-selection"});
    EXPECT_EQ(plain.Separator, "|");
    EXPECT_FALSE(plain.bSave || plain.bShowHidden || plain.Mode != Mode::OpenFile);

    // Outside save mode --confirm-overwrite changes nothing; the window options are taken and ignored.
    const ChooserOptions multiple =
        Ok({"--multiple", "--confirm-overwrite", "--width=800", "--height", "600", "--modal", "--attach=0x2a",
            "--timeout", "30", "--text", "Pick", "--file-selection", "stray", "--ok-label=Use",
            "--cancel-label=Skip", "--terminal"});
    EXPECT_TRUE(multiple.Mode == Mode::OpenMultipleFiles && !multiple.bSave);
    EXPECT_EQ(multiple.AcceptLabel + "|" + multiple.CancelLabel, "Use|Skip");
    EXPECT_EQ(multiple.Backend, ChooserBackend::Terminal);

    EXPECT_EQ(Ok({"--file-selection", "--directory", "--multiple", "--save"}).Mode, Mode::SelectFolder);
    EXPECT_FALSE(Ok({"--file-selection", "--directory", "--save"}).bSave);
    EXPECT_TRUE(Ok({"--file-selection", "--save", "--multiple"}).bSave);
    EXPECT_EQ(Ok({"--file-selection", "--filename", "/srv/data/"}).Path, "/srv/data/");
    EXPECT_EQ(Ok({"--file-selection", "--title=a=b"}).Title, "a=b");
    EXPECT_TRUE(Ok({"--file-selection", "--show-hidden"}).bShowHidden);
    EXPECT_TRUE(Ok({"--help-file-selection"}).bHelp);
    EXPECT_TRUE(Ok({"--version"}).bVersion);
}

TEST(ZenityOptions, FileFiltersAsProgramsWriteThem)
{
    // Text, then the name and patterns it gives; bare patterns name the filter, only the first
    // bar separates.
    for (const auto& [text, name, patterns] : std::vector<std::tuple<std::string, std::string, Args>>{
             {"Images|*.png  *.jpg ", "Images", {"*.png", "*.jpg"}},
             {"  Source code  |*.c *.h", "Source code", {"*.c", "*.h"}},
             {"*.png *.jpg", "*.png *.jpg", {"*.png", "*.jpg"}},
             {"Odd | a|b", "Odd", {"a|b"}}})
    {
        EXPECT_EQ(ParseZenityFileFilter(text).Name, name) << text;
        EXPECT_EQ(ParseZenityFileFilter(text).Patterns, patterns) << text;
    }

    const ChooserOptions two = Ok({"--file-selection", "--file-filter", "A | *.a", "--file-filter=*.b"});
    ASSERT_EQ(two.Filters.size(), 2U);
    EXPECT_EQ(two.Filters[1].Patterns, Args{"*.b"});
}

TEST(ZenityOptions, OtherDialogsUnknownOptionsAndMissingValuesFailWith255)
{
    EXPECT_NE(Fails({"--info", "--text=hello"}).find("only the file selection"), std::string::npos);
    EXPECT_NE(Fails({"--file-selection", "--question"}).find("--question"), std::string::npos);
    EXPECT_NE(Fails({"--entry"}).find("not available"), std::string::npos);
    for (const Args& arguments : {Args{}, Args{"--title=x"}, Args{"--file-selection", "-x"},
                                  Args{"--file-selection", "--multiple=yes"}})
    {
        Fails(arguments);
    }
    EXPECT_NE(Fails({"--file-selection", "--bogus"}).find("--bogus"), std::string::npos);
    EXPECT_NE(Fails({"--file-selection", "--filename"}).find("--filename"), std::string::npos);

    EXPECT_TRUE(IsZenityFileSelection({"--title", "x", "--file-selection"}));
    EXPECT_FALSE(IsZenityFileSelection({"--", "--file-selection"}));
    EXPECT_FALSE(IsZenityFileSelection({"--open", "/tmp"}));
}

TEST(ChooserOptions, SaveFiltersAndHiddenEntries)
{
    const ChooserParseResult parsed = ParseChooserArguments(
        {"--save", "--filter=Images:*.png *.jpg", "--filter", "*.txt", "--show-hidden", "notes.md"});
    EXPECT_EQ(parsed.Error, "");
    const ChooserOptions& options = parsed.Options;
    EXPECT_TRUE(options.bSave && options.bShowHidden && !options.bZenity && options.Path == "notes.md");
    ASSERT_EQ(options.Filters.size(), 2U);
    EXPECT_EQ(options.Filters[0].Name, "Images");
    EXPECT_EQ(options.Filters[0].Patterns, (Args{"*.png", "*.jpg"}));
    EXPECT_EQ(options.Filters[1].Name, "*.txt");
    EXPECT_EQ(ParseChooserFilter(" Text : *.txt ").Name, "Text");

    for (const Args& arguments : {Args{"--save", "--folder"}, Args{"--multiple", "--save"}, Args{"--filter"}})
    {
        EXPECT_NE(ParseChooserArguments(arguments).Error, "");
    }
    EXPECT_EQ(ParseChooserArguments({"--bogus"}).ErrorStatus, 2);
}
