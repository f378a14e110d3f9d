// Size and modified-time labels of listed entries: one formatter for each kind of label.
#include "gllisting_labels.h"

#include "gllisting_system.h"

#include <cfenv>
#include <charconv>
#include <chrono>
#include <cstring>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>
#include <string_view>

namespace fs = std::filesystem;

namespace
{

constexpr std::int64_t NanosPerSecond = 1000000000;
constexpr std::int64_t SecondsPerDay = 86400;
// The library's file clock is the system clock moved back to 2174-01-01.
constexpr std::int64_t FileEpochNs = 6437664000LL * NanosPerSecond;
constexpr long NonUniformDay = std::numeric_limits<long>::min();
constexpr long UncheckedDay = std::numeric_limits<long>::min() + 1;

std::string StreamSize(std::uintmax_t Size)
{
    static const std::array<const char*, 5> suffixes = {"B", "KB", "MB", "GB", "TB"};
    auto value = static_cast<double>(Size);
    std::size_t suffixIndex = 0;
    while (value >= 1024.0 && suffixIndex < 4)
    {
        value /= 1024.0;
        ++suffixIndex;
    }
    std::ostringstream stream;
    if (suffixIndex == 0)
    {
        stream << Size << ' ' << suffixes[0];
    }
    else
    {
        stream << std::fixed << std::setprecision(value < 100.0 ? 1 : 0) << value << ' '
               << suffixes[suffixIndex];
    }
    return stream.str();
}

// The stream's text from integer arithmetic: below 2^53 the double it formats is exact, and
// printf rounds ties to even. Returns the length written, or 0 where that does not hold.
std::size_t IntegerSize(std::uint64_t Size, std::array<char, 32>& Text)
{
    static const std::array<const char*, 5> suffixes = {" B", " KB", " MB", " GB", " TB"};
    if (Size >= (std::uint64_t{1} << 53))
    {
        return 0;
    }
    char* end = Text.data();
    unsigned shift = 0;
    while (shift < 40 && Size >= (std::uint64_t{1} << (shift + 10)))
    {
        shift += 10;
    }
    if (shift == 0)
    {
        end = std::to_chars(end, Text.data() + Text.size(), Size).ptr;
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
        end = std::to_chars(end, Text.data() + Text.size(), bOneDecimal ? rounded / 10 : rounded).ptr;
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
    return static_cast<std::size_t>(end - Text.data());
}

std::int64_t FloorDiv(std::int64_t Value, std::int64_t Divisor)
{
    const std::int64_t quotient = Value / Divisor;
    return quotient - ((Value % Divisor != 0) && ((Value < 0) != (Divisor < 0)) ? 1 : 0);
}

// Broken-down civil time of seconds since the epoch, with no zone: the proleptic Gregorian
// calendar, as the C library computes it once the zone's offset is added.
void CivilTime(std::int64_t Seconds, std::tm& Out)
{
    const std::int64_t days = FloorDiv(Seconds, SecondsPerDay);
    const std::int64_t secondOfDay = Seconds - days * SecondsPerDay;
    const std::int64_t shifted = days + 719468;
    const std::int64_t era = FloorDiv(shifted, 146097);
    const std::int64_t dayOfEra = shifted - era * 146097;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
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

bool SameFields(const std::tm& A, const std::tm& B)
{
    return A.tm_year == B.tm_year && A.tm_mon == B.tm_mon && A.tm_mday == B.tm_mday &&
           A.tm_hour == B.tm_hour && A.tm_min == B.tm_min && A.tm_sec == B.tm_sec;
}

// The one offset localtime_r applies throughout a UTC day, checked at nine instants (every three
// hours and its last second) against civil arithmetic; NonUniformDay when a zone change or a
// leap-second correction falls on it.
long CheckDay(std::int64_t Day)
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
        const long zoneOffset = GLZoneOffset(local);
        CivilTime(instant + zoneOffset, civil);
        if (!SameFields(local, civil) || (sample > 0 && zoneOffset != offset))
        {
            return NonUniformDay;
        }
        offset = zoneOffset;
    }
    return offset;
}

void WriteDigits(int Value, int Count, char* Out)
{
    for (int i = Count - 1; i >= 0; --i)
    {
        Out[i] = static_cast<char>('0' + Value % 10);
        Value /= 10;
    }
}

} // namespace

GLSizeLabels::GLSizeLabels()
    : bExact(std::locale() == std::locale::classic() && std::fegetround() == FE_TONEAREST)
{
}

void GLSizeLabels::Format(std::uintmax_t Size, std::string& Label) const
{
    std::array<char, 32> text{};
    const std::size_t length = bExact ? IntegerSize(Size, text) : 0;
    if (length == 0)
    {
        Label = StreamSize(Size);
        return;
    }
    GLStoreText(Label, std::string_view(text.data(), length));
}

