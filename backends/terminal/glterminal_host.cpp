// The terminal host's event loop: draws the content, reads input and hands it to the widgets.
#include "glterminal_host.h"

#include "glterminal_draw.h"
#include "glterminal_keys.h"
#include "glterminal_session.h"

#include <curses.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace
{

constexpr int PollMilliseconds = 200; // how often the idle loop looks at the signal flags
constexpr int WaitFrameMilliseconds = 16;
constexpr int WheelRows = 3;
constexpr int MinLines = 6;
constexpr int MinColumns = 20;
// Input units one wait frame takes at most, so that a flood of input cannot hold it.
constexpr int WaitFrameInputs = 256;

// The base bindings plus the modified keys that xterm-like descriptions list as extended
// capabilities: kUP is Shift+Up, kUP3 Alt+Up, kUP5 Ctrl+Up, and so on.
std::vector<GLTerminalKeyBinding> BuildKeyBindings()
{
    std::vector<GLTerminalKeyBinding> keys = GLTerminalBaseBindings();
    static const std::array<std::pair<const char*, GLKey>, 9> Names = {{
        {"kUP", GLKey::Up},
        {"kDN", GLKey::Down},
        {"kLFT", GLKey::Left},
        {"kRIT", GLKey::Right},
        {"kHOM", GLKey::Home},
        {"kEND", GLKey::End},
        {"kPRV", GLKey::PageUp},
        {"kNXT", GLKey::PageDown},
        {"kDC", GLKey::Delete},
    }};
    for (const auto& [name, key] : Names)
    {
        for (int parameter = 2; parameter <= 8; ++parameter)
        {
            const std::string capability = parameter == 2 ? name : name + std::to_string(parameter);
            const char* value = ::tigetstr(capability.c_str());
            const int code = GLTerminalIsString(value) ? ::key_defined(value) : 0;
            if (code > 0)
            {
                keys.push_back({code, key, GLTerminalModifiers(parameter)});
            }
        }
    }
    return keys;
}

double NowSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

GLTerminalStyle MakeStyle(bool bUtf8)
{
    GLTerminalStyle style;
    style.bUtf8 = bUtf8;
    style.CutMarker = bUtf8 ? L'\u2026' : L'~';
    style.Header = {A_BOLD, 0};
    style.Highlight = {A_REVERSE, 0};
    style.FocusedRow = {A_BOLD, 0};
    style.Field = {A_UNDERLINE, 0};
    style.FocusedField = {A_UNDERLINE | A_BOLD, 0};
    style.FocusedButton = {A_REVERSE | A_BOLD, 0};
    // Default colours stay the terminal's own; only highlights get a colour.
    if (::has_colors() && std::getenv("NO_COLOR") == nullptr && ::start_color() == OK)
    {
        ::use_default_colors();
        if (::init_pair(1, COLOR_BLACK, COLOR_CYAN) == OK)
        {
            style.Highlight = {A_NORMAL, 1};
        }
        if (::init_pair(2, COLOR_BLACK, COLOR_YELLOW) == OK)
        {
            style.FocusedButton = {A_BOLD, 2};
        }
    }
    return style;
}

// Requests that every table bring its focused row back into view (after a resize).
class RevealRequester : public GLWidgetVisitor
{
public:
    using GLWidgetVisitor::Visit;
    void Visit(GLTableView& Table) override { Table.bScrollToFocus = true; }
};

class TerminalLoop
{
public:
    TerminalLoop(GLChildWindow& InHost, const GLTerminalSession& InSession)
        : Host(InHost), Content(*InHost.Content), Session(InSession), Style(MakeStyle(InSession.IsUtf8())),
          Decoder(BuildKeyBindings()), PreviousWaitFrame(std::move(Content.WaitFrame))
    {
        Content.WaitFrame = [this]
        {
            WaitFrame();
        };
        // ^H is Ctrl+H (hidden entries) unless this terminal's Backspace key sends it.
        Decoder.bCtrlHIsBackspace = InSession.EraseCharacter() == '\b';
    }
    TerminalLoop(const TerminalLoop&) = delete;
    TerminalLoop& operator=(const TerminalLoop&) = delete;
    TerminalLoop(TerminalLoop&&) = delete;
    TerminalLoop& operator=(TerminalLoop&&) = delete;
    ~TerminalLoop() { Content.WaitFrame = std::move(PreviousWaitFrame); }

    // Runs until the host is hidden, a stop signal arrives or the terminal goes away; returns
    // the stop signal, or 0.
    int Run()
    {
        Content.SetMetrics(GLMetrics{1.0F, 1.0F, 0.0F});
        FitToScreen();
        bChanged = true;
        while (Host.bVisible && GLTerminalStopSignal() == 0 && !bTerminalGone)
        {
            if (bChanged)
            {
                Draw();
                bChanged = false;
            }
            if (!ReadOne(PollMilliseconds))
            {
                bTerminalGone = !Session.IsAlive();
            }
            Dispatch();
        }
        return GLTerminalStopSignal();
    }

private:
    // One frame while an operation of the content waits: draws, takes what input is there
    // (waiting at most one frame for it) and hands it over. Ctrl+C or a vanished terminal asks
    // the operation to give up; the loop ends once it has.
    void WaitFrame()
    {
        if (GLTerminalStopSignal() == 0 && !bTerminalGone)
        {
            Draw();
            bChanged = false;
            bool bRead = ReadOne(WaitFrameMilliseconds);
            for (int count = 1; bRead && count < WaitFrameInputs; ++count)
            {
                bRead = ReadOne(0);
            }
            if (!bRead && !Session.IsAlive())
            {
                bTerminalGone = true;
            }
            Dispatch();
        }
        if (GLTerminalStopSignal() != 0 || bTerminalGone)
        {
            Content.AbandonWait();
        }
    }

    // Reads one unit of input, waiting up to Milliseconds (none while a sequence is pending,
    // whose rest is already there); false when nothing came.
    bool ReadOne(int Milliseconds)
    {
        ::wtimeout(stdscr, Decoder.IsPending() ? 0 : Milliseconds);
        wint_t input = 0;
        const int kind = ::wget_wch(stdscr, &input);
        if (kind == ERR)
        {
            Decoder.Flush();
            return false;
        }
        bChanged = true;
        if (kind != KEY_CODE_YES)
        {
            Decoder.PushChar(static_cast<char32_t>(input));
        }
        else if (input == KEY_RESIZE)
        {
            FitToScreen();
        }
        else if (input == KEY_MOUSE)
        {
            MEVENT event{};
            if (::getmouse(&event) == OK)
            {
                Decoder.PushMouse(
                    GLTerminalCursesMouse(event.x, event.y, static_cast<std::uint32_t>(event.bstate)));
            }
        }
        else
        {
            Decoder.PushKeyCode(static_cast<int>(input));
        }
        // The rest of a sequence is already there; a lone ESC is known once nothing follows it.
        if (Decoder.IsPending())
        {
            ReadOne(0);
        }
        return true;
    }

    // Hands decoded events to the content one at a time: an event may run an operation that
    // calls WaitFrame, which must find the later events still queued, in order.
    void Dispatch()
    {
        GLTerminalEvent event;
        while (Host.bVisible && Decoder.Next(event))
        {
            switch (event.Kind)
            {
            case GLTerminalEvent::Type::Key:
                Content.HandleKey(event.Key, event.Mods);
                break;
            case GLTerminalEvent::Type::Text:
                Content.HandleText(event.Text.c_str(), NowSeconds());
                break;
            case GLTerminalEvent::Type::Mouse:
                HandleMouse(event.Mouse);
                break;
            case GLTerminalEvent::Type::Repaint:
                ::clearok(curscr, TRUE);
                break;
            }
        }
    }

    void FitToScreen()
    {
        Content.SetBounds(GLRect{0.0F, 0.0F, static_cast<float>(COLS), static_cast<float>(LINES)});
        RevealRequester reveal; // a smaller screen must still show the focused row
        for (const auto& child : Content.Children)
        {
            child->Accept(reveal);
        }
    }

    void Draw()
    {
        ::werase(stdscr);
        GLTerminalPoint caret;
        if (LINES < MinLines || COLS < MinColumns)
        {
            ::mvwaddnstr(stdscr, 0, 0, "Terminal too small", COLS);
        }
        else
        {
            caret = DrawTerminalContent(Content, Style);
        }
        ::curs_set(caret.Line >= 0 ? 1 : 0);
        if (caret.Line >= 0)
        {
            ::wmove(stdscr, caret.Line, caret.Column);
        }
        ::wnoutrefresh(stdscr);
        ::doupdate();
    }

    // Cells are hit at their centres, so that a click never lands on a widget's edge.
    void HandleMouse(const GLTerminalMouse& Mouse)
    {
        const float x = static_cast<float>(Mouse.Column) + 0.5F;
        const float y = static_cast<float>(Mouse.Line) + 0.5F;
        if (Mouse.Button == 4 || Mouse.Button == 5)
        {
            Content.PointerWheel(x, y, Mouse.Button == 4 ? -WheelRows : WheelRows);
            return;
        }
        if (Mouse.Button != 1 || Mouse.bRelease)
        {
            return;
        }
        const int clicks = Mouse.ClickCount > 0 ? Mouse.ClickCount : Clicks.Press(Mouse, NowSeconds());
        Content.PointerPress(x, y, clicks, Mouse.Mods);
    }

    GLChildWindow& Host;
    GLWindow& Content;
    const GLTerminalSession& Session;
    const GLTerminalStyle Style;
    GLTerminalKeyDecoder Decoder;
    GLTerminalClickCounter Clicks;
    std::function<void()> PreviousWaitFrame;
    bool bChanged = true;
    bool bTerminalGone = false;
};

} // namespace

GLHostResult RunTerminalHost(GLChildWindow& Host, std::string& Error)
{
    if (!Host.bVisible)
    {
        return GLHostResult::Finished;
    }
    if (Host.Content == nullptr)
    {
        Error = "nothing to show";
        return GLHostResult::Unavailable;
    }
    int stopSignal = 0;
    {
        GLTerminalSession session;
        if (!session.Open(Error))
        {
            return GLHostResult::Unavailable;
        }
        TerminalLoop loop(Host, session);
        stopSignal = loop.Run();
    }
    if (stopSignal == SIGINT)
    {
        return GLHostResult::Interrupted;
    }
    if (stopSignal != 0)
    {
        // Termination and hangup end the process as they would have, now that the screen is back.
        ::raise(stopSignal);
    }
    return Host.bVisible ? GLHostResult::Closed : GLHostResult::Finished;
}
