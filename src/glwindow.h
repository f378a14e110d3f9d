// GLWindow: a widget tree with focus, pointer lookup, the wait hook and a layout dump.
#pragma once

#include "glwidget.h"
#include "signalslot.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class GLChildWindow;

// Sizes a window lays its widgets out with: pixels for a window system, cells for a terminal.
struct GLMetrics
{
    float LineHeight = 20.0F;
    float CharWidth = 8.0F;
    float Spacing = 6.0F;
};

// A widget that owns a tree of child widgets, manages keyboard focus among them and can be
// hosted in a GLChildWindow.
class GLWindow : public GLWidget
{
public:
    // The window that hosts this one; may be null.
    GLChildWindow* HostWindow = nullptr;
    // When true, finishing the dialog hides HostWindow.
    bool bHideHostOnFinish = false;

    // Owned children, in Tab order.
    std::vector<std::unique_ptr<GLWidget>> Children;
    // The child with keyboard focus; null for none.
    GLWidget* FocusedWidget = nullptr;
    // Units the layout works in.
    GLMetrics Metrics;
    // Raised with keys that no child consumed.
    Signal<GLKey, GLModifiers> KeyPressed;
    // Set by the host: draws one frame of this window and delivers the input that arrived
    // meanwhile. While an operation of the window has waited on the file system for more than
    // about 100 ms, the window calls it about every 16 ms, so the host keeps drawing and
    // answering. Left empty, the host simply waits.
    std::function<void()> WaitFrame;

    // Creates a child widget owned by this window.
    template <typename T> T* AddChild()
    {
        auto child = std::make_unique<T>();
        T* raw = child.get();
        Children.push_back(std::move(child));
        return raw;
    }

    // The topmost shown child whose Bounds hold the point; null for none.
    GLWidget* WidgetAt(float X, float Y) const;
    // A pointer press at a point, for hosts that hit-test with the toolkit's geometry (tables
    // drawing rows Metrics.LineHeight apart): focuses what was pressed when it takes focus,
    // presses a table row (a press on the header line does nothing), clicks a button and steps a
    // choice to its next item. Returns
    // whether a widget took the press.
    bool PointerPress(float X, float Y, int ClickCount, GLModifiers Mods);
    // The wheel over a point: scrolls a table there by Rows, or steps a choice. Returns whether
    // one moved.
    bool PointerWheel(float X, float Y, int Rows);
    // Text describing every shown widget and every visible table row, one per line, for
    // end-to-end drivers: "window W H", then "KIND X Y W H FOCUS TEXT" for labels, buttons,
    // inputs and choices (their chosen item), "table X Y W H FOCUS ROWS" followed by "row N X Y W H MARKS
    // NAME" (MARKS: s selected, f focused, - neither). Texts have every byte outside printable ASCII, and the
    // backslash, written as \xNN. DrawnRows gives the rows a backend drew; left empty, the rows
    // come from the table's own geometry (VisibleRows with Metrics.LineHeight).
    std::string
    DescribeLayout(const std::function<std::vector<GLDrawnRow>(const GLTableView&)>& DrawnRows = {}) const;

    // Gives keyboard focus to a child (null clears it).
    void SetFocus(GLWidget* Widget) { FocusedWidget = Widget; }
    // Moves focus to the next (or previous) child that accepts it.
    void FocusNext(bool bBackward);
    // Sets the window's rectangle and lays the children out again.
    void SetBounds(const GLRect& NewBounds);
    // Sets the layout units and lays the children out again.
    void SetMetrics(const GLMetrics& NewMetrics);
    // Places the children inside Bounds.
    virtual void Layout() {}
    // The title a host should show for this window.
    virtual std::string WindowTitle() const { return {}; }
    // Asks an operation that is waiting on the file system to give up as soon as it can; a host
    // calls it from WaitFrame when the user closes the window or interrupts the program.
    virtual void AbandonWait() {}

    // A window passes focus to its children and never holds it itself.
    bool AcceptsFocus() const override { return false; }
    // Tab moves focus; other keys go to the focused child, then to KeyPressed.
    bool HandleKey(GLKey Key, GLModifiers Mods) override;
    // Text goes to the focused child.
    bool HandleText(const char* Utf8, double NowSeconds) override;
};
