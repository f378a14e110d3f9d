#include "gltableview.h"

#include <algorithm>
#include <cctype>

namespace
{

std::string LowerAscii(std::string Text)
{
    for (char& c : Text)
    {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return Text;
}

} // namespace

int GLTableView::RowCount() const
{
    return Model ? Model->RowCount() : 0;
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
    if (SelectedRow == -1 && FocusedRow == -1 && !bRangeSelection && RangeAnchorRow == -1 && RangeEndRow == -1)
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
        // The anchor is where the last plain click or move left it; failing that, where we were.
        int anchor = RangeAnchorRow;
        if (anchor < 0 || anchor >= rows)
        {
            const int current = SelectedRow >= 0 ? SelectedRow : FocusedRow;
            anchor = (current >= 0 && current < rows) ? current : Row;
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

bool GLTableView::HandleKey(GLKey Key, GLModifiers Mods)
{
    if (Mods.bAlt || Mods.bCtrl)
    {
        return false;
    }
    const int rows = RowCount();
    const int current = SelectedRow >= 0 && SelectedRow < rows ? SelectedRow
                        : FocusedRow >= 0 && FocusedRow < rows ? FocusedRow
                                                               : -1;
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
    if (rows == 0)
    {
        return true;
    }
    TypeAheadText.clear();
    target = std::clamp(target, 0, rows - 1);
    MoveTo(target, Mods.bShift);
    KeepInView(target);
    return true;
}

bool GLTableView::HandleText(const char* Utf8, double NowSeconds)
{
    if (Utf8 == nullptr || static_cast<unsigned char>(Utf8[0]) < 0x20U || Utf8[0] == 0x7F)
    {
        return false;
    }
    if (TypeAheadLastTime < 0.0 || NowSeconds - TypeAheadLastTime > TypeAheadResetSeconds)
    {
        TypeAheadText.clear();
    }
    TypeAheadLastTime = NowSeconds;
    TypeAheadText += LowerAscii(Utf8);

    const int rows = RowCount();
    if (rows == 0)
    {
        return true;
    }
    // Repeating one character cycles through the names that start with it.
    std::string prefix = TypeAheadText;
    const bool bRepeated = prefix.find_first_not_of(prefix[0]) == std::string::npos;
    if (bRepeated && prefix.size() > 1)
    {
        prefix.resize(1);
    }
    const int current = SelectedRow >= 0 && SelectedRow < rows ? SelectedRow : FocusedRow;
    // A new or cycling prefix starts after the current row; a growing one may stay on it.
    const int start = (prefix.size() == 1 || current < 0) ? current + 1 : current;
    for (int step = 0; step < rows; ++step)
    {
        const int row = ((start + step) % rows + rows) % rows;
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
