// Terminal key decoding: escape sequences, modifiers, Alt prefixes, mouse reports, bad input.
#define NCURSES_WIDECHAR 1
#define NCURSES_NOMACROS
#include "glterminal_keys.h"

#include <curses.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

// One line per event: "Up S-C-A", "text 'x'", "mouse 1 press 4,2 x1 S", "repaint".
std::string Describe(const std::vector<GLTerminalEvent>& Events)
{
    std::string out;
    const auto mods = [](const GLModifiers& Mods)
    {
        std::string text;
        text += Mods.bShift ? " S" : "";
        text += Mods.bCtrl ? " C" : "";
        text += Mods.bAlt ? " A" : "";
        return text;
    };
    static const char* const Names[] = {"None",   "Up",        "Down",   "Left", "Right",
                                        "PageUp", "PageDown",  "Home",   "End",  "Enter",
                                        "Escape", "Backspace", "Delete", "Tab",  "H"};
    for (const GLTerminalEvent& event : Events)
    {
        out += out.empty() ? "" : "; ";
        switch (event.Kind)
        {
        case GLTerminalEvent::Type::Key:
            out += Names[static_cast<int>(event.Key)] + mods(event.Mods);
            break;
        case GLTerminalEvent::Type::Text:
            out += "'" + event.Text + "'";
            break;
        case GLTerminalEvent::Type::Mouse:
            out += "mouse " + std::to_string(event.Mouse.Button) +
                   (event.Mouse.bRelease ? " up " : " down ") + std::to_string(event.Mouse.Column) + "," +
                   std::to_string(event.Mouse.Line) + mods(event.Mouse.Mods);
            break;
        case GLTerminalEvent::Type::Repaint:
            out += "repaint";
            break;
        }
    }
    return out;
}

std::string Decode(const std::string& Bytes)
{
    return Describe(GLDecodeTerminalBytes(Bytes, GLTerminalBaseBindings()));
}

std::string Drain(GLTerminalKeyDecoder& Decoder)
{
    std::vector<GLTerminalEvent> events;
    for (GLTerminalEvent event; Decoder.Next(event);)
    {
        events.push_back(event);
    }
    return Describe(events);
}

} // namespace

TEST(TerminalKeys, CursorAndEditingSequencesInTheirVariants)
{
    EXPECT_EQ(Decode("\x1b[A\x1b[B\x1b[C\x1b[D"), "Up; Down; Right; Left");
    EXPECT_EQ(Decode("\x1bOA\x1bOH\x1bOF"), "Up; Home; End"); // SS3, application cursor mode
    EXPECT_EQ(Decode("\x1b[H\x1b[F\x1b[1~\x1b[4~\x1b[7~\x1b[8~"), "Home; End; Home; End; Home; End");
    EXPECT_EQ(Decode("\x1b[5~\x1b[6~\x1b[3~\x1b[Z"), "PageUp; PageDown; Delete; Tab S");
    EXPECT_EQ(Decode("\x1b[2~\x1b[15~\x1b[?1h"), ""); // Insert, F5, a private mode: nothing
    EXPECT_EQ(Decode("a\r\t\x7f\b\x0c\n"), "'a'; Enter; Tab; Backspace; Backspace; repaint; Enter");
    EXPECT_EQ(Decode("\xc3\xa9\xe6\x97\xa5"), "'\xc3\xa9'; '\xe6\x97\xa5'");
}

TEST(TerminalKeys, XtermModifierParametersAndAltPrefixes)
{
    EXPECT_EQ(Decode("\x1b[1;2A\x1b[1;3B\x1b[1;4C\x1b[1;5D"), "Up S; Down A; Right S A; Left C");
    EXPECT_EQ(Decode("\x1b[1;6H\x1b[1;7F\x1b[1;8A\x1b[5;5~\x1b[3;2~"),
              "Home S C; End C A; Up S C A; PageUp C; Delete S");
    // ESC before a key: that key with Alt, whether the terminal or curses decoded the key.
    EXPECT_EQ(Decode("\x1b\x1b[A\x1b\r\x1b\x7f"), "Up A; Enter A; Backspace A");
    EXPECT_EQ(Decode("\x1bx"), ""); // Alt with a letter means nothing here and is not typed
    EXPECT_EQ(Decode("\x1b"), "Escape");
    EXPECT_EQ(Decode("\x1b\x1b"), "Escape A");

    GLTerminalKeyDecoder decoder(GLTerminalBaseBindings());
    decoder.PushChar(27);
    EXPECT_TRUE(decoder.IsPending());
    decoder.PushKeyCode(KEY_UP);
    decoder.PushKeyCode(KEY_BTAB);
    decoder.PushKeyCode(KEY_F(5)); // unbound
    decoder.PushChar(27);
    decoder.Flush();
    EXPECT_EQ(Drain(decoder), "Up A; Tab S; Escape");
}

