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
    std::string Path; // empty: the working directory
};

// The parsed options, or an error message (non-empty) for a usage error.
struct ChooserParseResult
{
    ChooserOptions Options;
    std::string Error;
};

// Parses the arguments after the program name.
ChooserParseResult ParseChooserArguments(const std::vector<std::string>& Args);

// The usage text for --help and usage errors.
std::string ChooserUsage();
