#pragma once

// SlowMount: a folder seen through glfd_slowfs (slow status queries, names that never answer),
// mounted over a fresh temporary folder for the life of the object.
//
//   if (const std::string why = SlowMount::UnavailableReason(); !why.empty()) GTEST_SKIP() << why;
//   SlowMountOptions options;
//   options.HangReaddir = {"stuck"};
//   SlowMount mount(tree.Root(), options);
//   ASSERT_TRUE(mount.IsMounted()) << mount.Failure();

#include <string>
#include <sys/types.h>
#include <vector>

namespace glfd_test
{

// How the mounted view behaves; names are paths relative to the mount root ("big/file7").
struct SlowMountOptions
{
    int StatDelayMs = 0;
    int ReaddirDelayMs = 0;
    std::vector<std::string> HangStat;    // lookups and status queries never answer
    std::vector<std::string> HangReaddir; // reading the folder never answers
    std::vector<std::string> HangOpen;    // opening the file or folder never answers
};

// A read-only view of Source mounted over a new temporary folder. The constructor returns once
// the mount answers (or failed); the destructor unmounts lazily, which releases every hung
// request, and reaps the daemon.
class SlowMount
{
public:
    SlowMount(const std::string& Source, const SlowMountOptions& Options);
    ~SlowMount();
    SlowMount(const SlowMount&) = delete;
    SlowMount& operator=(const SlowMount&) = delete;
    SlowMount(SlowMount&&) = delete;
    SlowMount& operator=(SlowMount&&) = delete;

    // Whether the view is mounted and answering.
    bool IsMounted() const { return bMounted; }
    // Why mounting failed (the daemon's own words when it said any); empty while mounted.
    const std::string& Failure() const { return FailureText; }
    // The mount point.
    const std::string& Root() const { return MountPoint; }
    // Root() + "/" + Relative.
    std::string Path(const std::string& Relative) const;
    // The daemon's process id (-1 once reaped).
    pid_t DaemonPid() const { return Daemon; }
    // Unmounts lazily and reaps the daemon. Returns "" when the daemon ended by itself on the
    // unmount, otherwise how it had to be ended. Safe to call twice.
    std::string Unmount();

    // Why no slow mount can be made on this machine (no /dev/fuse, no fusermount3, mounting not
    // permitted, program not built); empty when mounting works. Probes once per process.
    static std::string UnavailableReason();
    // Same as UnavailableReason(): the reason to skip a test with.
    static std::string Skip() { return UnavailableReason(); }
    // The glfd_slowfs program: $GLFD_SLOWFS, else the one built with this library.
    static std::string Program();

private:
    std::string WorkFolder;
    std::string MountPoint;
    std::string LogPath;
    std::string FailureText;
    pid_t Daemon = -1;
    bool bMounted = false;
};

} // namespace glfd_test
