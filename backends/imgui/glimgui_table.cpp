// Drawing a table view with ImGui: only the visible rows, scrolled where the view asks.
#include "glimgui_convert.h"
#include "glimgui_view.h"

#include "gltableview.h"
#include "gltext.h"

#include <imgui.h>

#include <algorithm>
#include <cmath>

void GLImGuiView::DrawTable(GLWindow& Content, GLTableView& Table)
{
    const GLTableModel* model = Table.Model.get();
    const int rows = Table.RowCount();
    // The model has no change notification: new storage or a new count means new rows, which
    // start at the top (or wherever the focused row is) instead of at the old scroll position.
    TableState& state = Tables[&Table];
    const void* rowsData = model != nullptr ? static_cast<const void*>(model->GetRows().data()) : nullptr;
    const bool bNewRows = rowsData != state.RowsData || rows != state.RowCount;
    const int reveal = Table.TakeRowToReveal();
    state.RowsData = rowsData;
    state.RowCount = rows;
    state.Drawn.clear();

    const int columns = std::clamp(model != nullptr ? model->HeaderCount() : 1, 1, 64);
    const ImGuiTableFlags flags = ImGuiTableFlags_ScrollY | ImGuiTableFlags_RowBg |
                                  ImGuiTableFlags_BordersOuter | ImGuiTableFlags_BordersInnerV |
                                  ImGuiTableFlags_Resizable | ImGuiTableFlags_NoSavedSettings;
    ImGui::SetCursorScreenPos(TopLeft(Table.Bounds));
    if (!ImGui::BeginTable("##table", columns, flags, ImVec2(Table.Bounds.Width, Table.Bounds.Height)))
    {
        return;
    }
    ImGui::TableSetupScrollFreeze(0, 1);
    for (int column = 0; column < columns; ++column)
    {
        const std::string* header = model != nullptr ? model->HeaderAt(column) : nullptr;
        const std::string label = GLVisibleName(header != nullptr ? *header : std::string());
        ImGui::TableSetupColumn(label.c_str(), column == 0 ? ImGuiTableColumnFlags_WidthStretch
                                                           : ImGuiTableColumnFlags_WidthFixed);
    }
    ImGui::TableHeadersRow();

    // Every row holds one line of text, so rows are evenly spaced: the visible ones follow from
    // the scroll position alone, whatever the row count. The pitch is measured once two rows
    // were drawn; until then it is the line plus the cell padding.
    const float scroll = ImGui::GetScrollY();
    const float padding = ImGui::GetStyle().CellPadding.y;
    const float pitch = state.RowPitch > 0.0F ? state.RowPitch : ImGui::GetTextLineHeight() + 2.0F * padding;
    // Below the frozen header row, where the cursor stands after it whatever the scroll.
    const float bodyTop = ImGui::GetCursorScreenPos().y;
    const float bodyBottom = ImGui::GetWindowPos().y + ImGui::GetWindowHeight();
    const float bodyHeight = std::max(0.0F, bodyBottom - bodyTop);
    const ImVec2 mouse = ImGui::GetMousePos();
    const bool bHovered = ImGui::IsWindowHovered() && mouse.y >= bodyTop && mouse.y < bodyBottom;
    int hoveredRow = -1;
    int topRow = -1;
    GLRect focusedRect;
    bool bFocusedDrawn = false;
    float previousTop = 0.0F;
    ImGuiListClipper clipper;
    clipper.Begin(rows, pitch);
    while (clipper.Step())
    {
        for (int row = clipper.DisplayStart; row < clipper.DisplayEnd; ++row)
        {
            ImGui::TableNextRow();
            ImGui::TableSetColumnIndex(0);
            const float top = ImGui::GetCursorScreenPos().y - padding;
            if (row > clipper.DisplayStart && top > previousTop)
            {
                state.RowPitch = top - previousTop;
            }
            previousTop = top;
            const GLRect rect{Table.Bounds.X, top, Table.Bounds.Width, pitch};
            const bool bRowHovered = bHovered && mouse.y >= top && mouse.y < top + pitch;
            // Selection is the row's background; the hover tint goes over it.
            if (Table.IsRowHighlighted(row))
            {
                ImGui::TableSetBgColor(ImGuiTableBgTarget_RowBg0, ImGui::GetColorU32(ImGuiCol_Header));
            }
            if (bRowHovered)
            {
                hoveredRow = row;
                ImGui::TableSetBgColor(ImGuiTableBgTarget_RowBg1, ImGui::GetColorU32(ImGuiCol_HeaderHovered));
            }
            if (topRow < 0 && top >= bodyTop - 0.5F)
            {
                topRow = row;
            }
            if (top + pitch > bodyTop && top < bodyBottom)
            {
                state.Drawn.push_back({row, rect});
            }
            if (row == Table.FocusedRow)
            {
                focusedRect = rect;
                bFocusedDrawn = true;
            }
            for (int column = 0; column < columns; ++column)
            {
                if (column > 0)
                {
                    ImGui::TableSetColumnIndex(column);
                }
                const std::string* cell = model != nullptr ? model->CellAt(row, column) : nullptr;
                if (cell != nullptr)
                {
                    ImGui::TextUnformatted(Prepared(*cell, true).c_str());
                }
            }
        }
    }

    // Scroll as little as possible to show the focused row whole; new rows start from the top.
    const float base = bNewRows ? 0.0F : scroll;
    float target = base;
    if (reveal >= 0)
    {
        const float offset = static_cast<float>(reveal) * pitch;
        if (offset < base)
        {
            target = offset;
        }
        else if (offset + pitch > base + bodyHeight)
        {
            target = offset + pitch - bodyHeight;
        }
    }
    if (target != scroll)
    {
        ImGui::SetScrollY(target);
    }
    if (rows > 0)
    {
        Table.PageRows = std::max(1, static_cast<int>((bodyHeight + 0.5F) / pitch));
        Table.TopRow = std::max(0, topRow);
    }

    if (bHovered && ImGui::IsMouseClicked(ImGuiMouseButton_Left))
    {
        Content.SetFocus(&Table);
        if (hoveredRow >= 0)
        {
            RowClick = {&Table, hoveredRow, ImGui::IsMouseDoubleClicked(ImGuiMouseButton_Left) ? 2 : 1,
                        CurrentModifiers()};
        }
        else if (!ImGui::IsAnyItemHovered())
        {
            // Empty space below the rows: the widget treats a row outside the model as "none".
            RowClick = {&Table, -1, 1, CurrentModifiers()};
        }
    }
    ImGui::EndTable();

    if (Content.FocusedWidget == &Table && bFocusedDrawn)
    {
        ImDrawList* draw = ImGui::GetWindowDrawList();
        draw->PushClipRect(ImVec2(Table.Bounds.X, bodyTop),
                           ImVec2(Table.Bounds.X + Table.Bounds.Width, bodyBottom), true);
        draw->AddRect(ImVec2(focusedRect.X + 1.0F, focusedRect.Y),
                      ImVec2(focusedRect.X + focusedRect.Width - 1.0F, focusedRect.Y + focusedRect.Height),
                      ImGui::GetColorU32(ImGuiCol_NavHighlight));
        draw->PopClipRect();
    }
}
