// The table model: column headers and rows of string cells, shared by a table view and its filler.
#pragma once

#include <string>
#include <utility>
#include <vector>

// Plain table contents shared by a table view and the code that fills it: headers and
// rows of string cells. No change notification; the view reads it as it stands.
class GLTableModel
{
public:
    using HeaderList = std::vector<std::string>;
    using Row = std::vector<std::string>;
    using RowList = std::vector<Row>;

    // Replaces the column headers.
    void SetHeaders(const HeaderList& NewHeaders) { Headers = NewHeaders; }
    // Replaces all rows by a copy of NewRows.
    void SetRows(const RowList& NewRows) { Rows = NewRows; }
    // Replaces all rows, taking the list's storage (no copy of the cells).
    void SetRows(RowList&& NewRows) { Rows = std::move(NewRows); }
    // Appends a copy of one row.
    void AddRow(const Row& NewRow) { Rows.push_back(NewRow); }
    // Removes every row; headers stay.
    void ClearRows() { Rows.clear(); }
    // Moves the rows out, leaving none, so that a caller can refill their storage and hand it back.
    RowList TakeRows() { return std::exchange(Rows, RowList()); }
    // The rows themselves, for a caller that refills them in place (reusing their strings' storage).
    RowList& EditRows() { return Rows; }

    // The column headers, left to right.
    const HeaderList& GetHeaders() const { return Headers; }
    // The rows, top to bottom.
    const RowList& GetRows() const { return Rows; }
    // Number of headers.
    int HeaderCount() const { return static_cast<int>(Headers.size()); }
    // Number of rows.
    int RowCount() const { return static_cast<int>(Rows.size()); }

    // The header of a column, or null when there is none.
    const std::string* HeaderAt(int Column) const
    {
        return InRange(Column, Headers.size()) ? &Headers[static_cast<std::size_t>(Column)] : nullptr;
    }
    // One row, or null when there is none.
    const Row* RowAt(int RowIndex) const
    {
        return InRange(RowIndex, Rows.size()) ? &Rows[static_cast<std::size_t>(RowIndex)] : nullptr;
    }
    // One cell (row first, then column), or null when the row or the cell is missing.
    const std::string* CellAt(int RowIndex, int Column) const
    {
        const Row* row = RowAt(RowIndex);
        if (row == nullptr || !InRange(Column, row->size()))
        {
            return nullptr;
        }
        return &(*row)[static_cast<std::size_t>(Column)];
    }

    // Sets the number of rows; new rows are empty. A negative count clears.
    void ResizeRows(int Count) { Rows.resize(Count > 0 ? static_cast<std::size_t>(Count) : 0U); }
    // Widens one row to at least Width cells; a missing row is ignored.
    void EnsureRowWidth(int RowIndex, int Width)
    {
        if (InRange(RowIndex, Rows.size()) && Width > 0)
        {
            Row& row = Rows[static_cast<std::size_t>(RowIndex)];
            if (row.size() < static_cast<std::size_t>(Width))
            {
                row.resize(static_cast<std::size_t>(Width));
            }
        }
    }
    // Stores Text in one cell, widening a short row; a missing row or negative column is ignored.
    void SetCell(int RowIndex, int Column, const std::string& Text)
    {
        if (!InRange(RowIndex, Rows.size()) || Column < 0)
        {
            return;
        }
        EnsureRowWidth(RowIndex, Column + 1);
        Rows[static_cast<std::size_t>(RowIndex)][static_cast<std::size_t>(Column)] = Text;
    }

private:
    static bool InRange(int Index, std::size_t Count)
    {
        return Index >= 0 && static_cast<std::size_t>(Index) < Count;
    }

    HeaderList Headers;
    RowList Rows;
};
