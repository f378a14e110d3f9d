// glfiledialog: a file chooser for scripts. Shows the dialog in a window (or in the terminal),
// prints the chosen paths on standard output and reports the outcome in the exit status.

#include "chooser_options.h"
#include "glhost.h"

#if GLFD_HAVE_WINDOW
#include "window_shell.h"
#endif
#if GLFD_HAVE_TERMINAL
#include "glterminal_host.h"
#endif

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#ifndef GLFD_VERSION
#define GLFD_VERSION "unknown"
#endif

namespace
{

enum ExitStatus : int
{
    ExitChosen = 0,
    ExitCancelled = 1,
    ExitUsage = 2,
    ExitUnavailable = 3,
    ExitInterrupted = 130,
};

bool HasDisplay()
{
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"})
    {
        const char* value = std::getenv(name);
        if (value != nullptr && value[0] != '\0')
        {
            return true;
        }
    }
    return false;
}

// Connects a panel to the chooser's result and sets its mode.
using PanelSetup = std::function<void(GLFileDialogPanel&)>;

GLHostResult RunWindow(const std::string& Path, const PanelSetup& Setup, std::string& Error)
{
#if GLFD_HAVE_WINDOW
    return RunWindowChooser(Path, Setup, Error);
#else
    (void)Path;
    (void)Setup;
    Error = "this build has no window support";
    return GLHostResult::Unavailable;
#endif
}

GLHostResult RunTerminal(const std::string& Path, const PanelSetup& Setup, std::string& Error)
{
#if GLFD_HAVE_TERMINAL
    GLFileDialogPanel panel;
    GLChildWindow host;
    host.SetContent(&panel);
    Setup(panel);
    panel.OpenAtPath(Path);
    return RunTerminalHost(host, Error);
#else
    (void)Path;
    (void)Setup;
    Error = "this build has no terminal support";
    return GLHostResult::Unavailable;
#endif
}

// Runs the dialog with the backend the options ask for; Auto prefers a window when a
// display is set and falls back to the terminal.
GLHostResult RunChooser(ChooserBackend Backend, const std::string& Path, const PanelSetup& Setup,
                        std::string& Error)
{
    switch (Backend)
    {
    case ChooserBackend::Window:
        return RunWindow(Path, Setup, Error);
    case ChooserBackend::Terminal:
        return RunTerminal(Path, Setup, Error);
    case ChooserBackend::Auto:
    default:
        break;
    }
    if (HasDisplay())
    {
        std::string windowError;
        const GLHostResult result = RunWindow(Path, Setup, windowError);
        if (result != GLHostResult::Unavailable)
        {
            return result;
        }
        const GLHostResult terminalResult = RunTerminal(Path, Setup, Error);
        if (terminalResult == GLHostResult::Unavailable)
        {
            Error = windowError + "; " + Error;
        }
        return terminalResult;
    }
    return RunTerminal(Path, Setup, Error);
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    const ChooserParseResult parsed = ParseChooserArguments(args);
    if (!parsed.Error.empty())
    {
        std::cerr << "glfiledialog: " << parsed.Error << "\n\n" << ChooserUsage();
        return ExitUsage;
    }
    const ChooserOptions& options = parsed.Options;
    if (options.bHelp)
    {
        std::cout << ChooserUsage();
        return ExitChosen;
    }
    if (options.bVersion)
    {
        std::cout << "glfiledialog " << GLFD_VERSION << "\n";
        return ExitChosen;
    }

    // A relative PATH means relative to where the command runs, as for any other tool.
    std::error_code ec;
    std::filesystem::path start =
        options.Path.empty() ? std::filesystem::current_path(ec) : std::filesystem::path(options.Path);
    if (!start.empty() && !start.is_absolute())
    {
        start = std::filesystem::absolute(start, ec);
    }

    std::vector<std::string> chosen;
    bool bAccepted = false;
    const PanelSetup setup = [&](GLFileDialogPanel& Panel)
    {
        Panel.FilesSelected.connect(
            [&](const std::vector<std::string>& Paths)
            {
                chosen = Paths;
                bAccepted = true;
            });
        Panel.SetSelectionMode(options.Mode);
    };

    std::string error;
    const GLHostResult result = RunChooser(options.Backend, start.native(), setup, error);
    switch (result)
    {
    case GLHostResult::Unavailable:
        std::cerr << "glfiledialog: cannot show the dialog: " << error << "\n";
        return ExitUnavailable;
    case GLHostResult::Interrupted:
        return ExitInterrupted;
    case GLHostResult::Finished:
    case GLHostResult::Closed:
    default:
        break;
    }
    if (!bAccepted || chosen.empty())
    {
        return ExitCancelled;
    }
    const char terminator = options.bPrint0 ? '\0' : '\n';
    for (const std::string& path : chosen)
    {
        std::cout << path << terminator;
    }
    std::cout.flush();
    return std::cout ? ExitChosen : ExitCancelled;
}
