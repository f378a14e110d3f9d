#pragma once

// How the fuzz targets report a broken expectation: the message on standard error, then abort,
// which libFuzzer records as a finding with the input that caused it.

#include <cstdio>
#include <cstdlib>
#include <string>

namespace glfd_fuzz
{

// Text with control bytes (NUL and newlines included) shown as \xNN.
inline std::string Printable(const std::string& Text)
{
    std::string out;
    for (const char c : Text)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f)
        {
            static const char* digits = "0123456789abcdef";
            out += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
        }
        else
        {
            out += c;
        }
    }
    return out;
}

// Aborts with What and the two values when bHolds is false.
inline void Check(bool bHolds, const char* What, const std::string& Got = {}, const std::string& Wanted = {})
{
    if (!bHolds)
    {
        std::fprintf(stderr, "fuzz check failed: %s\n  got:    '%s'\n  wanted: '%s'\n", What,
                     Printable(Got).c_str(), Printable(Wanted).c_str());
        std::abort();
    }
}

} // namespace glfd_fuzz
