// Folder listing, side by side in one run: the kernel's floor (readdir and one fstatat per entry),
// the panel's full refresh, the straightforward listing it replaced, and other libraries' listings.
// Fixtures are made here: 1,000 / 10,000 / 100,000 entries in the temp folder and 1,000,000 on
// /dev/shm. Prints one table of medians and ratios at the end.

#include "glfiledialogpanel.h"
#include "oracle/straightforward_listing.h"
#include "peers.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

// ---------------------------------------------------------------------------------------------
// Live heap bytes, counted only while a memory run asks for it.

namespace
{
// Helper threads allocate too (the listing reads names and resolves paths on them), so the count
// is atomic and the peak is raised with a compare-and-swap.
std::atomic<bool> CountingAllocations{false};
std::atomic<std::int64_t> LiveBytes{0};
std::atomic<std::int64_t> PeakBytes{0};

void* Allocate(std::size_t Size)
{
    void* p = std::malloc(Size == 0 ? 1 : Size);
    if (p == nullptr)
    {
        throw std::bad_alloc();
    }
    if (CountingAllocations.load(std::memory_order_relaxed))
    {
        const std::int64_t live = LiveBytes += static_cast<std::int64_t>(malloc_usable_size(p));
        std::int64_t peak = PeakBytes.load(std::memory_order_relaxed);
        while (live > peak && !PeakBytes.compare_exchange_weak(peak, live))
        {
        }
    }
    return p;
}

void Release(void* P) noexcept
{
    if (P != nullptr && CountingAllocations.load(std::memory_order_relaxed))
    {
        LiveBytes -= static_cast<std::int64_t>(malloc_usable_size(P));
    }
    std::free(P);
}
} // namespace

void* operator new(std::size_t Size)
{
    return Allocate(Size);
}
void* operator new[](std::size_t Size)
{
    return Allocate(Size);
}
void operator delete(void* P) noexcept
{
    Release(P);
}
void operator delete[](void* P) noexcept
{
    Release(P);
}
void operator delete(void* P, std::size_t) noexcept
{
    Release(P);
}
void operator delete[](void* P, std::size_t) noexcept
{
    Release(P);
}

