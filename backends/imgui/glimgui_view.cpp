#include "glimgui_view.h"

#include "glbutton.h"
#include "glchildwindow.h"
#include "glchoice.h"
#include "glimgui_text.h"
#include "gllabel.h"
#include "gltableview.h"
#include "gltextinput.h"

#include <imgui.h>
#include <imgui_internal.h>
#include <imgui_stdlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace
{

ImVec2 TopLeft(const GLRect& Rect)
{
    return {Rect.X, Rect.Y};
}

ImVec2 BottomRight(const GLRect& Rect)
{
    return {Rect.X + Rect.Width, Rect.Y + Rect.Height};
}

bool SameRect(const GLRect& A, const GLRect& B)
{
    return A.X == B.X && A.Y == B.Y && A.Width == B.Width && A.Height == B.Height;
}

GLRect RectOfLastItem()
{
    const ImVec2 min = ImGui::GetItemRectMin();
    const ImVec2 max = ImGui::GetItemRectMax();
    return {min.x, min.y, max.x - min.x, max.y - min.y};
}

GLModifiers CurrentModifiers()
{
    const ImGuiIO& io = ImGui::GetIO();
    GLModifiers mods;
    mods.bShift = io.KeyShift;
    mods.bCtrl = io.KeyCtrl;
    mods.bAlt = io.KeyAlt;
    return mods;
}

// Text inside a box, centred vertically and clipped to it. Drawn directly so that "##" in a
// caption is shown rather than taken as an ImGui id separator.
void DrawTextIn(const GLRect& Box, const std::string& Utf8, bool bCentreHorizontally)
{
    const char* begin = Utf8.data();
    const char* end = begin + Utf8.size();
    const ImVec2 size = ImGui::CalcTextSize(begin, end);
    const float x = bCentreHorizontally ? Box.X + std::max(0.0F, (Box.Width - size.x) * 0.5F) : Box.X;
    const float y = Box.Y + std::max(0.0F, (Box.Height - size.y) * 0.5F);
    ImDrawList* draw = ImGui::GetWindowDrawList();
    draw->PushClipRect(TopLeft(Box), BottomRight(Box), true);
    draw->AddText(ImVec2(std::floor(x), std::floor(y)), ImGui::GetColorU32(ImGuiCol_Text), begin, end);
    draw->PopClipRect();
}

// What the text input callback needs to see the program's own changes while ImGui edits.
struct TextInputContext
{
    const GLTextInput* Input;
    std::string* Shown;
};

// While the field is being edited, a text the program set (say, after Enter navigated) replaces
// ImGui's copy; it is not reported back as an edit.
int SyncProgramText(ImGuiInputTextCallbackData* Data)
{
    const auto* context = static_cast<const TextInputContext*>(Data->UserData);
    std::string current = SanitizeUtf8(context->Input->Text);
    if (current != *context->Shown)
    {
        Data->DeleteChars(0, Data->BufTextLen);
        Data->InsertChars(0, current.data(), current.data() + current.size());
        *context->Shown = std::move(current);
    }
    return 0;
}

bool IsTextInput(const GLWidget* Widget)
{
    return Widget != nullptr && Widget->bShown && dynamic_cast<const GLTextInput*>(Widget) != nullptr;
}

} // namespace

