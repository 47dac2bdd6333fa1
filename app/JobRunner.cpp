#include "app/JobRunner.h"

#include "model/ForeignText.h"

#include <juce_events/juce_events.h>

#include <atomic>
#include <exception>
#include <new>
#include <thread>

namespace tessivar
{

namespace
{
constexpr int pollMs = 33;
}

Outcome guarded (const std::function<void()>& work)
{
    try
    {
        work();
    }
    catch (const std::bad_alloc&)
    {
        return Outcome::noRoom ("memory ran out");
    }
    catch (const std::exception& error)
    {
        return Outcome::failed (
            "error of the program itself: "
            + validText (juce::String (juce::CharPointer_UTF8 (error.what()))).toStdString());
    }

    return Outcome::ok();
}

Outcome JobRunner::run (const juce::String& title, std::vector<ProgressStage> stages, const Work& work)
{
    jassert (! running);
    running = true;
    juce::Logger::writeToLog (title);
    stopRequested = false;

    std::atomic<double> progress{ 0.0 };
    std::atomic<bool> finished{ false };
    auto failure = Outcome::ok();
    auto content = std::make_unique<ProgressDialog> (shownText (title));
    juce::Component::SafePointer<ProgressDialog> dialog (content.get());
    content->onCancel = [this] { stopRequested = true; };
    scrim.show (std::move (content));

    std::thread thread (
        [&]
        {
            failure = guarded (
                [&]
                {
                    work ({ [this] { return stopRequested.load(); },
                            [&progress] (double fraction) { progress = fraction; } });
                });
            finished = true;
        });

    const auto start = juce::Time::getMillisecondCounterHiRes();
    ProgressState state;
    state.stages = std::move (stages);

    while (! finished)
    {
        state.progress = progress;
        state.status = stopRequested ? juce::String ("Stopping...") : stageActivity (state);
        state.secondsLeft =
            stopRequested ? std::nullopt
                          : estimateSecondsLeft (state.progress,
                                                 (juce::Time::getMillisecondCounterHiRes() - start) / 1000.0);

        if (dialog != nullptr)
            dialog->setState (state);

        // The program is ending: no more messages are delivered, but the work must finish first.
        if (! juce::MessageManager::getInstance()->runDispatchLoopUntil (pollMs))
        {
            stopRequested = true;
            juce::Thread::sleep (pollMs);
        }
    }

    thread.join();

    if (dialog != nullptr && scrim.getTop() == dialog.getComponent())
        scrim.dismissTop();

    running = false;
    juce::Logger::writeToLog (
        title + ": "
        + (! failure.isOk() ? juce::String (failure.reason)
           : stopRequested  ? "stopped"
                            : "over")
        + " after " + juce::String ((juce::Time::getMillisecondCounterHiRes() - start) / 1000.0, 1) + " s");
    return ! failure.isOk() ? failure : stopRequested ? Outcome::stopped() : Outcome::ok();
}

} // namespace tessivar