namespace
{

// ---------------------------------------------------------------------------------------------
// Fixtures

struct Fixture
{
    std::string Path;
    std::size_t Entries = 0;
    std::string Where; // "disk" or "tmpfs"
};

std::map<std::size_t, Fixture>& Fixtures()
{
    static std::map<std::size_t, Fixture> fixtures;
    return fixtures;
}

// Mixed-case words, separators and extensions, 10 to 40 bytes; the index keeps names unique.
std::string RealisticName(std::mt19937_64& Random, std::size_t Index, bool bFolder)
{
    static const char* const words[] = {"Report",  "invoice", "IMG",     "DSC",     "Holiday", "budget",
                                        "Draft",   "final",   "notes",   "Meeting", "photo",   "Scan",
                                        "README",  "backup",  "Project", "data",    "Summary", "thesis",
                                        "chapter", "Figure",  "archive", "Q3",      "Lecture", "export"};
    static const char* const separators[] = {"_", "-", " ", ""};
    static const char* const extensions[] = {".pdf",    ".jpg", ".txt", ".docx", ".PNG",
                                             ".tar.gz", ".cpp", ".md",  ".csv",  ".mp3"};
    const std::string suffix =
        (Random() % 2 ? "_" : " ") + std::to_string(Index) + (bFolder ? "" : extensions[Random() % 10]);
    const std::size_t length = std::max<std::size_t>(10 + Random() % 31, suffix.size() + 3);
    std::string name;
    while (name.size() + suffix.size() < length)
    {
        name += words[Random() % (sizeof(words) / sizeof(words[0]))];
        name += separators[Random() % 4];
    }
    name.resize(length - suffix.size());
    return name + suffix;
}

const Fixture& FixtureOf(std::size_t Count)
{
    Fixture& fixture = Fixtures()[Count];
    if (!fixture.Path.empty())
    {
        return fixture;
    }
    const bool bTmpfs = Count >= 1000000 && fs::is_directory("/dev/shm");
    std::string pattern =
        ((bTmpfs ? fs::path("/dev/shm") : fs::temp_directory_path()) / "glfd-bench-XXXXXX").native();
    if (::mkdtemp(pattern.data()) == nullptr)
    {
        std::perror("mkdtemp");
        std::exit(1);
    }
    fixture.Path = pattern;
    fixture.Entries = Count;
    fixture.Where = bTmpfs ? "tmpfs" : "disk";

    std::fprintf(stderr, "creating %zu entries in %s ...\n", Count, fixture.Path.c_str());
    const int dirFd = ::open(fixture.Path.c_str(), O_DIRECTORY | O_RDONLY | O_CLOEXEC);
    std::mt19937_64 random(Count);
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    const std::size_t links = 8;
    std::vector<std::string> targets;
    for (std::size_t i = 0; i + links < Count; ++i)
    {
        const bool bFolder = random() % 10 == 0;
        const std::string name = RealisticName(random, i, bFolder);
        // Spread over five years, so that files rarely share a minute.
        const timespec times[2] = {
            {0, UTIME_OMIT},
            {static_cast<time_t>(now - static_cast<std::int64_t>(random() % 157680000)),
             static_cast<long>(random() % 1000000000)}};
        if (bFolder)
        {
            ::mkdirat(dirFd, name.c_str(), 0755);
            ::utimensat(dirFd, name.c_str(), times, 0);
        }
        else
        {
            const int fd = ::openat(dirFd, name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
            const auto size =
                random() % 3 == 0 ? random() % 1024 : (std::uint64_t{1} << (random() % 27)) + random() % 999;
            if (fd < 0 || ::ftruncate(fd, static_cast<off_t>(size)) != 0 || ::futimens(fd, times) != 0)
            {
                std::perror(name.c_str());
                std::exit(1);
            }
            ::close(fd);
        }
        if (targets.size() < links - 1 && random() % 50 == 0)
        {
            targets.push_back(name);
        }
    }
    targets.emplace_back("no such target");
    for (std::size_t i = 0; i < targets.size() && i < links; ++i)
    {
        ::symlinkat(targets[i].c_str(), dirFd, ("Link to " + targets[i]).c_str());
    }
    ::close(dirFd);
    std::size_t listed = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(fixture.Path))
    {
        ++listed;
    }
    fixture.Entries = listed;
    return fixture;
}

void RemoveFixtures()
{
    for (auto& [count, fixture] : Fixtures())
    {
        std::error_code ec;
        fs::remove_all(fixture.Path, ec);
    }
}

// ---------------------------------------------------------------------------------------------
// The contenders

// The floor: the folder read with opendir/readdir and one fstatat per entry, nothing else.
void ReadFloor(const std::string& Path)
{
    DIR* dir = ::opendir(Path.c_str());
    const int dirFd = ::dirfd(dir);
    std::int64_t sink = 0;
    while (const dirent* entry = ::readdir(dir))
    {
        const char* name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
        {
            continue;
        }
        struct stat st
        {
        };
        sink += ::fstatat(dirFd, name, &st, 0) == 0 ? st.st_size : -1;
    }
    ::closedir(dir);
    benchmark::DoNotOptimize(sink);
}

void Floor(benchmark::State& State, std::size_t Count)
{
    const Fixture& fixture = FixtureOf(Count);
    for (auto _ : State)
    {
        ReadFloor(fixture.Path);
    }
}

void Panel(benchmark::State& State, std::size_t Count)
{
    const Fixture& fixture = FixtureOf(Count);
    GLFileDialogPanel panel;
    panel.OpenAtPath(fixture.Path); // each timed refresh replaces a full listing, as a refresh does
    for (auto _ : State)
    {
        panel.OpenAtPath(fixture.Path);
        benchmark::DoNotOptimize(panel.Entries.data());
    }
    if (panel.Entries.size() != fixture.Entries)
    {
        State.SkipWithError("the panel listed a different number of entries");
    }
}

void Oracle(benchmark::State& State, std::size_t Count)
{
    const Fixture& fixture = FixtureOf(Count);
    for (auto _ : State)
    {
        const auto listing = glfd_oracle::ListStraightforwardly(fixture.Path);
        benchmark::DoNotOptimize(listing.Entries.data());
    }
}

template <std::size_t (*List)(const std::string&)> void Peer(benchmark::State& State, std::size_t Count)
{
    const Fixture& fixture = FixtureOf(Count);
    for (auto _ : State)
    {
        if (List(fixture.Path) != fixture.Entries)
        {
            State.SkipWithError("the peer listed a different number of entries");
            break;
        }
    }
}

// Peak live heap bytes during one refresh of a fresh panel, per entry.
void PanelMemory(benchmark::State& State, std::size_t Count)
{
    const Fixture& fixture = FixtureOf(Count);
    for (auto _ : State)
    {
        GLFileDialogPanel panel;
        LiveBytes = 0;
        PeakBytes = 0;
        CountingAllocations = true;
        panel.OpenAtPath(fixture.Path);
        CountingAllocations = false;
    }
    State.counters["peak_bytes_per_entry"] =
        static_cast<double>(PeakBytes.load()) / static_cast<double>(fixture.Entries);
}

// The floor and the panel's refresh taken in turns, so that drift of the machine (a shared virtual
// machine's neighbours, the page cache) falls on both alike; their medians give the ratio. The
// process's CPU time is taken too: a large folder's status queries run on a helper thread while
// the caller's thread sorts and labels, so the wall time can be lower than the work.
void Interleaved(benchmark::State& State, std::size_t Count)
{
    const Fixture& fixture = FixtureOf(Count);
    GLFileDialogPanel panel;
    panel.OpenAtPath(fixture.Path);
    const int rounds = Count >= 1000000 ? 5 : Count >= 100000 ? 15 : 41;
    std::vector<double> floorMs;
    std::vector<double> panelMs;
    std::vector<double> floorCpuMs;
    std::vector<double> panelCpuMs;
    const auto cpuMs = []
    {
        timespec now{};
        ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
    };
    const auto timed = [&cpuMs](auto&& Work, std::vector<double>& CpuMs)
    {
        const double cpuStart = cpuMs();
        const auto start = std::chrono::steady_clock::now();
        Work();
        const auto wall = std::chrono::steady_clock::now() - start;
        CpuMs.push_back(cpuMs() - cpuStart);
        return std::chrono::duration<double, std::milli>(wall).count();
    };
    for (auto _ : State)
    {
        for (int round = 0; round < rounds; ++round)
        {
            floorMs.push_back(timed([&] { ReadFloor(fixture.Path); }, floorCpuMs));
            panelMs.push_back(timed([&] { panel.OpenAtPath(fixture.Path); }, panelCpuMs));
        }
    }
    const auto median = [](std::vector<double> Values)
    {
        std::nth_element(Values.begin(), Values.begin() + static_cast<std::ptrdiff_t>(Values.size() / 2),
                         Values.end());
        return Values[Values.size() / 2];
    };
    State.counters["floor_ms"] = median(floorMs);
    State.counters["panel_ms"] = median(panelMs);
    State.counters["floor_cpu_ms"] = median(floorCpuMs);
    State.counters["panel_cpu_ms"] = median(panelCpuMs);
}

// ---------------------------------------------------------------------------------------------
// Collects the medians (or single runs) for the table.

class TableReporter : public benchmark::ConsoleReporter
{
public:
    std::map<std::string, double> Milliseconds;
    std::map<std::string, double> PeakBytesPerEntry;
    std::map<std::string, double> Counters; // "counter:benchmark"

