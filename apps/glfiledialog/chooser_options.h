// The chooser's own command line: what it asks for, its parser and its usage text.
#pragma once

#include "glfiledialogpanel.h"

#include <string>
#include <vector>

// Which user interface the chooser uses.
enum class ChooserBackend
{
    Auto,     // the window when a display is available, else the terminal
    Window,   // --window
    Terminal, // --terminal
};

// What the command line asked for.
struct ChooserOptions
{
    GLFileDialogPanel::SelectionMode Mode = GLFileDialogPanel::SelectionMode::OpenFile;
    bool bPrint0 = false;
    bool bHelp = false;
    bool bVersion = false;
    ChooserBackend Backend = ChooserBackend::Auto;
    std::string Path;                  // empty: the working directory
    bool bSave = false;                // --save: choose a name to save as
    std::vector<GLFileFilter> Filters; // --filter, in order; the first is active
    bool bShowHidden = false;          // --show-hidden: list names beginning with "."

    // Set by the zenity-compatible command line (--file-selection): zenity's output and statuses.
    bool bZenity = false;
    std::string Separator = "|"; // between chosen paths; one newline ends the output
    std::string Title;           // the window's and the dialog's title; empty: the mode's own
    std::string AcceptLabel;     // --ok-label; empty: the mode's own
    std::string CancelLabel;     // --cancel-label; empty: "Cancel"
};

// The parsed options, or an error message (non-empty) and the exit status it calls for.
struct ChooserParseResult
{
    ChooserOptions Options;
    std::string Error;
    int ErrorStatus = 2;
};

// Parses the arguments after the program name.
ChooserParseResult ParseChooserArguments(const std::vector<std::string>& Args);

// A filter given as "NAME:PATTERN ..." (or bare patterns, which also name it).
GLFileFilter ParseChooserFilter(const std::string& Text);

// The usage text for --help and usage errors: our own flags and the zenity-compatible ones.
std::string ChooserUsage();
