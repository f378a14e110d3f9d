#include "glterminal_host.h"

#include "glbutton.h"
#include "glchoice.h"
#include "gltableview.h"
#include "glterminal_draw.h"

#include <curses.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <langinfo.h>
#include <optional>
#include <string>
#include <termios.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{

constexpr int PollMilliseconds = 200; // how often the loop looks at the signal flags
constexpr int EscapeMilliseconds = 25;
constexpr int WheelRows = 3;
constexpr int MinLines = 6;
constexpr int MinColumns = 20;

// ---------------------------------------------------------------------------------------------
// Signals. The handlers touch only the plain data below, which is complete before they are
// armed: a stop signal just records itself for the loop; a crash signal puts the terminal back
// with async-signal-safe calls and then lets the signal do what it would have done.

constexpr std::array<int, 3> StopSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr std::array<int, 8> CrashSignals = {SIGSEGV, SIGBUS,  SIGFPE,  SIGILL,
                                             SIGABRT, SIGQUIT, SIGTRAP, SIGSYS};
constexpr int SignalSlots = 32;
using SignalAction = struct sigaction;

volatile std::sig_atomic_t gStopSignal = 0;
volatile std::sig_atomic_t gRestoreArmed = 0;
int gTtyFd = -1;
termios gSavedTermios{};
std::array<char, 512> gRestoreBytes{};
std::size_t gRestoreLength = 0;
std::array<SignalAction, SignalSlots> gPreviousActions{};
std::array<bool, SignalSlots> gInstalled{};
// A crash from a stack overflow needs a stack of its own to run the handler on.
std::array<char, std::size_t{64} * 1024> gAlternateStack{};

void OnStopSignal(int Signal)
{
    if (gStopSignal == 0)
    {
        gStopSignal = Signal;
    }
}

void OnCrashSignal(int Signal)
{
    const int savedErrno = errno;
    if (gRestoreArmed != 0)
    {
        gRestoreArmed = 0;
        ::tcsetattr(gTtyFd, TCSANOW, &gSavedTermios);
        std::size_t written = 0;
        while (written < gRestoreLength)
        {
            const ssize_t count = ::write(gTtyFd, gRestoreBytes.data() + written, gRestoreLength - written);
            if (count <= 0 && errno != EINTR)
            {
                break;
            }
            written += count > 0 ? static_cast<std::size_t>(count) : 0U;
        }
    }
    // With the previous action back, the signal ends the process as it would have without us
    // (core dump and exit status included) once this handler returns.
    if (Signal > 0 && Signal < SignalSlots)
    {
        ::sigaction(Signal, &gPreviousActions[static_cast<std::size_t>(Signal)], nullptr);
    }
    ::raise(Signal);
    errno = savedErrno;
}

// Installs Handler for each signal that is not ignored (an ignored hangup, as under nohup,
// stays ignored) and remembers what was there.
template <std::size_t Count>
void InstallHandlers(const std::array<int, Count>& Signals, void (*Handler)(int), int Flags)
{
    for (const int signal : Signals)
    {
        const auto slot = static_cast<std::size_t>(signal);
        SignalAction previous{};
        if (::sigaction(signal, nullptr, &previous) != 0 || previous.sa_handler == SIG_IGN)
        {
            continue;
        }
        SignalAction action{};
        action.sa_handler = Handler;
        action.sa_flags = Flags;
        sigemptyset(&action.sa_mask);
        if (::sigaction(signal, &action, &gPreviousActions[slot]) == 0)
        {
            gInstalled[slot] = true;
        }
    }
}

void RestoreHandlers()
{
    for (std::size_t slot = 0; slot < gInstalled.size(); ++slot)
    {
        if (gInstalled[slot])
        {
            ::sigaction(static_cast<int>(slot), &gPreviousActions[slot], nullptr);
            gInstalled[slot] = false;
        }
    }
}

bool IsString(const char* Capability)
{
    // ncurses marks a cancelled capability with the address -1.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    const auto* cancelled = reinterpret_cast<const char*>(static_cast<std::intptr_t>(-1));
    return Capability != nullptr && Capability != cancelled;
}

