// Text made safe and measured for a character terminal. File names are arbitrary bytes: drawn
// raw, an escape sequence in a name could clear the screen, move the cursor or retitle the
// window, and bytes that are not UTF-8 would break the column layout.
#pragma once

#include <string>
#include <string_view>

// Decodes Bytes into characters that are safe to draw: the toolkit's name rule (GLVisibleName)
// first, so that control characters, invalid UTF-8 and invisible characters that reorder or
// hide text become visible escapes (\n, \t, \r, \\ and \xNN for each byte); then whatever this
// terminal cannot print is escaped the same way. Zero-width combining marks stay when they
// follow a printable character. With bUtf8 false (a terminal that is not UTF-8) every byte
// outside printable ASCII is escaped. Measure the result with wcwidth under a
// UTF-8 LC_CTYPE.
std::wstring TerminalSafeText(std::string_view Bytes, bool bUtf8);

// Number of terminal columns that safe text takes.
int TerminalColumns(std::wstring_view Text);

// The columns [FirstColumn, FirstColumn + Width) of safe text, padded with spaces to exactly
// Width columns; a wide character cut by either edge is replaced by spaces.
std::wstring TerminalSlice(std::wstring_view Text, int FirstColumn, int Width);

// Safe text fitted to exactly Width columns: padded when short; when too long, cut and ended
// with Marker (a one-column character) so that the cut is visible.
std::wstring TerminalFit(std::wstring_view Text, int Width, wchar_t Marker);
