// Terminal input decoding: a pure state machine over what curses reads, with no terminal calls.
#include "glterminal_keys.h"

#include "gltext.h"

#include <curses.h>

#include <algorithm>
#include <utility>

namespace
{

constexpr char32_t Esc = 27;
constexpr std::size_t LongestSequence = 32;

// Numbers of a sequence's parameters ("1;5" in "[1;5A"); false for private or malformed ones.
bool ReadParameters(std::string_view Body, std::vector<int>& Parameters)
{
    Parameters.assign(1, 0);
    for (const char c : Body)
    {
        if (c == ';')
        {
            Parameters.push_back(0);
        }
        else if (c >= '0' && c <= '9')
        {
            Parameters.back() = std::min(Parameters.back() * 10 + (c - '0'), 100000);
        }
        else
        {
            return false;
        }
    }
    return true;
}

// The button bits of an xterm mouse report (SGR, or X10 less 32) in toolkit terms.
GLTerminalMouse MouseFromBits(int Bits, int Column, int Line, bool bRelease)
{
    GLTerminalMouse mouse;
    mouse.Column = Column;
    mouse.Line = Line;
    mouse.Mods = GLModifiers{(Bits & 4) != 0, (Bits & 16) != 0, (Bits & 8) != 0};
    const int low = Bits & 3;
    if ((Bits & 64) != 0)
    {
        mouse.Button = low == 0 ? 4 : (low == 1 ? 5 : 0);
    }
    else if ((Bits & 128) == 0)
    {
        mouse.Button = low == 3 ? 0 : low + 1;
    }
    mouse.bRelease = bRelease || (low == 3 && (Bits & 64) == 0);
    return mouse;
}

} // namespace

GLModifiers GLTerminalModifiers(int Parameter)
{
    const int bits = std::max(0, Parameter - 1);
    return GLModifiers{(bits & 1) != 0, (bits & 4) != 0, (bits & 2) != 0};
}

std::vector<GLTerminalKeyBinding> GLTerminalBaseBindings()
{
    const GLModifiers none{};
    const GLModifiers shift{true, false, false};
    return {
        {KEY_UP, GLKey::Up, none},
        {KEY_DOWN, GLKey::Down, none},
        {KEY_LEFT, GLKey::Left, none},
        {KEY_RIGHT, GLKey::Right, none},
        {KEY_PPAGE, GLKey::PageUp, none},
        {KEY_NPAGE, GLKey::PageDown, none},
        {KEY_HOME, GLKey::Home, none},
        {KEY_END, GLKey::End, none},
        {KEY_FIND, GLKey::Home, none},
        {KEY_SELECT, GLKey::End, none},
        {KEY_A1, GLKey::Home, none},
        {KEY_C1, GLKey::End, none},
        {KEY_A3, GLKey::PageUp, none},
        {KEY_C3, GLKey::PageDown, none},
        {KEY_ENTER, GLKey::Enter, none},
        {KEY_BACKSPACE, GLKey::Backspace, none},
        {KEY_DC, GLKey::Delete, none},
        {KEY_BTAB, GLKey::Tab, shift},
        {KEY_SR, GLKey::Up, shift},
        {KEY_SF, GLKey::Down, shift},
        {KEY_SLEFT, GLKey::Left, shift},
        {KEY_SRIGHT, GLKey::Right, shift},
        {KEY_SHOME, GLKey::Home, shift},
        {KEY_SEND, GLKey::End, shift},
        {KEY_SPREVIOUS, GLKey::PageUp, shift},
        {KEY_SNEXT, GLKey::PageDown, shift},
        {KEY_SDC, GLKey::Delete, shift},
    };
}

GLTerminalMouse GLTerminalCursesMouse(int Column, int Line, std::uint32_t State)
{
    const auto has = [State](mmask_t Mask)
    {
        return (State & Mask) != 0;
    };
    GLTerminalMouse mouse;
    mouse.Column = Column;
    mouse.Line = Line;
    mouse.Mods = GLModifiers{has(BUTTON_SHIFT), has(BUTTON_CTRL), has(BUTTON_ALT)};
    if (has(BUTTON4_PRESSED))
    {
        mouse.Button = 4;
    }
#ifdef BUTTON5_PRESSED
    else if (has(BUTTON5_PRESSED))
    {
        mouse.Button = 5;
    }
#endif
    else if (has(BUTTON1_DOUBLE_CLICKED) || has(BUTTON1_TRIPLE_CLICKED))
    {
        mouse.Button = 1;
        mouse.ClickCount = 2;
    }
    else if (has(BUTTON1_CLICKED) || has(BUTTON1_PRESSED))
    {
        mouse.Button = 1;
        mouse.ClickCount = 1;
    }
    else if (has(BUTTON1_RELEASED))
    {
        mouse.Button = 1;
        mouse.bRelease = true;
    }
    return mouse;
}

