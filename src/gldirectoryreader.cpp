#include "gldirectoryreader.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cfenv>
#include <charconv>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstring>
#include <ctime>
#include <limits>
#include <locale>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>
#include <unordered_map>

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using FileEntry = GLFileDialogPanel::FileEntry;

namespace
{

constexpr std::int64_t NanosPerSecond = 1000000000;

// What reading an entry's name and type told.
struct EntryFacts
{
    std::size_t NameOffset = 0; // of the NUL-terminated name in the name buffer
    bool bReadable = true;
    bool bResolvePath = false;       // the path is CanonicalizePath's to decide
    bool bThroughFilesystem = false; // every field comes from std::filesystem queries
    bool bStatusPending = false;     // the status query is still to be made
};

// What the one status query of an entry told; labels are made later, in display order.
struct EntryStatus
{
    std::uint64_t Size = 0;
    std::int64_t MtimeSeconds = 0;
    std::int32_t MtimeNanoseconds = 0;
    bool bKnown = false;   // the status (links followed) was read
    bool bRegular = false; // ... and names a regular file
};

// The sort key carries the first 8 lowered name bytes, which keeps it at 16 bytes for the sort to
// move around; the next 8 sit in a side array, read only where the first 8 tie.
constexpr std::size_t KeyBytes = 16;

// Sort key of one entry. The comparator answers from these fields exactly as comparing the
// entries' lowered names would, so std::sort over the keys, fed in readdir order, yields the very
// permutation that std::sort over the entries yields, ties included.
struct SortKey
{
    std::uint64_t Prefix = 0; // lowered name bytes 0..7, big-endian, zero padded
    std::uint32_t Index = 0;  // into the facts, in readdir order
    std::uint16_t Length = 0; // a name is at most 255 bytes
    bool bDirectory = false;
};

// Folders first, then lowered names bytewise; a proper prefix sorts first. The first 16 lowered
// bytes settle nearly every pair without touching the names: no name holds a NUL byte, so padding
// sorts first.
struct KeyOrder
{
    const char* Names = nullptr;
    const EntryFacts* Facts = nullptr;
    const std::uint64_t* Second = nullptr; // lowered name bytes 8..15 by index, like the prefix
    const unsigned char* Lower = nullptr;  // tolower of every byte
    std::size_t PrefixBytes = 0;           // bytes the prefix and Second hold; 0 when unused

