// GLTableView: a table over a shared model, with selection, pointer and scrolling operations.
#pragma once

#include "gltablemodel.h"
#include "glwidget.h"
#include "signalslot.h"

#include <memory>
#include <string>
#include <vector>

// A table of rows from a shared GLTableModel with file-manager selection behaviour:
// click, shift-click ranges, keyboard movement, activation and type-ahead.
class GLTableView : public GLWidget
{
public:
    // The rows shown; shared with the code that fills them.
    std::shared_ptr<GLTableModel> Model;

    // Row with the keyboard focus; -1 for none.
    int FocusedRow = -1;
    // The selected (clicked) row; -1 for none.
    int SelectedRow = -1;
    // A shift-click range is in force.
    bool bRangeSelection = false;
    // The end of the range where it began.
    int RangeAnchorRow = -1;
    // The other end of the range; either end may be the lower one.
    int RangeEndRow = -1;

    // First row shown, kept so that keyboard moves leave FocusedRow in view.
    int TopRow = 0;
    // How many rows fit in the view; written by layout, used for Page Up/Down.
    int PageRows = 10;
    // Set when the view wants TopRow applied (a keyboard move, or new rows via ResetView);
    // a backend that scrolls on its own scrolls there, or to FocusedRow, and clears it.
    bool bScrollToFocus = false;
    // Typed prefix for type-ahead, and when its last character came.
    std::string TypeAheadText;
    double TypeAheadLastTime = -1.0;
    // Pause after which a typed character starts a new prefix.
    static constexpr double TypeAheadResetSeconds = 1.0;

    // Raised after every change of the selection fields.
    Signal<> SelectionChanged;
    // Raised when a row is activated (double-click or Enter), with its index; Enter
    // without a current row raises it with -1.
    Signal<int> RowActivated;

    // Number of rows in the model (0 without one).
    int RowCount() const;
    // Whether a row is highlighted: the selected row or inside an active range.
    bool IsRowHighlighted(int Row) const;

    // A click on a row: selects and focuses it and anchors a range there. With Shift,
    // selects the range from the anchor (the current row when no range is in force) to the
    // row. A row outside the model clears the selection.
    void ClickRow(int Row, GLModifiers Mods);
    // A double-click: selects the row as a click would, then activates it.
    void DoubleClickRow(int Row);
    // Drops the selection and any range.
    void ClearSelection();
    // Scrolls by whole rows (mouse wheel); the selection is untouched.
    void ScrollBy(int Rows);
    // A pointer press on a row: a second press in a row (ClickCount 2 or more) on a row of the
    // model double-clicks it, any other press clicks it with the modifiers. A row outside the
    // model clears the selection.
    void PressRow(int Row, int ClickCount, GLModifiers Mods);
    // The row at height Y for a host that draws rows LineHeight apart below one header line
    // (past the last row for the empty space below it); -1 on the header line and above.
    int RowAtY(float Y, float LineHeight) const;
    // The rows a host drawing LineHeight apart shows, with their rectangles.
    std::vector<GLDrawnRow> VisibleRows(float LineHeight) const;
    // The row a backend should scroll into view now, or -1: the focused row after a keyboard
    // move, new rows, or any other change of focus. Taking it clears the request.
    int TakeRowToReveal();
    // For hosts that draw whole lines and scroll by TopRow: takes the row to reveal, moves
    // TopRow so that it is among the VisibleLines shown, and keeps TopRow within the rows.
    void RevealInLines(int VisibleLines);
    // Ends any range, anchoring at the selected row. A program-side reset: no event.
    void DropRange();
    // The model now holds another list (a new folder): drops the range and the typed
    // prefix, scrolls to the top and brings the selected row into view. No event.
    void ResetView();

    // The table takes part in Tab order.
    bool AcceptsFocus() const override { return true; }
    // Up, Down, Page Up/Down, Home, End move (with Shift they extend the range); Enter activates.
    bool HandleKey(GLKey Key, GLModifiers Mods) override;
    // Printable text jumps to the next row whose first cell starts with the typed prefix,
    // ignoring ASCII case; repeating one character cycles, and a pause starts a new prefix.
    bool HandleText(const char* Utf8, double NowSeconds) override;
    // Visits this widget as a GLTableView.
    void Accept(GLWidgetVisitor& Visitor) override;
    // Visits this widget as a GLTableView.
    void Accept(GLConstWidgetVisitor& Visitor) const override;

private:
    // The focused row as of the last TakeRowToReveal.
    int RevealedRow = -1;

    int CurrentRow() const;
    void MoveTo(int Row, bool bExtend);
    void KeepInView(int Row);
};