// ---------------------------------------------------------------------------------------------
// The session: the controlling terminal in curses mode, restored by the destructor.

class TerminalSession
{
public:
    TerminalSession() = default;
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;
    TerminalSession(TerminalSession&&) = delete;
    TerminalSession& operator=(TerminalSession&&) = delete;
    ~TerminalSession() { Close(); }

    // Opens the terminal and enters curses mode; false with a one-line reason otherwise.
    bool Open(std::string& Error);
    // Whether the terminal's character set (from the locale) is UTF-8.
    bool IsUtf8() const { return bUtf8; }
    // Whether the terminal is still there (a hung-up terminal fails every request).
    bool IsAlive() const
    {
        termios state{};
        return ::tcgetattr(Fd, &state) == 0;
    }

private:
    bool StartCurses(std::string& Error);
    void PrepareCrashRestore();
    void AppendRestore(const char* Bytes);
    void Close();

    int Fd = -1;
    FILE* Out = nullptr;
    FILE* In = nullptr;
    SCREEN* Screen = nullptr;
    bool bUtf8 = false;
    bool bTermiosSaved = false;
    std::string SavedLocale;
    bool bLocaleSaved = false;
    bool bAlternateStack = false;
    stack_t PreviousStack{};
};

bool TerminalSession::Open(std::string& Error)
{
    // The controlling terminal, not standard output: that carries the program's results.
    Fd = ::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (Fd < 0)
    {
        Error = std::string("no terminal to draw on (/dev/tty: ") + std::strerror(errno) + ")";
        return false;
    }
    if (::tcgetattr(Fd, &gSavedTermios) != 0)
    {
        Error = std::string("no terminal to draw on (/dev/tty: ") + std::strerror(errno) + ")";
        return false;
    }
    bTermiosSaved = true;
    gTtyFd = Fd;
    gStopSignal = 0;
    gRestoreArmed = 0;

    const char* locale = std::setlocale(LC_CTYPE, nullptr);
    SavedLocale = locale != nullptr ? locale : "C";
    bLocaleSaved = true;
    std::setlocale(LC_CTYPE, "");
    bUtf8 = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;

    // Before curses starts: it installs its own interrupt handlers only where none are set.
    InstallHandlers(StopSignals, OnStopSignal, 0);
    stack_t stack{};
    stack.ss_sp = gAlternateStack.data();
    stack.ss_size = gAlternateStack.size();
    bAlternateStack = ::sigaltstack(&stack, &PreviousStack) == 0;
    InstallHandlers(CrashSignals, OnCrashSignal, SA_ONSTACK);
    return StartCurses(Error);
}

bool TerminalSession::StartCurses(std::string& Error)
{
    const int inFd = ::fcntl(Fd, F_DUPFD_CLOEXEC, 0);
    Out = ::fdopen(Fd, "w");
    In = inFd >= 0 ? ::fdopen(inFd, "r") : nullptr;
    if (Out == nullptr || In == nullptr)
    {
        if (In == nullptr && inFd >= 0)
        {
            ::close(inFd);
        }
        Error = std::string("cannot use the terminal: ") + std::strerror(errno);
        return false;
    }

    // An unset or unknown TERM (a terminal type missing from this machine's database, common
    // over remote logins) falls back to the near-universal xterm dialect, then to plain vt100.
    const char* declared = std::getenv("TERM");
    std::vector<std::string> candidates;
    if (declared != nullptr && declared[0] != '\0')
    {
        candidates.emplace_back(declared);
    }
    candidates.emplace_back("xterm-256color");
    candidates.emplace_back("vt100");
    for (const std::string& type : candidates)
    {
        Screen = ::newterm(type.c_str(), Out, In);
        if (Screen != nullptr)
        {
            break;
        }
    }
    if (Screen == nullptr)
    {
        Error =
            "no usable terminal description (TERM=" + std::string(declared != nullptr ? declared : "") + ")";
        return false;
    }
    if (!IsString(::tigetstr("cup")))
    {
        // A known type that cannot address the cursor (dumb, hardcopy) cannot show a dialog.
        Error = "the terminal cannot position the cursor (TERM=" + std::string(termname()) + ")";
        return false;
    }

    ::cbreak(); // not raw: Ctrl+C and Ctrl+Z keep working as signals
    ::noecho();
    ::nonl();
    ::keypad(stdscr, TRUE);
    ::intrflush(stdscr, FALSE);
    ::meta(stdscr, TRUE);
    if (std::getenv("ESCDELAY") == nullptr)
    {
        ::set_escdelay(EscapeMilliseconds);
    }
    ::wtimeout(stdscr, PollMilliseconds);
    mmask_t events =
        BUTTON1_CLICKED | BUTTON1_DOUBLE_CLICKED | BUTTON4_PRESSED | BUTTON_SHIFT | BUTTON_CTRL | BUTTON_ALT;
#ifdef BUTTON5_PRESSED
    events |= BUTTON5_PRESSED;
#endif
    ::mousemask(events, nullptr);
    PrepareCrashRestore();
    return true;
}

