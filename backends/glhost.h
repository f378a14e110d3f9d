// How a backend's event loop ended, for the programs that host the dialog.
#pragma once

// How a backend's event loop ended.
enum class GLHostResult
{
    Finished,    // the hosted dialog hid its host window (accepted or cancelled)
    Closed,      // the user closed the window or quit the terminal UI
    Interrupted, // an interrupt (Ctrl+C) ended the loop
    Unavailable, // no display (or no terminal) to show the dialog on
};