    bool operator()(const SortKey& A, const SortKey& B) const
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
        const char* a = Names + Facts[A.Index].NameOffset;
        const char* b = Names + Facts[B.Index].NameOffset;
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
void SortRun(std::vector<SortKey>& Keys, std::size_t Begin, std::size_t End, const KeyOrder& Order)
{
    struct Deeper
    {
        std::uint64_t Next = 0;
        SortKey Key;
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

// Sorts Keys into the order std::sort with Order gives, faster for large folders. When no two
// keys are equivalent, that order is the only one there is, so a radix sort on the folder flag and
// the prefix, finished by std::sort inside each run of equal prefixes, reaches it exactly. Keys that
// are equivalent (names equal once lowered) are left by std::sort in an order that depends on its
// input; then the comparison sort runs again from readdir order. Returns whether the radix order
// was kept.
bool SortKeys(std::vector<SortKey>& Keys, const KeyOrder& Order, std::size_t RadixMinimum)
{
    if (Keys.size() < RadixMinimum || Order.PrefixBytes == 0)
    {
        std::sort(Keys.begin(), Keys.end(), Order);
        return false;
    }
    // First by the folder flag and the top prefix byte; then each of those buckets, small enough
    // to stay in cache, by its other seven bytes, least significant first.
    const std::size_t count = Keys.size();
    std::vector<SortKey> scratch(count);
    const auto topDigit = [](const SortKey& Key)
    {
        return (Key.bDirectory ? std::size_t{0} : std::size_t{256}) +
               static_cast<std::size_t>(Key.Prefix >> 56);
    };
    std::vector<std::size_t> bucketStarts(513, 0);
    for (const SortKey& key : Keys)
    {
        ++bucketStarts[topDigit(key) + 1];
    }
    for (std::size_t i = 1; i < bucketStarts.size(); ++i)
    {
        bucketStarts[i] += bucketStarts[i - 1];
    }
    std::vector<std::size_t> fill(bucketStarts.begin(), bucketStarts.end() - 1);
    for (const SortKey& key : Keys)
    {
        scratch[fill[topDigit(key)]++] = key;
    }
    std::array<std::size_t, 256> starts{};
    for (std::size_t bucket = 0; bucket + 1 < bucketStarts.size(); ++bucket)
    {
        const std::size_t begin = bucketStarts[bucket];
        const std::size_t size = bucketStarts[bucket + 1] - begin;
        SortKey* from = scratch.data() + begin;
        SortKey* to = Keys.data() + begin;
        if (size <= 16)
        {
            // Insertion sort on the prefix; the order among equal prefixes does not matter here.
            for (std::size_t i = 0; i < size; ++i)
            {
                const SortKey key = from[i];
                std::size_t j = i;
                for (; j > 0 && to[j - 1].Prefix > key.Prefix; --j)
                {
                    to[j] = to[j - 1];
                }
                to[j] = key;
            }
            continue;
        }
        for (unsigned shift = 0; shift < 56; shift += 8)
        {
            starts.fill(0);
            for (std::size_t i = 0; i < size; ++i)
            {
                ++starts[(from[i].Prefix >> shift) & 0xFFU];
            }
            std::size_t total = 0;
            bool bOneDigit = false;
            for (std::size_t& start : starts)
            {
                bOneDigit = bOneDigit || start == size;
                total += std::exchange(start, total);
            }
            if (bOneDigit)
            {
                continue; // every key has the same digit: the pass would change nothing
            }
            for (std::size_t i = 0; i < size; ++i)
            {
                to[starts[(from[i].Prefix >> shift) & 0xFFU]++] = from[i];
            }
            std::swap(from, to);
        }
        if (from != Keys.data() + begin)
        {
            std::copy(from, from + size, Keys.data() + begin);
        }
    }

    // Runs that share the folder flag and the prefix are ordered by the rest of their names.
    const auto samePrefix = [](const SortKey& A, const SortKey& B)
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
                      [](const SortKey& A, const SortKey& B) { return A.Index < B.Index; });
            std::sort(Keys.begin(), Keys.end(), Order);
            return false;
        }
    }
    return true;
}

// A folder's entries read in large getdents64 batches: readdir's lock per entry is measurable at
// this scale. Ends and fails as readdir does: entries without an inode number are skipped, and
// ENOENT (a folder removed meanwhile) reads as the end.
class DirectoryStream
{
public:
    explicit DirectoryStream(const std::string& Path)
        : Fd(::open(Path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), OpenError(errno)
    {
    }
    ~DirectoryStream()
    {
        if (Fd >= 0)
        {
            ::close(Fd);
        }
    }
    DirectoryStream(const DirectoryStream&) = delete;
    DirectoryStream& operator=(const DirectoryStream&) = delete;

    // The descriptor of the open folder, or -1 with the reason in Error.
    int Descriptor(std::error_code& Error) const
    {
        if (Fd < 0)
        {
            Error.assign(OpenError, std::generic_category());
        }
        return Fd;
    }

    // The next entry, or null at the end and on a failure, which sets Error.
    const dirent64* Next(std::error_code& Error)
    {
        for (;;)
        {
            if (Offset >= Filled)
            {
                Buffer.resize(std::size_t{128} * 1024);
                const ssize_t got = ::getdents64(Fd, Buffer.data(), Buffer.size());
                if (got <= 0)
                {
                    if (got < 0 && errno != ENOENT)
                    {
                        Error.assign(errno, std::generic_category());
                    }
                    return nullptr;
                }
                Filled = static_cast<std::size_t>(got);
                Offset = 0;
            }
            const auto* entry = reinterpret_cast<const dirent64*>(Buffer.data() + Offset);
            Offset += entry->d_reclen;
            if (entry->d_ino != 0)
            {
                return entry;
            }
        }
    }

private:
    int Fd;
    int OpenError;
    std::vector<char> Buffer;
    std::size_t Offset = 0;
    std::size_t Filled = 0;
};

// Runs one task on a thread of its own and is always joined, also when the caller unwinds. Where
// no thread can be started the task runs at once, on the caller's. The task must not throw.
class HelperThread
{
public:
    HelperThread() = default;
    ~HelperThread() { Join(); }
    HelperThread(const HelperThread&) = delete;
    HelperThread& operator=(const HelperThread&) = delete;