void TerminalSession::AppendRestore(const char* Bytes)
{
    if (!IsString(Bytes))
    {
        return;
    }
    const std::size_t length = std::strlen(Bytes);
    if (gRestoreLength + length <= gRestoreBytes.size())
    {
        std::memcpy(gRestoreBytes.data() + gRestoreLength, Bytes, length);
        gRestoreLength += length;
    }
}

// What endwin would send, worked out now: a crash handler cannot ask curses.
void TerminalSession::PrepareCrashRestore()
{
    gRestoreArmed = 0;
    gRestoreLength = 0;
    const char* mouse = ::tigetstr("XM");
    if (IsString(mouse))
    {
        AppendRestore(::tiparm(mouse, 0));
    }
    else if (IsString(::tigetstr("kmous")))
    {
        AppendRestore("\033[?1000l");
    }
    for (const char* name : {"rmkx", "sgr0", "op", "cnorm"})
    {
        AppendRestore(::tigetstr(name));
    }
    const char* leaveScreen = ::tigetstr("rmcup");
    AppendRestore(IsString(leaveScreen) ? leaveScreen : "\r\n");
    gRestoreArmed = 1;
}

void TerminalSession::Close()
{
    gRestoreArmed = 0;
    if (Screen != nullptr)
    {
        ::endwin();
        ::delscreen(Screen);
        Screen = nullptr;
    }
    if (Fd >= 0 && bTermiosSaved)
    {
        // Exactly the settings found on entry, whatever curses left behind.
        ::tcsetattr(Fd, TCSADRAIN, &gSavedTermios);
    }
    if (In != nullptr)
    {
        std::fclose(In);
        In = nullptr;
    }
    if (Out != nullptr)
    {
        std::fclose(Out); // closes Fd
        Out = nullptr;
        Fd = -1;
    }
    if (Fd >= 0)
    {
        ::close(Fd);
        Fd = -1;
    }
    gTtyFd = -1;
    RestoreHandlers();
    if (bAlternateStack)
    {
        ::sigaltstack(&PreviousStack, nullptr);
        bAlternateStack = false;
    }
    if (bLocaleSaved)
    {
        std::setlocale(LC_CTYPE, SavedLocale.c_str());
        bLocaleSaved = false;
    }
}

// ---------------------------------------------------------------------------------------------
// Input translation

struct KeyPress
{
    GLKey Key = GLKey::None;
    GLModifiers Mods;
};

struct KeyBinding
{
    int Code = 0;
    KeyPress Press;
};

// xterm's modifier parameter: 1 + a mask of Shift (1), Alt (2) and Ctrl (4).
GLModifiers ModifiersFromParameter(int Parameter)
{
    const int bits = std::max(0, Parameter - 1);
    return GLModifiers{(bits & 1) != 0, (bits & 4) != 0, (bits & 2) != 0};
}