GLTerminalKeyDecoder::GLTerminalKeyDecoder(std::vector<GLTerminalKeyBinding> InBindings)
    : Bindings(std::move(InBindings))
{
}

bool GLTerminalKeyDecoder::Next(GLTerminalEvent& Event)
{
    if (Pending.empty())
    {
        return false;
    }
    Event = std::move(Pending.front());
    Pending.pop_front();
    return true;
}

void GLTerminalKeyDecoder::Emit(GLTerminalEvent Event)
{
    Pending.push_back(std::move(Event));
}

void GLTerminalKeyDecoder::EmitKey(GLKey Key, GLModifiers Mods)
{
    GLTerminalEvent event;
    event.Kind = GLTerminalEvent::Type::Key;
    event.Key = Key;
    event.Mods = Mods;
    Emit(std::move(event));
}

bool GLTerminalKeyDecoder::FindBinding(int Code, GLTerminalKeyBinding& Found) const
{
    const auto binding = std::find_if(Bindings.begin(), Bindings.end(),
                                      [Code](const GLTerminalKeyBinding& Each) { return Each.Code == Code; });
    if (binding == Bindings.end())
    {
        return false;
    }
    Found = *binding;
    return true;
}

// A character outside any sequence; with bAlt it followed an ESC, and only keys take Alt:
// Alt with a printable character has no meaning here and is dropped rather than typed.
void GLTerminalKeyDecoder::PushPlain(char32_t Char, bool bAlt)
{
    const GLModifiers mods{false, false, bAlt};
    switch (Char)
    {
    case '\r':
    case '\n':
        EmitKey(GLKey::Enter, mods);
        return;
    case '\t':
        EmitKey(GLKey::Tab, mods);
        return;
    case 8:
        if (!bCtrlHIsBackspace)
        {
            EmitKey(GLKey::H, GLModifiers{false, true, bAlt});
            return;
        }
        EmitKey(GLKey::Backspace, mods);
        return;
    case 127:
        EmitKey(GLKey::Backspace, mods);
        return;
    case 12:
        if (!bAlt)
        {
            GLTerminalEvent event;
            event.Kind = GLTerminalEvent::Type::Repaint;
            Emit(std::move(event));
        }
        return;
    default:
        break;
    }
    if (Char >= 0x20 && Char != 0x7F && !bAlt)
    {
        GLTerminalEvent event;
        event.Kind = GLTerminalEvent::Type::Text;
        GLAppendUtf8(event.Text, Char);
        Emit(std::move(event));
    }
}

void GLTerminalKeyDecoder::PushChar(char32_t Char)
{
    switch (State)
    {
    case Phase::Idle:
        if (Char == Esc)
        {
            State = Phase::Escape;
            bAltPrefix = false;
            return;
        }
        PushPlain(Char, false);
        return;
    case Phase::Escape:
        if (Char == Esc && !bAltPrefix)
        {
            // A second ESC: Alt before a sequence curses did not know, or Escape pressed twice.
            bAltPrefix = true;
            return;
        }
        State = Phase::Idle;
        if (Char == Esc)
        {
            EmitKey(GLKey::Escape, GLModifiers{false, false, true});
        }
        else if (Char == '[' || Char == 'O')
        {
            State = Phase::Sequence;
            Sequence.assign(1, static_cast<char>(Char));
        }
        else
        {
            PushPlain(Char, true);
        }
        return;
    case Phase::Sequence:
        if (Char >= 0x80 || Char < 0x20)
        {
            State = Phase::Idle; // not part of any sequence we know: drop it all
            return;
        }
        Sequence.push_back(static_cast<char>(Char));
        if (Sequence == "[M")
        {
            State = Phase::X10Mouse;
        }
        else if (Sequence.size() > 1 && Char >= 0x40 && Char <= 0x7E)
        {
            FinishSequence();
        }
        else if (Sequence.size() >= LongestSequence)
        {
            State = Phase::Overlong;
        }
        return;
    case Phase::Overlong:
        if (Char < 0x20 || Char >= 0x40)
        {
            State = Phase::Idle;
        }
        return;
    case Phase::X10Mouse:
        // Each of the three values is a byte offset by 32 (curses may hand a high one over as a
        // wider character); 255 + 32 is as far as the encoding goes.
        Sequence.push_back(static_cast<char>(std::min<char32_t>(Char, 0xFF)));
        if (Sequence.size() == 5)
        {
            State = Phase::Idle;
            const auto value = [this](std::size_t At)
            {
                return static_cast<int>(static_cast<unsigned char>(Sequence[At])) - 32;
            };
            if (value(2) >= 0 && value(3) >= 1 && value(4) >= 1)
            {
                GLTerminalEvent event;
                event.Kind = GLTerminalEvent::Type::Mouse;
                event.Mouse = MouseFromBits(value(2), value(3) - 1, value(4) - 1, false);
                Emit(std::move(event));
            }
        }
        return;
    }
}

