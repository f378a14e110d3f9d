// glfiledialog: a file chooser for scripts. Shows the dialog in a window (or in the terminal),
// prints the chosen paths on standard output and reports the outcome in the exit status.

#include "chooser_options.h"
#include "glhost.h"
#include "zenity_options.h"

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
// Built as the command named zenity: only zenity's command line is understood.
#ifndef GLFD_ZENITY_COMMAND
#define GLFD_ZENITY_COMMAND 0
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

// Whether this program runs as zenity: built as that command, or called by that name.
bool RunsAsZenity(const char* Argv0)
{
    if (GLFD_ZENITY_COMMAND != 0)
    {
        return true;
    }
    return Argv0 != nullptr && std::filesystem::path(Argv0).filename() == "zenity";
}

// Sets the panel up as the options ask: mode, save, filters, hidden entries, texts.
void ConfigurePanel(GLFileDialogPanel& Panel, GLChildWindow& Host, const ChooserOptions& Options)
{
    Panel.SetSelectionMode(Options.Mode);
    Panel.SetSaveMode(Options.bSave);
    if (!Options.Filters.empty())
    {
        Panel.SetFileFilters(Options.Filters, 0);
    }
    // As desktop choosers do, names beginning with "." start out of sight, one Ctrl+H away.
    Panel.SetHiddenEntriesToggle(true);
    Panel.SetShowHiddenEntries(Options.bShowHidden);
    if (!Options.Title.empty())
    {
        Host.Title = Options.Title;
        Panel.TitleLabel->Text = Options.Title;
    }
    if (!Options.AcceptLabel.empty())
    {
        Panel.AcceptButton->Label = Options.AcceptLabel;
    }
    if (!Options.CancelLabel.empty())
    {
        Panel.CancelButton->Label = Options.CancelLabel;
    }
}

// Writes the chosen paths as the options ask; false when standard output failed.
bool PrintChosen(const std::vector<std::string>& Chosen, const ChooserOptions& Options)
{
    if (Options.bZenity)
    {
        // zenity's form: the paths joined by the separator, then one newline.
        for (std::size_t i = 0; i < Chosen.size(); ++i)
        {
            std::cout << (i == 0 ? "" : Options.Separator) << Chosen[i];
        }
        std::cout << '\n';
    }
    else
    {
        const char terminator = Options.bPrint0 ? '\0' : '\n';
        for (const std::string& path : Chosen)
        {
            std::cout << path << terminator;
        }
    }
    std::cout.flush();
    return static_cast<bool>(std::cout);
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    const bool bAsZenity = RunsAsZenity(argc > 0 ? argv[0] : nullptr);
    const ChooserParseResult parsed =
        bAsZenity || IsZenityFileSelection(args) ? ParseZenityArguments(args) : ParseChooserArguments(args);
    const char* name = bAsZenity ? "zenity" : "glfiledialog";
    if (!parsed.Error.empty())
    {
        std::cerr << name << ": " << parsed.Error << "\n";
        if (!parsed.Options.bZenity)
        {
            std::cerr << "\n" << ChooserUsage();
        }
        return parsed.ErrorStatus;
    }
    const ChooserOptions& options = parsed.Options;
    if (options.bHelp)
    {
        std::cout << ChooserUsage();
        return ExitChosen;
    }
    if (options.bVersion)
    {
        // zenity prints the bare number, which callers parse.
        std::cout << (options.bZenity ? "" : "glfiledialog ") << GLFD_VERSION << "\n";
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
        ConfigurePanel(Panel, *Panel.HostWindow, options);
        Panel.FilesSelected.connect(
            [&](const std::vector<std::string>& Paths)
            {
                chosen = Paths;
                bAccepted = true;
            });
    };

    std::string error;
    const GLHostResult result = RunChooser(options.Backend, start.native(), setup, error);
    switch (result)
    {
    case GLHostResult::Unavailable:
        std::cerr << name << ": cannot show the dialog: " << error << "\n";
        return options.bZenity ? ZenityErrorStatus : ExitUnavailable;
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
    return PrintChosen(chosen, options) ? ExitChosen : ExitCancelled;
}