TEST(TerminalKeys, MouseReportsInSgrAndX10Forms)
{
    EXPECT_EQ(Decode("\x1b[<0;5;3M\x1b[<0;5;3m"), "mouse 1 down 4,2; mouse 1 up 4,2");
    EXPECT_EQ(Decode("\x1b[<4;1;1M\x1b[<24;10;20M\x1b[<64;2;2M\x1b[<65;2;2M"),
              "mouse 1 down 0,0 S; mouse 1 down 9,19 C A; mouse 4 down 1,1; mouse 5 down 1,1");
    EXPECT_EQ(Decode("\x1b[<0;0;3M\x1b[<0;5M\x1b[<0;5;3~"), ""); // malformed reports are dropped
    EXPECT_EQ(Decode(std::string("\x1b[M") + " %#" + "\x1b[M#%#"), "mouse 1 down 4,2; mouse 0 up 4,2");
    EXPECT_EQ(Decode("\x1b[M`!!"), "mouse 4 down 0,0");

    const GLTerminalMouse twice = GLTerminalCursesMouse(3, 4, BUTTON1_DOUBLE_CLICKED | BUTTON_SHIFT);
    EXPECT_TRUE(twice.Button == 1 && twice.ClickCount == 2 && twice.Mods.bShift && twice.Column == 3);
    EXPECT_EQ(GLTerminalCursesMouse(0, 0, BUTTON4_PRESSED).Button, 4);

    GLTerminalClickCounter counter;
    GLTerminalMouse press;
    press.Button = 1;
    std::vector<int> counts;
    for (const double time : {10.0, 10.2, 10.3, 11.0}) // the last too late
    {
        counts.push_back(counter.Press(press, time));
    }
    press.Column = 1;
    counts.push_back(counter.Press(press, 11.1)); // another cell
    EXPECT_EQ(counts, (std::vector<int>{1, 2, 3, 1, 1}));
}

TEST(TerminalKeys, TruncatedAndGarbageInputNeverLeaksAsText)
{
    // Cut short: the sequence is dropped, and what follows decodes normally.
    EXPECT_EQ(Decode("\x1b[") + Decode("\x1b[1;") + Decode("\x1b[M!"), "");
    EXPECT_EQ(Decode("\x1b[1\xc3\xa9x"), "'x'");
    EXPECT_EQ(Decode(std::string("\x1b[1\x01") + "b"), "'b'");
    // Overlong parameters and runaway sequences end without typing their bytes.
    EXPECT_EQ(Decode("\x1b[99999999999999999999A"), "Up");
    EXPECT_EQ(Decode("\x1b[" + std::string(100, '1') + "z"), "");
    EXPECT_EQ(Decode("\x1b[1;99999999~"), "Home S C A");
    for (int byte = 0; byte < 256; ++byte)
    {
        for (const char* prefix : {"\x1b", "\x1b[", "\x1bO", "\x1b[<", "\x1b[M"})
        {
            const std::string bytes = prefix + std::string(1, static_cast<char>(byte));
            for (const GLTerminalEvent& event : GLDecodeTerminalBytes(bytes, GLTerminalBaseBindings()))
            {
                EXPECT_NE(event.Kind, GLTerminalEvent::Type::Text) << byte << ' ' << prefix + 1;
            }
        }
    }
}

TEST(TerminalKeys, CtrlHIsItsOwnKeyUnlessTheTerminalErasesWithIt)
{
    for (const bool bErases : {false, true})
    {
        GLTerminalKeyDecoder decoder(GLTerminalBaseBindings());
        decoder.bCtrlHIsBackspace = bErases;
        decoder.PushChar(8);
        decoder.PushChar(127);
        EXPECT_EQ(Drain(decoder), bErases ? "Backspace; Backspace" : "H C; Backspace");
    }
}
