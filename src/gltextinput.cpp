// GLTextInput: caret movement and editing on UTF-8 text.
#include "gltextinput.h"

#include "gltext.h"

#include <algorithm>

namespace
{

// Where the character after the one at Offset starts; an invalid byte is a character of its own.
std::size_t NextBoundary(const std::string& Text, std::size_t Offset)
{
    return Offset >= Text.size() ? Text.size() : Offset + GLDecodeUtf8(Text, Offset).Length;
}

// Where the character that ends at Offset starts.
std::size_t PreviousBoundary(const std::string& Text, std::size_t Offset)
{
    if (Offset == 0)
    {
        return 0;
    }
    for (std::size_t back = 2; back <= 4 && back <= Offset; ++back)
    {
        const GLUtf8Char c = GLDecodeUtf8(Text, Offset - back);
        if (c.bValid && c.Length == back)
        {
            return Offset - back;
        }
    }
    return Offset - 1;
}

} // namespace

void GLTextInput::Accept(GLWidgetVisitor& Visitor)
{
    Visitor.Visit(*this);
}

void GLTextInput::Accept(GLConstWidgetVisitor& Visitor) const
{
    Visitor.Visit(*this);
}

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
    const std::size_t from = PreviousBoundary(Text, at);
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
    const std::size_t to = NextBoundary(Text, at);
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
        Cursor = PreviousBoundary(Text, Cursor);
        return true;
    case GLKey::Right:
        Cursor = NextBoundary(Text, Cursor);
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