void GLImGuiView::Frame(GLWindow& Content, const std::vector<GLImGuiInputEvent>& Events, double NowSeconds)
{
    UpdateLayout(Content);

    const ImGuiIO& io = ImGui::GetIO();
    ImGui::SetNextWindowPos(ImVec2(0.0F, 0.0F));
    ImGui::SetNextWindowSize(io.DisplaySize);
    ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(0.0F, 0.0F));
    ImGui::PushStyleVar(ImGuiStyleVar_WindowBorderSize, 0.0F);
    ImGui::PushStyleVar(ImGuiStyleVar_WindowRounding, 0.0F);
    // NoNavInputs keeps ImGui's own Tab handling out: the content window owns the focus order.
    const ImGuiWindowFlags flags = ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove |
                                   ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoBringToFrontOnFocus |
                                   ImGuiWindowFlags_NoScrollWithMouse | ImGuiWindowFlags_NoNavInputs;
    ImGui::Begin("##content", nullptr, flags);

    for (const auto& child : Content.Children)
    {
        GLWidget* widget = child.get();
        if (!widget->bShown)
        {
            continue;
        }
        ImGui::PushID(widget);
        if (auto* table = dynamic_cast<GLTableView*>(widget))
        {
            DrawTable(Content, *table);
        }
        else if (auto* input = dynamic_cast<GLTextInput*>(widget))
        {
            DrawTextInput(Content, *input);
        }
        else if (auto* button = dynamic_cast<GLButton*>(widget))
        {
            DrawButton(Content, *button);
        }
        else if (auto* choice = dynamic_cast<GLChoice*>(widget))
        {
            DrawChoice(Content, *choice);
        }
        else if (const auto* label = dynamic_cast<const GLLabel*>(widget))
        {
            DrawLabel(*label);
        }
        ImGui::PopID();
    }
    DrawFocusFrame(Content);

    ImGui::End();
    ImGui::PopStyleVar(3);

    const bool bStillShown = Content.HostWindow == nullptr || Content.HostWindow->bVisible;
    if (RowClick.Table != nullptr && bStillShown)
    {
        const PendingRowClick click = RowClick;
        if (click.bDouble)
        {
            click.Table->DoubleClickRow(click.Row);
        }
        else
        {
            click.Table->ClickRow(click.Row, click.Mods);
        }
    }
    RowClick = PendingRowClick{};

    ApplyEvents(Content, Events, NowSeconds);
    if (bDumpLayout)
    {
        DumpLayout(Content);
    }
}