    template <typename Task> void Start(const Task& Work)
    {
        // The thread inherits a mask that blocks every asynchronous signal, so that the host's
        // signals keep reaching the host's own threads.
        sigset_t blocked;
        sigset_t previous;
        ::sigfillset(&blocked);
        for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS})
        {
            ::sigdelset(&blocked, signal);
        }
        ::pthread_sigmask(SIG_BLOCK, &blocked, &previous);
        try
        {
            Worker = std::thread(Work);
        }
        catch (const std::system_error&)
        {
        }
        ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
        if (!Worker.joinable())
        {
            Work();
        }
    }
    bool Running() const { return Worker.joinable(); }
    void Join()
    {
        if (Worker.joinable())
        {
            Worker.join();
        }
    }

private:
    std::thread Worker;
};

// How far, in readdir order, a helper thread's status queries have come.
class StatusProgress
{
public:
    void Publish(std::size_t Done)
    {
        {
            const std::lock_guard<std::mutex> lock(Mutex);
            DoneCount = Done;
        }
        Changed.notify_one();
    }
    // Waits until more than Seen entries are done; returns how many are.
    std::size_t WaitBeyond(std::size_t Seen)
    {
        std::unique_lock<std::mutex> lock(Mutex);
        Changed.wait(lock, [this, Seen] { return DoneCount > Seen; });
        return DoneCount;
    }

private:
    std::mutex Mutex;
    std::condition_variable Changed;
    std::size_t DoneCount = 0;
};

bool IsDotOrDotDot(const char* Name)
{
    return Name[0] == '.' && (Name[1] == '\0' || (Name[1] == '.' && Name[2] == '\0'));
}

bool IsTrimmedByte(char Byte)
{
    return Byte == ' ' || Byte == '\t' || Byte == '\n' || Byte == '\r';
}

// Writes Text into Target unless it is there already: a refresh of an unchanged folder then
// reads its old records without dirtying them, so none of them has to be written back to memory.
void Store(std::string& Target, std::string_view Text)
{
    if (Target.size() != Text.size() || std::memcmp(Target.data(), Text.data(), Text.size()) != 0)
    {
        Target.assign(Text.data(), Text.size());
    }
}

// Stores Prefix followed by Name, likewise.
void StoreJoined(std::string& Target, std::string_view Prefix, std::string_view Name)
{
    const std::size_t length = Prefix.size() + Name.size();
    if (Target.size() == length &&
        std::memcmp(Target.data() + Prefix.size(), Name.data(), Name.size()) == 0 &&
        std::memcmp(Target.data(), Prefix.data(), Prefix.size()) == 0)
    {
        return;
    }
    if (Target.capacity() < length)
    {
        Target.reserve(length);
    }
    Target.resize(length);
    std::memcpy(&Target[0], Prefix.data(), Prefix.size());
    std::memcpy(&Target[Prefix.size()], Name.data(), Name.size());
}

// Size labels from integer arithmetic, equal to the stream route's text under the classic locale
// and round-to-nearest: below 2^53 the double it formats is exact, and printf rounds ties to even.
bool FormatSizeExactly(std::uint64_t Size, std::string& Label)
{
    static const std::array<const char*, 5> suffixes = {" B", " KB", " MB", " GB", " TB"};
    if (Size >= (std::uint64_t{1} << 53))
    {
        return false;
    }
    std::array<char, 32> text{};
    char* end = text.data();
    unsigned shift = 0;
    while (shift < 40 && Size >= (std::uint64_t{1} << (shift + 10)))
    {
        shift += 10;
    }
    if (shift == 0)
    {
        end = std::to_chars(end, text.data() + text.size(), Size).ptr;
    }
    else
    {
        const bool bOneDecimal = Size < (std::uint64_t{100} << shift);
        const std::uint64_t scaled = bOneDecimal ? Size * 10 : Size;
        std::uint64_t rounded = scaled >> shift;
        const std::uint64_t rest = scaled & ((std::uint64_t{1} << shift) - 1);
        const std::uint64_t half = std::uint64_t{1} << (shift - 1);
        if (rest > half || (rest == half && (rounded & 1U) != 0))
        {
            ++rounded;
        }
        end = std::to_chars(end, text.data() + text.size(), bOneDecimal ? rounded / 10 : rounded).ptr;
        if (bOneDecimal)
        {
            *end++ = '.';
            *end++ = static_cast<char>('0' + rounded % 10);
        }
    }
    for (const char* suffix = suffixes[shift / 10]; *suffix != '\0'; ++suffix)
    {
        *end++ = *suffix;
    }
    Store(Label, std::string_view(text.data(), static_cast<std::size_t>(end - text.data())));
    return true;
}

