#pragma once

#include "glwidget.h"
#include "glwindow.h"

#include <string>
#include <unordered_map>
#include <vector>

class GLTableView;
class GLTextInput;
class GLButton;
class GLChoice;
class GLLabel;

// One keyboard event from the platform, already in the toolkit's terms.
struct GLImGuiInputEvent
{
    // The key pressed (or repeated); GLKey::None when the event is typed text.
    GLKey Key = GLKey::None;
    // Modifiers held with the key.
    GLModifiers Mods;
    // Typed text (UTF-8), for GLKey::None.
    std::string Text;
};

// Draws a GLWindow's widgets with Dear ImGui inside the current ImGui frame and turns mouse
// clicks and queued keyboard events into the widgets' own input operations. Holds no dialog
// behaviour: what a click or a key means is the widgets' business.
class GLImGuiView
{
public:
    // Lays Content out for the display and the current font, draws it, then applies the mouse
    // input of this frame and the queued keyboard events. Call between ImGui::NewFrame and Render.
    void Frame(GLWindow& Content, const std::vector<GLImGuiInputEvent>& Events, double NowSeconds);

    // When true, every change of the drawn layout is written to standard error, one widget or
    // visible row per line, so that an outside driver can find what to click.
    bool bDumpLayout = false;

private:
    // What the ImGui field of one text input shows, so user edits can be told from the program's.
    struct TextInputState
    {
        std::string Buffer; // ImGui's copy
        std::string Shown;  // the widget's text as last handed to (or taken from) ImGui
    };
    // A row click seen while drawing, applied once the table is finished.
    struct PendingRowClick
    {
        GLTableView* Table = nullptr;
        int Row = -1;
        bool bDouble = false;
        GLModifiers Mods;
    };
    // A visible table row, for the layout dump.
    struct DrawnRow
    {
        int Row = -1;
        GLRect Rect;
    };
    // What a table looked like last frame: to notice new rows or a moved focus, and to dump it.
    struct TableState
    {
        const void* RowsData = nullptr;
        int RowCount = -1;
        int FocusedRow = -1;
        std::vector<DrawnRow> Drawn;
    };

    void UpdateLayout(GLWindow& Content);
    void DrawLabel(const GLLabel& Label);
    void DrawButton(GLWindow& Content, GLButton& Button);
    void DrawChoice(GLWindow& Content, GLChoice& Choice);
    void DrawTextInput(GLWindow& Content, GLTextInput& Input);
    void DrawTable(GLWindow& Content, GLTableView& Table);
    void DrawFocusFrame(const GLWindow& Content);
    void ApplyEvents(GLWindow& Content, const std::vector<GLImGuiInputEvent>& Events, double NowSeconds);
    void DumpLayout(const GLWindow& Content);

    std::unordered_map<const GLTextInput*, TextInputState> TextInputs;
    std::unordered_map<const GLTableView*, TableState> Tables;
    PendingRowClick RowClick;
    GLMetrics LastMetrics{0.0F, 0.0F, 0.0F};
    GLRect LastBounds{-1.0F, -1.0F, -1.0F, -1.0F};
    std::string LastDump;
    int DumpSequence = 0;
};
