// The choice widget: one of several captions, changed by keys or the pointer.
#include "glchoice.h"

#include <utility>

void GLChoice::SetItems(std::vector<std::string> NewItems, int NewIndex)
{
    Items = std::move(NewItems);
    const int count = static_cast<int>(Items.size());
    SelectedIndex = count == 0 ? -1 : (NewIndex < 0 ? 0 : (NewIndex >= count ? count - 1 : NewIndex));
}

std::string GLChoice::SelectedText() const
{
    if (SelectedIndex < 0 || SelectedIndex >= static_cast<int>(Items.size()))
    {
        return {};
    }
    return Items[static_cast<std::size_t>(SelectedIndex)];
}

void GLChoice::Choose(int Index)
{
    if (Index < 0 || Index >= static_cast<int>(Items.size()) || Index == SelectedIndex)
    {
        return;
    }
    SelectedIndex = Index;
    Changed.emit(Index);
}

void GLChoice::Step(bool bBackward, bool bWrap)
{
    const int count = static_cast<int>(Items.size());
    if (count == 0)
    {
        return;
    }
    int next = SelectedIndex + (bBackward ? -1 : 1);
    if (next < 0)
    {
        next = bWrap ? count - 1 : 0;
    }
    else if (next >= count)
    {
        next = bWrap ? 0 : count - 1;
    }
    Choose(next);
}

bool GLChoice::HandleKey(GLKey Key, GLModifiers Mods)
{
    if (Items.empty() || Mods.bCtrl || Mods.bAlt)
    {
        return false;
    }
    switch (Key)
    {
    case GLKey::Up:
    case GLKey::Left:
        Step(true, false);
        return true;
    case GLKey::Down:
    case GLKey::Right:
        Step(false, false);
        return true;
    case GLKey::Home:
        Choose(0);
        return true;
    case GLKey::End:
        Choose(static_cast<int>(Items.size()) - 1);
        return true;
    default:
        return false;
    }
}

bool GLChoice::HandleText(const char* Utf8, double /*NowSeconds*/)
{
    if (Utf8 != nullptr && Utf8[0] == ' ' && Utf8[1] == '\0' && !Items.empty())
    {
        Step(false, true);
        return true;
    }
    return false;
}
