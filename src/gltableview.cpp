// GLTableView: selection, keyboard, pointer, type-ahead and scrolling behaviour.
#include "gltableview.h"

#include "gltext.h"

#include <algorithm>
#include <cmath>

namespace
{

// ASCII-only folding: the byte-wise tolower of some locales would corrupt UTF-8 names.
std::string LowerAscii(std::string Text)
{
    for (char& c : Text)
    {
        if (c >= 'A' && c <= 'Z')
        {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return Text;
}

// Length in bytes of the UTF-8 character that starts the text (0 for an empty text).
std::size_t FirstCharLength(const std::string& Text)
{
    return Text.empty() ? 0 : GLDecodeUtf8(Text, 0).Length;
}

// Whether the text is one character typed one or more times.
bool IsOneCharRepeated(const std::string& Text, std::size_t CharLength)
{
    if (CharLength == 0 || Text.size() % CharLength != 0)
    {
        return false;
    }
    for (std::size_t at = CharLength; at < Text.size(); at += CharLength)
    {
        if (Text.compare(at, CharLength, Text, 0, CharLength) != 0)
        {
            return false;
        }
    }
    return true;
}

} // namespace

int GLTableView::RowCount() const
{
    return Model ? Model->RowCount() : 0;
}

int GLTableView::CurrentRow() const
{
    const int rows = RowCount();
    if (SelectedRow >= 0 && SelectedRow < rows)
    {
        return SelectedRow;
    }
    return FocusedRow >= 0 && FocusedRow < rows ? FocusedRow : -1;
}

bool GLTableView::IsRowHighlighted(int Row) const
{
    if (Row < 0 || Row >= RowCount())
    {
        return false;
    }
    if (bRangeSelection)
    {
        return Row >= std::min(RangeAnchorRow, RangeEndRow) && Row <= std::max(RangeAnchorRow, RangeEndRow);
    }
    return Row == SelectedRow;
}

void GLTableView::ClearSelection()
{
    if (SelectedRow == -1 && FocusedRow == -1 && !bRangeSelection && RangeAnchorRow == -1 &&
        RangeEndRow == -1)
    {
        return;
    }
    SelectedRow = -1;
    FocusedRow = -1;
    bRangeSelection = false;
    RangeAnchorRow = -1;
    RangeEndRow = -1;
    SelectionChanged.emit();
}

void GLTableView::DropRange()
{
    bRangeSelection = false;
    RangeAnchorRow = CurrentRow();
    RangeEndRow = RangeAnchorRow;
}

void GLTableView::ResetView()
{
    DropRange();
    TypeAheadText.clear();
    TypeAheadLastTime = -1.0;
    TopRow = 0;
    KeepInView(std::max(0, CurrentRow()));
}

void GLTableView::MoveTo(int Row, bool bExtend)
{
    const int rows = RowCount();
    if (rows == 0)
    {
        ClearSelection();
        return;
    }
    Row = std::clamp(Row, 0, rows - 1);
    const int oldSelected = SelectedRow;
    const int oldFocused = FocusedRow;
    const bool oldRange = bRangeSelection;
    const int oldAnchor = RangeAnchorRow;
    const int oldEnd = RangeEndRow;

    if (bExtend)
    {
        // A range in force keeps its anchor; otherwise it starts at the row the user sees as
        // current. The stored anchor alone may be stale: the program moves or clears the
        // selected row (new listing, mode change) without touching it.
        int anchor = bRangeSelection ? RangeAnchorRow : -1;
        if (anchor < 0 || anchor >= rows)
        {
            const int current = CurrentRow();
            anchor = current >= 0 ? current : Row;
        }
        RangeAnchorRow = anchor;
        RangeEndRow = Row;
        bRangeSelection = true;
    }
    else
    {
        RangeAnchorRow = Row;
        RangeEndRow = Row;
        bRangeSelection = false;
    }
    SelectedRow = Row;
    FocusedRow = Row;

    if (oldSelected != SelectedRow || oldFocused != FocusedRow || oldRange != bRangeSelection ||
        oldAnchor != RangeAnchorRow || oldEnd != RangeEndRow)
    {
        SelectionChanged.emit();
    }
}

void GLTableView::KeepInView(int Row)
{
    const int page = std::max(1, PageRows);
    if (Row < TopRow)
    {
        TopRow = Row;
    }
    else if (Row >= TopRow + page)
    {
        TopRow = Row - page + 1;
    }
    TopRow = std::max(0, std::min(TopRow, std::max(0, RowCount() - page)));
    bScrollToFocus = true;
}

void GLTableView::ClickRow(int Row, GLModifiers Mods)
{
    if (Row < 0 || Row >= RowCount())
    {
        ClearSelection();
        return;
    }
    TypeAheadText.clear();
    MoveTo(Row, Mods.bShift);
}

void GLTableView::DoubleClickRow(int Row)
{
    if (Row < 0 || Row >= RowCount())
    {
        return;
    }
    ClickRow(Row, GLModifiers{});
    RowActivated.emit(Row);
}

void GLTableView::ScrollBy(int Rows)
{
    const int page = std::max(1, PageRows);
    TopRow = std::max(0, std::min(TopRow + Rows, std::max(0, RowCount() - page)));
}

void GLTableView::PressRow(int Row, int ClickCount, GLModifiers Mods)
{
    if (ClickCount >= 2 && Row >= 0 && Row < RowCount())
    {
        DoubleClickRow(Row);
        return;
    }
    ClickRow(Row, Mods);
}

int GLTableView::RowAtY(float Y, float LineHeight) const
{
    if (LineHeight <= 0.0F)
    {
        return -1;
    }
    const float line = std::floor((Y - Bounds.Y) / LineHeight);
    if (!(line >= 1.0F) || line > static_cast<float>(1 << 30))
    {
        return -1;
    }
    return TopRow + static_cast<int>(line) - 1;
}

std::vector<GLDrawnRow> GLTableView::VisibleRows(float LineHeight) const
{
    std::vector<GLDrawnRow> rows;
    if (LineHeight <= 0.0F)
    {
        return rows;
    }
    const int fit = std::max(0, static_cast<int>(std::floor(Bounds.Height / LineHeight)) - 1);
    for (int line = 0; line < fit && TopRow + line < RowCount(); ++line)
    {
        const float y = Bounds.Y + static_cast<float>(line + 1) * LineHeight;
        rows.push_back(GLDrawnRow{TopRow + line, GLRect{Bounds.X, y, Bounds.Width, LineHeight}});
    }
    return rows;
}

int GLTableView::TakeRowToReveal()
{
    const bool bAsked = bScrollToFocus || FocusedRow != RevealedRow;
    bScrollToFocus = false;
    RevealedRow = FocusedRow;
    return bAsked && FocusedRow >= 0 && FocusedRow < RowCount() ? FocusedRow : -1;
}

void GLTableView::RevealInLines(int VisibleLines)
{
    const int visible = std::max(1, VisibleLines);
    const int row = TakeRowToReveal();
    if (row >= 0 && row < TopRow)
    {
        TopRow = row;
    }
    else if (row >= TopRow + visible)
    {
        TopRow = row - visible + 1;
    }
    TopRow = std::clamp(TopRow, 0, std::max(0, RowCount() - visible));
}

void GLTableView::Accept(GLWidgetVisitor& Visitor)
{
    Visitor.Visit(*this);
}

void GLTableView::Accept(GLConstWidgetVisitor& Visitor) const
{
    Visitor.Visit(*this);
}

bool GLTableView::HandleKey(GLKey Key, GLModifiers Mods)
{
    if (Mods.bAlt || Mods.bCtrl)
    {
        return false;
    }
    const int rows = RowCount();
    const int current = CurrentRow();
    const int page = std::max(1, PageRows);
    int target = 0;
    switch (Key)
    {
    case GLKey::Enter:
        RowActivated.emit(current);
        return true;
    case GLKey::Down:
        target = current < 0 ? 0 : current + 1;
        break;
    case GLKey::Up:
        target = current < 0 ? 0 : current - 1;
        break;
    case GLKey::PageDown:
        target = current < 0 ? 0 : current + page;
        break;
    case GLKey::PageUp:
        target = current < 0 ? 0 : current - page;
        break;
    case GLKey::Home:
        target = 0;
        break;
    case GLKey::End:
        target = rows - 1;
        break;
    default:
        return false;
    }
    TypeAheadText.clear();
    if (rows == 0)
    {
        ClearSelection();
        return true;
    }
    target = std::clamp(target, 0, rows - 1);
    MoveTo(target, Mods.bShift);
    KeepInView(target);
    return true;
}

bool GLTableView::HandleText(const char* Utf8, double NowSeconds)
{
    std::string typed;
    for (const char* c = Utf8; c != nullptr && *c != '\0'; ++c)
    {
        const auto byte = static_cast<unsigned char>(*c);
        if (byte >= 0x20U && byte != 0x7FU)
        {
            typed.push_back(*c);
        }
    }
    if (typed.empty())
    {
        return false;
    }
    if (TypeAheadLastTime < 0.0 || NowSeconds - TypeAheadLastTime > TypeAheadResetSeconds)
    {
        TypeAheadText.clear();
    }
    TypeAheadLastTime = NowSeconds;
    TypeAheadText += LowerAscii(typed);

    const int rows = RowCount();
    if (rows == 0)
    {
        return true;
    }
    // Repeating one character cycles through the names that start with it.
    const std::size_t firstLength = FirstCharLength(TypeAheadText);
    const bool bOneChar = IsOneCharRepeated(TypeAheadText, firstLength);
    const std::string prefix = bOneChar ? TypeAheadText.substr(0, firstLength) : TypeAheadText;
    const int current = CurrentRow();
    // A new or cycling prefix starts after the current row; a growing one may stay on it.
    const int start = bOneChar ? current + 1 : std::max(0, current);
    for (int step = 0; step < rows; ++step)
    {
        const int row = (start + step) % rows;
        const std::string* name = Model->CellAt(row, 0);
        if (name != nullptr && LowerAscii(name->substr(0, prefix.size())) == prefix)
        {
            MoveTo(row, false);
            KeepInView(row);
            break;
        }
    }
    return true;
}
