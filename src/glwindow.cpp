// GLWindow: focus order, key routing, pointer lookup and the layout dump.
#include "glwindow.h"

#include "glbutton.h"
#include "glchoice.h"
#include "gllabel.h"
#include "gltableview.h"
#include "gltextinput.h"

#include <cmath>
#include <cstddef>
#include <sstream>

namespace
{

// Every byte outside printable ASCII, and the backslash, as \xNN: any text on one line.
std::string DumpText(const std::string& Bytes)
{
    static constexpr char Digits[] = "0123456789abcdef";
    std::string out;
    for (const char c : Bytes)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20U && byte < 0x7FU && c != '\\')
        {
            out.push_back(c);
        }
        else
        {
            out += "\\x";
            out.push_back(Digits[byte >> 4U]);
            out.push_back(Digits[byte & 0x0FU]);
        }
    }
    return out;
}

// Writes one line per widget of a window.
class LayoutWriter : public GLConstWidgetVisitor
{
public:
    LayoutWriter(const GLWindow& InWindow,
                 const std::function<std::vector<GLDrawnRow>(const GLTableView&)>& InDrawnRows)
        : Window(InWindow), DrawnRows(InDrawnRows)
    {
    }

    std::ostringstream Out;

    void Visit(const GLLabel& Label) override { Line("label", Label, Label.Text); }
    void Visit(const GLButton& Button) override { Line("button", Button, Button.Label); }
    void Visit(const GLTextInput& Input) override { Line("input", Input, Input.Text); }
    void Visit(const GLChoice& Choice) override { Line("choice", Choice, Choice.SelectedText()); }
    void Visit(const GLTableView& Table) override
    {
        Out << "table";
        Rect(Table.Bounds);
        Out << ' ' << Focus(Table) << ' ' << Table.RowCount() << '\n';
        const std::vector<GLDrawnRow> rows =
            DrawnRows ? DrawnRows(Table) : Table.VisibleRows(Window.Metrics.LineHeight);
        for (const GLDrawnRow& row : rows)
        {
            const std::string* name = Table.Model ? Table.Model->CellAt(row.Row, 0) : nullptr;
            Out << "row " << row.Row;
            Rect(row.Rect);
            std::string marks = Table.IsRowHighlighted(row.Row) ? "s" : "";
            marks += row.Row == Table.FocusedRow ? "f" : "";
            Out << ' ' << (marks.empty() ? "-" : marks) << ' '
                << DumpText(name != nullptr ? *name : std::string()) << '\n';
        }
    }

private:
    void Rect(const GLRect& Box)
    {
        Out << ' ' << std::lround(Box.X) << ' ' << std::lround(Box.Y) << ' ' << std::lround(Box.Width) << ' '
            << std::lround(Box.Height);
    }
    const char* Focus(const GLWidget& Widget) const
    {
        return Window.FocusedWidget == &Widget ? "focused" : "-";
    }
    void Line(const char* Kind, const GLWidget& Widget, const std::string& Text)
    {
        Out << Kind;
        Rect(Widget.Bounds);
        Out << ' ' << Focus(Widget) << ' ' << DumpText(Text) << '\n';
    }

    const GLWindow& Window;
    const std::function<std::vector<GLDrawnRow>(const GLTableView&)>& DrawnRows;
};

// Performs a pointer press on the widget it visits.
class PressHandler : public GLWidgetVisitor
{
public:
    PressHandler(GLWindow& InWindow, float InY, int InClickCount, GLModifiers InMods)
        : Window(InWindow), Y(InY), ClickCount(InClickCount), Mods(InMods)
    {
    }

    // Whether the press did something.
    bool bTaken = false;
    // Whether the widget was of a kind the toolkit knows.
    bool bKnown = false;

    void Visit(GLButton& Button) override
    {
        bKnown = true;
        Window.SetFocus(&Button);
        Button.Click();
        bTaken = true;
    }
    void Visit(GLTextInput& Input) override
    {
        bKnown = true;
        Window.SetFocus(&Input);
        bTaken = true;
    }
    void Visit(GLLabel& /*Label*/) override { bKnown = true; }
    // Each press steps to the next item, wrapping, as a drop-down in a terminal can.
    void Visit(GLChoice& Choice) override
    {
        bKnown = true;
        if (Choice.AcceptsFocus())
        {
            Window.SetFocus(&Choice);
            Choice.Step(false, true);
            bTaken = true;
        }
    }
    void Visit(GLTableView& Table) override
    {
        bKnown = true;
        const int row = Table.RowAtY(Y, Window.Metrics.LineHeight);
        if (row < 0)
        {
            return;
        }
        Window.SetFocus(&Table);
        Table.PressRow(row, ClickCount, Mods);
        bTaken = true;
    }

private:
    GLWindow& Window;
    float Y;
    int ClickCount;
    GLModifiers Mods;
};