void GLImGuiView::UpdateLayout(GLWindow& Content)
{
    static constexpr char Sample[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    GLMetrics metrics;
    metrics.LineHeight = ImGui::GetFrameHeight();
    metrics.CharWidth = ImGui::CalcTextSize(Sample).x / static_cast<float>(sizeof(Sample) - 1);
    metrics.Spacing = ImGui::GetStyle().ItemSpacing.x;
    if (metrics.LineHeight != Content.Metrics.LineHeight || metrics.CharWidth != Content.Metrics.CharWidth ||
        metrics.Spacing != Content.Metrics.Spacing)
    {
        Content.SetMetrics(metrics);
    }
    const ImVec2 display = ImGui::GetIO().DisplaySize;
    const GLRect bounds{0.0F, 0.0F, display.x, display.y};
    if (!SameRect(bounds, Content.Bounds))
    {
        Content.SetBounds(bounds);
    }
}

void GLImGuiView::DrawLabel(const GLLabel& Label)
{
    DrawTextIn(Label.Bounds, SanitizeUtf8(Label.Text), false);
}

void GLImGuiView::DrawButton(GLWindow& Content, GLButton& Button)
{
    ImGui::SetCursorScreenPos(TopLeft(Button.Bounds));
    const bool bPressed = ImGui::Button("##button", ImVec2(Button.Bounds.Width, Button.Bounds.Height));
    // Focus moves on press, so the focused text field does not grab the mouse back before release.
    if (ImGui::IsItemActivated())
    {
        Content.SetFocus(&Button);
    }
    DrawTextIn(Button.Bounds, SanitizeUtf8(Button.Label), true);
    if (bPressed)
    {
        Content.SetFocus(&Button);
        Button.Click();
    }
}

void GLImGuiView::DrawChoice(GLWindow& Content, GLChoice& Choice)
{
    // The prefix as a label, then a combo box over the rest of the widget's width.
    const std::string prefix = SanitizeUtf8(Choice.Prefix);
    const float prefixWidth =
        prefix.empty() ? 0.0F : ImGui::CalcTextSize(prefix.c_str()).x + ImGui::GetStyle().ItemSpacing.x;
    if (!prefix.empty())
    {
        DrawTextIn(GLRect{Choice.Bounds.X, Choice.Bounds.Y, prefixWidth, Choice.Bounds.Height}, prefix,
                   false);
    }
    ImGui::SetCursorScreenPos(ImVec2(Choice.Bounds.X + prefixWidth, Choice.Bounds.Y));
    ImGui::SetNextItemWidth(std::max(1.0F, Choice.Bounds.Width - prefixWidth));
    const std::string preview = SanitizeUtf8(Choice.SelectedText());
    if (ImGui::BeginCombo("##choice", preview.c_str()))
    {
        Content.SetFocus(&Choice);
        for (int index = 0; index < static_cast<int>(Choice.Items.size()); ++index)
        {
            ImGui::PushID(index);
            const std::string item = SanitizeUtf8(Choice.Items[static_cast<std::size_t>(index)]);
            if (ImGui::Selectable(item.c_str(), index == Choice.SelectedIndex))
            {
                Choice.Choose(index);
            }
            ImGui::PopID();
        }
        ImGui::EndCombo();
    }
}

void GLImGuiView::DrawTextInput(GLWindow& Content, GLTextInput& Input)
{
    TextInputState& state = TextInputs[&Input];
    const ImGuiID id = ImGui::GetID("##text");
    const bool bFocused = Content.FocusedWidget == &Input;
    if (!bFocused && ImGui::GetActiveID() == id)
    {
        ImGui::ClearActiveID();
    }
    if (ImGui::GetActiveID() != id)
    {
        state.Shown = SanitizeUtf8(Input.Text);
        state.Buffer = state.Shown;
        // Keyboard focus on the field means ImGui edits it; wait while the mouse holds another item.
        if (bFocused && !ImGui::IsAnyItemActive() && !ImGui::IsMouseDown(ImGuiMouseButton_Left))
        {
            ImGui::SetKeyboardFocusHere();
        }
    }
    ImGui::SetCursorScreenPos(TopLeft(Input.Bounds));
    ImGui::SetNextItemWidth(Input.Bounds.Width);
    TextInputContext context{&Input, &state.Shown};
    ImGui::InputText("##text", &state.Buffer, ImGuiInputTextFlags_CallbackAlways, &SyncProgramText, &context);
    if (ImGui::IsItemActivated())
    {
        Content.SetFocus(&Input);
    }
    if (ImGui::IsItemEdited() && state.Buffer != state.Shown)
    {
        state.Shown = state.Buffer;
        Input.EditText(state.Buffer);
    }
}

void GLImGuiView::DrawTable(GLWindow& Content, GLTableView& Table)
{
    const GLTableModel* model = Table.Model.get();
    const int rows = Table.RowCount();
    // The model has no change notification: new storage or a new count means new rows, which
    // start at the top (or wherever the focused row is) instead of at the old scroll position.
    TableState& state = Tables[&Table];
    const void* rowsData = model != nullptr ? static_cast<const void*>(model->GetRows().data()) : nullptr;
    const bool bNewRows = rowsData != state.RowsData || rows != state.RowCount;
    const bool bFocusValid = Table.FocusedRow >= 0 && Table.FocusedRow < rows;
    const bool bBringFocusIntoView =
        bFocusValid && (Table.bScrollToFocus || bNewRows || Table.FocusedRow != state.FocusedRow);
    Table.bScrollToFocus = false;
    state.RowsData = rowsData;
    state.RowCount = rows;
    state.FocusedRow = Table.FocusedRow;
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
        const std::string label = SanitizeUtf8(header != nullptr ? *header : std::string());
        ImGui::TableSetupColumn(label.c_str(), column == 0 ? ImGuiTableColumnFlags_WidthStretch
                                                           : ImGuiTableColumnFlags_WidthFixed);
    }
    ImGui::TableHeadersRow();

    // The rows' part of the table: below the header row, above the bottom edge.
    const float bodyTop = ImGui::GetWindowPos().y + ImGui::TableGetHeaderRowHeight();
    const float bodyBottom = ImGui::GetWindowPos().y + ImGui::GetWindowHeight();
    const float bodyHeight = std::max(0.0F, bodyBottom - bodyTop);
    const float scroll = ImGui::GetScrollY();
    ImGuiListClipper clipper;
    clipper.Begin(rows);
    if (bBringFocusIntoView)
    {
        clipper.ForceDisplayRangeByIndices(Table.FocusedRow, Table.FocusedRow + 1);
    }
    int hoveredRow = -1;
    int topRow = -1;
    GLRect focusedRect;
    bool bFocusedDrawn = false;
    while (clipper.Step())
    {
        for (int row = clipper.DisplayStart; row < clipper.DisplayEnd; ++row)
        {
            ImGui::TableNextRow();
            ImGui::TableSetColumnIndex(0);
            ImGui::PushID(row);
            const ImVec2 cellStart = ImGui::GetCursorScreenPos();
            // Selection is the row's background, so the hover tint adds to it instead of replacing it.
            if (Table.IsRowHighlighted(row))
            {
                ImGui::TableSetBgColor(ImGuiTableBgTarget_RowBg1, ImGui::GetColorU32(ImGuiCol_Header));
            }
            // The cells' text goes on top of this whole-row item; ImGui only hovers it when told so.
            ImGui::Selectable("##row", false,
                              ImGuiSelectableFlags_SpanAllColumns | ImGuiSelectableFlags_AllowItemOverlap);
            if (ImGui::IsItemHovered())
            {
                hoveredRow = row;
            }
            const GLRect rect = RectOfLastItem();
            if (topRow < 0 && rect.Y >= bodyTop - 0.5F)
            {
                topRow = row;
            }
            if (rect.Y + rect.Height > bodyTop && rect.Y < bodyBottom)
            {
                state.Drawn.push_back({row, rect});
            }
            if (row == Table.FocusedRow)
            {
                focusedRect = rect;
                bFocusedDrawn = true;
            }
            ImGui::SetCursorScreenPos(cellStart);
            for (int column = 0; column < columns; ++column)
            {
                if (column > 0)
                {
                    ImGui::TableSetColumnIndex(column);
                }
                const std::string* cell = model != nullptr ? model->CellAt(row, column) : nullptr;
                if (cell != nullptr)
                {
                    ImGui::TextUnformatted(SanitizeUtf8(*cell).c_str());
                }
            }
            ImGui::PopID();
        }
    }

    // Scroll as little as possible to show the focused row whole; new rows start from the top.
    const float base = bNewRows ? 0.0F : scroll;
    float target = base;
    if (bBringFocusIntoView && bFocusedDrawn)
    {
        const float offset = focusedRect.Y - bodyTop + scroll;
        if (offset < base)
        {
            target = offset;
        }
        else if (offset + focusedRect.Height > base + bodyHeight)
        {
            target = offset + focusedRect.Height - bodyHeight;
        }
    }
    if (target != scroll)
    {
        ImGui::SetScrollY(target);
    }
    if (rows > 0 && clipper.ItemsHeight > 0.0F)
    {
        Table.PageRows = std::max(1, static_cast<int>((bodyHeight + 0.5F) / clipper.ItemsHeight));
        Table.TopRow = std::max(0, topRow);
    }

    if (ImGui::IsWindowHovered() && ImGui::IsMouseClicked(ImGuiMouseButton_Left))
    {
        Content.SetFocus(&Table);
        if (hoveredRow >= 0)
        {
            RowClick = {&Table, hoveredRow, ImGui::IsMouseDoubleClicked(ImGuiMouseButton_Left),
                        CurrentModifiers()};
        }
        else if (!ImGui::IsAnyItemHovered())
        {
            // Empty space below the rows: the widget treats a row outside the model as "none".
            RowClick = {&Table, -1, false, CurrentModifiers()};
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

void GLImGuiView::DrawFocusFrame(const GLWindow& Content)
{
    const GLWidget* focused = Content.FocusedWidget;
    if (focused == nullptr || !focused->bShown)
    {
        return;
    }
    const float thickness = std::max(1.0F, std::round(ImGui::GetFontSize() / 10.0F));
    const GLRect& box = focused->Bounds;
    ImGui::GetWindowDrawList()->AddRect(ImVec2(box.X - thickness, box.Y - thickness),
                                        ImVec2(box.X + box.Width + thickness, box.Y + box.Height + thickness),
                                        ImGui::GetColorU32(ImGuiCol_NavHighlight),
                                        ImGui::GetStyle().FrameRounding, 0, thickness);
}

void GLImGuiView::ApplyEvents(GLWindow& Content, const std::vector<GLImGuiInputEvent>& Events,
                              double NowSeconds)
{
    for (const GLImGuiInputEvent& event : Events)
    {
        if (Content.HostWindow != nullptr && !Content.HostWindow->bVisible)
        {
            return;
        }
        // While a text field has the focus, ImGui has already edited it with these events;
        // only the keys that leave or confirm the field (and Alt shortcuts) go to the widgets.
        const bool bTextMode = IsTextInput(Content.FocusedWidget);
        if (event.Key == GLKey::None)
        {
            if (!bTextMode)
            {
                Content.HandleText(event.Text.c_str(), NowSeconds);
            }
            continue;
        }
        const bool bLeavesField = event.Key == GLKey::Enter || event.Key == GLKey::Escape ||
                                  event.Key == GLKey::Tab || event.Key == GLKey::H || event.Mods.bAlt;
        if (!bTextMode || bLeavesField)
        {
            Content.HandleKey(event.Key, event.Mods);
        }
    }
}

void GLImGuiView::DumpLayout(const GLWindow& Content)
{
    std::ostringstream out;
    const auto rect = [&out](const GLRect& Rect)
    {
        out << ' ' << std::lround(Rect.X) << ' ' << std::lround(Rect.Y) << ' ' << std::lround(Rect.Width)
            << ' ' << std::lround(Rect.Height);
    };
    out << "window " << std::lround(Content.Bounds.Width) << ' ' << std::lround(Content.Bounds.Height)
        << '\n';
    for (const auto& child : Content.Children)
    {
        const GLWidget* widget = child.get();
        if (!widget->bShown)
        {
            continue;
        }
        const char* focus = Content.FocusedWidget == widget ? "focused" : "-";
        if (const auto* table = dynamic_cast<const GLTableView*>(widget))
        {
            out << "table";
            rect(table->Bounds);
            out << ' ' << focus << ' ' << table->RowCount() << '\n';
            const auto found = Tables.find(table);
            for (const DrawnRow& row : found != Tables.end() ? found->second.Drawn : std::vector<DrawnRow>{})
            {
                const std::string* name = table->Model ? table->Model->CellAt(row.Row, 0) : nullptr;
                out << "row " << row.Row;
                rect(row.Rect);
                std::string marks = table->IsRowHighlighted(row.Row) ? "s" : "";
                marks += row.Row == table->FocusedRow ? "f" : "";
                out << ' ' << (marks.empty() ? "-" : marks) << ' '
                    << EscapeBytes(name != nullptr ? *name : std::string()) << '\n';
            }
        }
        else if (const auto* input = dynamic_cast<const GLTextInput*>(widget))
        {
            out << "input";
            rect(input->Bounds);
            out << ' ' << focus << ' ' << EscapeBytes(input->Text) << '\n';
        }
        else if (const auto* button = dynamic_cast<const GLButton*>(widget))
        {
            out << "button";
            rect(button->Bounds);
            out << ' ' << focus << ' ' << EscapeBytes(button->Label) << '\n';
        }
        else if (const auto* choice = dynamic_cast<const GLChoice*>(widget))
        {
            out << "choice";
            rect(choice->Bounds);
            out << ' ' << focus << ' ' << EscapeBytes(choice->SelectedText()) << '\n';
        }
        else if (const auto* label = dynamic_cast<const GLLabel*>(widget))
        {
            out << "label";
            rect(label->Bounds);
            out << ' ' << focus << ' ' << EscapeBytes(label->Text) << '\n';
        }
    }
    std::string dump = out.str();
    if (dump == LastDump)
    {
        return;
    }
    LastDump = std::move(dump);
    ++DumpSequence;
    std::fprintf(stderr, "glfd-layout begin %d\n%sglfd-layout end %d\n", DumpSequence, LastDump.c_str(),
                 DumpSequence);
    std::fflush(stderr);
}
