// Shell-style name patterns and named filters.
#include "glfilefilter.h"

#include "gltext.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace
{

// One character of a name or pattern: a code point, or for a byte outside valid UTF-8 a value
// past the Unicode range that only that byte yields.
struct Character
{
    std::uint32_t Value = 0;
    std::size_t Length = 1;
};

constexpr std::uint32_t InvalidByteBase = 0x110000;

Character DecodeAt(std::string_view Text, std::size_t Offset)
{
    const GLUtf8Char decoded = GLDecodeUtf8(Text, Offset);
    return decoded.bValid ? Character{decoded.CodePoint, decoded.Length}
                          : Character{InvalidByteBase + decoded.CodePoint, decoded.Length};
}

std::uint32_t LowerAscii(std::uint32_t Value)
{
    return Value >= 'A' && Value <= 'Z' ? Value + ('a' - 'A') : Value;
}

std::uint32_t UpperAscii(std::uint32_t Value)
{
    return Value >= 'a' && Value <= 'z' ? Value - ('a' - 'A') : Value;
}

// Where the bracket expression opening at Pattern[Open] ends (the offset after its ']'), or 0
// when it is not closed.
std::size_t BracketEnd(std::string_view Pattern, std::size_t Open)
{
    std::size_t at = Open + 1;
    if (at < Pattern.size() && (Pattern[at] == '!' || Pattern[at] == '^'))
    {
        ++at;
    }
    if (at < Pattern.size() && Pattern[at] == ']')
    {
        ++at;
    }
    while (at < Pattern.size() && Pattern[at] != ']')
    {
        at += Pattern[at] == '\\' && at + 1 < Pattern.size() ? 1 + DecodeAt(Pattern, at + 1).Length
                                                             : DecodeAt(Pattern, at).Length;
    }
    return at < Pattern.size() ? at + 1 : 0;
}

// Whether the character C is in the set Pattern[Open, End) (the brackets included).
bool InBracket(std::string_view Pattern, std::size_t Open, std::size_t End, std::uint32_t C)
{
    std::size_t at = Open + 1;
    bool bNegated = false;
    if (Pattern[at] == '!' || Pattern[at] == '^')
    {
        bNegated = true;
        ++at;
    }
    const std::size_t last = End - 1; // the closing ']'
    const std::uint32_t lower = LowerAscii(C);
    const std::uint32_t upper = UpperAscii(C);
    const auto readOne = [&](std::size_t& Offset)
    {
        if (Pattern[Offset] == '\\' && Offset + 1 < last)
        {
            ++Offset;
        }
        const Character one = DecodeAt(Pattern, Offset);
        Offset += one.Length;
        return one.Value;
    };
    bool bFound = false;
    bool bFirst = true;
    while (at < last)
    {
        // A ']' right after the opening (and any negation) belongs to the set.
        const std::uint32_t from = bFirst && Pattern[at] == ']' ? (++at, std::uint32_t{']'}) : readOne(at);
        bFirst = false;
        std::uint32_t to = from;
        if (at + 1 < last && Pattern[at] == '-')
        {
            ++at;
            to = readOne(at);
        }
        const auto within = [from, to](std::uint32_t Value)
        {
            return Value >= from && Value <= to;
        };
        if (within(C) || within(lower) || within(upper))
        {
            bFound = true;
        }
    }
    return bFound != bNegated;
}

} // namespace

bool GLMatchFilePattern(std::string_view Pattern, std::string_view Name)
{
    // Greedy matching with one remembered star: on a mismatch the last '*' takes one more
    // character and matching resumes after it. Linear in practice, never exponential.
    std::size_t p = 0;
    std::size_t n = 0;
    std::size_t starPattern = std::string_view::npos;
    std::size_t starName = 0;
    while (n < Name.size())
    {
        bool bStep = false;
        std::size_t nextPattern = p;
        const Character c = DecodeAt(Name, n);
        if (p < Pattern.size())
        {
            const char token = Pattern[p];
            if (token == '*')
            {
                starPattern = ++p;
                starName = n;
                continue;
            }
            if (token == '?')
            {
                bStep = true;
                nextPattern = p + 1;
            }
            else if (token == '[' && BracketEnd(Pattern, p) != 0)
            {
                const std::size_t end = BracketEnd(Pattern, p);
                bStep = InBracket(Pattern, p, end, c.Value);
                nextPattern = end;
            }
            else
            {
                std::size_t at = p;
                if (token == '\\' && p + 1 < Pattern.size())
                {
                    ++at;
                }
                const Character literal = DecodeAt(Pattern, at);
                bStep = LowerAscii(literal.Value) == LowerAscii(c.Value);
                nextPattern = at + literal.Length;
            }
        }
        if (bStep)
        {
            p = nextPattern;
            n += c.Length;
        }
        else if (starPattern != std::string_view::npos)
        {
            starName += DecodeAt(Name, starName).Length;
            n = starName;
            p = starPattern;
        }
        else
        {
            return false;
        }
    }
    while (p < Pattern.size() && Pattern[p] == '*')
    {
        ++p;
    }
    return p == Pattern.size();
}

std::vector<std::string> GLSplitFilePatterns(std::string_view Text)
{
    std::vector<std::string> patterns;
    std::size_t at = 0;
    while (at < Text.size())
    {
        const std::size_t begin = Text.find_first_not_of(" \t\n", at);
        if (begin == std::string_view::npos)
        {
            break;
        }
        const std::size_t end = std::min(Text.find_first_of(" \t\n", begin), Text.size());
        patterns.emplace_back(Text.substr(begin, end - begin));
        at = end;
    }
    return patterns;
}

bool GLFileFilter::Matches(std::string_view FileName) const
{
    if (Patterns.empty())
    {
        return true;
    }
    for (const std::string& pattern : Patterns)
    {
        if (GLMatchFilePattern(pattern, FileName))
        {
            return true;
        }
    }
    return false;
}

std::string GLFileFilter::DefaultExtension() const
{
    if (Patterns.empty())
    {
        return {};
    }
    const std::string& first = Patterns.front();
    if (first.size() < 3 || first.compare(0, 2, "*.") != 0)
    {
        return {};
    }
    // Only a plain extension: "*.tar.gz" gives ".tar.gz", "*.[ch]" or "*.*" give nothing.
    if (first.find_first_of("*?[\\/", 2) != std::string::npos)
    {
        return {};
    }
    return first.substr(1);
}

std::string GLFileFilter::Caption() const
{
    std::string patterns;
    for (const std::string& pattern : Patterns)
    {
        patterns += (patterns.empty() ? "" : " ") + pattern;
    }
    if (patterns.empty() || Name == patterns || Name.find(patterns) != std::string::npos)
    {
        return Name.empty() ? patterns : Name;
    }
    if (Name.empty())
    {
        return patterns;
    }
    return Name + " (" + patterns + ")";
}
