// Size and modified-time labels of listed entries: one formatter for each kind of label.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_map>

// Writes Text into Target unless it is there already: a refresh of an unchanged folder then reads
// its old records without dirtying them, so none of them has to be written back to memory.
inline void GLStoreText(std::string& Target, std::string_view Text)
{
    if (Target.size() != Text.size() || std::memcmp(Target.data(), Text.data(), Text.size()) != 0)
    {
        Target.assign(Text.data(), Text.size());
    }
}

// Size labels: binary steps with the names "B", "KB", "MB", "GB", "TB"; one decimal below 100.
// Under the classic locale and round-to-nearest the text comes from integer arithmetic; otherwise
// from a string stream, which follows the global locale. The two agree wherever both apply.
class GLSizeLabels
{
public:
    // Takes the global locale and rounding mode as they are now.
    GLSizeLabels();
    // Writes the label of Size into Label, leaving it untouched when it already holds it.
    void Format(std::uintmax_t Size, std::string& Label) const;
    // The label of Size, for a single use.
    static std::string Text(std::uintmax_t Size);

private:
    bool bExact = false;
};

// Modified-time labels: local "YYYY-MM-DD HH:MM", or empty for an unknown time. One object serves a
// listing: it reads the two clocks once, reuses the text of the previous second, and computes
// local time from each UTC day's offset once that day has proved uniform.
class GLTimeLabels
{
public:
    // Reads the file clock and the system clock, one right after the other.
    GLTimeLabels();

    // Writes the label of a file time (the clock's minimum means unknown: an empty label).
    void Format(const std::filesystem::file_time_type& Time, std::string& Label);
    // Writes the label of a status time, as the library would report it for these seconds and
    // nanoseconds; false when the library's own conversion cannot be mirrored here (then ask it
    // for the file time and use the overload above).
    bool Format(std::int64_t Seconds, std::int32_t Nanoseconds, std::string& Label);
    // Whether status times of these seconds can be formatted by the overload above.
    bool Mirrors(std::int64_t Seconds) const;
    // The label of a file time, for a single use.
    static std::string Text(const std::filesystem::file_time_type& Time);

private:
    void WriteLabel(std::time_t Seconds, std::string& Label);
    void LocalTime(std::int64_t Seconds, std::tm& Out);

    std::int64_t OffsetNs = 0; // system clock minus file clock
    bool bUsable = false;      // the file clock is the system clock moved, as expected
    bool bCached = false;
    std::time_t CachedSeconds = 0;
    std::array<char, 32> CachedText{};
    std::size_t CachedLength = 0;
    std::unordered_map<std::int64_t, long> DayOffsets; // UTC day -> its uniform offset, or a mark
};