std::vector<KeyBinding> BuildKeyBindings()
{
    const GLModifiers none{};
    const GLModifiers shift{true, false, false};
    std::vector<KeyBinding> keys = {
        {KEY_UP, {GLKey::Up, none}},
        {KEY_DOWN, {GLKey::Down, none}},
        {KEY_LEFT, {GLKey::Left, none}},
        {KEY_RIGHT, {GLKey::Right, none}},
        {KEY_PPAGE, {GLKey::PageUp, none}},
        {KEY_NPAGE, {GLKey::PageDown, none}},
        {KEY_HOME, {GLKey::Home, none}},
        {KEY_END, {GLKey::End, none}},
        {KEY_FIND, {GLKey::Home, none}},
        {KEY_SELECT, {GLKey::End, none}},
        {KEY_A1, {GLKey::Home, none}},
        {KEY_C1, {GLKey::End, none}},
        {KEY_A3, {GLKey::PageUp, none}},
        {KEY_C3, {GLKey::PageDown, none}},
        {KEY_ENTER, {GLKey::Enter, none}},
        {KEY_BACKSPACE, {GLKey::Backspace, none}},
        {KEY_DC, {GLKey::Delete, none}},
        {KEY_BTAB, {GLKey::Tab, shift}},
        {KEY_SR, {GLKey::Up, shift}},
        {KEY_SF, {GLKey::Down, shift}},
        {KEY_SLEFT, {GLKey::Left, shift}},
        {KEY_SRIGHT, {GLKey::Right, shift}},
        {KEY_SHOME, {GLKey::Home, shift}},
        {KEY_SEND, {GLKey::End, shift}},
        {KEY_SPREVIOUS, {GLKey::PageUp, shift}},
        {KEY_SNEXT, {GLKey::PageDown, shift}},
        {KEY_SDC, {GLKey::Delete, shift}},
    };
    // Modified keys that xterm-like descriptions list as extended capabilities: kUP is
    // Shift+Up, kUP3 Alt+Up, kUP5 Ctrl+Up, and so on.
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
            const int code = IsString(value) ? ::key_defined(value) : 0;
            if (code > 0)
            {
                keys.push_back({code, {key, ModifiersFromParameter(parameter)}});
            }
        }
    }
    return keys;
}

std::optional<KeyPress> FindBinding(const std::vector<KeyBinding>& Bindings, int Code)
{
    for (const KeyBinding& binding : Bindings)
    {
        if (binding.Code == Code)
        {
            return binding.Press;
        }
    }
    return std::nullopt;
}

// A CSI or SS3 key sequence (the text after ESC, e.g. "[1;2A" or "OH") that the terminal
// description did not know: the common cursor and editing keys with xterm modifiers.
std::optional<KeyPress> DecodeSequence(const std::string& Sequence)
{
    if (Sequence.size() < 2)
    {
        return std::nullopt;
    }
    std::vector<int> parameters(1, 0);
    for (std::size_t i = 1; i + 1 < Sequence.size(); ++i)
    {
        const char c = Sequence[i];
        if (c == ';')
        {
            parameters.push_back(0);
        }
        else if (c >= '0' && c <= '9' && parameters.back() < 1000)
        {
            parameters.back() = parameters.back() * 10 + (c - '0');
        }
        else
        {
            return std::nullopt; // private or mouse sequences
        }
    }
    const GLModifiers mods = ModifiersFromParameter(parameters.size() > 1 ? parameters[1] : 1);
    switch (Sequence.back())
    {
    case 'A':
        return KeyPress{GLKey::Up, mods};
    case 'B':
        return KeyPress{GLKey::Down, mods};
    case 'C':
        return KeyPress{GLKey::Right, mods};
    case 'D':
        return KeyPress{GLKey::Left, mods};
    case 'H':
        return KeyPress{GLKey::Home, mods};
    case 'F':
        return KeyPress{GLKey::End, mods};
    case 'Z':
        return KeyPress{GLKey::Tab, GLModifiers{true, false, false}};
    case '~':
        switch (parameters[0])
        {
        case 1:
        case 7:
            return KeyPress{GLKey::Home, mods};
        case 4:
        case 8:
            return KeyPress{GLKey::End, mods};
        case 3:
            return KeyPress{GLKey::Delete, mods};
        case 5:
            return KeyPress{GLKey::PageUp, mods};
        case 6:
            return KeyPress{GLKey::PageDown, mods};
        default:
            return std::nullopt;
        }
    default:
        return std::nullopt;
    }
}

