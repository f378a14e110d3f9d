// The chooser's window: a GLFW window with OpenGL 3 around the ImGui file dialog component.
#pragma once

#include "glfiledialogpanel.h"
#include "glhost.h"

#include <functional>
#include <string>

// Shows the dialog over the whole of a window of its own until it is finished (Finished) or the
// window is closed (Closed). Connect is called once with the dialog's panel, before it opens at
// Path, to connect signals and set the mode. Returns Unavailable with a one-line reason in Error
// when no window can be opened. Writes nothing to standard output and nothing to the file system.
GLHostResult RunWindowChooser(const std::string& Path, const std::function<void(GLFileDialogPanel&)>& Connect,
                              std::string& Error);
