// The terminal session: opening /dev/tty in curses mode, signal handlers, and restoring both.
#include "glterminal_session.h"

#include <array>
#include <cerrno>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <langinfo.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace
{

constexpr int EscapeMilliseconds = 25;

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

} // namespace

bool GLTerminalIsString(const char* Capability)
{
    // ncurses marks a cancelled capability with the address -1.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    const auto* cancelled = reinterpret_cast<const char*>(static_cast<std::intptr_t>(-1));
    return Capability != nullptr && Capability != cancelled;
}

int GLTerminalStopSignal()
{
    return gStopSignal;
}

char GLTerminalSession::EraseCharacter() const
{
    return bTermiosSaved ? static_cast<char>(gSavedTermios.c_cc[VERASE]) : '\x7f';
}

bool GLTerminalSession::IsAlive() const
{
    termios state{};
    return ::tcgetattr(Fd, &state) == 0;
}

bool GLTerminalSession::Open(std::string& Error)
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

bool GLTerminalSession::StartCurses(std::string& Error)
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
    if (!GLTerminalIsString(::tigetstr("cup")))
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
    mmask_t events =
        BUTTON1_CLICKED | BUTTON1_DOUBLE_CLICKED | BUTTON4_PRESSED | BUTTON_SHIFT | BUTTON_CTRL | BUTTON_ALT;
#ifdef BUTTON5_PRESSED
    events |= BUTTON5_PRESSED;
#endif
    ::mousemask(events, nullptr);
    PrepareCrashRestore();
    return true;
}

void GLTerminalSession::AppendRestore(const char* Bytes)
{
    if (!GLTerminalIsString(Bytes))
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
void GLTerminalSession::PrepareCrashRestore()
{
    gRestoreArmed = 0;
    gRestoreLength = 0;
    const char* mouse = ::tigetstr("XM");
    if (GLTerminalIsString(mouse))
    {
        AppendRestore(::tiparm(mouse, 0));
    }
    else if (GLTerminalIsString(::tigetstr("kmous")))
    {
        AppendRestore("\033[?1000l");
    }
    for (const char* name : {"rmkx", "sgr0", "op", "cnorm"})
    {
        AppendRestore(::tigetstr(name));
    }
    const char* leaveScreen = ::tigetstr("rmcup");
    AppendRestore(GLTerminalIsString(leaveScreen) ? leaveScreen : "\r\n");
    gRestoreArmed = 1;
}

void GLTerminalSession::Close()
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
