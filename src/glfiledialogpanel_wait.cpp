// The panel while the file system keeps it waiting: host frames, progress, giving up, input meanwhile.
#include "glfiledialogpanel.h"

#include "gllisting_workers.h"

#include <chrono>
#include <utility>

namespace
{

using Clock = std::chrono::steady_clock;
// A call that has waited this long lets the host draw, and then about every frame.
constexpr std::chrono::milliseconds FirstFrameAfter{100};
constexpr std::chrono::milliseconds FrameInterval{16};

// Raises a flag for a scope, also when it unwinds.
class RaisedFlag
{
public:
    explicit RaisedFlag(bool& Flag) : Raised(Flag) { Raised = true; }
    ~RaisedFlag() { Raised = false; }
    RaisedFlag(const RaisedFlag&) = delete;
    RaisedFlag& operator=(const RaisedFlag&) = delete;
    RaisedFlag(RaisedFlag&&) = delete;
    RaisedFlag& operator=(RaisedFlag&&) = delete;

private:
    bool& Raised;
};

} // namespace

bool GLFileDialogPanel::WaitForFileSystem(GLPendingWork& Work, const std::string& Activity,
                                          bool bCountsEntries) const
{
    // A query the owner calls directly (outside any operation) leaves no abandonment behind.
    struct OutsideOperations
    {
        const GLFileDialogPanel& Panel;
        ~OutsideOperations()
        {
            if (Panel.OperationDepth == 0 && !Panel.bInWaitFrame)
            {
                Panel.bAbandonRequested = false;
            }
        }
    } outside{*this};
    // Inside a frame, or once the user has given up, nothing more is waited for: the call reads as
    // one that failed.
    if (bInWaitFrame || bAbandonRequested)
    {
        Work.Abandon();
        return false;
    }
    if (!WaitFrame)
    {
        return Work.WaitUntil(Clock::time_point::max());
    }
    if (Work.WaitUntil(Clock::now() + FirstFrameAfter))
    {
        return true;
    }
    // The label shows the progress; the status itself, and its signal, are left to the operation.
    struct LabelRestorer
    {
        const GLFileDialogPanel& Panel;
        ~LabelRestorer()
        {
            if (Panel.StatusLabel != nullptr)
            {
                Panel.StatusLabel->Text = Panel.StatusText;
            }
        }
    } restorer{*this};
    for (;;)
    {
        if (StatusLabel != nullptr)
        {
            StatusLabel->Text = Activity + " \xe2\x80\xa6";
            if (bCountsEntries)
            {
                // Names as they are read, then entries as their status queries answer.
                const std::size_t expected = Work.Expected();
                StatusLabel->Text +=
                    " " + std::to_string(Work.Progress()) +
                    (expected > 0 ? " of " + std::to_string(expected) + " entries" : " entries so far");
            }
        }
        const Clock::time_point frameStart = Clock::now();
        {
            const RaisedFlag inFrame(bInWaitFrame);
            WaitFrame();
        }
        if (bAbandonRequested)
        {
            Work.Abandon();
            return false;
        }
        if (Work.WaitUntil(frameStart + FrameInterval))
        {
            return true;
        }
    }
}

void GLFileDialogPanel::AbandonWait()
{
    if (bInWaitFrame || OperationDepth > 0)
    {
        bAbandonRequested = true;
    }
}

void GLFileDialogPanel::DeferWhileWaiting(std::function<void()> Action, bool bEndsDialog)
{
    // Ending the dialog wins over anything else asked for meanwhile; otherwise the last wish counts.
    if (!bDeferredEndsDialog || bEndsDialog)
    {
        DeferredAction = std::move(Action);
        bDeferredEndsDialog = bEndsDialog;
    }
    bAbandonRequested = true;
}

void GLFileDialogPanel::RunUserOperation(const std::function<void()>& Operation)
{
    const bool bOutermost = OperationDepth == 0;
    // Leaves no depth, wish or abandonment behind, also when a slot throws.
    struct DepthGuard
    {
        GLFileDialogPanel& Panel;
        bool bOutermost;
        ~DepthGuard()
        {
            --Panel.OperationDepth;
            if (bOutermost)
            {
                Panel.bAbandonRequested = false;
                Panel.DeferredAction = nullptr;
                Panel.bDeferredEndsDialog = false;
            }
        }
    };
    if (bOutermost)
    {
        bAbandonRequested = false;
        DeferredAction = nullptr;
        bDeferredEndsDialog = false;
    }
    ++OperationDepth;
    const DepthGuard guard{*this, bOutermost};
    Operation();
    // What the user asked for while it waited runs now that it has unwound, each wish in turn
    // (a wish may wait, and be overtaken, in its turn).
    while (bOutermost && DeferredAction)
    {
        const std::function<void()> action = std::exchange(DeferredAction, nullptr);
        bDeferredEndsDialog = false;
        bAbandonRequested = false;
        action();
    }
}
