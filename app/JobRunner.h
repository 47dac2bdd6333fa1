#pragma once

#include "terms/Outcome.h"
#include "terms/WorkControl.h"
#include "ui/dialogs/ProgressDialog.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <vector>

namespace tessivar
{

/** A long piece of work with the title of its progress dialog. */
class WindowJob
{
public:
    virtual ~WindowJob() = default;

    [[nodiscard]] virtual juce::String title() const = 0;
    [[nodiscard]] virtual std::vector<ProgressStage> stages() const { return {}; }

    /** Does the work, on the job's thread. */
    virtual void run (const WorkControl& control) = 0;
};

/** Does work that may throw: ok, noRoom or failed, with a reason that is part of a sentence, such as "memory
    ran out".
*/
[[nodiscard]] Outcome guarded (const std::function<void()>& work);

/** How long a thread that works for the window pauses where memory ran out, before it tries again. */
constexpr std::chrono::milliseconds pauseWithoutMemory{ 500 };

/** Whether work ended by an error, which a stop is not. */
[[nodiscard]] inline bool hasFailed (const Outcome& ended)
{
    return ! ended.isOk() && ! ended.wasStopped();
}

/** Runs one long piece of work at a time on a thread of its own, behind a progress dialog, while the window
    stays alive.

    run() returns when the work is over; meanwhile messages are delivered, so whoever can be reached by them
    asks isBusy() first. Cancel asks the work to stop, which it looks for several times a second; it is never
    killed.
*/
class JobRunner
{
public:
    explicit JobRunner (DialogScrim& scrimToUse) : scrim (scrimToUse) {}

    /** Runs on its own thread. */
    using Work = std::function<void (const WorkControl&)>;

    /** Stopped when the user asked for it, though the work may have come to its end all the same; failed or
        noRoom when it threw.
    */
    Outcome run (const juce::String& title, std::vector<ProgressStage> stages, const Work& work);
    Outcome run (WindowJob& job)
    {
        return run (job.title(), job.stages(), [&] (const WorkControl& control) { job.run (control); });
    }

    [[nodiscard]] bool isBusy() const { return running; }

    /** Does what Cancel does, for quitting. */
    void requestStop() { stopRequested = true; }

private:
    DialogScrim& scrim;
    bool running = false;
    std::atomic<bool> stopRequested{ false };
};

} // namespace tessivar