// Scrolls the table it visits.
class WheelHandler : public GLWidgetVisitor
{
public:
    explicit WheelHandler(int InRows) : Rows(InRows) {}

    bool bTaken = false;

    using GLWidgetVisitor::Visit;
    void Visit(GLTableView& Table) override
    {
        Table.ScrollBy(Rows);
        bTaken = true;
    }
    void Visit(GLChoice& Choice) override
    {
        Choice.Step(Rows < 0, false);
        bTaken = Rows != 0;
    }

private:
    int Rows;
};

} // namespace

void GLWindow::FocusNext(bool bBackward)
{
    std::vector<GLWidget*> order;
    for (const auto& child : Children)
    {
        if (child->bShown && child->AcceptsFocus())
        {
            order.push_back(child.get());
        }
    }
    if (order.empty())
    {
        FocusedWidget = nullptr;
        return;
    }
    std::size_t current = order.size();
    for (std::size_t i = 0; i < order.size(); ++i)
    {
        if (order[i] == FocusedWidget)
        {
            current = i;
        }
    }
    if (current == order.size())
    {
        FocusedWidget = bBackward ? order.back() : order.front();
        return;
    }
    const std::size_t count = order.size();
    FocusedWidget = order[bBackward ? (current + count - 1) % count : (current + 1) % count];
}

void GLWindow::SetBounds(const GLRect& NewBounds)
{
    Bounds = NewBounds;
    Layout();
}

void GLWindow::SetMetrics(const GLMetrics& NewMetrics)
{
    Metrics = NewMetrics;
    Layout();
}

bool GLWindow::HandleKey(GLKey Key, GLModifiers Mods)
{
    if (Key == GLKey::Tab && !Mods.bCtrl && !Mods.bAlt)
    {
        FocusNext(Mods.bShift);
        return true;
    }
    if (FocusedWidget != nullptr && FocusedWidget->bShown && FocusedWidget->HandleKey(Key, Mods))
    {
        return true;
    }
    KeyPressed.emit(Key, Mods);
    return false;
}

bool GLWindow::HandleText(const char* Utf8, double NowSeconds)
{
    return FocusedWidget != nullptr && FocusedWidget->bShown && FocusedWidget->HandleText(Utf8, NowSeconds);
}

GLWidget* GLWindow::WidgetAt(float X, float Y) const
{
    for (auto child = Children.rbegin(); child != Children.rend(); ++child)
    {
        if (*child && (*child)->bShown && (*child)->Bounds.Contains(X, Y))
        {
            return child->get();
        }
    }
    return nullptr;
}

bool GLWindow::PointerPress(float X, float Y, int ClickCount, GLModifiers Mods)
{
    GLWidget* target = WidgetAt(X, Y);
    if (target == nullptr)
    {
        return false;
    }
    PressHandler press(*this, Y, ClickCount, Mods);
    target->Accept(press);
    // A widget of the host's own only takes the focus.
    if (!press.bKnown && target->AcceptsFocus())
    {
        SetFocus(target);
        return true;
    }
    return press.bTaken;
}

bool GLWindow::PointerWheel(float X, float Y, int Rows)
{
    GLWidget* target = WidgetAt(X, Y);
    if (target == nullptr)
    {
        return false;
    }
    WheelHandler wheel(Rows);
    target->Accept(wheel);
    return wheel.bTaken;
}

std::string
GLWindow::DescribeLayout(const std::function<std::vector<GLDrawnRow>(const GLTableView&)>& DrawnRows) const
{
    LayoutWriter writer(*this, DrawnRows);
    writer.Out << "window " << std::lround(Bounds.Width) << ' ' << std::lround(Bounds.Height) << '\n';
    for (const auto& child : Children)
    {
        if (child && child->bShown)
        {
            child->Accept(writer);
        }
    }
    return writer.Out.str();
}
