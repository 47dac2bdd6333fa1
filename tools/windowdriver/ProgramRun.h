#pragma once

#include "tools/commanddriver/ChildProgram.h"
#include "tools/windowdriver/XClient.h"

namespace tessivar::test
{

/** Home folder, screen and choosers of a user who works with the program. Gone with the object. */
class UserAtScreen
{
public:
    explicit UserAtScreen (const std::string& displayName);
    ~UserAtScreen();

    /** Written before the program starts, so that what every user is told once is out of the way. */
    void presetSettings (const std::map<std::string, std::string>& values) const;

    /** As presetSettings(), for a user who has seen the tips and silenced both kinds of advice. */
    void presetExperiencedUser() const;

    /** What the next choosers answer, in order; a chooser without an answer is cancelled. */
    void answerChoosers (const std::vector<juce::StringArray>& answers) const;

    /** The arguments of every chooser so far. */
    [[nodiscard]] juce::StringArray chooserCalls() const;

    /** Four tracks of the demo session as WAV files in a folder below home, cut or repeated to this length.
    */
    [[nodiscard]] juce::StringArray recording (double seconds,
                                               const juce::String& folderName = "Take 1") const;

    /** The program's own log so far. */
    [[nodiscard]] juce::String programLog() const;

    /** What the program is started with. */
    [[nodiscard]] std::map<std::string, std::string> environment() const;

    [[nodiscard]] juce::File file (const juce::String& path) const { return home.getChildFile (path); }
    [[nodiscard]] juce::File newFolder (const juce::String& path) const;

    const juce::File home;
    XClient x;
    const std::string display;

private:
    JUCE_DECLARE_NON_COPYABLE (UserAtScreen)
};

/** The running program and its window. */
class ProgramRun
{
public:
    explicit ProgramRun (UserAtScreen& user,
                         const juce::StringArray& arguments = {},
                         const std::map<std::string, std::string>& environmentChanges = {},
                         const juce::File& program = standardProgram());

    /** Keeps a picture of a test that failed, and what its programs wrote. */
    ~ProgramRun();

    [[nodiscard]] static juce::File standardProgram();

    /** Whether the window is there, answers and shows itself. */
    [[nodiscard]] bool waitForWindow (int timeoutMs = 20000);

    /** A dialog, or the progress of a job, dims the rest of the window. */
    [[nodiscard]] bool isDimmed() const;
    [[nodiscard]] bool waitForDialog (int timeoutMs = 20000) const;
    [[nodiscard]] bool waitForNoDialog (int timeoutMs = 60000) const;

    /** No dialog for so long that none follows the last one. */
    [[nodiscard]] bool waitForRest (int timeoutMs = 60000) const;

    /** Whether a dialog that can be accepted is in front: a question or a message, not a job's progress. */
    [[nodiscard]] bool asksSomething() const;

    /** On the screen: the left of a question's row of buttons, where its dot or the button that discards work
        is.
    */
    [[nodiscard]] juce::Point<int> leftOfDialog() const;

    /** Answers every question with this key until none has come for a while; a job may run before and between
        them.
        @return  how many there were; -1 when there is no end to them within the time
    */
    int answerUntilRest (const char* key = "Return", int timeoutMs = 90000) const;

    /** Whether the selected Group is analysed and unchanged since. */
    [[nodiscard]] bool exportIsPrimary() const;

    /** Clicks "Analyze Group", accepts what is asked, and waits for the end. */
    [[nodiscard]] bool analyze (int timeoutMs = 90000) const;

    /** Whether a track is shown, with no dialog in front of it. */
    [[nodiscard]] bool showsTrack() const;

    /** A place of the content by distance from left and top; negative ones count from right and bottom. */
    [[nodiscard]] juce::Point<int> at (int left, int top) const;

    [[nodiscard]] juce::Image picture() const { return user.x.picture (window); }

    /** Whether an area still looks as it did. Its place is counted as by at(). */
    [[nodiscard]] bool showsSame (const juce::Image& before, juce::Rectangle<int> area) const;

    /** Into the folder of pictures of the build. */
    void keepPicture (const juce::String& name) const;

    /** Presses the key for quitting until the question about unsaved work is there: a busy program may lose a
        key, and a dialog ignores this one.
    */
    [[nodiscard]] bool quitUntilAsked() const;

    /** Asks it to quit by its key, and waits. The exit code as ChildProgram has it. */
    [[nodiscard]] std::optional<int> quit (int timeoutMs = 15000);

    UserAtScreen& user;
    ChildProgram process;
    XClient::Window window = 0;
    double startedAt = 0.0, usableAfter = 0.0; // ms

    // Places of the layout at its usual size.
    [[nodiscard]] juce::Point<int> analyzeButton() const { return at (90, -56 - 30); }
    [[nodiscard]] juce::Point<int> exportButton() const { return at (256, -56 - 30); }
    [[nodiscard]] juce::Point<int> playButton() const { return at (92, -28); }
    [[nodiscard]] juce::Point<int> waveform() const { return at (700, 300); }

private:
    JUCE_DECLARE_NON_COPYABLE (ProgramRun)
};

/** The screen of the test program. */
[[nodiscard]] const std::string& testDisplay();

} // namespace tessivar::test