void GLTerminalKeyDecoder::FinishSequence()
{
    State = Phase::Idle;
    const char final = Sequence.back();
    const bool bSgrMouse = Sequence.size() > 2 && Sequence[1] == '<' && (final == 'M' || final == 'm');
    std::vector<int> parameters;
    const std::string_view body =
        std::string_view(Sequence).substr(bSgrMouse ? 2 : 1, Sequence.size() - (bSgrMouse ? 3 : 2));
    if (!ReadParameters(body, parameters))
    {
        return; // private sequences we do not know
    }
    if (bSgrMouse)
    {
        if (parameters.size() == 3 && parameters[1] >= 1 && parameters[2] >= 1)
        {
            GLTerminalEvent event;
            event.Kind = GLTerminalEvent::Type::Mouse;
            event.Mouse = MouseFromBits(parameters[0], parameters[1] - 1, parameters[2] - 1, final == 'm');
            Emit(std::move(event));
        }
        return;
    }
    GLModifiers mods = GLTerminalModifiers(parameters.size() > 1 ? parameters[1] : 1);
    mods.bAlt = mods.bAlt || bAltPrefix;
    GLKey key = GLKey::None;
    switch (final)
    {
    case 'A':
        key = GLKey::Up;
        break;
    case 'B':
        key = GLKey::Down;
        break;
    case 'C':
        key = GLKey::Right;
        break;
    case 'D':
        key = GLKey::Left;
        break;
    case 'H':
        key = GLKey::Home;
        break;
    case 'F':
        key = GLKey::End;
        break;
    case 'Z':
        key = GLKey::Tab;
        mods = GLModifiers{true, false, bAltPrefix};
        break;
    case '~':
        switch (parameters[0])
        {
        case 1:
        case 7:
            key = GLKey::Home;
            break;
        case 4:
        case 8:
            key = GLKey::End;
            break;
        case 3:
            key = GLKey::Delete;
            break;
        case 5:
            key = GLKey::PageUp;
            break;
        case 6:
            key = GLKey::PageDown;
            break;
        default:
            break;
        }
        break;
    default:
        break;
    }
    if (key != GLKey::None)
    {
        EmitKey(key, mods);
    }
}

void GLTerminalKeyDecoder::PushKeyCode(int Code)
{
    const bool bAlt = State == Phase::Escape;
    // A key curses recognised ends any raw sequence in progress, which is then incomplete.
    State = Phase::Idle;
    GLTerminalKeyBinding binding;
    if (FindBinding(Code, binding))
    {
        binding.Mods.bAlt = binding.Mods.bAlt || bAlt;
        EmitKey(binding.Key, binding.Mods);
    }
}

void GLTerminalKeyDecoder::PushMouse(const GLTerminalMouse& Mouse)
{
    GLTerminalEvent event;
    event.Kind = GLTerminalEvent::Type::Mouse;
    event.Mouse = Mouse;
    Emit(std::move(event));
}

void GLTerminalKeyDecoder::Flush()
{
    if (State == Phase::Escape)
    {
        EmitKey(GLKey::Escape, GLModifiers{false, false, bAltPrefix});
    }
    State = Phase::Idle;
}

int GLTerminalClickCounter::Press(const GLTerminalMouse& Mouse, double NowSeconds)
{
    const bool bRepeat = Count > 0 && Mouse.Column == Column && Mouse.Line == Line &&
                         Mouse.Button == Button && NowSeconds >= Time && NowSeconds - Time <= Interval;
    Count = bRepeat ? Count + 1 : 1;
    Column = Mouse.Column;
    Line = Mouse.Line;
    Button = Mouse.Button;
    Time = NowSeconds;
    return Count;
}

std::vector<GLTerminalEvent> GLDecodeTerminalBytes(std::string_view Bytes,
                                                   const std::vector<GLTerminalKeyBinding>& Bindings)
{
    GLTerminalKeyDecoder decoder(Bindings);
    std::size_t at = 0;
    while (at < Bytes.size())
    {
        const GLUtf8Char c = GLDecodeUtf8(Bytes, at);
        decoder.PushChar(c.CodePoint);
        at += c.Length;
    }
    decoder.Flush();
    std::vector<GLTerminalEvent> events;
    GLTerminalEvent event;
    while (decoder.Next(event))
    {
        events.push_back(std::move(event));
    }
    return events;
}
