// The chooser's zenity-compatible file-selection command line: its parser.
#pragma once

// zenity's command line for its file selection, read as zenity reads it, into the chooser's options.

#include "chooser_options.h"

#include <string>
#include <vector>

// Exit status of a zenity command line that cannot be served (zenity's own for errors).
constexpr int ZenityErrorStatus = 255;

// Whether the arguments are a zenity file selection (they hold --file-selection).
bool IsZenityFileSelection(const std::vector<std::string>& Args);

// Parses a zenity command line. Options take values as "--name=VALUE" or "--name VALUE"; every
// option zenity knows is accepted, and those without meaning here are ignored. Dialogs other than
// the file selection, a missing dialog, two dialogs and unknown options are errors with status 255.
ChooserParseResult ParseZenityArguments(const std::vector<std::string>& Args);

// A --file-filter value: "NAME | PATTERN ...", "NAME|PATTERN ..." or bare patterns, which then
// also name the filter.
GLFileFilter ParseZenityFileFilter(const std::string& Text);
