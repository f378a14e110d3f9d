// UTF-8 decoding and encoding, and the rule that turns a file name into visible text.
#include "gltext.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace
{

// One run of concealing code points.
struct CodePointRun
{
    char32_t First;
    char32_t Last;
};

constexpr CodePointRun ConcealingRuns[] = {
#include "glnamerule_table.inc"
};

constexpr char32_t Replacement = 0xFFFD;

} // namespace

GLUtf8Char GLDecodeUtf8(std::string_view Bytes, std::size_t Offset)
{
    const auto byteAt = [Bytes](std::size_t Index)
    {
        return static_cast<unsigned char>(Bytes[Index]);
    };
    const unsigned lead = byteAt(Offset);
    const GLUtf8Char invalid{lead, 1, false};
    if (lead < 0x80U)
    {
        return GLUtf8Char{lead, 1, true};
    }
    std::size_t length = 0;
    char32_t code = 0;
    char32_t smallest = 0;
    if (lead >= 0xC2U && lead <= 0xDFU)
    {
        length = 2;
        code = lead & 0x1FU;
        smallest = 0x80;
    }
    else if (lead >= 0xE0U && lead <= 0xEFU)
    {
        length = 3;
        code = lead & 0x0FU;
        smallest = 0x800;
    }
    else if (lead >= 0xF0U && lead <= 0xF4U)
    {
        length = 4;
        code = lead & 0x07U;
        smallest = 0x10000;
    }
    else
    {
        return invalid;
    }
    if (Bytes.size() - Offset < length)
    {
        return invalid;
    }
    for (std::size_t i = 1; i < length; ++i)
    {
        const unsigned next = byteAt(Offset + i);
        if ((next & 0xC0U) != 0x80U)
        {
            return invalid;
        }
        code = (code << 6U) | (next & 0x3FU);
    }
    if (code < smallest || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
    {
        return invalid;
    }
    return GLUtf8Char{code, length, true};
}

void GLAppendUtf8(std::string& Out, char32_t CodePoint)
{
    if (CodePoint > 0x10FFFF || (CodePoint >= 0xD800 && CodePoint <= 0xDFFF))
    {
        CodePoint = Replacement;
    }
    const auto put = [&Out](char32_t Byte)
    {
        Out.push_back(static_cast<char>(static_cast<unsigned char>(Byte)));
    };
    if (CodePoint < 0x80)
    {
        put(CodePoint);
    }
    else if (CodePoint < 0x800)
    {
        put(0xC0U | (CodePoint >> 6U));
        put(0x80U | (CodePoint & 0x3FU));
    }
    else if (CodePoint < 0x10000)
    {
        put(0xE0U | (CodePoint >> 12U));
        put(0x80U | ((CodePoint >> 6U) & 0x3FU));
        put(0x80U | (CodePoint & 0x3FU));
    }
    else
    {
        put(0xF0U | (CodePoint >> 18U));
        put(0x80U | ((CodePoint >> 12U) & 0x3FU));
        put(0x80U | ((CodePoint >> 6U) & 0x3FU));
        put(0x80U | (CodePoint & 0x3FU));
    }
}

bool GLIsConcealingCodePoint(char32_t CodePoint)
{
    if (CodePoint >= 0x20 && CodePoint < 0x7F)
    {
        return false; // printable ASCII, the common case
    }
    // The first run that ends at or after the code point is the only one that can hold it.
    const auto* run =
        std::lower_bound(std::begin(ConcealingRuns), std::end(ConcealingRuns), CodePoint,
                         [](const CodePointRun& Run, char32_t Code) { return Run.Last < Code; });
    return run != std::end(ConcealingRuns) && run->First <= CodePoint;
}

std::string GLEscapedBytes(std::string_view Bytes)
{
    static constexpr std::array<char, 16> Digits = {'0', '1', '2', '3', '4', '5', '6', '7',
                                                    '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
    std::string out;
    out.reserve(Bytes.size() * 4);
    for (const char c : Bytes)
    {
        switch (c)
        {
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\\':
            out += "\\\\";
            break;
        default:
        {
            const auto byte = static_cast<unsigned char>(c);
            out += "\\x";
            out.push_back(Digits[byte >> 4U]);
            out.push_back(Digits[byte & 0x0FU]);
        }
        }
    }
    return out;
}

std::string GLVisibleName(std::string_view Name)
{
    std::string out;
    out.reserve(Name.size());
    std::size_t at = 0;
    while (at < Name.size())
    {
        const GLUtf8Char c = GLDecodeUtf8(Name, at);
        const std::string_view bytes = Name.substr(at, c.Length);
        if (!c.bValid || c.CodePoint == '\\' || GLIsConcealingCodePoint(c.CodePoint))
        {
            out += GLEscapedBytes(bytes);
        }
        else
        {
            out.append(bytes);
        }
        at += c.Length;
    }
    return out;
}
