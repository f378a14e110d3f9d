#pragma once

#include "glchildwindow.h"
#include "glhost.h"

#include <string>

// Shows Host.Content in a desktop window drawn with Dear ImGui over OpenGL 3 and runs the event
// loop until the content hides its host (Finished) or the user closes the window (Closed; nothing
// is called on the content then). Returns Unavailable with a one-line reason in Error when no
// window can be opened. Writes nothing to standard output.
GLHostResult RunImGuiHost(GLChildWindow& Host, std::string& Error);
