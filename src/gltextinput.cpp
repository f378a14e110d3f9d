#include "gltextinput.h"

#include <algorithm>

namespace
{

bool IsContinuationByte(char Byte)
{
    return (static_cast<unsigned char>(Byte) & 0xC0U) == 0x80U;
}

} // namespace

void GLTextInput::SetText(const std::string& NewText, bool bEmitChanged)
{
    const bool bChanged = NewText != Text;
    Text = NewText;
    Cursor = Text.size();
    if (bEmitChanged && bChanged)
    {
        TextChanged.emit(Text);
    }
}

void GLTextInput::ReplaceByUser(std::string NewText, std::size_t NewCursor)
{
    Cursor = std::min(NewCursor, NewText.size());
    if (NewText == Text)
    {
        return;
    }
    Text = std::move(NewText);
    TextChanged.emit(Text);
}

void GLTextInput::EditText(const std::string& NewText)
{
    ReplaceByUser(NewText, NewText.size());
}

void GLTextInput::InsertText(const std::string& Utf8)
{
    std::string clean;
    for (const char c : Utf8)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20U && byte != 0x7FU)
        {
            clean.push_back(c);
        }
    }
    if (clean.empty())
    {
        return;
    }
    const std::size_t at = std::min(Cursor, Text.size());
    std::string next = Text;
    next.insert(at, clean);
    ReplaceByUser(std::move(next), at + clean.size());
}

void GLTextInput::DeleteBackward()
{
    std::size_t at = std::min(Cursor, Text.size());
    if (at == 0)
    {
        return;
    }
    std::size_t from = at - 1;
    while (from > 0 && IsContinuationByte(Text[from]))
    {
        --from;
    }
    std::string next = Text;
    next.erase(from, at - from);
    ReplaceByUser(std::move(next), from);
}

void GLTextInput::DeleteForward()
{
    const std::size_t at = std::min(Cursor, Text.size());
    if (at >= Text.size())
    {
        return;
    }
    std::size_t to = at + 1;
    while (to < Text.size() && IsContinuationByte(Text[to]))
    {
        ++to;
    }
    std::string next = Text;
    next.erase(at, to - at);
    ReplaceByUser(std::move(next), at);
}

bool GLTextInput::HandleKey(GLKey Key, GLModifiers Mods)
{
    if (Mods.bAlt || Mods.bCtrl)
    {
        return false;
    }
    Cursor = std::min(Cursor, Text.size());
    switch (Key)
    {
    case GLKey::Left:
        while (Cursor > 0)
        {
            --Cursor;
            if (!IsContinuationByte(Text[Cursor]))
            {
                break;
            }
        }
        return true;
    case GLKey::Right:
        while (Cursor < Text.size())
        {
            ++Cursor;
            if (Cursor == Text.size() || !IsContinuationByte(Text[Cursor]))
            {
                break;
            }
        }
        return true;
    case GLKey::Home:
        Cursor = 0;
        return true;
    case GLKey::End:
        Cursor = Text.size();
        return true;
    case GLKey::Backspace:
        DeleteBackward();
        return true;
    case GLKey::Delete:
        DeleteForward();
        return true;
    case GLKey::Enter:
        Submit();
        return true;
    default:
        return false;
    }
}

bool GLTextInput::HandleText(const char* Utf8, double /*NowSeconds*/)
{
    if (Utf8 == nullptr || Utf8[0] == '\0')
    {
        return false;
    }
    InsertText(Utf8);
    return true;
}
