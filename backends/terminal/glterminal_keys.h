// Terminal input decoding: characters and curses key codes to toolkit keys, text and mouse events.
#pragma once

#include "glwidget.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

// A curses key code and the key it stands for.
struct GLTerminalKeyBinding
{
    int Code = 0;
    GLKey Key = GLKey::None;
    GLModifiers Mods;
};

// A mouse report: where, which button, and how.
struct GLTerminalMouse
{
    int Column = 0;
    int Line = 0;
    // 1 left, 2 middle, 3 right, 4 wheel up, 5 wheel down; 0 for a report of no button.
    int Button = 0;
    // A release rather than a press.
    bool bRelease = false;
    // Presses in a row as the terminal library counted them; 0 when it did not (raw reports).
    int ClickCount = 0;
    GLModifiers Mods;
};

// One decoded input event.
struct GLTerminalEvent
{
    // What happened.
    enum class Type
    {
        Key,    // Key with Mods
        Text,   // typed text (UTF-8)
        Mouse,  // Mouse
        Repaint // Ctrl+L: redraw the whole screen
    };
    Type Kind = Type::Key;
    GLKey Key = GLKey::None;
    GLModifiers Mods;
    std::string Text;
    GLTerminalMouse Mouse;
};

// xterm's modifier parameter: 1 + a mask of Shift (1), Alt (2) and Ctrl (4).
GLModifiers GLTerminalModifiers(int Parameter);

// The curses key codes every terminal description may produce, without modifiers beyond Shift.
std::vector<GLTerminalKeyBinding> GLTerminalBaseBindings();

// A mouse event as curses reports it (the MEVENT fields), in toolkit terms.
GLTerminalMouse GLTerminalCursesMouse(int Column, int Line, std::uint32_t State);

// Turns the input units curses hands over into events. An ESC starts a sequence that the
// following units complete: alone it is the Escape key; before a key, that key with Alt (the
// way terminals send Alt); before "[" or "O", a CSI or SS3 sequence the terminal description
// did not know (cursor and editing keys with xterm modifiers, SGR and X10 mouse reports).
// Unknown or cut-short sequences are dropped, so their bytes never arrive as typed text.
class GLTerminalKeyDecoder
{
public:
    explicit GLTerminalKeyDecoder(std::vector<GLTerminalKeyBinding> InBindings);

    // A character read (curses OK).
    void PushChar(char32_t Char);
    // A key code curses recognised (KEY_CODE_YES), other than mouse and resize.
    void PushKeyCode(int Code);
    // A mouse event the terminal library decoded, queued in order with the rest.
    void PushMouse(const GLTerminalMouse& Mouse);
    // No more input is waiting: finishes a pending sequence (a lone ESC is the Escape key).
    void Flush();
    // Whether ^H is the Backspace key (as the terminal's erase character) rather than Ctrl+H.
    bool bCtrlHIsBackspace = true;

    // Whether a sequence has started and awaits more input.
    bool IsPending() const { return State != Phase::Idle; }
    // Takes the oldest decoded event; false when there is none.
    bool Next(GLTerminalEvent& Event);

private:
    enum class Phase
    {
        Idle,
        Escape,   // after ESC
        Sequence, // after ESC [ or ESC O
        X10Mouse, // after ESC [ M: three bytes of button, column and line
        Overlong  // a sequence too long to be one we know: dropped up to its final byte
    };

    void Emit(GLTerminalEvent Event);
    void EmitKey(GLKey Key, GLModifiers Mods);
    void PushPlain(char32_t Char, bool bAlt);
    void FinishSequence();
    bool FindBinding(int Code, GLTerminalKeyBinding& Found) const;

    std::vector<GLTerminalKeyBinding> Bindings;
    std::deque<GLTerminalEvent> Pending;
    Phase State = Phase::Idle;
    bool bAltPrefix = false;
    std::string Sequence;
};

// Counts presses in a row for reports that do not: a press near the last one, on the same cell
// and button, within Interval seconds, adds one.
class GLTerminalClickCounter
{
public:
    // Longest pause between presses of one multiple click.
    static constexpr double Interval = 0.4;
    // Counts this press (taken at NowSeconds) and returns its count, 1 for a single press.
    int Press(const GLTerminalMouse& Mouse, double NowSeconds);

private:
    int Column = -1;
    int Line = -1;
    int Button = -1;
    double Time = -1.0;
    int Count = 0;
};

// Decodes raw bytes as if each came as one character (UTF-8 decoded, invalid bytes as
// themselves), flushing at the end: for tests and for terminals read without curses.
std::vector<GLTerminalEvent> GLDecodeTerminalBytes(std::string_view Bytes,
                                                   const std::vector<GLTerminalKeyBinding>& Bindings);
