// The platform window that hosts a GLWindow's content: its title and whether it is shown.
#pragma once

#include "glwindow.h"

#include <string>

// The window that hosts a GLWindow's content, as the platform shows it.
class GLChildWindow
{
public:
    // The title; when empty, hosts show the content's WindowTitle().
    std::string Title;
    // The window is shown; clearing it hides (and, for a top-level host, ends) it.
    bool bVisible = true;
    // The hosted content; not owned.
    GLWindow* Content = nullptr;

    // Hosts Content in this window.
    void SetContent(GLWindow* NewContent)
    {
        Content = NewContent;
        if (Content != nullptr)
        {
            Content->HostWindow = this;
        }
    }
    // The title to show: Title, or the content's own.
    std::string EffectiveTitle() const
    {
        if (!Title.empty() || Content == nullptr)
        {
            return Title;
        }
        return Content->WindowTitle();
    }
};
