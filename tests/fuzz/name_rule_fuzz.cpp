// Fuzzes the name rule: the visible name is valid UTF-8, conceals nothing, and gives the name back.
#include "gltext.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace
{

int HexDigit(char Digit)
{
    if (Digit >= '0' && Digit <= '9')
    {
        return Digit - '0';
    }
    if (Digit >= 'a' && Digit <= 'f')
    {
        return Digit - 'a' + 10;
    }
    std::abort();
}

// Undoes the rule's escapes; every backslash in a visible name starts one.
std::string Unescape(std::string_view Visible)
{
    std::string out;
    for (std::size_t at = 0; at < Visible.size(); ++at)
    {
        if (Visible[at] != '\\')
        {
            out.push_back(Visible[at]);
            continue;
        }
        if (at + 1 >= Visible.size())
        {
            std::abort(); // a lone backslash cannot be told from an escape
        }
        const char kind = Visible[++at];
        if (kind == 'n' || kind == 't' || kind == 'r' || kind == '\\')
        {
            out.push_back(kind == 'n' ? '\n' : kind == 't' ? '\t' : kind == 'r' ? '\r' : '\\');
            continue;
        }
        if (kind != 'x' || at + 2 >= Visible.size())
        {
            std::abort();
        }
        out.push_back(static_cast<char>(HexDigit(Visible[at + 1]) * 16 + HexDigit(Visible[at + 2])));
        at += 2;
    }
    return out;
}

void Check(std::string_view Name)
{
    const std::string visible = GLVisibleName(Name);
    for (std::size_t at = 0; at < visible.size();)
    {
        const GLUtf8Char c = GLDecodeUtf8(visible, at);
        if (!c.bValid || GLIsConcealingCodePoint(c.CodePoint))
        {
            std::abort();
        }
        at += c.Length;
    }
    if (Unescape(visible) != Name)
    {
        std::abort(); // two names could draw the same
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size)
{
    const std::string_view input(reinterpret_cast<const char*>(Data), Size);
    Check(input);
    // Two names from one input: different names must never look the same.
    const std::string_view first = input.substr(0, Size / 2);
    const std::string_view second = input.substr(Size / 2);
    if ((first == second) != (GLVisibleName(first) == GLVisibleName(second)))
    {
        std::abort();
    }
    return 0;
}
