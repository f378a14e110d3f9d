// Parsing of the chooser's own command line, and its usage text.
#include "chooser_options.h"

namespace
{

using Mode = GLFileDialogPanel::SelectionMode;

} // namespace

ChooserParseResult ParseChooserArguments(const std::vector<std::string>& Args)
{
    ChooserParseResult result;
    ChooserOptions& options = result.Options;
    bool bModeGiven = false;
    bool bBackendGiven = false;
    bool bPathGiven = false;
    bool bOptionsEnded = false;

    const auto setMode = [&](Mode NewMode, const std::string& Flag)
    {
        if (bModeGiven && options.Mode != NewMode)
        {
            result.Error = "only one of --open, --multiple and --folder may be given (" + Flag + ")";
            return;
        }
        bModeGiven = true;
        options.Mode = NewMode;
    };
    const auto setBackend = [&](ChooserBackend NewBackend, const std::string& Flag)
    {
        if (bBackendGiven && options.Backend != NewBackend)
        {
            result.Error = "--window and --terminal exclude each other (" + Flag + ")";
            return;
        }
        bBackendGiven = true;
        options.Backend = NewBackend;
    };

    for (std::size_t index = 0; index < Args.size(); ++index)
    {
        const std::string& arg = Args[index];
        if (!bOptionsEnded && arg.size() > 1 && arg[0] == '-')
        {
            if (arg == "--filter" || arg.rfind("--filter=", 0) == 0)
            {
                if (arg == "--filter" && index + 1 == Args.size())
                {
                    result.Error = "--filter needs a value, e.g. --filter='Images:*.png *.jpg'";
                    return result;
                }
                options.Filters.push_back(ParseChooserFilter(
                    arg == "--filter" ? Args[++index] : arg.substr(sizeof("--filter=") - 1)));
            }
            else if (arg == "--save")
            {
                options.bSave = true;
            }
            else if (arg == "--show-hidden")
            {
                options.bShowHidden = true;
            }
            else if (arg == "--")
            {
                bOptionsEnded = true;
            }
            else if (arg == "--open")
            {
                setMode(Mode::OpenFile, arg);
            }
            else if (arg == "--multiple")
            {
                setMode(Mode::OpenMultipleFiles, arg);
            }
            else if (arg == "--folder")
            {
                setMode(Mode::SelectFolder, arg);
            }
            else if (arg == "--print0")
            {
                options.bPrint0 = true;
            }
            else if (arg == "--window")
            {
                setBackend(ChooserBackend::Window, arg);
            }
            else if (arg == "--terminal")
            {
                setBackend(ChooserBackend::Terminal, arg);
            }
            else if (arg == "--help" || arg == "-h")
            {
                options.bHelp = true;
            }
            else if (arg == "--version")
            {
                options.bVersion = true;
            }
            else
            {
                result.Error = "unknown option '" + arg + "'";
            }
        }
        else if (bPathGiven)
        {
            result.Error = "only one PATH may be given ('" + arg + "')";
        }
        else
        {
            bPathGiven = true;
            options.Path = arg;
        }
        if (!result.Error.empty())
        {
            return result;
        }
    }
    if (options.bSave && options.Mode != Mode::OpenFile)
    {
        result.Error = "--save chooses one file: it cannot be combined with --multiple or --folder";
    }
    return result;
}

GLFileFilter ParseChooserFilter(const std::string& Text)
{
    const std::size_t colon = Text.find(':');
    GLFileFilter filter;
    filter.Patterns = GLSplitFilePatterns(colon == std::string::npos ? Text : Text.substr(colon + 1));
    filter.Name = colon == std::string::npos ? Text : Text.substr(0, colon);
    const std::size_t begin = filter.Name.find_first_not_of(" \t");
    filter.Name = begin == std::string::npos
                      ? std::string()
                      : filter.Name.substr(begin, filter.Name.find_last_not_of(" \t") - begin + 1);
    return filter;
}

std::string ChooserUsage()
{
    return "Usage: glfiledialog [--open | --multiple | --folder | --save] [--filter=NAME:PATTERNS]...\n"
           "                    [--show-hidden] [--print0] [--window | --terminal] [PATH]\n"
           "       glfiledialog --file-selection [ZENITY OPTIONS...]\n"
           "\n"
           "Lets you choose files or a folder, or a name to save as, and prints the chosen paths.\n"
           "\n"
           "  --open         choose one file (default)\n"
           "  --multiple     choose several files (Shift-click or Shift+arrows for a range)\n"
           "  --folder       choose a folder\n"
           "  --save         choose a folder and type a name; an existing file is confirmed first\n"
           "  --filter=NAME:PATTERNS\n"
           "                 offer a filter, e.g. --filter='Images:*.png *.jpg' (repeatable; the\n"
           "                 first is active; bare patterns name themselves)\n"
           "  --show-hidden  list names beginning with \".\" from the start (Ctrl+H toggles)\n"
           "  --print0       end each path with a NUL byte instead of a newline\n"
           "  --window       use a window (needs a display)\n"
           "  --terminal     draw in the terminal (the controlling terminal, not standard output)\n"
           "  --help         show this text\n"
           "  --version      show the version\n"
           "\n"
           "PATH is the folder to start in, or a file to pre-select; with --save, a name to propose\n"
           "(default: the working directory). Each chosen path is printed on its own line.\n"
           "Exit status: 0 chosen, 1 cancelled, 2 usage error, 3 no display or terminal, 130 interrupted.\n"
           "\n"
           "zenity-compatible file selection (output: the paths joined by the separator, then one\n"
           "newline; exit status 0 chosen, 1 cancelled, 255 error):\n"
           "  --file-selection            show the file selection (required for these options)\n"
           "  --multiple                  choose several files\n"
           "  --directory                 choose a folder\n"
           "  --save                      choose a name to save as (existing files are confirmed)\n"
           "  --confirm-overwrite         accepted; an existing file is always confirmed\n"
           "  --filename=PATH             a folder to start in when it ends in \"/\", a file to\n"
           "                              pre-select, or with --save a name to propose\n"
           "  --separator=SEP             put SEP between paths (default \"|\")\n"
           "  --file-filter='NAME | PATTERN ...'  offer a filter (repeatable; the first is active)\n"
           "  --title=TEXT                the dialog's title\n"
           "  --ok-label=TEXT, --cancel-label=TEXT  the buttons' captions\n"
           "  --width, --height, --timeout, --modal, --attach and zenity's other options are\n"
           "  accepted and have no effect; --window, --terminal and --show-hidden work here too.\n"
           "Options take their value as --option=VALUE or --option VALUE. Other zenity dialogs\n"
           "(--info, --question, --entry, ...) are not offered: they fail with status 255.\n";
}
