// The terminal backend: shows a GLChildWindow's content full-screen on the controlling terminal
// with ncursesw and feeds it keyboard and mouse input.
#pragma once

#include "glchildwindow.h"
#include "glhost.h"

#include <string>

// Runs the dialog on the controlling terminal (not on standard output, which stays free for
// the program's results) until Host.bVisible turns false. Returns Interrupted after Ctrl+C and
// Unavailable, with a one-line reason in Error, when there is no usable terminal. The terminal
// is restored in every case, also when a termination or crash signal ends the process.
GLHostResult RunTerminalHost(GLChildWindow& Host, std::string& Error);
