// Parsing of zenity's file-selection command line.
#include "zenity_options.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace
{

using Mode = GLFileDialogPanel::SelectionMode;

// zenity's dialogs; only the file selection is served.
constexpr std::array<std::string_view, 16> Dialogs = {
    "calendar",     "entry",    "error",     "info",    "file-selection", "list",
    "notification", "progress", "question",  "warning", "scale",          "color-selection",
    "password",     "forms",    "text-info", "about"};

// zenity's options that take a value, from every dialog (zenity accepts any of them anywhere),
// and the toolkit options it passes through.
constexpr std::array<std::string_view, 50> ValueOptions = {"title",
                                                           "window-icon",
                                                           "width",
                                                           "height",
                                                           "timeout",
                                                           "ok-label",
                                                           "cancel-label",
                                                           "extra-button",
                                                           "attach",
                                                           "text",
                                                           "icon-name",
                                                           "icon",
                                                           "entry-text",
                                                           "day",
                                                           "month",
                                                           "year",
                                                           "date-format",
                                                           "filename",
                                                           "separator",
                                                           "file-filter",
                                                           "column",
                                                           "print-column",
                                                           "hide-column",
                                                           "percentage",
                                                           "value",
                                                           "min-value",
                                                           "max-value",
                                                           "step",
                                                           "color",
                                                           "font",
                                                           "checkbox",
                                                           "url",
                                                           "add-entry",
                                                           "add-password",
                                                           "add-calendar",
                                                           "add-list",
                                                           "add-combo",
                                                           "list-values",
                                                           "column-values",
                                                           "combo-values",
                                                           "forms-date-format",
                                                           "hint",
                                                           "name",
                                                           "class",
                                                           "display",
                                                           "gtk-module",
                                                           "gdk-debug",
                                                           "gtk-debug",
                                                           "gdk-no-debug",
                                                           "gtk-no-debug"};

// zenity's options without a value, and ours that make sense with it.
constexpr std::array<std::string_view, 36> FlagOptions = {"modal",
                                                          "multiple",
                                                          "directory",
                                                          "save",
                                                          "confirm-overwrite",
                                                          "no-wrap",
                                                          "no-markup",
                                                          "ellipsize",
                                                          "hide-text",
                                                          "editable",
                                                          "checklist",
                                                          "radiolist",
                                                          "imagelist",
                                                          "hide-header",
                                                          "mid-search",
                                                          "listen",
                                                          "pulsate",
                                                          "auto-close",
                                                          "auto-kill",
                                                          "no-cancel",
                                                          "print-partial",
                                                          "hide-value",
                                                          "show-palette",
                                                          "username",
                                                          "show-header",
                                                          "switch",
                                                          "default-cancel",
                                                          "html",
                                                          "no-interaction",
                                                          "sync",
                                                          "g-fatal-warnings",
                                                          "version",
                                                          "window",
                                                          "terminal",
                                                          "show-hidden",
                                                          "debug"};

template <std::size_t Count>
bool Contains(const std::array<std::string_view, Count>& List, std::string_view Name)
{
    return std::find(List.begin(), List.end(), Name) != List.end();
}

std::string Trim(std::string_view Text)
{
    const std::size_t begin = Text.find_first_not_of(" \t\n");
    if (begin == std::string_view::npos)
    {
        return {};
    }
    return std::string(Text.substr(begin, Text.find_last_not_of(" \t\n") - begin + 1));
}

} // namespace

bool IsZenityFileSelection(const std::vector<std::string>& Args)
{
    for (const std::string& arg : Args)
    {
        if (arg == "--")
        {
            break;
        }
        if (arg == "--file-selection")
        {
            return true;
        }
    }
    return false;
}

