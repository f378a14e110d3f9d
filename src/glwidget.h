#pragma once

#include <cstdint>

// A rectangle in the host's units (pixels for a window, cells for a terminal).
struct GLRect
{
    float X = 0.0F;
    float Y = 0.0F;
    float Width = 0.0F;
    float Height = 0.0F;

    // Whether the point lies inside the rectangle (right and bottom edges excluded).
    bool Contains(float PointX, float PointY) const
    {
        return PointX >= X && PointY >= Y && PointX < X + Width && PointY < Y + Height;
    }
};

// Keys that widgets understand; backends translate their platform's codes to these.
enum class GLKey : std::int32_t
{
    None,
    Up,
    Down,
    Left,
    Right,
    PageUp,
    PageDown,
    Home,
    End,
    Enter,
    Escape,
    Backspace,
    Delete,
    Tab,
    // The H key as a shortcut: backends send it only with Ctrl held (Ctrl+H shows or hides
    // hidden entries); typed letters arrive as text.
    H,
};

// Modifier keys held during an input event.
struct GLModifiers
{
    bool bShift = false;
    bool bCtrl = false;
    bool bAlt = false;
};

// Base of every toolkit widget: where it is, whether it is shown, whether it takes focus.
class GLWidget
{
public:
    GLWidget() = default;
    GLWidget(const GLWidget&) = delete;
    GLWidget& operator=(const GLWidget&) = delete;
    GLWidget(GLWidget&&) = delete;
    GLWidget& operator=(GLWidget&&) = delete;
    virtual ~GLWidget() = default;

    // Position and size, written by the owning window's layout.
    GLRect Bounds;
    // Hidden widgets are neither drawn nor given input.
    bool bShown = true;

    // Whether keyboard focus may rest on this widget (Tab order).
    virtual bool AcceptsFocus() const { return false; }
    // Key input while focused; returns true when the widget consumed the key.
    virtual bool HandleKey(GLKey /*Key*/, GLModifiers /*Mods*/) { return false; }
    // Typed text (UTF-8) while focused; returns true when consumed.
    virtual bool HandleText(const char* /*Utf8*/, double /*NowSeconds*/) { return false; }
};