// Modified-time labels for one listing: one clock offset for the whole listing, and the text of
// the previous second reused, since files often share it.
class ModifiedTimeLabels
{
public:
    ModifiedTimeLabels()
    {
        // Read as the panel's helper reads them, once instead of per entry.
        const auto fileNow = fs::file_time_type::clock::now();
        const auto systemNow = std::chrono::system_clock::now();
        OffsetNs =
            std::chrono::duration_cast<std::chrono::nanoseconds>(systemNow.time_since_epoch()).count() -
            std::chrono::duration_cast<std::chrono::nanoseconds>(fileNow.time_since_epoch()).count();
        const std::int64_t drift = OffsetNs - FileEpochNs;
        bUsable = drift > -NanosPerSecond && drift < NanosPerSecond;
    }

    // Writes the label of a status time; false where only the panel's helper is certain.
    bool Format(std::int64_t Seconds, std::int32_t Nanoseconds, std::string& Label)
    {
        // Outside this window the library's own conversion saturates or wraps.
        if (!bUsable || Seconds < -2147483648LL || Seconds > 9223372034LL)
        {
            return false;
        }
        // The file time the library would report, plus the offset; inside the window the sum
        // cannot overflow, so one truncating division equals the helper's split sum.
        const std::int64_t timeNs = Seconds * NanosPerSecond + Nanoseconds - FileEpochNs;
        const auto tt = static_cast<std::time_t>((timeNs + OffsetNs) / NanosPerSecond);
        if (!bCached || tt != CachedSeconds)
        {
            // The window keeps local years within 1901..2262, where "%Y-%m-%d %H:%M" is always
            // four digits, then two-digit fields.
            std::tm tm{};
            LocalTime(static_cast<std::int64_t>(tt), tm);
            WriteDigits(tm.tm_year + 1900, 4, CachedText.data());
            CachedText[4] = '-';
            WriteDigits(tm.tm_mon + 1, 2, CachedText.data() + 5);
            CachedText[7] = '-';
            WriteDigits(tm.tm_mday, 2, CachedText.data() + 8);
            CachedText[10] = ' ';
            WriteDigits(tm.tm_hour, 2, CachedText.data() + 11);
            CachedText[13] = ':';
            WriteDigits(tm.tm_min, 2, CachedText.data() + 14);
            CachedSeconds = tt;
            bCached = true;
        }
        Store(Label, std::string_view(CachedText.data(), CachedText.size()));
        return true;
    }

private:
    static constexpr std::int64_t SecondsPerDay = 86400;

    static std::int64_t FloorDiv(std::int64_t Value, std::int64_t Divisor)
    {
        const std::int64_t quotient = Value / Divisor;
        return quotient - ((Value % Divisor != 0) && ((Value < 0) != (Divisor < 0)) ? 1 : 0);
    }

