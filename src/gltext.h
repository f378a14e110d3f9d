// UTF-8 decoding and encoding, and the one rule by which every backend shows a file name.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// One character decoded from UTF-8.
struct GLUtf8Char
{
    // The code point; for invalid bytes, the byte's value.
    char32_t CodePoint = 0;
    // Bytes taken: 1 to 4, and always 1 for invalid input.
    std::size_t Length = 1;
    // False for a byte that does not start a well-formed sequence (overlong, surrogate, beyond
    // U+10FFFF, truncated, or a stray continuation byte).
    bool bValid = false;
};

// Decodes the character that starts at Bytes[Offset] (Offset < Bytes.size()).
GLUtf8Char GLDecodeUtf8(std::string_view Bytes, std::size_t Offset);

// Appends a code point as UTF-8; surrogates and values beyond U+10FFFF become U+FFFD.
void GLAppendUtf8(std::string& Out, char32_t CodePoint);

// Whether a code point would hide, reorder or break a name if drawn raw: control characters,
// line and paragraph separators, default-ignorable code points and bidirectional controls.
bool GLIsConcealingCodePoint(char32_t CodePoint);

// Bytes written as a name's visible escapes: \n, \t, \r, \\ for a backslash, \xNN otherwise.
std::string GLEscapedBytes(std::string_view Bytes);

// A name as it must be shown: valid UTF-8 on one line, in which every concealing code point,
// every byte of invalid UTF-8 and every backslash is written as its escape (GLEscapedBytes) and
// the rest passes as is. Different names always give different results.
std::string GLVisibleName(std::string_view Name);
