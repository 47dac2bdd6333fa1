#pragma once

#include "terms/WorkControl.h"
#include "ui/dialogs/ProgressDialog.h"

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

/** Does work that may throw; why it failed, as part of a sentence ("memory ran out"), empty when it did not.
*/
[[nodiscard]] juce::String failureOf (const std::function<void()>& work);

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

    enum class End
    {
        done,
        stopped, // the user asked for it; the work has ended all the same
        failed   // by an exception: failure() tells
    };

    End run (const juce::String& title, std::vector<ProgressStage> stages, const Work& work);
    End run (WindowJob& job)
    {
        return run (job.title(), job.stages(), [&] (const WorkControl& control) { job.run (control); });
    }

    /** Why the last work failed, as part of a sentence: "memory ran out". */
    [[nodiscard]] const juce::String& failure() const { return whyFailed; }

    [[nodiscard]] bool isBusy() const { return running; }

    /** Does what Cancel does, for quitting. */
    void requestStop() { stopRequested = true; }

private:
    DialogScrim& scrim;
    bool running = false;
    juce::String whyFailed;
    std::atomic<bool> stopRequested{ false };
};

} // namespace tessivar
