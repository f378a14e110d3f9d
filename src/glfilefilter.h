// Named file filters: shell-style name patterns matched without regard to ASCII case.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// Whether Name matches Pattern. '*' matches any run of characters (a leading "." included), '?'
// one character, "[...]" one character of a set with ranges ("[a-z]") and negation ("[!...]" or
// "[^...]"; a ']' right after the opening is literal), and '\' takes the next character literally.
// ASCII letters match either case; other UTF-8 characters match only themselves, and a byte that
// is not valid UTF-8 counts as one character. An unclosed '[' is an ordinary character.
bool GLMatchFilePattern(std::string_view Pattern, std::string_view Name);

// Splits a list of patterns separated by blanks ("*.png *.jpg") into its patterns.
std::vector<std::string> GLSplitFilePatterns(std::string_view Text);

// A filter the user can pick: a name shown in the selector and the patterns it lets through.
struct GLFileFilter
{
    // What the selector shows, e.g. "Images".
    std::string Name;
    // Name patterns, e.g. {"*.png", "*.jpg"}; a file is listed when any of them matches.
    std::vector<std::string> Patterns;

    // Whether a file called FileName passes; a filter without patterns lets every file through.
    bool Matches(std::string_view FileName) const;
    // The extension the first pattern names, with its dot (".pdf" for "*.pdf"), or empty when that
    // pattern is not "*." followed by plain characters.
    std::string DefaultExtension() const;
    // The selector's caption: the name, then the patterns in parentheses ("Images (*.png *.jpg)");
    // the name alone when it already lists them or there are none.
    std::string Caption() const;
};
