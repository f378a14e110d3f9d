// Draws a GLWindow's widgets inside the current ImGui window and feeds them ImGui's input.
#pragma once

#include "glwidget.h"
#include "glwindow.h"

#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

class GLTableView;
class GLTextInput;
class GLButton;
class GLChoice;
class GLLabel;
class GLImGuiGlyphs;

// Draws a GLWindow's widgets with Dear ImGui's public API in the free content region of the
// current ImGui window, and turns this frame's mouse, keys and typed text (read from ImGui's own
// IO) into the widgets' input operations. Holds no dialog behaviour: what a click or a key means
// is the widgets' business.
class GLImGuiView
{
public:
    // Lays Content out over the current window's free content region, draws it and queues this
    // frame's input for ApplyInput. Keys and text are taken only when bTakeKeyboard is true (the
    // host's window has the keyboard). Call between ImGui::Begin and ImGui::End.
    void Draw(GLWindow& Content, bool bTakeKeyboard, double NowSeconds);
    // Hands the queued input to the widgets, in the order it came, until the window is finished.
    // Outside an ImGui frame this lets an operation draw frames while it waits.
    void ApplyInput(const GLWindow& Content);

    // Makes the next Draw dump its layout even if it looks as it did last time (a dialog reopened).
    void ForgetDump() { LastDump.clear(); }

    // Prepares every text before it is drawn (names made visible, missing glyphs noted); not owned.
    GLImGuiGlyphs* Glyphs = nullptr;
    // When true, every change of the drawn layout is written to standard error, one widget or
    // visible row per line, so that an outside driver can find what to click.
    bool bDumpLayout = false;

private:
    // What the ImGui field of one text input shows, so user edits can be told from the program's.
    struct TextInputState
    {
        std::string Buffer;      // ImGui's copy
        std::string Shown;       // the widget's text as last handed to (or taken from) ImGui
        int Generation = 0;      // part of the field's id: a new one makes ImGui let go of it
        bool bWasActive = false; // ImGui was editing the field last frame
    };
    class Painter;
    // A row press seen while drawing, queued once the table is finished.
    struct PendingRowClick
    {
        GLTableView* Table = nullptr;
        int Row = -1;
        int ClickCount = 1;
        GLModifiers Mods;
    };
    // What a table looked like last frame: to notice new rows, and to dump it.
    struct TableState
    {
        const void* RowsData = nullptr;
        int RowCount = -1;
        float RowPitch = 0.0F; // measured distance between two rows; 0 until two were drawn
        std::vector<GLDrawnRow> Drawn;
    };

    void UpdateLayout(GLWindow& Content);
    const std::string& Prepared(const std::string& Text, bool bName);
    void DrawTextIn(const GLRect& Box, const std::string& Text, bool bCentre);
    void DrawButton(GLWindow& Content, GLButton& Button);
    void DrawChoice(GLWindow& Content, GLChoice& Choice);
    void DrawTextInput(GLWindow& Content, GLTextInput& Input);
    void DrawTable(GLWindow& Content, GLTableView& Table);
    void DrawFocusFrame(const GLWindow& Content);
    void ApplyKeyboard(GLWindow& Content, double NowSeconds);
    void DumpLayout(const GLWindow& Content);

    std::unordered_map<const GLTextInput*, TextInputState> TextInputs;
    std::unordered_map<const GLTableView*, TableState> Tables;
    PendingRowClick RowClick;
    std::vector<std::function<void()>> Queued;
    std::string Scratch;
    std::string LastDump;
    int DumpSequence = 0;
};
