#include "glterminal_text.h"

#include <algorithm>
#include <cwchar>
#include <cwctype>

namespace
{

// Decodes the UTF-8 character at Bytes[At] into Code; returns its length in bytes, or 0 when
// the bytes there are not valid UTF-8 (overlong forms and surrogates included).
std::size_t DecodeUtf8(std::string_view Bytes, std::size_t At, char32_t& Code)
{
    const auto byteAt = [Bytes](std::size_t Index)
    {
        return static_cast<unsigned char>(Bytes[Index]);
    };
    const unsigned lead = byteAt(At);
    std::size_t length = 0;
    char32_t smallest = 0;
    if (lead < 0x80U)
    {
        Code = lead;
        return 1;
    }
    if (lead >= 0xC2U && lead <= 0xDFU)
    {
        length = 2;
        Code = lead & 0x1FU;
        smallest = 0x80;
    }
    else if (lead >= 0xE0U && lead <= 0xEFU)
    {
        length = 3;
        Code = lead & 0x0FU;
        smallest = 0x800;
    }
    else if (lead >= 0xF0U && lead <= 0xF4U)
    {
        length = 4;
        Code = lead & 0x07U;
        smallest = 0x10000;
    }
    else
    {
        return 0;
    }
    if (Bytes.size() - At < length)
    {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i)
    {
        const unsigned next = byteAt(At + i);
        if ((next & 0xC0U) != 0x80U)
        {
            return 0;
        }
        Code = (Code << 6U) | (next & 0x3FU);
    }
    if (Code < smallest || Code > 0x10FFFF || (Code >= 0xD800 && Code <= 0xDFFF))
    {
        return 0;
    }
    return length;
}

// Invisible characters that reorder, join or hide text: two names that look the same on
// screen must not be different files in disguise.
bool IsHiddenFormatCharacter(char32_t Code)
{
    return Code == 0x061C || Code == 0x180E || (Code >= 0x200B && Code <= 0x200F) ||
           (Code >= 0x2028 && Code <= 0x202E) || (Code >= 0x2060 && Code <= 0x206F) || Code == 0xFEFF ||
           (Code >= 0xFFF9 && Code <= 0xFFFB);
}

void AppendEscaped(std::wstring& Out, std::string_view Bytes)
{
    static constexpr char Digits[] = "0123456789abcdef";
    for (const char c : Bytes)
    {
        switch (c)
        {
        case '\n':
            Out += L"\\n";
            break;
        case '\t':
            Out += L"\\t";
            break;
        case '\r':
            Out += L"\\r";
            break;
        case '\\':
            Out += L"\\\\";
            break;
        default:
        {
            const auto byte = static_cast<unsigned char>(c);
            Out += L"\\x";
            Out.push_back(static_cast<wchar_t>(Digits[byte >> 4U]));
            Out.push_back(static_cast<wchar_t>(Digits[byte & 0x0FU]));
        }
        }
    }
}

int CharColumns(wchar_t Char)
{
    return std::max(0, ::wcwidth(Char));
}

} // namespace

std::wstring TerminalSafeText(std::string_view Bytes, bool bUtf8)
{
    std::wstring out;
    out.reserve(Bytes.size());
    bool bCanCombine = false; // a zero-width mark needs a printable character to sit on
    std::size_t at = 0;
    while (at < Bytes.size())
    {
        char32_t code = static_cast<unsigned char>(Bytes[at]);
        const std::size_t length = bUtf8 ? DecodeUtf8(Bytes, at, code) : 1;
        if (length == 0)
        {
            AppendEscaped(out, Bytes.substr(at, 1));
            bCanCombine = false;
            ++at;
            continue;
        }
        const auto wide = static_cast<wchar_t>(code);
        const bool bControl = code < 0x20 || (code >= 0x7F && code < 0xA0);
        const bool bForeign = !bUtf8 && code >= 0x80;
        const int width = bControl || bForeign || IsHiddenFormatCharacter(code) ||
                                  ::iswprint(static_cast<wint_t>(wide)) == 0
                              ? -1
                              : ::wcwidth(wide);
        if (width < 0 || (width == 0 && !bCanCombine) || code == '\\')
        {
            AppendEscaped(out, Bytes.substr(at, length));
            bCanCombine = false;
        }
        else
        {
            out.push_back(wide);
            bCanCombine = true;
        }
        at += length;
    }
    return out;
}

int TerminalColumns(std::wstring_view Text)
{
    int columns = 0;
    for (const wchar_t c : Text)
    {
        columns += CharColumns(c);
    }
    return columns;
}

std::wstring TerminalSlice(std::wstring_view Text, int FirstColumn, int Width)
{
    std::wstring out;
    if (Width <= 0)
    {
        return out;
    }
    const int end = FirstColumn + Width;
    int column = 0;
    int used = 0;
    bool bBaseShown = false;
    for (const wchar_t c : Text)
    {
        const int width = CharColumns(c);
        if (width == 0)
        {
            if (bBaseShown)
            {
                out.push_back(c);
            }
            continue;
        }
        bBaseShown = column >= FirstColumn && column + width <= end;
        const int cut = std::min(column + width, end) - std::max(column, FirstColumn);
        if (bBaseShown)
        {
            out.push_back(c);
            used += width;
        }
        else if (cut > 0)
        {
            out.append(static_cast<std::size_t>(cut), L' ');
            used += cut;
        }
        column += width;
    }
    out.append(static_cast<std::size_t>(std::max(0, Width - used)), L' ');
    return out;
}

std::wstring TerminalFit(std::wstring_view Text, int Width, wchar_t Marker)
{
    if (Width <= 0)
    {
        return {};
    }
    if (TerminalColumns(Text) <= Width)
    {
        return TerminalSlice(Text, 0, Width);
    }
    std::wstring out = TerminalSlice(Text, 0, Width - 1);
    out.push_back(Marker);
    return out;
}