    // Broken-down civil time of seconds since the epoch, with no zone: the proleptic Gregorian
    // calendar, as the C library computes it once the zone's offset is added.
    static void CivilTime(std::int64_t Seconds, std::tm& Out)
    {
        const std::int64_t days = FloorDiv(Seconds, SecondsPerDay);
        const std::int64_t secondOfDay = Seconds - days * SecondsPerDay;
        const std::int64_t shifted = days + 719468;
        const std::int64_t era = FloorDiv(shifted, 146097);
        const std::int64_t dayOfEra = shifted - era * 146097;
        const std::int64_t yearOfEra =
            (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
        const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
        const std::int64_t monthIndex = (5 * dayOfYear + 2) / 153;
        const std::int64_t month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
        const std::int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
        Out.tm_year = static_cast<int>(year - 1900);
        Out.tm_mon = static_cast<int>(month - 1);
        Out.tm_mday = static_cast<int>(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
        Out.tm_hour = static_cast<int>(secondOfDay / 3600);
        Out.tm_min = static_cast<int>(secondOfDay % 3600 / 60);
        Out.tm_sec = static_cast<int>(secondOfDay % 60);
    }

    static bool SameFields(const std::tm& A, const std::tm& B)
    {
        return A.tm_year == B.tm_year && A.tm_mon == B.tm_mon && A.tm_mday == B.tm_mday &&
               A.tm_hour == B.tm_hour && A.tm_min == B.tm_min && A.tm_sec == B.tm_sec;
    }

    // localtime_r's fields for Seconds. Files of a folder spread over years rarely share a second,
    // and localtime_r per entry would cost more than the entry's status query; so each UTC day is
    // checked once at nine instants (every three hours and its last second): when one offset
    // holds at all of them and civil arithmetic reproduces localtime_r there exactly, the day's
    // entries use the arithmetic. Any day with a zone change or a leap-second correction keeps
    // localtime_r for each of its entries.
    void LocalTime(std::int64_t Seconds, std::tm& Out)
    {
        const std::int64_t day = FloorDiv(Seconds, SecondsPerDay);
        // Entries come in name order, so their days come in any order: every day seen is kept. A
        // day is checked only once a second entry falls on it, so a folder whose files each have
        // a day of their own costs no more than one localtime_r per entry.
        auto [found, bNew] = DayOffsets.try_emplace(day, UncheckedDay);
        if (!bNew && found->second == UncheckedDay)
        {
            found->second = CheckDay(day);
        }
        if (!bNew && found->second != NonUniformDay)
        {
            CivilTime(Seconds + found->second, Out);
            return;
        }
        const auto tt = static_cast<std::time_t>(Seconds);
        localtime_r(&tt, &Out);
    }

    // The one offset localtime_r applies throughout a UTC day, or NonUniformDay.
    static long CheckDay(std::int64_t Day)
    {
        long offset = 0;
        for (int sample = 0; sample <= 8; ++sample)
        {
            const std::int64_t instant =
                Day * SecondsPerDay + (sample == 8 ? SecondsPerDay - 1 : std::int64_t{sample} * 3 * 3600);
            const auto instantT = static_cast<std::time_t>(instant);
            std::tm local{};
            localtime_r(&instantT, &local);
            std::tm civil{};
            CivilTime(instant + local.tm_gmtoff, civil);
            if (!SameFields(local, civil) || (sample > 0 && local.tm_gmtoff != offset))
            {
                return NonUniformDay;
            }
            offset = local.tm_gmtoff;
        }
        return offset;
    }

    // The library's file clock is the system clock moved back to 2174-01-01; where it is not,
    // bUsable stays false and every label comes from the panel's helper.
    static constexpr std::int64_t FileEpochNs = 6437664000LL * NanosPerSecond;

    static void WriteDigits(int Value, int Count, char* Out)
    {
        for (int i = Count - 1; i >= 0; --i)
        {
            Out[i] = static_cast<char>('0' + Value % 10);
            Value /= 10;
        }
    }

    std::int64_t OffsetNs = 0;
    bool bUsable = false;
    bool bCached = false;
    std::time_t CachedSeconds = 0;
    static constexpr long NonUniformDay = std::numeric_limits<long>::min();
    static constexpr long UncheckedDay = std::numeric_limits<long>::min() + 1;
    std::unordered_map<std::int64_t, long> DayOffsets;
    std::array<char, 16> CachedText{};
};

void KeepStatus(const struct stat& St, EntryStatus& Status)
{
    Status.bKnown = true;
    Status.bRegular = S_ISREG(St.st_mode);
    Status.Size = static_cast<std::uint64_t>(St.st_size);
    Status.MtimeSeconds = static_cast<std::int64_t>(St.st_mtim.tv_sec);
    Status.MtimeNanoseconds = static_cast<std::int32_t>(St.st_mtim.tv_nsec);
}

// The status of an entry whose type the folder reported, links followed.
void ReadStatus(int DirFd, const char* Name, EntryStatus& Status)
{
    struct stat st; // filled by fstatat before any read; zeroing it costs a visible share
    if (::fstatat(DirFd, Name, &st, 0) == 0)
    {
        KeepStatus(st, Status);
    }
}

// Reads an entry whose type the folder did not settle (an untyped entry or a symbolic link):
// the status decides it. Two queries for an untyped symbolic link, one otherwise.
void ReadUnsettledEntry(int DirFd, const char* Name, unsigned char Type, bool& bDirectory, EntryFacts& Facts,
                        EntryStatus& Status)
{
    struct stat st;
    bool bKnown = false;
    bool bLink = Type == DT_LNK;
    if (Type == DT_UNKNOWN)
    {
        // Without a status the joined path is what resolving it would give anyway.
        bKnown = ::fstatat(DirFd, Name, &st, AT_SYMLINK_NOFOLLOW) == 0;
        bLink = bKnown && S_ISLNK(st.st_mode);
        if (bLink)
        {
            bKnown = ::fstatat(DirFd, Name, &st, 0) == 0;
        }
    }
    else
    {
        bKnown = ::fstatat(DirFd, Name, &st, 0) == 0;
    }
    // A failure makes the entry unreadable.
    bDirectory = bKnown && S_ISDIR(st.st_mode);
    Facts.bReadable = bKnown;
    Facts.bResolvePath = bLink;
    if (bKnown)
    {
        KeepStatus(st, Status);
    }
}

// The type of an entry as std::filesystem's directory_entry answers it.
EntryFacts ReadFactsThroughFilesystem(const fs::path& EntryPath, unsigned char Type, bool& bDirectory)
{
    EntryFacts facts;
    facts.bThroughFilesystem = true;
    if (Type != DT_UNKNOWN && Type != DT_LNK)
    {
        bDirectory = Type == DT_DIR;
        return facts;
    }
    std::error_code ec;
    bDirectory = fs::status(EntryPath, ec).type() == fs::file_type::directory;
    facts.bReadable = !ec;
    return facts;
}

void LabelThroughFilesystem(const fs::path& EntryPath, const GLDirectoryListingOptions& Options,
                            FileEntry& Item)
{
    Item.Path = Options.CanonicalizePath(EntryPath.native());
    Item.Name = EntryPath.filename().native();
    if (Item.Name.empty())
    {
        Item.Name = EntryPath.native();
    }
    std::error_code ec;
    if (!Item.bDirectory)
    {
        const std::uintmax_t size = fs::file_size(EntryPath, ec);
        Item.SizeLabel = ec ? std::string("-") : Options.FormatFileSize(size);
    }
    Item.ModifiedLabel = Options.FormatModifiedTime(fs::last_write_time(EntryPath, ec));
}

} // namespace

GLDirectoryListingResult GLReadDirectoryListing(const std::string& Directory,
                                                const GLDirectoryListingOptions& Options,
                                                std::vector<FileEntry>& Entries, GLTableModel::RowList* Rows)
{
    GLDirectoryListingResult result;
    DirectoryStream stream(Directory);
    const int dirFd = stream.Descriptor(result.Error);
    if (dirFd < 0)
    {
        Entries.clear();
        if (Rows != nullptr)
        {
            Rows->clear();
        }
        return result;
    }
    result.bOpened = true;

    std::array<unsigned char, 256> lower{};
    bool bPrefixUsable = true;
    for (int c = 0; c < 256; ++c)
    {
        lower[static_cast<std::size_t>(c)] = static_cast<unsigned char>(std::tolower(c));
        bPrefixUsable = bPrefixUsable && (c == 0 || lower[static_cast<std::size_t>(c)] != 0);
    }
    const std::string joinPrefix = Directory.back() == '/' ? Directory : Directory + '/';

    // Pass 1, in readdir order: names, and the status of every entry whose type the folder did not
    // report. A refresh of the same folder is the common case, so the previous listing's size
    // sizes the buffers.
    std::string names;
    std::vector<SortKey> keys;
    std::vector<EntryFacts> facts;
    std::vector<EntryStatus> statuses;
    std::vector<std::uint64_t> second;
    names.reserve(Entries.size() * 32);
    keys.reserve(Entries.size());
    facts.reserve(Entries.size());
    statuses.reserve(Entries.size());
    std::size_t pending = 0;
    while (const dirent64* entry = stream.Next(result.Error))
    {
        const char* name = entry->d_name;
        if (IsDotOrDotDot(name))
        {
            continue;
        }
        const std::size_t length = std::strlen(name);
        const unsigned char type =
            Options.bIgnoreEntryTypes ? static_cast<unsigned char>(DT_UNKNOWN) : entry->d_type;

        const std::size_t offset = names.size();
        names.append(name, length + 1);
        EntryFacts& fact = facts.emplace_back();
        EntryStatus& status = statuses.emplace_back();
        SortKey& key = keys.emplace_back();
        key.Index = static_cast<std::uint32_t>(keys.size() - 1);
        key.Length = static_cast<std::uint16_t>(length);

        // The filesystem route sees paths, which stop resolving at PATH_MAX; so must this one.
        if (!Options.bCanonicalDirectory || joinPrefix.size() + length >= PATH_MAX)
        {
            fact = ReadFactsThroughFilesystem(fs::path(Directory) / name, type, key.bDirectory);
            fact.NameOffset = offset;
            continue;
        }
        fact.NameOffset = offset;
        if (type == DT_UNKNOWN || type == DT_LNK)
        {
            ReadUnsettledEntry(dirFd, name, type, key.bDirectory, fact, status);
        }
        else
        {
            // The type is settled: the status query can wait, and run beside the work below.
            key.bDirectory = type == DT_DIR;
            fact.bStatusPending = true;
            ++pending;
        }
        // CanonicalizePath trims the path it is given, so the name loses trailing blanks.
        fact.bResolvePath = fact.bResolvePath || IsTrimmedByte(name[length - 1]);
    }

    // The pending status queries run on a helper thread for large folders, while this one builds
    // the sort keys, sorts, writes names and paths, and then labels entries as their statuses come
    // in. The kernel's work itself is not split: the helper makes the same queries, one after
    // another, that this thread would.
    StatusProgress progress;
    const auto readPending = [&facts, &statuses, &names, &progress, dirFd]()
    {
        constexpr std::size_t batch = 1024;
        for (std::size_t i = 0; i < facts.size(); ++i)
        {
            if (facts[i].bStatusPending)
            {
                ReadStatus(dirFd, names.data() + facts[i].NameOffset, statuses[i]);
            }
            if ((i + 1) % batch == 0 || i + 1 == facts.size())
            {
                progress.Publish(i + 1);
            }
        }
    };
    HelperThread helper;
    if (pending >= Options.ParallelMinimum)
    {
        helper.Start(readPending);
    }
    else
    {
        readPending();
    }

    // Only the bytes the key and Second hold are lowered here; the comparator lowers the rest.
    // Where the prefix is unusable both stay zero and the comparator compares whole names.
    second.resize(keys.size());
    for (std::size_t k = 0; bPrefixUsable && k < keys.size(); ++k)
    {
        SortKey& key = keys[k];
        std::array<unsigned char, KeyBytes> lowerName{};
        const char* name = names.data() + facts[key.Index].NameOffset;
        for (std::size_t i = 0; i < lowerName.size() && i < key.Length; ++i)
        {
            lowerName[i] = lower[static_cast<unsigned char>(name[i])];
        }
        key.Prefix = BigEndian(lowerName.data());
        second[key.Index] = BigEndian(lowerName.data() + 8);
    }
    result.bRadixOrderKept = SortKeys(
        keys, KeyOrder{names.data(), facts.data(), second.data(), lower.data(), bPrefixUsable ? KeyBytes : 0},
        Options.RadixSortMinimum);

    // Pass 2, in display order, into the records and rows: names and paths first, labels once the
    // status is in. The previous listing's records are overwritten in place, so a refresh reuses
    // their strings' storage instead of freeing and allocating it again.
    const std::size_t count = keys.size();
    Entries.resize(count);
    if (Rows != nullptr)
    {
        Rows->resize(count);
    }
    const bool bExactSizes = std::locale() == std::locale::classic() && std::fegetround() == FE_TONEAREST;
    ModifiedTimeLabels timeLabels;

    // Everything but the labels that need the status.
    const auto writeNames = [&](const SortKey& Key, FileEntry& Item)
    {
        const EntryFacts& fact = facts[Key.Index];
        Item.bDirectory = Key.bDirectory;
        Item.bReadable = fact.bReadable;
        Store(Item.TypeLabel, Key.bDirectory ? std::string_view("Dir") : std::string_view("File"));
        const std::string_view name(names.data() + fact.NameOffset, Key.Length);
        if (fact.bThroughFilesystem)
        {
            Item.SizeLabel = "-";
            LabelThroughFilesystem(fs::path(Directory) / name, Options, Item);
            return;
        }
        // One copy each into storage that a refresh usually already has.
        Store(Item.Name, name);
        StoreJoined(Item.Path, joinPrefix, name);
        if (fact.bResolvePath)
        {
            Item.Path = Options.CanonicalizePath(Item.Path);
        }
    };
    const auto writeLabels = [&](const SortKey& Key, FileEntry& Item)
    {
        const EntryFacts& fact = facts[Key.Index];
        if (fact.bThroughFilesystem)
        {
            return;
        }
        const EntryStatus& status = statuses[Key.Index];
        if (Key.bDirectory || !status.bKnown || !status.bRegular)
        {
            Store(Item.SizeLabel, "-");
        }
        else if (!bExactSizes || !FormatSizeExactly(status.Size, Item.SizeLabel))
        {
            Item.SizeLabel = Options.FormatFileSize(status.Size);
        }
        if (!status.bKnown)
        {
            Item.ModifiedLabel.clear();
        }
        else if (!timeLabels.Format(status.MtimeSeconds, status.MtimeNanoseconds, Item.ModifiedLabel))
        {
            std::error_code ec;
            Item.ModifiedLabel = Options.FormatModifiedTime(fs::last_write_time(joinPrefix + Item.Name, ec));
        }
    };
    // One sweep over the records in display order; facts, names and the old records' strings are
    // read out of order or lie scattered, so they are fetched ahead of use.
    const auto sweep = [&](bool bNames, bool bLabels)
    {
        constexpr std::size_t lookAhead = 16;
        for (std::size_t i = 0; i < count; ++i)
        {
            if (i + lookAhead < count)
            {
                const std::uint32_t soonIndex = keys[i + lookAhead].Index;
                __builtin_prefetch(bNames ? static_cast<const void*>(&facts[soonIndex])
                                          : &statuses[soonIndex]);
                const char* record = reinterpret_cast<const char*>(&Entries[i + lookAhead]);
                for (std::size_t line = 0; line < sizeof(FileEntry); line += 64)
                {
                    __builtin_prefetch(record + line, 1);
                }
                if (Rows != nullptr)
                {
                    const GLTableModel::Row& row = (*Rows)[i + lookAhead];
                    __builtin_prefetch(row.data(), 1);
                    __builtin_prefetch(reinterpret_cast<const char*>(row.data()) + 64, 1);
                }
            }
            if (i + lookAhead / 2 < count)
            {
                const FileEntry& soon = Entries[i + lookAhead / 2];
                if (bNames)
                {
                    __builtin_prefetch(names.data() + facts[keys[i + lookAhead / 2].Index].NameOffset);
                    __builtin_prefetch(soon.Name.data(), 1);
                    __builtin_prefetch(soon.Path.data(), 1);
                }
                if (bLabels)
                {
                    __builtin_prefetch(soon.ModifiedLabel.data(), 1);
                }
                if (Rows != nullptr && (*Rows)[i + lookAhead / 2].size() == 4)
                {
                    const GLTableModel::Row& row = (*Rows)[i + lookAhead / 2];
                    __builtin_prefetch((bNames ? row[0] : row[3]).data(), 1);
                }
            }
            const SortKey& key = keys[i];
            FileEntry& item = Entries[i];
            if (bNames)
            {
                writeNames(key, item);
            }
            if (bLabels)
            {
                writeLabels(key, item);
            }
            if (Rows != nullptr)
            {
                GLTableModel::Row& row = (*Rows)[i];
                row.resize(4);
                if (bNames)
                {
                    Store(row[0], item.Name);
                    Store(row[1], item.TypeLabel);
                }
                if (bLabels)
                {
                    Store(row[2], item.SizeLabel);
                    Store(row[3], item.ModifiedLabel);
                }
            }
        }
    };
    if (helper.Running())
    {
        sweep(true, false);
        // Labels follow the helper's queries in readdir order, each written to its entry's row,
        // so that little is left to do once the last query returns.
        std::vector<std::uint32_t> position(count);
        for (std::size_t i = 0; i < count; ++i)
        {
            position[keys[i].Index] = static_cast<std::uint32_t>(i);
        }
        for (std::size_t index = 0; index < count;)
        {
            const std::size_t ready = progress.WaitBeyond(index);
            for (; index < ready; ++index)
            {
                const std::size_t i = position[index];
                writeLabels(keys[i], Entries[i]);
                if (Rows != nullptr)
                {
                    Store((*Rows)[i][2], Entries[i].SizeLabel);
                    Store((*Rows)[i][3], Entries[i].ModifiedLabel);
                }
            }
        }
        helper.Join();
    }
    else
    {
        sweep(true, true);
    }
    return result;
}
