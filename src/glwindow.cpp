#include "glwindow.h"

#include <cstddef>

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
