#pragma once

#include <cstdint>
#include <string>

// Text helpers for the window backend: the renderer and the platform speak UTF-8, file names may not.

// A copy of Bytes that is valid UTF-8: every byte that does not start a well-formed sequence
// (overlong, surrogate, beyond U+10FFFF, truncated or a stray continuation) becomes U+FFFD.
std::string SanitizeUtf8(const std::string& Bytes);

// Appends one code point as UTF-8; surrogates and values beyond U+10FFFF become U+FFFD.
void AppendUtf8(std::string& Out, std::uint32_t CodePoint);

// Bytes with every byte outside printable ASCII (and the backslash) written as \xNN, so that
// any file name fits on one line of a diagnostic dump.
std::string EscapeBytes(const std::string& Bytes);
