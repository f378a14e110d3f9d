// Fuzzes terminal key decoding: events are well formed, and text arrives only as it was typed.
#include "glterminal_keys.h"
#include "gltext.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace
{

void Require(bool bHolds)
{
    if (!bHolds)
    {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size)
{
    const std::string_view bytes(reinterpret_cast<const char*>(Data), Size);
    const std::vector<GLTerminalKeyBinding> bindings = GLTerminalBaseBindings();
    const std::vector<GLTerminalEvent> events = GLDecodeTerminalBytes(bytes, bindings);
    Require(events.size() <= Size);

    std::string typed;
    for (const GLTerminalEvent& event : events)
    {
        switch (event.Kind)
        {
        case GLTerminalEvent::Type::Key:
            Require(event.Key > GLKey::None && event.Key <= GLKey::Tab);
            break;
        case GLTerminalEvent::Type::Text:
        {
            // One character, printable: never a control byte out of a sequence.
            const GLUtf8Char c = GLDecodeUtf8(event.Text, 0);
            Require(c.bValid && c.Length == event.Text.size() && c.CodePoint >= 0x20 && c.CodePoint != 0x7F);
            typed += event.Text;
            break;
        }
        case GLTerminalEvent::Type::Mouse:
            Require(event.Mouse.Column >= 0 && event.Mouse.Line >= 0 && event.Mouse.Button >= 0 &&
                    event.Mouse.Button <= 5);
            break;
        case GLTerminalEvent::Type::Repaint:
            break;
        }
    }

    // Without ESC there are no sequences: every printable character is typed, in order.
    if (bytes.find('\x1b') == std::string_view::npos)
    {
        std::string expected;
        for (std::size_t at = 0; at < bytes.size();)
        {
            const GLUtf8Char c = GLDecodeUtf8(bytes, at);
            if (c.CodePoint >= 0x20 && c.CodePoint != 0x7F)
            {
                GLAppendUtf8(expected, c.CodePoint);
            }
            at += c.Length;
        }
        Require(typed == expected);
    }

    // Fed unit by unit with a flush at every point, the decoder stays consistent: it ends idle.
    GLTerminalKeyDecoder decoder(bindings);
    for (std::size_t at = 0; at < bytes.size();)
    {
        const GLUtf8Char c = GLDecodeUtf8(bytes, at);
        decoder.PushChar(c.CodePoint);
        if ((c.CodePoint & 7U) == 0)
        {
            decoder.Flush();
            Require(!decoder.IsPending());
        }
        at += c.Length;
    }
    decoder.Flush();
    Require(!decoder.IsPending());
    return 0;
}
