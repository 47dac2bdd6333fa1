#include "app/TessivarApplication.h"

#include "app/JobRunner.h"
#include "app/system/ScreenFit.h"
#include "model/ForeignText.h"
#include "model/Version.h"
#include "model/settings/SettingsStore.h"
#include "platform/Process.h"

#include <exception>
#include <iostream>
#include <new>

namespace tessivar
{

juce::File resourceFolder()
{
    return programFile().getSiblingFile ("Resources");
}

const juce::String TessivarApplication::getApplicationVersion()
{
    return juce::String (programVersion());
}

juce::StringArray TessivarApplication::pathsFrom (const juce::StringArray& arguments)
{
    juce::StringArray paths;
    auto onlyFiles = false;

    for (const auto& argument : arguments)
    {
        if (argument == "--")
            onlyFiles = true;
        else if (onlyFiles || ! argument.startsWith ("-"))
            paths.add (fileOfArgument (argument).getFullPathName());
    }

    return paths;
}

void TessivarApplication::initialise (const juce::String&)
{
    const auto paths = pathsFrom (getCommandLineParameterArray());

    if (juce::Desktop::getInstance().getDisplays().getPrimaryDisplay() == nullptr)
    {
        std::cerr << "tessivar: there is no screen to show a window on; tessivar-cli works without one"
                  << std::endl;
        setApplicationReturnValue (1);
        quit();
        return;
    }

    link = std::make_unique<InstanceLink> (folders.runtime);

    if (link->handOver (paths))
    {
        quit();
        return;
    }

    waker = std::make_unique<MessageLoopWaker>();
    log = std::make_unique<ProgramLog> (folders.logs());
    log->noteCrashes();
    juce::Logger::setCurrentLogger (log.get());
    juce::Logger::writeToLog ("Started: version " + getApplicationVersion() + " (rev. "
                              + juce::String (programRevision()) + ")");
    termination = std::make_unique<TerminationListener> (
        [this] (int signal) { juce::MessageManager::callAsync ([this, signal] { end (signal); }); });
    look = std::make_unique<TessivarLookAndFeel> (resourceFolder());
    juce::LookAndFeel::setDefaultLookAndFeel (look.get());

    applyInterfaceSize (SettingsStore (folders));
    window = std::make_unique<MainWindow> (resourceFolder(), folders, *log);
    [[maybe_unused]] const auto listening = link->listen (
        [this] (const juce::StringArray& received)
        {
            juce::MessageManager::callAsync (
                [this, received]
                {
                    if (window == nullptr)
                        return;

                    window->toFront (true);
                    window->content().filesFromOutside().open (received);
                });
        });

    juce::MessageManager::callAsync (
        [this, paths]
        {
            if (window != nullptr)
                window->content().start (paths);
        });
}

void TessivarApplication::end (int signal)
{
    // The sender waits seconds at most: ask nothing, and offer what is not saved at the next start.
    juce::Logger::writeToLog ("Ending on signal " + juce::String (signal));

    if (window != nullptr)
        window->content().keepForRecovery();

    leave();
}

void TessivarApplication::shutdown()
{
    link.reset();
    window.reset();
    termination.reset();
    waker.reset();
    juce::Logger::writeToLog ("Ended");
    juce::Logger::setCurrentLogger (nullptr);
    log.reset();
    juce::LookAndFeel::setDefaultLookAndFeel (nullptr);
    look.reset();
}

void TessivarApplication::systemRequestedQuit()
{
    if (window == nullptr)
    {
        quit();
        return;
    }

    if (isQuitting)
        return;

    const juce::ScopedValueSetter<bool> asking (isQuitting, true);

    if (window->content().mayQuit())
        leave();
}

void TessivarApplication::leave()
{
    quit();

    // After a nested loop the toolkit's loop waits for an event before it checks whether to end. This is one;
    // messages can no longer be posted.
    if (waker != nullptr)
        waker->wake();
}

void TessivarApplication::unhandledException (const std::exception* error, const juce::String&, int)
{
    // Here too memory may run out, and nobody catches what is thrown here.
    [[maybe_unused]] const auto told = guarded (
        [&]
        {
            const auto* const noMemory = dynamic_cast<const std::bad_alloc*> (error);
            const auto reason = noMemory != nullptr ? juce::String ("memory ran out")
                                : error != nullptr  ? shownText (error->what())
                                                    : juce::String ("unknown error");

            // What comes back with every picture is told once.
            if (toldFailures.contains (reason))
                return;

            juce::Logger::writeToLog ("Unhandled error: " + reason);
            std::cerr << "tessivar: " << reason << std::endl;
            juce::MessageManager::callAsync (
                [this, reason]
                {
                    if (window != nullptr)
                        window->content().tellFailure (reason);
                });
            toldFailures.add (reason);
        });
}

} // namespace tessivar