std::string GLSizeLabels::Text(std::uintmax_t Size)
{
    std::string label;
    GLSizeLabels().Format(Size, label);
    return label;
}

GLTimeLabels::GLTimeLabels()
{
    const auto fileNow = fs::file_time_type::clock::now();
    const auto systemNow = std::chrono::system_clock::now();
    OffsetNs = std::chrono::duration_cast<std::chrono::nanoseconds>(systemNow.time_since_epoch()).count() -
               std::chrono::duration_cast<std::chrono::nanoseconds>(fileNow.time_since_epoch()).count();
    const std::int64_t drift = OffsetNs - FileEpochNs;
    bUsable = drift > -NanosPerSecond && drift < NanosPerSecond;
}

void GLTimeLabels::Format(const fs::file_time_type& Time, std::string& Label)
{
    if (Time == fs::file_time_type::min())
    {
        Label.clear();
        return;
    }
    // Time - file clock + system clock, truncated to whole seconds toward zero. Seconds and
    // remainders are summed apart so that times near the clock's limits cannot overflow.
    const std::int64_t timeNs =
        std::chrono::duration_cast<std::chrono::nanoseconds>(Time.time_since_epoch()).count();
    std::int64_t seconds = timeNs / NanosPerSecond + OffsetNs / NanosPerSecond;
    const std::int64_t remainder = timeNs % NanosPerSecond + OffsetNs % NanosPerSecond;
    seconds += remainder / NanosPerSecond;
    const std::int64_t rest = remainder % NanosPerSecond;
    if (seconds > 0 && rest < 0)
    {
        --seconds;
    }
    else if (seconds < 0 && rest > 0)
    {
        ++seconds;
    }
    WriteLabel(static_cast<std::time_t>(seconds), Label);
}

bool GLTimeLabels::Mirrors(std::int64_t Seconds) const
{
    // Outside this window the library's own conversion saturates or wraps.
    return bUsable && Seconds >= -2147483648LL && Seconds <= 9223372034LL;
}

bool GLTimeLabels::Format(std::int64_t Seconds, std::int32_t Nanoseconds, std::string& Label)
{
    if (!Mirrors(Seconds))
    {
        return false;
    }
    // The file time the library would report, plus the offset; inside the window the sum cannot
    // overflow, so one truncating division equals the split sum above.
    const std::int64_t timeNs = Seconds * NanosPerSecond + Nanoseconds - FileEpochNs;
    WriteLabel(static_cast<std::time_t>((timeNs + OffsetNs) / NanosPerSecond), Label);
    return true;
}

std::string GLTimeLabels::Text(const fs::file_time_type& Time)
{
    std::string label;
    GLTimeLabels().Format(Time, label);
    return label;
}

void GLTimeLabels::WriteLabel(std::time_t Seconds, std::string& Label)
{
    if (!bCached || Seconds != CachedSeconds)
    {
        std::tm tm{};
        LocalTime(static_cast<std::int64_t>(Seconds), tm);
        if (tm.tm_year >= 1000 - 1900 && tm.tm_year <= 9999 - 1900)
        {
            // Four-digit years, then two-digit fields: what strftime writes for this format.
            WriteDigits(tm.tm_year + 1900, 4, CachedText.data());
            CachedText[4] = '-';
            WriteDigits(tm.tm_mon + 1, 2, CachedText.data() + 5);
            CachedText[7] = '-';
            WriteDigits(tm.tm_mday, 2, CachedText.data() + 8);
            CachedText[10] = ' ';
            WriteDigits(tm.tm_hour, 2, CachedText.data() + 11);
            CachedText[13] = ':';
            WriteDigits(tm.tm_min, 2, CachedText.data() + 14);
            CachedLength = 16;
        }
        else
        {
            CachedText.fill('\0');
            std::strftime(CachedText.data(), CachedText.size(), "%Y-%m-%d %H:%M", &tm);
            CachedLength = std::strlen(CachedText.data());
        }
        CachedSeconds = Seconds;
        bCached = true;
    }
    GLStoreText(Label, std::string_view(CachedText.data(), CachedLength));
}

// localtime_r's fields for Seconds. Files of a folder spread over years rarely share a second, and
// localtime_r per entry would cost more than the entry's status query; so a UTC day is checked
// once a second entry falls on it, and a day with one uniform offset uses civil arithmetic.
void GLTimeLabels::LocalTime(std::int64_t Seconds, std::tm& Out)
{
    const std::int64_t day = FloorDiv(Seconds, SecondsPerDay);
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
