#include "app/JobRunner.h"

#include "model/ForeignText.h"

#include <juce_events/juce_events.h>

#include <atomic>
#include <exception>
#include <functional>
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
    const juce::ScopedValueSetter<bool> busy (running, true, false);
    juce::Logger::writeToLog (title);
    stopRequested = false;

    const auto start = juce::Time::getMillisecondCounterHiRes();
    std::atomic<double> progress{ 0.0 };
    std::atomic<bool> finished{ false };
    juce::Component::SafePointer<ProgressDialog> dialog;
    std::thread thread;
    auto ended = Outcome::ok(); // the thread's while it works
    const auto doWork = [&]
    {
        work ({ [this] { return stopRequested.load(); },
                [&progress] (double fraction) { progress = fraction; } });
    };
    const auto begin = [&]
    {
        auto content = std::make_unique<ProgressDialog> (shownText (title));
        content->onCancel = [this] { stopRequested = true; };
        dialog = content.get();
        scrim.show (std::move (content));
        thread = std::thread (
            [&]
            {
                ended = guarded (std::ref (doWork));
                finished = true;
            });
    };

    if (const auto begun = guarded (std::ref (begin)); ! begun.isOk())
    {
        ended = begun;
        finished = true;
    }

    ProgressState state;
    state.stages = std::move (stages);
    const auto wait = [&]
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
    };

    // Memory may run out for what is shown; the thread needs what it works with until its end all the same.
    while (! finished)
        if (! guarded (std::ref (wait)).isOk())
            juce::Thread::sleep (pollMs);

    if (thread.joinable())
        thread.join();

    if (dialog != nullptr && scrim.getTop() == dialog.getComponent())
        scrim.dismissTop();

    juce::Logger::writeToLog (
        title + ": "
        + (! ended.isOk()  ? juce::String (ended.reason)
           : stopRequested ? "stopped"
                           : "over")
        + " after " + juce::String ((juce::Time::getMillisecondCounterHiRes() - start) / 1000.0, 1) + " s");
    return ! ended.isOk() ? ended : stopRequested ? Outcome::stopped() : Outcome::ok();
}

} // namespace tessivar