// What an ESC that curses handed over stands for: alone, the Escape key; before a key or a
// sequence, that key with Alt (terminals that send Alt as a prefix); before an unknown
// sequence, the key it encodes, or nothing, so that its bytes never arrive as typed text.
std::optional<KeyPress> ReadAfterEscape(const std::vector<KeyBinding>& Bindings)
{
    ::wtimeout(stdscr, 0);
    wint_t next = 0;
    int kind = ::wget_wch(stdscr, &next);
    bool bAlt = false;
    if (kind == OK && next == 27)
    {
        // A second ESC: Alt before a sequence curses did not know, or Escape pressed twice.
        bAlt = true;
        kind = ::wget_wch(stdscr, &next);
    }
    std::optional<KeyPress> press;
    if (kind == ERR || (kind == OK && next == 27))
    {
        press = KeyPress{GLKey::Escape, {}};
    }
    else if (kind == KEY_CODE_YES)
    {
        press = FindBinding(Bindings, static_cast<int>(next));
        bAlt = true;
    }
    else if (next == '[' || next == 'O')
    {
        std::string sequence(1, static_cast<char>(next));
        while (sequence.size() < 32 && ::wget_wch(stdscr, &next) == OK && next < 0x80)
        {
            sequence.push_back(static_cast<char>(next));
            if (next >= 0x40 && next <= 0x7E)
            {
                break;
            }
        }
        press = DecodeSequence(sequence);
    }
    if (press && bAlt)
    {
        press->Mods.bAlt = true;
    }
    ::wtimeout(stdscr, PollMilliseconds);
    return press;
}

std::string EncodeUtf8(wint_t Code)
{
    std::string out;
    const auto put = [&out](unsigned Byte)
    {
        out.push_back(static_cast<char>(Byte));
    };
    if (Code < 0x80)
    {
        put(Code);
    }
    else if (Code < 0x800)
    {
        put(0xC0U | (Code >> 6U));
        put(0x80U | (Code & 0x3FU));
    }
    else if (Code < 0x10000)
    {
        put(0xE0U | (Code >> 12U));
        put(0x80U | ((Code >> 6U) & 0x3FU));
        put(0x80U | (Code & 0x3FU));
    }
    else if (Code <= 0x10FFFF)
    {
        put(0xF0U | (Code >> 18U));
        put(0x80U | ((Code >> 12U) & 0x3FU));
        put(0x80U | ((Code >> 6U) & 0x3FU));
        put(0x80U | (Code & 0x3FU));
    }
    return out;
}

double NowSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// ---------------------------------------------------------------------------------------------
// The event loop

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

class TerminalLoop
{
public:
    TerminalLoop(GLChildWindow& InHost, const TerminalSession& InSession)
        : Host(InHost), Content(*InHost.Content), Session(InSession), Style(MakeStyle(InSession.IsUtf8())),
          Bindings(BuildKeyBindings())
    {
    }

