// Sort keys of a listing: folders first, then names lowered byte by byte, as std::sort orders them.
#include "gllisting_sort.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace
{

// The key carries the first 8 lowered name bytes; the next 8 sit in a side array, read only where
// the first 8 tie.
constexpr std::size_t KeyBytes = 16;

// Folders first, then lowered names bytewise; a proper prefix sorts first. The first 16 lowered
// bytes settle nearly every pair without touching the names: no name holds a NUL byte, so padding
// sorts first.
struct KeyOrder
{
    const char* Names = nullptr;
    const std::size_t* Offsets = nullptr;
    const std::uint64_t* Second = nullptr; // lowered name bytes 8..15 by index, like the prefix
    const unsigned char* Lower = nullptr;  // tolower of every byte
    std::size_t PrefixBytes = 0;           // bytes the prefix and Second hold; 0 when unused

    bool operator()(const GLSortKey& A, const GLSortKey& B) const
    {
        if (A.bDirectory != B.bDirectory)
        {
            return A.bDirectory;
        }
        if (A.Prefix != B.Prefix)
        {
            return A.Prefix < B.Prefix;
        }
        if (Second[A.Index] != Second[B.Index])
        {
            return Second[A.Index] < Second[B.Index];
        }
        const std::size_t common = std::min(A.Length, B.Length);
        const char* a = Names + Offsets[A.Index];
        const char* b = Names + Offsets[B.Index];
        for (std::size_t i = PrefixBytes; i < common; ++i)
        {
            const unsigned char lowerA = Lower[static_cast<unsigned char>(a[i])];
            const unsigned char lowerB = Lower[static_cast<unsigned char>(b[i])];
            if (lowerA != lowerB)
            {
                return lowerA < lowerB;
            }
        }
        return A.Length < B.Length;
    }
};

std::uint64_t BigEndian(const unsigned char* Bytes)
{
    std::uint64_t value = 0;
    for (int i = 0; i < 8; ++i)
    {
        value = (value << 8) | Bytes[i];
    }
    return value;
}

// Orders one run of keys that share the folder flag and the prefix: each name's next eight lowered
// bytes are copied beside its key once, so most comparisons stay within the run.
void SortRun(std::vector<GLSortKey>& Keys, std::size_t Begin, std::size_t End, const KeyOrder& Order)
{
    struct Deeper
    {
        std::uint64_t Next = 0;
        GLSortKey Key;
    };
    std::vector<Deeper> run;
    run.reserve(End - Begin);
    for (std::size_t i = Begin; i < End; ++i)
    {
        run.push_back({Order.Second[Keys[i].Index], Keys[i]});
    }
    std::sort(run.begin(), run.end(),
              [&Order](const Deeper& A, const Deeper& B)
              { return A.Next != B.Next ? A.Next < B.Next : Order(A.Key, B.Key); });
    for (std::size_t i = Begin; i < End; ++i)
    {
        Keys[i] = run[i - Begin].Key;
    }
}

// Radix passes over one bucket of keys that share the folder flag and the top prefix byte, by the
// other seven bytes, least significant first; small buckets by insertion.
void SortBucket(GLSortKey* From, GLSortKey* To, std::size_t Size)
{
    if (Size <= 16)
    {
        // Insertion sort on the prefix; the order among equal prefixes does not matter here.
        for (std::size_t i = 0; i < Size; ++i)
        {
            const GLSortKey key = From[i];
            std::size_t j = i;
            for (; j > 0 && To[j - 1].Prefix > key.Prefix; --j)
            {
                To[j] = To[j - 1];
            }
            To[j] = key;
        }
        return;
    }
    GLSortKey* const target = To;
    std::array<std::size_t, 256> starts{};
    for (unsigned shift = 0; shift < 56; shift += 8)
    {
        starts.fill(0);
        for (std::size_t i = 0; i < Size; ++i)
        {
            ++starts[(From[i].Prefix >> shift) & 0xFFU];
        }
        std::size_t total = 0;
        bool bOneDigit = false;
        for (std::size_t& start : starts)
        {
            bOneDigit = bOneDigit || start == Size;
            total += std::exchange(start, total);
        }
        if (bOneDigit)
        {
            continue; // every key has the same digit: the pass would change nothing
        }
        for (std::size_t i = 0; i < Size; ++i)
        {
            To[starts[(From[i].Prefix >> shift) & 0xFFU]++] = From[i];
        }
        std::swap(From, To);
    }
    if (From != target)
    {
        std::copy(From, From + Size, target);
    }
}

// Sorts Keys into the order std::sort with Order gives, faster for large folders. When no two keys
// are equivalent, that order is the only one there is, so a radix sort on the folder flag and the
// prefix, finished by std::sort inside each run of equal prefixes, reaches it exactly. Keys that
// are equivalent (names equal once lowered) are left by std::sort in an order that depends on its
// input; then the comparison sort runs again from readdir order.
bool RadixSort(std::vector<GLSortKey>& Keys, const KeyOrder& Order)
{
    // First by the folder flag and the top prefix byte; then each of those buckets, small enough to
    // stay in cache, by its other seven bytes.
    const std::size_t count = Keys.size();
    std::vector<GLSortKey> scratch(count);
    const auto topDigit = [](const GLSortKey& Key)
    {
        return (Key.bDirectory ? std::size_t{0} : std::size_t{256}) +
               static_cast<std::size_t>(Key.Prefix >> 56);
    };
    std::vector<std::size_t> bucketStarts(513, 0);
    for (const GLSortKey& key : Keys)
    {
        ++bucketStarts[topDigit(key) + 1];
    }
    for (std::size_t i = 1; i < bucketStarts.size(); ++i)
    {
        bucketStarts[i] += bucketStarts[i - 1];
    }
    std::vector<std::size_t> fill(bucketStarts.begin(), bucketStarts.end() - 1);
    for (const GLSortKey& key : Keys)
    {
        scratch[fill[topDigit(key)]++] = key;
    }
    for (std::size_t bucket = 0; bucket + 1 < bucketStarts.size(); ++bucket)
    {
        const std::size_t begin = bucketStarts[bucket];
        SortBucket(scratch.data() + begin, Keys.data() + begin, bucketStarts[bucket + 1] - begin);
    }

    // Runs that share the folder flag and the prefix are ordered by the rest of their names.
    const auto samePrefix = [](const GLSortKey& A, const GLSortKey& B)
    {
        return A.bDirectory == B.bDirectory && A.Prefix == B.Prefix;
    };
    for (std::size_t begin = 0; begin < Keys.size();)
    {
        std::size_t end = begin + 1;
        while (end < Keys.size() && samePrefix(Keys[begin], Keys[end]))
        {
            ++end;
        }
        if (end - begin > 1)
        {
            SortRun(Keys, begin, end, Order);
        }
        begin = end;
    }
    for (std::size_t i = 1; i < Keys.size(); ++i)
    {
        if (!Order(Keys[i - 1], Keys[i]))
        {
            std::sort(Keys.begin(), Keys.end(),
                      [](const GLSortKey& A, const GLSortKey& B) { return A.Index < B.Index; });
            std::sort(Keys.begin(), Keys.end(), Order);
            return false;
        }
    }
    return true;
}

} // namespace

