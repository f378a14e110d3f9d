// Path helpers of the listing engine: trimming, the home folder, resolving typed text, canonical forms.
#pragma once

#include <filesystem>
#include <string>

// Whether a byte is one that trimming removes: space, tab, line feed or carriage return.
inline bool GLIsTrimmedByte(unsigned char Byte)
{
    return Byte == ' ' || Byte == '\t' || Byte == '\n' || Byte == '\r';
}

// Text without leading and trailing trimmed bytes.
std::string GLTrimCopy(const std::string& Text);

// $HOME as it stands, or "/" when it is unset or empty; read on every call.
std::string GLHomeDirectoryPath();

// A canonical form, and whether canonicalising it once more is known to give it back unchanged.
struct GLCanonicalForm
{
    std::filesystem::path Path;
    bool bStable = false;
};

// Weakly canonical form of Path, or its lexically normal form when that cannot be computed. It is
// stable when the canonical form was computed and Path held no ".." (only a ".." can climb out of
// the part that did not exist into a part that does).
GLCanonicalForm GLCanonicalOrNormal(const std::filesystem::path& Path);

// Text (not trimmed) made absolute against BaseDirectory, then canonical as above; empty stays empty.
GLCanonicalForm GLResolveUserPath(const std::string& Text, const std::filesystem::path& BaseDirectory);

// Path trimmed, made absolute against the working directory and canonicalised; blank gives "".
std::string GLCanonicalizePath(const std::string& Path);
