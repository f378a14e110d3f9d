// Helper threads for file-system calls that may block for ever, and calls whose callers can stop waiting.
#include "gllisting_workers.h"

#include "gllisting_system.h"

#include <atomic>
#include <deque>
#include <thread>

namespace
{

// Helpers stuck in the kernel on hung mounts stay busy and count here; past this bound tasks wait
// for a helper to come free.
constexpr std::size_t MaxHelpers = 256;
// A helper without work for this long ends.
constexpr std::chrono::seconds IdleLifetime{5};

class HelperPool
{
public:
    void Post(std::function<void()>& Task)
    {
        std::unique_lock<std::mutex> lock(Mutex);
        if (Idle > Queue.size() || Helpers >= MaxHelpers)
        {
            Queue.push_back(std::move(Task));
            Wake.notify_one();
            return;
        }
        ++Helpers;
        lock.unlock();
        std::thread thread;
        // The new helper takes the task with it; it only looks at the queue once that is done.
        if (GLStartQuietThread(thread, [this, task = Task]() mutable { Serve(std::move(task)); }))
        {
            thread.detach();
            return;
        }
        lock.lock();
        --Helpers;
        if (Helpers > 0)
        {
            Queue.push_back(std::move(Task));
            Wake.notify_one();
            return;
        }
        lock.unlock();
        Task(); // no thread at all: the caller's thread does the work
    }

    // Held across a fork by the forking thread.
    void LockForFork() { Mutex.lock(); }
    void UnlockAfterFork() { Mutex.unlock(); }

private:
    void Serve(std::function<void()> First)
    {
        First();
        First = nullptr; // what it holds is released before the helper waits
        std::unique_lock<std::mutex> lock(Mutex);
        for (;;)
        {
            ++Idle;
            const bool bWork = Wake.wait_for(lock, IdleLifetime, [this] { return !Queue.empty(); });
            --Idle;
            if (!bWork)
            {
                --Helpers;
                return;
            }
            std::function<void()> task = std::move(Queue.front());
            Queue.pop_front();
            lock.unlock();
            task();
            task = nullptr;
            lock.lock();
        }
    }

    std::mutex Mutex;
    std::condition_variable Wake;
    std::deque<std::function<void()>> Queue;
    std::size_t Helpers = 0; // started and not ended, busy or idle
    std::size_t Idle = 0;    // waiting for work
};

// Never destroyed: helpers may still be stuck in the kernel, or waiting for work, when the
// program exits. A forked child has none of the parent's helpers: it starts a pool of its own
// (the parent's is held locked across the fork, so the child never sees it half changed).
std::atomic<HelperPool*> CurrentPool{nullptr};

HelperPool& Pool()
{
    static const bool bRegistered = []
    {
        CurrentPool = new HelperPool();
        GLOnFork([] { CurrentPool.load()->LockForFork(); }, [] { CurrentPool.load()->UnlockAfterFork(); },
                 [] { CurrentPool = new HelperPool(); });
        return true;
    }();
    static_cast<void>(bRegistered);
    return *CurrentPool.load();
}

} // namespace

void GLRunOnHelper(std::function<void()> Task)
{
    Pool().Post(Task);
}
