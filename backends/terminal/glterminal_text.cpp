// Terminal text: the name rule, then what the terminal cannot print, and column measuring.
#include "glterminal_text.h"

#include "gltext.h"

#include <algorithm>
#include <cwchar>
#include <cwctype>

namespace
{

void AppendAscii(std::wstring& Out, std::string_view Text)
{
    for (const char c : Text)
    {
        Out.push_back(static_cast<wchar_t>(c));
    }
}

int CharColumns(wchar_t Char)
{
    return std::max(0, ::wcwidth(Char));
}

} // namespace

std::wstring TerminalSafeText(std::string_view Bytes, bool bUtf8)
{
    const std::string visible = GLVisibleName(Bytes);
    std::wstring out;
    out.reserve(visible.size());
    bool bCanCombine = false; // a zero-width mark needs a printable character to sit on
    std::size_t at = 0;
    while (at < visible.size())
    {
        if (visible[at] == '\\')
        {
            // One of the rule's escapes (every backslash starts one): \xNN, or \\, \n, \t, \r.
            const std::size_t length = at + 1 < visible.size() && visible[at + 1] == 'x' ? 4 : 2;
            AppendAscii(out, std::string_view(visible).substr(at, length));
            bCanCombine = false;
            at += length;
            continue;
        }
        const GLUtf8Char c = GLDecodeUtf8(visible, at);
        const auto wide = static_cast<wchar_t>(c.CodePoint);
        // Interlinear annotation marks are zero-width format characters outside the name rule's
        // set; a terminal would let them hide behind a letter like a combining mark.
        const bool bAnnotation = c.CodePoint >= 0xFFF9 && c.CodePoint <= 0xFFFB;
        const bool bForeign = (!bUtf8 && c.CodePoint >= 0x80) || bAnnotation;
        const int width = bForeign || ::iswprint(static_cast<wint_t>(wide)) == 0 ? -1 : ::wcwidth(wide);
        if (width < 0 || (width == 0 && !bCanCombine))
        {
            AppendAscii(out, GLEscapedBytes(std::string_view(visible).substr(at, c.Length)));
            bCanCombine = false;
        }
        else
        {
            out.push_back(wide);
            bCanCombine = true;
        }
        at += c.Length;
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