bool GLSortKeys(std::vector<GLSortKey>& Keys, const GLNameTable& Names, std::size_t RadixMinimum)
{
    std::array<unsigned char, 256> lower{};
    bool bPrefixUsable = true;
    for (int c = 0; c < 256; ++c)
    {
        lower[static_cast<std::size_t>(c)] = static_cast<unsigned char>(std::tolower(c));
        bPrefixUsable = bPrefixUsable && (c == 0 || lower[static_cast<std::size_t>(c)] != 0);
    }
    // Only the bytes the key and the side array hold are lowered here; the order lowers the rest.
    // Where a locale lowers some byte to NUL, both stay zero and the order compares whole names.
    std::vector<std::uint64_t> second(Keys.size());
    for (std::size_t k = 0; bPrefixUsable && k < Keys.size(); ++k)
    {
        GLSortKey& key = Keys[k];
        std::array<unsigned char, KeyBytes> lowerName{};
        const char* name = Names.Name(key.Index);
        for (std::size_t i = 0; i < lowerName.size() && i < key.Length; ++i)
        {
            lowerName[i] = lower[static_cast<unsigned char>(name[i])];
        }
        key.Prefix = BigEndian(lowerName.data());
        second[key.Index] = BigEndian(lowerName.data() + 8);
    }
    const KeyOrder order{Names.Bytes.data(), Names.Offsets.data(), second.data(), lower.data(),
                         bPrefixUsable ? KeyBytes : 0};
    if (Keys.size() < RadixMinimum || order.PrefixBytes == 0)
    {
        std::sort(Keys.begin(), Keys.end(), order);
        return false;
    }
    return RadixSort(Keys, order);
}
