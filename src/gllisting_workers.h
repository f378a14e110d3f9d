// Helper threads for file-system calls that may block for ever, and calls whose callers can stop waiting.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

// Runs Task on a helper thread of a process-wide pool: idle helpers are reused, new ones started
// while none is idle (a helper stuck in the kernel on a hung mount just stays busy), and helpers
// end after a while without work. Where no thread can be started at all, Task runs at once on the
// caller's thread. Task must not throw, and must own what it uses: its caller may stop waiting for
// it and go away, and the program may exit while it is still stuck.
void GLRunOnHelper(std::function<void()> Task);

// Work in flight on helper threads that a caller waits for, and may give up on.
class GLPendingWork
{
public:
    GLPendingWork() = default;
    GLPendingWork(const GLPendingWork&) = delete;
    GLPendingWork& operator=(const GLPendingWork&) = delete;
    GLPendingWork(GLPendingWork&&) = delete;
    GLPendingWork& operator=(GLPendingWork&&) = delete;
    virtual ~GLPendingWork() = default;

    // Waits until the work is done or Deadline has passed (the caller's own share of the work,
    // if any, is done meanwhile); true when done.
    virtual bool WaitUntil(std::chrono::steady_clock::time_point Deadline) = 0;
    // How many items (entries of a folder) have answered so far.
    virtual std::size_t Progress() const { return 0; }
    // How many items there are to answer, once that is known; 0 until then.
    virtual std::size_t Expected() const { return 0; }
    // Stops waiting: what has not answered yet never will, as far as the caller is concerned.
    virtual void Abandon() = 0;
};

// One call (a function returning Result) made on a helper thread.
template <typename Result> class GLAsyncCall final : public GLPendingWork
{
public:
    // Starts Work (a callable returning Result, owning what it uses) on a helper thread.
    template <typename Work> explicit GLAsyncCall(Work Call) : State(std::make_shared<Shared>())
    {
        GLRunOnHelper(
            [state = State, call = std::move(Call)]() mutable
            {
                std::optional<Result> value;
                std::exception_ptr failure;
                try
                {
                    value.emplace(call());
                }
                catch (...)
                {
                    failure = std::current_exception();
                }
                const std::lock_guard<std::mutex> lock(state->Mutex);
                state->Value = std::move(value);
                state->Failure = failure;
                state->bDone = true;
                state->Done.notify_all();
            });
    }

    bool WaitUntil(std::chrono::steady_clock::time_point Deadline) override
    {
        std::unique_lock<std::mutex> lock(State->Mutex);
        return State->Done.wait_until(lock, Deadline, [this] { return State->bDone; });
    }
    void Abandon() override {}

    // The result of a call that is done; rethrows what the call threw (memory exhaustion).
    Result Take()
    {
        const std::lock_guard<std::mutex> lock(State->Mutex);
        if (State->Failure)
        {
            std::rethrow_exception(State->Failure);
        }
        return std::move(*State->Value);
    }

private:
    // Shared with the helper, which may outlive the caller.
    struct Shared
    {
        std::mutex Mutex;
        std::condition_variable Done;
        std::optional<Result> Value;
        std::exception_ptr Failure;
        bool bDone = false;
    };
    std::shared_ptr<Shared> State;
};