    void ReportRuns(const std::vector<Run>& Reports) override
    {
        for (const Run& run : Reports)
        {
            const std::string name = run.run_name.function_name;
            if (run.error_occurred || (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median"))
            {
                continue;
            }
            Milliseconds[name] = run.GetAdjustedRealTime();
            for (const char* counterName : {"floor_ms", "panel_ms", "floor_cpu_ms", "panel_cpu_ms"})
            {
                const auto found = run.counters.find(counterName);
                if (found != run.counters.end())
                {
                    Counters[counterName + (":" + run.run_name.function_name)] = found->second.value;
                }
            }
            const auto counter = run.counters.find("peak_bytes_per_entry");
            if (counter != run.counters.end())
            {
                PeakBytesPerEntry[name] = counter->second.value;
            }
        }
        ConsoleReporter::ReportRuns(Reports);
    }
};

std::string Key(const char* Contender, std::size_t Count)
{
    return std::string(Contender) + "/" + std::to_string(Count);
}

} // namespace

int main(int argc, char** argv)
{
    struct Contender
    {
        const char* Name;
        void (*Run)(benchmark::State&, std::size_t);
    };
    std::vector<Contender> contenders = {{"floor", Floor}, {"panel", Panel}, {"oracle", Oracle}};
#ifdef GLFD_BENCH_HAVE_QT
    contenders.push_back({"qt6", Peer<ListWithQt>});
#endif
#ifdef GLFD_BENCH_HAVE_GIO
    contenders.push_back({"gio", Peer<ListWithGio>});
#endif
    const std::vector<std::size_t> sizes = {1000, 10000, 100000, 1000000};
    for (std::size_t count : sizes)
    {
        for (const Contender& contender : contenders)
        {
            auto* bench =
                benchmark::RegisterBenchmark(Key(contender.Name, count).c_str(), contender.Run, count);
            bench->Unit(benchmark::kMillisecond)->UseRealTime()->ReportAggregatesOnly(true);
            count >= 1000000 ? bench->Iterations(1)->Repetitions(3) : bench->MinTime(0.3)->Repetitions(5);
        }
        benchmark::RegisterBenchmark(Key("interleaved", count).c_str(), Interleaved, count)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(1);
        benchmark::RegisterBenchmark(Key("memory", count).c_str(), PanelMemory, count)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(1);
    }

    benchmark::Initialize(&argc, argv);
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nMedian wall time of one full listing; ratios are to the floor (lower is better).\n"
                "The last columns take the floor and the panel in turns, so that the machine's drift\n"
                "falls on both alike: wall time, then the process's CPU time (both threads).\n");
    std::printf("%-9s %-6s %9s %9s %7s %7s", "entries", "where", "floor ms", "panel ms", "panel", "oracle");
    for (std::size_t i = 3; i < contenders.size(); ++i)
    {
        std::printf(" %7s", contenders[i].Name);
    }
    std::printf(" %14s %12s %11s\n", "peak B/entry", "in turns", "CPU");
    for (std::size_t count : sizes)
    {
        const auto fixture = Fixtures().find(count);
        const double floorMs = reporter.Milliseconds[Key("floor", count)];
        if (fixture == Fixtures().end() || floorMs <= 0)
        {
            continue;
        }
        std::printf("%-9zu %-6s %9.2f %9.2f", fixture->second.Entries, fixture->second.Where.c_str(), floorMs,
                    reporter.Milliseconds[Key("panel", count)]);
        for (std::size_t i = 1; i < contenders.size(); ++i)
        {
            const double ms = reporter.Milliseconds[Key(contenders[i].Name, count)];
            std::printf(" %6.2fx", ms / floorMs);
        }
        const double turnsFloor = reporter.Counters["floor_ms:" + Key("interleaved", count)];
        const double turnsPanel = reporter.Counters["panel_ms:" + Key("interleaved", count)];
        const double cpuFloor = reporter.Counters["floor_cpu_ms:" + Key("interleaved", count)];
        const double cpuPanel = reporter.Counters["panel_cpu_ms:" + Key("interleaved", count)];
        std::printf(" %14.0f %11.2fx %10.2fx\n", reporter.PeakBytesPerEntry[Key("memory", count)],
                    turnsFloor > 0 ? turnsPanel / turnsFloor : 0.0, cpuFloor > 0 ? cpuPanel / cpuFloor : 0.0);
    }
    RemoveFixtures();
    return 0;
}
