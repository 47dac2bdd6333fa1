#pragma once

#include "app/MainWindow.h"
#include "app/system/ProgramLog.h"
#include "platform/InstanceLink.h"
#include "platform/MessageLoop.h"
#include "platform/Termination.h"
#include "ui/TessivarLookAndFeel.h"

#include <memory>

namespace tessivar
{

/** The program with its window: one instance a user, to which later starts hand their files. */
class TessivarApplication : public juce::JUCEApplication
{
public:
    const juce::String getApplicationName() override { return "Tessivar"; }
    const juce::String getApplicationVersion() override;
    bool moreThanOneInstanceAllowed() override { return true; } // the link decides

    void initialise (const juce::String& commandLine) override;
    void shutdown() override;
    void systemRequestedQuit() override;
    /** What a message has thrown; the program goes on. */
    void unhandledException (const std::exception* error, const juce::String& file, int line) override;

    /** Files on a command line, relative ones as seen from the working directory; options left out. */
    [[nodiscard]] static juce::StringArray pathsFrom (const juce::StringArray& arguments);

private:
    void end (int signal);

    /** Ends the program, also from within a dialog's loop. */
    void leave();

    UserFolders folders = UserFolders::ofUser();
    std::unique_ptr<ProgramLog> log;
    std::unique_ptr<InstanceLink> link;
    std::unique_ptr<TessivarLookAndFeel> look;
    std::unique_ptr<MainWindow> window;
    std::unique_ptr<TerminationListener> termination;
    std::unique_ptr<MessageLoopWaker> waker;
    bool isQuitting = false;
    juce::StringArray toldFailures;
};

/** The program's resources, beside the executable wherever it was started from, links included. */
[[nodiscard]] juce::File resourceFolder();

} // namespace tessivar
