// The base of every toolkit widget, with the geometry, key and visitor types they share.
#pragma once

#include <cstdint>

class GLLabel;
class GLButton;
class GLTextInput;
class GLTableView;
class GLChoice;

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

// A visible table row and where a backend drew it, for layout dumps and hit tests.
struct GLDrawnRow
{
    int Row = -1;
    GLRect Rect;
};

// What a widget is, for hosts that treat kinds differently without knowing widget classes.
enum class GLWidgetKind : std::int32_t
{
    Other,
    Label,
    Button,
    TextInput,
    Table,
    Choice,
};

// Typed access to a widget without casts: override Visit for the kinds you handle.
class GLWidgetVisitor
{
public:
    virtual ~GLWidgetVisitor() = default;
    // Called for a label.
    virtual void Visit(GLLabel& /*Label*/) {}
    // Called for a button.
    virtual void Visit(GLButton& /*Button*/) {}
    // Called for a text input.
    virtual void Visit(GLTextInput& /*Input*/) {}
    // Called for a table view.
    virtual void Visit(GLTableView& /*Table*/) {}
    // Called for a choice.
    virtual void Visit(GLChoice& /*Choice*/) {}
};

// The read-only counterpart of GLWidgetVisitor.
class GLConstWidgetVisitor
{
public:
    virtual ~GLConstWidgetVisitor() = default;
    // Called for a label.
    virtual void Visit(const GLLabel& /*Label*/) {}
    // Called for a button.
    virtual void Visit(const GLButton& /*Button*/) {}
    // Called for a text input.
    virtual void Visit(const GLTextInput& /*Input*/) {}
    // Called for a table view.
    virtual void Visit(const GLTableView& /*Table*/) {}
    // Called for a choice.
    virtual void Visit(const GLChoice& /*Choice*/) {}
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
    // Calls the visitor's Visit for this widget's class; nothing for other widgets.
    virtual void Accept(GLWidgetVisitor& /*Visitor*/) {}
    // Calls the visitor's Visit for this widget's class; nothing for other widgets.
    virtual void Accept(GLConstWidgetVisitor& /*Visitor*/) const {}
    // Which kind of widget this is.
    GLWidgetKind Kind() const;
};
