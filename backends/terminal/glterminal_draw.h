// Paints a widget tree with ncursesw: each shown child of a GLWindow at its Bounds, by kind.
#pragma once

#include "gltableview.h"
#include "glwindow.h"

#include <curses.h>

// How one kind of thing looks: attributes and a colour pair (0 for the terminal's own colours).
struct GLTerminalLook
{
    attr_t Attributes = A_NORMAL; // A_BOLD, A_REVERSE...
    short Pair = 0;               // colour pair number
};

// The looks of a session, chosen once from what the terminal offers and NO_COLOR.
struct GLTerminalStyle
{
    GLTerminalLook Normal;        // labels and plain rows
    GLTerminalLook Highlight;     // selected rows and rows of a range
    GLTerminalLook FocusedRow;    // the marker of the row with the keyboard focus
    GLTerminalLook Header;        // table column headers
    GLTerminalLook Field;         // text inputs
    GLTerminalLook FocusedField;  // the focused text input
    GLTerminalLook Button;        // buttons without focus
    GLTerminalLook FocusedButton; // the focused button
    bool bUtf8 = false;           // the terminal takes UTF-8; otherwise non-ASCII bytes are escaped
    wchar_t CutMarker = L'~';     // ends text cut to fit
};

// A screen position; negative when there is none.
struct GLTerminalPoint
{
    int Line = -1;
    int Column = -1;
};

// Draws Content's shown children on stdscr (not refreshed). Tables are scrolled first so that
// a focused row they were asked to show is visible. Returns where the terminal cursor belongs:
// the caret of the focused text input, or none.
GLTerminalPoint DrawTerminalContent(GLWindow& Content, const GLTerminalStyle& Style);
