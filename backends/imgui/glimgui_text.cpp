#include "glimgui_text.h"

#include <cstddef>

namespace
{

constexpr const char* ReplacementCharacter = "\xEF\xBF\xBD";

// Length of the well-formed sequence that starts at Index, or 0 when there is none.
std::size_t ValidSequenceLength(const std::string& Bytes, std::size_t Index)
{
    const auto byteAt = [&Bytes](std::size_t At)
    {
        return static_cast<unsigned char>(Bytes[At]);
    };
    const unsigned char lead = byteAt(Index);
    if (lead < 0x80U)
    {
        return 1;
    }
    std::size_t length = 0;
    // The second byte's range excludes overlong forms, surrogates and code points past U+10FFFF.
    unsigned char low = 0x80U;
    unsigned char high = 0xBFU;
    if (lead >= 0xC2U && lead <= 0xDFU)
    {
        length = 2;
    }
    else if (lead >= 0xE0U && lead <= 0xEFU)
    {
        length = 3;
        low = lead == 0xE0U ? 0xA0U : 0x80U;
        high = lead == 0xEDU ? 0x9FU : 0xBFU;
    }
    else if (lead >= 0xF0U && lead <= 0xF4U)
    {
        length = 4;
        low = lead == 0xF0U ? 0x90U : 0x80U;
        high = lead == 0xF4U ? 0x8FU : 0xBFU;
    }
    else
    {
        return 0;
    }
    if (Index + length > Bytes.size())
    {
        return 0;
    }
    const unsigned char second = byteAt(Index + 1);
    if (second < low || second > high)
    {
        return 0;
    }
    for (std::size_t i = 2; i < length; ++i)
    {
        const unsigned char next = byteAt(Index + i);
        if (next < 0x80U || next > 0xBFU)
        {
            return 0;
        }
    }
    return length;
}

} // namespace

std::string SanitizeUtf8(const std::string& Bytes)
{
    std::string out;
    out.reserve(Bytes.size());
    std::size_t i = 0;
    while (i < Bytes.size())
    {
        const std::size_t length = ValidSequenceLength(Bytes, i);
        if (length == 0)
        {
            out += ReplacementCharacter;
            ++i;
            continue;
        }
        out.append(Bytes, i, length);
        i += length;
    }
    return out;
}

void AppendUtf8(std::string& Out, std::uint32_t CodePoint)
{
    const auto put = [&Out](std::uint32_t Byte)
    {
        Out.push_back(static_cast<char>(Byte));
    };
    // Surrogates and values past Unicode's range have no UTF-8 form.
    if ((CodePoint >= 0xD800U && CodePoint <= 0xDFFFU) || CodePoint > 0x10FFFFU)
    {
        Out += ReplacementCharacter;
    }
    else if (CodePoint < 0x80U)
    {
        put(CodePoint);
    }
    else if (CodePoint < 0x800U)
    {
        put(0xC0U | (CodePoint >> 6U));
        put(0x80U | (CodePoint & 0x3FU));
    }
    else if (CodePoint < 0x10000U)
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

std::string EscapeBytes(const std::string& Bytes)
{
    static constexpr char Hex[] = "0123456789abcdef";
    std::string out;
    out.reserve(Bytes.size());
    for (const char c : Bytes)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20U && byte < 0x7FU && c != '\\')
        {
            out.push_back(c);
            continue;
        }
        out += "\\x";
        out.push_back(Hex[byte >> 4U]);
        out.push_back(Hex[byte & 0x0FU]);
    }
    return out;
}
