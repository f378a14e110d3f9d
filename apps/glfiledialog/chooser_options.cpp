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

    for (const std::string& arg : Args)
    {
        if (!bOptionsEnded && arg.size() > 1 && arg[0] == '-')
        {
            if (arg == "--")
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
    return result;
}

std::string ChooserUsage()
{
    return "Usage: glfiledialog [--open | --multiple | --folder] [--print0] [--window | --terminal] [PATH]\n"
           "\n"
           "Lets you choose files or a folder and prints the chosen paths, one per line.\n"
           "\n"
           "  --open       choose one file (default)\n"
           "  --multiple   choose several files (Shift-click or Shift+arrows for a range)\n"
           "  --folder     choose a folder\n"
           "  --print0     end each path with a NUL byte instead of a newline\n"
           "  --window     use a window (needs a display)\n"
           "  --terminal   draw in the terminal (the controlling terminal, not standard output)\n"
           "  --help       show this text\n"
           "  --version    show the version\n"
           "\n"
           "PATH is the folder to start in, or a file to pre-select (default: the working directory).\n"
           "\n"
           "Exit status: 0 chosen, 1 cancelled, 2 usage error, 3 no display or terminal, 130 interrupted.\n";
}
