// Paints a widget tree with ncursesw: each shown child of a GLWindow at its Bounds, by kind.
#include "glterminal_draw.h"

#include "glbutton.h"
#include "glchoice.h"
#include "gllabel.h"
#include "glterminal_text.h"
#include "gltextinput.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

namespace
{

constexpr int MarkerColumns = 2;   // "> " before the focused row
constexpr int ColumnGap = 2;       // between table columns
constexpr int MinNameColumns = 12; // narrower than this, columns on the right give way
constexpr int MaxOtherColumns = 24;

// A widget's rectangle in whole cells, clipped to the screen.
struct Cells
{
    int X = 0;
    int Y = 0;
    int Width = 0;
    int Height = 0;
};

Cells ToCells(const GLRect& Rect)
{
    const int left = std::max(0, static_cast<int>(std::lround(Rect.X)));
    const int top = std::max(0, static_cast<int>(std::lround(Rect.Y)));
    const int right = std::min(COLS, static_cast<int>(std::lround(Rect.X + Rect.Width)));
    const int bottom = std::min(LINES, static_cast<int>(std::lround(Rect.Y + Rect.Height)));
    return Cells{left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

void Put(int Line, int Column, const std::wstring& Text, const GLTerminalLook& Look)
{
    wattr_set(stdscr, Look.Attributes, Look.Pair, nullptr);
    mvwaddnwstr(stdscr, Line, Column, Text.c_str(), static_cast<int>(Text.size()));
    wattr_set(stdscr, A_NORMAL, 0, nullptr);
}

// Columns a cell takes; plain ASCII (the usual size and date cells) skips the decoding.
int CellColumns(const std::string& Text, bool bUtf8)
{
    const bool bPlain =
        std::all_of(Text.begin(), Text.end(), [](char c) { return c >= 0x20 && c < 0x7F && c != '\\'; });
    return bPlain ? static_cast<int>(Text.size()) : TerminalColumns(TerminalSafeText(Text, bUtf8));
}

// Widths of the shown columns: every column but the first as wide as its widest cell (capped),
// the first taking the rest. Columns on the right are dropped while the first gets too narrow.
std::vector<int> ColumnWidths(const GLTableModel& Model, int Width, bool bUtf8)
{
    const int count = std::max(1, Model.HeaderCount());
    std::vector<int> widths(static_cast<std::size_t>(count), 0);
    for (int column = 1; column < count; ++column)
    {
        const std::string* header = Model.HeaderAt(column);
        int widest = header != nullptr ? CellColumns(*header, bUtf8) : 0;
        for (int row = 0; row < Model.RowCount(); ++row)
        {
            const std::string* cell = Model.CellAt(row, column);
            widest = std::max(widest, cell != nullptr ? CellColumns(*cell, bUtf8) : 0);
        }
        widths[static_cast<std::size_t>(column)] = std::min(widest, MaxOtherColumns);
    }
    const auto firstWidth = [&widths, Width]
    {
        int used = MarkerColumns;
        for (std::size_t column = 1; column < widths.size(); ++column)
        {
            used += ColumnGap + widths[column];
        }
        return Width - used;
    };
    while (widths.size() > 1 && firstWidth() < MinNameColumns)
    {
        widths.pop_back();
    }
    widths[0] = std::max(0, firstWidth());
    return widths;
}

// One table line: the marker area, then each shown column fitted to its width.
std::wstring TableLine(const std::vector<const std::string*>& Texts, const std::vector<int>& Widths,
                       int Width, const GLTerminalStyle& Style)
{
    std::wstring line(MarkerColumns, L' ');
    for (std::size_t column = 0; column < Widths.size(); ++column)
    {
        if (column > 0)
        {
            line.append(ColumnGap, L' ');
        }
        const std::string* text = column < Texts.size() ? Texts[column] : nullptr;
        const std::wstring safe = text != nullptr ? TerminalSafeText(*text, Style.bUtf8) : std::wstring();
        line += TerminalFit(safe, Widths[column], Style.CutMarker);
    }
    return TerminalSlice(line, 0, Width);
}

void DrawTable(GLTableView& Table, const Cells& Box, const GLTerminalStyle& Style, bool bFocused)
{
    const int visible = Box.Height - 1;
    Table.RevealInLines(visible);
    if (!Table.Model)
    {
        return;
    }
    const GLTableModel& model = *Table.Model;
    const std::vector<int> widths = ColumnWidths(model, Box.Width, Style.bUtf8);

    std::vector<const std::string*> texts;
    texts.reserve(widths.size());
    for (int column = 0; column < static_cast<int>(widths.size()); ++column)
    {
        texts.push_back(model.HeaderAt(column));
    }
    Put(Box.Y, Box.X, TableLine(texts, widths, Box.Width, Style), Style.Header);

    for (int line = 0; line < visible; ++line)
    {
        const int row = Table.TopRow + line;
        if (row >= model.RowCount())
        {
            break;
        }
        for (std::size_t column = 0; column < texts.size(); ++column)
        {
            texts[column] = model.CellAt(row, static_cast<int>(column));
        }
        const GLTerminalLook& look = Table.IsRowHighlighted(row) ? Style.Highlight : Style.Normal;
        Put(Box.Y + 1 + line, Box.X, TableLine(texts, widths, Box.Width, Style), look);
        if (row == Table.FocusedRow && Box.Width > 0)
        {
            const GLTerminalLook marker{look.Attributes | (bFocused ? Style.FocusedRow.Attributes : A_NORMAL),
                                        look.Pair};
            Put(Box.Y + 1 + line, Box.X, L">", marker);
        }
    }
}

// Draws the visible part of the text around the caret; returns the caret's screen position.
GLTerminalPoint DrawInput(const GLTextInput& Input, const Cells& Box, const GLTerminalStyle& Style,
                          bool bFocused)
{
    const std::string_view bytes = Input.Text;
    const std::wstring text = TerminalSafeText(bytes, Style.bUtf8);
    const int caret = TerminalColumns(TerminalSafeText(bytes.substr(0, Input.Cursor), Style.bUtf8));
    // Keep the caret on screen; one spare column so that it can sit after the last character.
    const int first = std::max(0, caret - (Box.Width - 1));
    Put(Box.Y, Box.X, TerminalSlice(text, first, Box.Width), bFocused ? Style.FocusedField : Style.Field);
    return GLTerminalPoint{Box.Y, Box.X + std::min(caret - first, Box.Width - 1)};
}

void DrawButton(const GLButton& Button, const Cells& Box, const GLTerminalStyle& Style, bool bFocused)
{
    const std::wstring label = TerminalSafeText(Button.Label, Style.bUtf8);
    std::wstring text = L"[ " + label + L" ]";
    if (TerminalColumns(text) > Box.Width)
    {
        text = L"[" + label + L"]";
    }
    const int pad = std::max(0, (Box.Width - TerminalColumns(text)) / 2);
    Put(Box.Y, Box.X + pad, TerminalFit(text, Box.Width - pad, Style.CutMarker),
        bFocused ? Style.FocusedButton : Style.Button);
}

// "Prefix < chosen item >": the arrows say that a key or a click changes it.
void DrawChoice(const GLChoice& Choice, const Cells& Box, const GLTerminalStyle& Style, bool bFocused)
{
    const std::wstring prefix = TerminalSafeText(Choice.Prefix, Style.bUtf8);
    const std::wstring text = (prefix.empty() ? L"" : prefix + L" ") + L"< " +
                              TerminalSafeText(Choice.SelectedText(), Style.bUtf8) + L" >";
    Put(Box.Y, Box.X, TerminalFit(text, Box.Width, Style.CutMarker),
        bFocused ? Style.FocusedButton : Style.Button);
}

// Draws each kind of widget in its box.
class WidgetPainter : public GLWidgetVisitor
{
public:
    WidgetPainter(const Cells& InBox, const GLTerminalStyle& InStyle, bool bInFocused)
        : Box(InBox), Style(InStyle), bFocused(bInFocused)
    {
    }

    // Where the caret of a focused text input is; none otherwise.
    GLTerminalPoint Caret;

    void Visit(GLTableView& Table) override { DrawTable(Table, Box, Style, bFocused); }
    void Visit(GLTextInput& Input) override
    {
        const GLTerminalPoint at = DrawInput(Input, Box, Style, bFocused);
        if (bFocused)
        {
            Caret = at;
        }
    }
    void Visit(GLButton& Button) override { DrawButton(Button, Box, Style, bFocused); }
    void Visit(GLChoice& Choice) override { DrawChoice(Choice, Box, Style, bFocused); }
    void Visit(GLLabel& Label) override
    {
        Put(Box.Y, Box.X, TerminalFit(TerminalSafeText(Label.Text, Style.bUtf8), Box.Width, Style.CutMarker),
            Style.Normal);
    }

private:
    const Cells& Box;
    const GLTerminalStyle& Style;
    bool bFocused;
};

} // namespace

GLTerminalPoint DrawTerminalContent(GLWindow& Content, const GLTerminalStyle& Style)
{
    GLTerminalPoint caret;
    for (const auto& child : Content.Children)
    {
        if (!child || !child->bShown)
        {
            continue;
        }
        const Cells box = ToCells(child->Bounds);
        if (box.Width <= 0 || box.Height <= 0)
        {
            continue;
        }
        WidgetPainter painter(box, Style, Content.FocusedWidget == child.get());
        child->Accept(painter);
        if (painter.Caret.Line >= 0)
        {
            caret = painter.Caret;
        }
    }
    return caret;
}
