// Folder listing on a slow mount: every status query takes 1 ms, as on network, cloud and phone
// mounts with nothing cached (glfd_slowfs over a local folder). Side by side: the serial floor
// (readdir and one fstatat per entry, one after another), the same queries from 16 threads, the
// panel's full refresh, and other libraries' listings. Prints a table of medians at the end.
//
// Each listing takes seconds here, so every contender runs a few single-iteration repetitions.

#include "glfiledialogpanel.h"
#include "peers.h"
#include "slow_mount.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

constexpr int QueryDelayMs = 1;
constexpr unsigned ParallelQueries = 16;

struct SlowFolder
{
    std::string Source;
    std::unique_ptr<glfd_test::SlowMount> Mount;
    std::size_t Entries = 0;
};

std::map<std::size_t, SlowFolder>& Folders()
{
    static std::map<std::size_t, SlowFolder> folders;
    return folders;
}

// Count entries, one in 21 a folder (2,000 files and 100 folders for 2,100), mounted at 1 ms.
// Null (with the reason printed once) when no slow mount can be made here.
const SlowFolder* FolderOf(std::size_t Count)
{
    SlowFolder& folder = Folders()[Count];
    if (folder.Mount != nullptr)
    {
        return folder.Mount->IsMounted() ? &folder : nullptr;
    }
    std::string pattern = (fs::temp_directory_path() / "glfd-slow-bench-XXXXXX").native();
    if (::mkdtemp(pattern.data()) == nullptr)
    {
        return nullptr;
    }
    folder.Source = pattern;
    std::fprintf(stderr, "creating %zu entries in %s ...\n", Count, folder.Source.c_str());
    const int dirFd = ::open(folder.Source.c_str(), O_DIRECTORY | O_RDONLY | O_CLOEXEC);
    for (std::size_t i = 0; i < Count; ++i)
    {
        char name[64];
        if (i % 21 == 20)
        {
            std::snprintf(name, sizeof(name), "Folder %05zu", i);
            ::mkdirat(dirFd, name, 0755);
            continue;
        }
        std::snprintf(name, sizeof(name), "%s_%05zu.%s", i % 3 == 0 ? "Report" : "photo", i,
                      i % 2 == 0 ? "pdf" : "JPG");
        const int fd = ::openat(dirFd, name, O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
        if (fd >= 0)
        {
            ::ftruncate(fd, static_cast<off_t>(i * 37 % 100000));
            ::close(fd);
        }
    }
    ::close(dirFd);
    folder.Entries = Count;
    glfd_test::SlowMountOptions options;
    options.StatDelayMs = QueryDelayMs;
    folder.Mount = std::make_unique<glfd_test::SlowMount>(folder.Source, options);
    if (!folder.Mount->IsMounted())
    {
        std::fprintf(stderr, "no slow mount: %s\n", folder.Mount->Failure().c_str());
        return nullptr;
    }
    return &folder;
}

void RemoveFolders()
{
    for (auto& [count, folder] : Folders())
    {
        folder.Mount.reset();
        std::error_code ec;
        fs::remove_all(folder.Source, ec);
    }
}

// The folder's names, read with readdir as the floor reads them.
std::vector<std::string> ReadNames(DIR* Dir)
{
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(Dir))
    {
        const char* name = entry->d_name;
        if (!(name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))))
        {
            names.emplace_back(name);
        }
    }
    return names;
}

// readdir and one fstatat per entry, one after another: what a single thread cannot beat.
std::size_t SerialFloor(const std::string& Path)
{
    DIR* dir = ::opendir(Path.c_str());
    const int dirFd = ::dirfd(dir);
    std::size_t answered = 0;
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
        answered += ::fstatat(dirFd, name, &st, 0) == 0 ? 1U : 0U;
    }
    ::closedir(dir);
    return answered;
}

// The same status queries, ParallelQueries in flight at once.
std::size_t ParallelFloor(const std::string& Path)
{
    DIR* dir = ::opendir(Path.c_str());
    const int dirFd = ::dirfd(dir);
    const std::vector<std::string> names = ReadNames(dir);
    std::atomic<std::size_t> next{0};
    std::atomic<std::size_t> answered{0};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < ParallelQueries; ++t)
    {
        threads.emplace_back(
            [&]
            {
                for (std::size_t i = next++; i < names.size(); i = next++)
                {
                    struct stat st
                    {
                    };
                    answered += ::fstatat(dirFd, names[i].c_str(), &st, 0) == 0 ? 1U : 0U;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    ::closedir(dir);
    return answered;
}

std::size_t Panel(const std::string& Path)
{
    GLFileDialogPanel panel;
    panel.OpenAtPath(Path);
    return panel.Entries.size();
}

template <std::size_t (*List)(const std::string&)> void Listing(benchmark::State& State, std::size_t Count)
{
    const SlowFolder* folder = FolderOf(Count);
    if (folder == nullptr)
    {
        State.SkipWithError("no slow mount here");
        return;
    }
    for (auto _ : State)
    {
        if (List(folder->Mount->Root()) != folder->Entries)
        {
            State.SkipWithError("listed a different number of entries");
            break;
        }
    }
}

class TableReporter : public benchmark::ConsoleReporter
{
public:
    std::map<std::string, double> Seconds;

    void ReportRuns(const std::vector<Run>& Reports) override
    {
        for (const Run& run : Reports)
        {
            if (!run.error_occurred && (run.run_type != Run::RT_Aggregate || run.aggregate_name == "median"))
            {
                Seconds[run.run_name.function_name] = run.GetAdjustedRealTime();
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
        int Repetitions;
    };
    std::vector<Contender> contenders = {{"floor", Listing<SerialFloor>, 3},
                                         {"parallel", Listing<ParallelFloor>, 3},
                                         {"panel", Listing<Panel>, 3}};
#ifdef GLFD_BENCH_HAVE_QT
    contenders.push_back({"qt6", Listing<ListWithQt>, 1});
#endif
#ifdef GLFD_BENCH_HAVE_GIO
    contenders.push_back({"gio", Listing<ListWithGio>, 1});
#endif
    const std::vector<std::size_t> sizes = {2100, 20000};
    for (std::size_t count : sizes)
    {
        for (const Contender& contender : contenders)
        {
            // The large folder once each: a serial listing of it takes over twenty seconds.
            const int repetitions = count > 10000 ? 1 : contender.Repetitions;
            auto* bench =
                benchmark::RegisterBenchmark(Key(contender.Name, count).c_str(), contender.Run, count);
            bench->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1);
            if (repetitions > 1)
            {
                bench->Repetitions(repetitions)->ReportAggregatesOnly(true);
            }
        }
    }

    benchmark::Initialize(&argc, argv);
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nSlow mount, %d ms per status query: median wall time of one full listing, seconds.\n"
                "floor: readdir + one fstatat per entry; parallel: the same with %u in flight.\n",
                QueryDelayMs, ParallelQueries);
    std::printf("%-9s", "entries");
    for (const Contender& contender : contenders)
    {
        std::printf(" %9s", contender.Name);
    }
    std::printf("\n");
    for (std::size_t count : sizes)
    {
        if (reporter.Seconds.count(Key("floor", count)) == 0)
        {
            continue;
        }
        std::printf("%-9zu", count);
        for (const Contender& contender : contenders)
        {
            const auto found = reporter.Seconds.find(Key(contender.Name, count));
            if (found == reporter.Seconds.end())
            {
                std::printf(" %9s", "-");
            }
            else
            {
                std::printf(" %9.2f", found->second);
            }
        }
        std::printf("\n");
    }
    RemoveFolders();
    return 0;
}