    // Runs until the host is hidden, a stop signal arrives or the terminal goes away; returns
    // the stop signal, or 0.
    int Run()
    {
        Content.SetMetrics(GLMetrics{1.0F, 1.0F, 0.0F});
        FitToScreen();
        bool bChanged = true;
        while (Host.bVisible && gStopSignal == 0)
        {
            if (bChanged)
            {
                Draw();
            }
            wint_t input = 0;
            const int kind = ::wget_wch(stdscr, &input);
            bChanged = kind != ERR; // a timeout only gives the loop a look at the signal flags
            if (kind == KEY_CODE_YES)
            {
                HandleKeyCode(static_cast<int>(input));
            }
            else if (kind == OK)
            {
                HandleCharacter(input);
            }
            else if (!Session.IsAlive())
            {
                break;
            }
        }
        return gStopSignal;
    }

private:
    void FitToScreen()
    {
        Content.SetBounds(GLRect{0.0F, 0.0F, static_cast<float>(COLS), static_cast<float>(LINES)});
        for (const auto& child : Content.Children)
        {
            if (auto* table = dynamic_cast<GLTableView*>(child.get()))
            {
                table->bScrollToFocus = true; // a smaller screen must still show the focused row
            }
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

    void Press(const KeyPress& Key) { Content.HandleKey(Key.Key, Key.Mods); }

    void HandleKeyCode(int Code)
    {
        if (Code == KEY_RESIZE)
        {
            FitToScreen();
            return;
        }
        if (Code == KEY_MOUSE)
        {
            MEVENT event{};
            if (::getmouse(&event) == OK)
            {
                HandleMouse(event);
            }
            return;
        }
        if (const std::optional<KeyPress> key = FindBinding(Bindings, Code))
        {
            Press(*key);
        }
    }

    void HandleCharacter(wint_t Char)
    {
        switch (Char)
        {
        case 27:
            if (const std::optional<KeyPress> key = ReadAfterEscape(Bindings))
            {
                Press(*key);
            }
            return;
        case '\r':
        case '\n':
            Press({GLKey::Enter, {}});
            return;
        case '\t':
            Press({GLKey::Tab, {}});
            return;
        case 8:
            // Ctrl+H, unless this terminal's Backspace key sends it too (stty erase ^H).
            Press(gSavedTermios.c_cc[VERASE] == 8 ? KeyPress{GLKey::Backspace, {}}
                                                  : KeyPress{GLKey::H, GLModifiers{false, true, false}});
            return;
        case 127:
            Press({GLKey::Backspace, {}});
            return;
        case 12: // Ctrl+L: repaint a screen that something else wrote over
            ::clearok(curscr, TRUE);
            return;
        default:
            break;
        }
        if (Char >= 0x20 && Char != 0x7F)
        {
            const std::string text = EncodeUtf8(Char);
            Content.HandleText(text.c_str(), NowSeconds());
        }
    }

    void HandleMouse(const MEVENT& Event)
    {
        GLWidget* target = nullptr;
        for (auto child = Content.Children.rbegin(); child != Content.Children.rend(); ++child)
        {
            if (*child && (*child)->bShown &&
                (*child)->Bounds.Contains(static_cast<float>(Event.x) + 0.5F,
                                          static_cast<float>(Event.y) + 0.5F))
            {
                target = child->get();
                break;
            }
        }
        if (target == nullptr)
        {
            return;
        }
        const mmask_t state = Event.bstate;
        const bool bDouble = (state & BUTTON1_DOUBLE_CLICKED) != 0;
        const bool bClick = bDouble || (state & BUTTON1_CLICKED) != 0;
        const GLModifiers mods{(state & BUTTON_SHIFT) != 0, (state & BUTTON_CTRL) != 0,
                               (state & BUTTON_ALT) != 0};
        if (auto* table = dynamic_cast<GLTableView*>(target))
        {
            if ((state & BUTTON4_PRESSED) != 0)
            {
                table->ScrollBy(-WheelRows);
                return;
            }
#ifdef BUTTON5_PRESSED
            if ((state & BUTTON5_PRESSED) != 0)
            {
                table->ScrollBy(WheelRows);
                return;
            }
#endif
            const int row = TerminalTableRowAt(*table, Event.y);
            if (!bClick || row < 0)
            {
                return;
            }
            Content.SetFocus(table);
            if (bDouble)
            {
                table->DoubleClickRow(row);
            }
            else
            {
                table->ClickRow(row, mods);
            }
        }
        else if (auto* choice = dynamic_cast<GLChoice*>(target))
        {
            // A click or the wheel steps through the items; the focus follows a click.
            const bool bWheelUp = (state & BUTTON4_PRESSED) != 0;
#ifdef BUTTON5_PRESSED
            const bool bWheelDown = (state & BUTTON5_PRESSED) != 0;
#else
            const bool bWheelDown = false;
#endif
            if (bClick && choice->AcceptsFocus())
            {
                Content.SetFocus(choice);
            }
            if (bClick || bWheelUp || bWheelDown)
            {
                choice->Step(bWheelUp, bClick);
            }
        }
        else if (bClick && target->AcceptsFocus())
        {
            Content.SetFocus(target);
            if (const auto* button = dynamic_cast<const GLButton*>(target))
            {
                button->Click();
            }
        }
    }

    GLChildWindow& Host;
    GLWindow& Content;
    const TerminalSession& Session;
    const GLTerminalStyle Style;
    const std::vector<KeyBinding> Bindings;
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
        TerminalSession session;
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