GLFileFilter ParseZenityFileFilter(const std::string& Text)
{
    GLFileFilter filter;
    const std::size_t bar = Text.find('|');
    if (bar == std::string::npos)
    {
        filter.Name = Text;
        filter.Patterns = GLSplitFilePatterns(Text);
    }
    else
    {
        filter.Name = Trim(std::string_view(Text).substr(0, bar));
        filter.Patterns = GLSplitFilePatterns(std::string_view(Text).substr(bar + 1));
    }
    return filter;
}

ChooserParseResult ParseZenityArguments(const std::vector<std::string>& Args)
{
    ChooserParseResult result;
    result.ErrorStatus = ZenityErrorStatus;
    ChooserOptions& options = result.Options;
    options.bZenity = true;
    bool bFileSelection = false;
    bool bMultiple = false;
    bool bDirectory = false;
    std::string otherDialog;

    for (std::size_t index = 0; index < Args.size(); ++index)
    {
        const std::string& arg = Args[index];
        if (arg == "--")
        {
            break; // what follows is not for the file selection
        }
        if (arg == "-h" || arg == "-?" || arg.rfind("--help", 0) == 0)
        {
            options.bHelp = true;
            continue;
        }
        if (arg.size() < 2 || arg[0] != '-')
        {
            continue; // zenity leaves stray words to the dialogs, and the file selection takes none
        }
        if (arg.rfind("--", 0) != 0)
        {
            result.Error = "Unknown option " + arg;
            return result;
        }
        const std::size_t equals = arg.find('=');
        const std::string name = arg.substr(2, equals == std::string::npos ? std::string::npos : equals - 2);
        const bool bInlineValue = equals != std::string::npos;
        if (Contains(Dialogs, name) && !bInlineValue)
        {
            if (name == "file-selection")
            {
                bFileSelection = true;
            }
            else if (otherDialog.empty())
            {
                otherDialog = arg;
            }
            continue;
        }
        if (Contains(ValueOptions, name))
        {
            if (!bInlineValue && index + 1 == Args.size())
            {
                result.Error = "Missing argument for " + arg;
                return result;
            }
            const std::string value = bInlineValue ? arg.substr(equals + 1) : Args[++index];
            if (name == "title")
            {
                options.Title = value;
            }
            else if (name == "filename")
            {
                options.Path = value;
            }
            else if (name == "separator")
            {
                options.Separator = value;
            }
            else if (name == "file-filter")
            {
                options.Filters.push_back(ParseZenityFileFilter(value));
            }
            else if (name == "ok-label")
            {
                options.AcceptLabel = value;
            }
            else if (name == "cancel-label")
            {
                options.CancelLabel = value;
            }
            continue;
        }
        if (!Contains(FlagOptions, name))
        {
            result.Error = "Unknown option " + arg;
            return result;
        }
        if (bInlineValue)
        {
            result.Error = "Option --" + name + " does not take an argument";
            return result;
        }
        bMultiple = bMultiple || name == "multiple";
        bDirectory = bDirectory || name == "directory";
        options.bSave = options.bSave || name == "save";
        options.bShowHidden = options.bShowHidden || name == "show-hidden";
        options.bVersion = options.bVersion || name == "version";
        if (name == "window" || name == "terminal")
        {
            options.Backend = name == "window" ? ChooserBackend::Window : ChooserBackend::Terminal;
        }
    }

    if (options.bHelp || options.bVersion)
    {
        return result;
    }
    if (!otherDialog.empty())
    {
        result.Error = "only the file selection (--file-selection) is offered here; " + otherDialog +
                       " is not available";
        return result;
    }
    if (!bFileSelection)
    {
        result.Error = "You must specify a dialog type. See '--help' for details";
        return result;
    }
    // A folder chooser stays one even when asked to save (zenity's --directory --save creates a
    // folder, which is the caller's business); saving names one file, so --multiple gives way.
    if (bDirectory)
    {
        options.Mode = Mode::SelectFolder;
        options.bSave = false;
    }
    else if (options.bSave)
    {
        options.Mode = Mode::OpenFile;
    }
    else if (bMultiple)
    {
        options.Mode = Mode::OpenMultipleFiles;
    }
    return result;
}
