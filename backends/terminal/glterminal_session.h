// The terminal session: the controlling terminal in curses mode, its signals, and its restore.
#pragma once

#include <curses.h>

#include <csignal>
#include <cstdio>
#include <string>

// Whether a terminfo string capability is present (neither absent nor cancelled).
bool GLTerminalIsString(const char* Capability);

// The stop signal (SIGINT, SIGTERM, SIGHUP) that arrived during the session; 0 for none.
int GLTerminalStopSignal();

// The controlling terminal (not standard output, which carries the program's results) in
// curses mode. Stop signals are recorded for the loop; crash signals put the terminal back
// before they end the process. The destructor restores everything found on entry.
class GLTerminalSession
{
public:
    GLTerminalSession() = default;
    GLTerminalSession(const GLTerminalSession&) = delete;
    GLTerminalSession& operator=(const GLTerminalSession&) = delete;
    GLTerminalSession(GLTerminalSession&&) = delete;
    GLTerminalSession& operator=(GLTerminalSession&&) = delete;
    ~GLTerminalSession() { Close(); }

    // Opens the terminal and enters curses mode; false with a one-line reason otherwise.
    bool Open(std::string& Error);
    // Whether the terminal's character set (from the locale) is UTF-8.
    bool IsUtf8() const { return bUtf8; }
    // Whether the terminal is still there (a hung-up terminal fails every request).
    bool IsAlive() const;
    // The character the terminal's Backspace key sends (its erase character, as stty shows it).
    char EraseCharacter() const;

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
