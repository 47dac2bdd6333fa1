#include "tools/windowdriver/ProgramRun.h"

#include "tools/windowdriver/FakePrograms.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <exception>
#include <iostream>
#include <stdexcept>

namespace tessivar::test
{

namespace
{
double now()
{
    return juce::Time::getMillisecondCounterHiRes();
}

ChildProgram::Start startOf (const UserAtScreen& user,
                             const juce::StringArray& arguments,
                             const std::map<std::string, std::string>& changes,
                             const juce::File& program)
{
    ChildProgram::Start start;
    start.program = program.getFullPathName().toStdString();
    start.environment = user.environment();
    start.outputFile = user.file ("program.log").getFullPathName().toStdString();

    for (const auto& argument : arguments)
        start.arguments.push_back (argument.toStdString());

    for (const auto& [name, value] : changes)
        start.environment[name] = value;

    return start;
}

/** The brightest of the pixels, 0 to 255. */
int brightestIn (const juce::Image& image, juce::Rectangle<int> area)
{
    auto brightest = 0;
    area = area.getIntersection (image.getBounds());

    for (int y = area.getY(); y < area.getBottom(); ++y)
        for (int column = area.getX(); column < area.getRight(); ++column)
        {
            const auto colour = image.getPixelAt (column, y);
            brightest = std::max (
                { brightest, int{ colour.getRed() }, int{ colour.getGreen() }, int{ colour.getBlue() } });
        }

    return brightest;
}

bool isIce (juce::Colour colour)
{
    return colour.getRed() >= 140 && colour.getRed() < 215 && colour.getGreen() >= 205
           && colour.getBlue() >= 235;
}

constexpr int settleMs = 80; // a dialog that comes or fades away looks different then

// The names of the menus: bright, but for when they are dimmed to a third.
const juce::Rectangle<int> menuNames{ 4, 4, 240, 22 };
constexpr int dimmedBelow = 110;

/** Whether all of the window is dimmed. It is painted in pieces, and a picture may be taken between two of
    them, so both its top and its bottom are checked.
*/
bool isDimmedThroughout (const juce::Image& image)
{
    const juce::Rectangle<int> time{ 238, image.getHeight() - 44, 108, 34 };
    return image.isValid() && brightestIn (image, menuNames) < dimmedBelow
           && brightestIn (image, time) < dimmedBelow;
}

/** Where the button is that accepts something, in front of a dimmed window: columns that are ice from its top
    to its bottom. A bar of progress is thinner. Empty without such a button.
*/
juce::Rectangle<int> primaryButtonIn (const juce::Image& image)
{
    constexpr int leastHeight = 20, leastColumns = 12; // the frame of a focused control has four
    juce::Rectangle<int> button;
    auto columns = 0;

    if (! isDimmedThroughout (image))
        return button;

    for (int column = 0; column < image.getWidth(); ++column)
    {
        auto run = 0, longest = 0;

        for (int y = 0; y < image.getHeight(); ++y)
        {
            run = isIce (image.getPixelAt (column, y)) ? run + 1 : 0;
            longest = std::max (longest, run);

            if (run >= leastHeight)
                button = button.getUnion ({ column, y + 1 - run, 1, run });
        }

        columns += longest >= leastHeight ? 1 : 0;
    }

    return columns >= leastColumns ? button : juce::Rectangle<int>();
}
} // namespace

UserAtScreen::UserAtScreen (const std::string& displayName)
    : home (juce::File::getSpecialLocation (juce::File::tempDirectory)
                .getChildFile ("tessivar-window-" + juce::Uuid().toString().substring (0, 12))),
      x (displayName), display (displayName)
{
    home.createDirectory();
    newFolder ("run").setReadOnly (false);
    writeFakePrograms (home);
    presetSettings ({});
}

UserAtScreen::~UserAtScreen()
{
    for (const auto& folder : home.findChildFiles (juce::File::findDirectories, true))
        folder.setReadOnly (false);

    home.deleteRecursively();
}

juce::File UserAtScreen::newFolder (const juce::String& path) const
{
    const auto folder = file (path);
    folder.createDirectory();
    return folder;
}

void UserAtScreen::presetSettings (const std::map<std::string, std::string>& values) const
{
    juce::XmlElement document ("PROPERTIES");
    auto all = values;

    // Temporary files stay in the home folder. Whoever has chosen a folder has lists of abbreviations, too.
    all.emplace ("tempFileLocation", newFolder ("tmp").getFullPathName().toStdString());
    all.emplace ("kick", "kick");
    all.emplace ("snare", "sd");
    all.emplace ("tomHigh", "rack");
    all.emplace ("tomFloor", "floor");
    all.emplace ("hiHat", "hh");

    for (const auto& [name, value] : all)
    {
        auto* entry = document.createNewChildElement ("VALUE");
        entry->setAttribute ("name", juce::String (name));
        entry->setAttribute ("val", juce::String (value));
    }

    document.writeTo (newFolder (".config/Tessivar").getChildFile ("tessivar.config"));
}

void UserAtScreen::presetExperiencedUser() const
{
    presetSettings ({ { "ANALTIPS", "FALSE" },
                      { "FirstTime", "FALSE" },
                      { "ShowShortTracksWarning", "FALSE" },
                      { "ShowLongTracksWarning", "FALSE" } });
}

void UserAtScreen::answerChoosers (const std::vector<juce::StringArray>& answers) const
{
    writeChooserAnswers (home, answers);
}

juce::StringArray UserAtScreen::chooserCalls() const
{
    return juce::StringArray::fromLines (file ("chooser.log").loadFileAsString().trimEnd());
}

juce::String UserAtScreen::programLog() const
{
    return file (".local/state/tessivar/log/tessivar.log").loadFileAsString();
}

juce::StringArray UserAtScreen::recording (double seconds, const juce::String& folderName) const
{
    juce::AudioFormatManager formats;
    formats.registerBasicFormats();
    juce::StringArray paths;

    for (const auto* name : { "Floor", "HH", "Kick In", "SD Top" })
    {
        const std::unique_ptr<juce::AudioFormatReader> reader (formats.createReaderFor (
            juce::File (TESSIVAR_SOURCE_DIR "/demo").getChildFile (juce::String (name) + ".flac")));

        if (reader == nullptr)
            throw std::runtime_error ("the demo session can't be read");

        juce::AudioBuffer<float> samples (1, static_cast<int> (reader->lengthInSamples));
        reader->read (&samples, 0, samples.getNumSamples(), 0, true, false);
        const auto file = newFolder (folderName).getChildFile (juce::String (name) + ".wav");
        const std::unique_ptr<juce::AudioFormatWriter> writer (juce::WavAudioFormat().createWriterFor (
            file.createOutputStream().release(), reader->sampleRate, 1, 24, {}, 0));

        if (writer == nullptr)
            throw std::runtime_error ("no recording can be written");

        // Longer ones go on from the start.
        for (auto left = static_cast<int> (seconds * reader->sampleRate); left > 0;)
        {
            const auto count = std::min (left, samples.getNumSamples());
            writer->writeFromAudioSampleBuffer (samples, 0, count);
            left -= count;
        }

        paths.add (file.getFullPathName());
    }

    return paths;
}

std::map<std::string, std::string> UserAtScreen::environment() const
{
    const auto path = [this] (const char* name) { return file (name).getFullPathName().toStdString(); };
    return { { "HOME", path ("") },
             { "PATH", path ("bin") + ":/usr/local/bin:/usr/bin:/bin" },
             { "DISPLAY", display },
             { "XDG_RUNTIME_DIR", path ("run") },
             { "XDG_CONFIG_HOME", "" },
             { "XDG_STATE_HOME", "" },
             { "XDG_CACHE_HOME", "" },
             { "XDG_CURRENT_DESKTOP", "" },
             { "TESSIVAR_SCALE", "1" },
             // No sound server but one that a test starts for itself.
             { "JACK_DEFAULT_SERVER", "tessivar-window-test" },
             { "JACK_NO_START_SERVER", "1" } };
}

//==============================================================================

ProgramRun::ProgramRun (UserAtScreen& userToWork,
                        const juce::StringArray& arguments,
                        const std::map<std::string, std::string>& environmentChanges,
                        const juce::File& program)
    : user (userToWork), process (startOf (userToWork, arguments, environmentChanges, program)),
      startedAt (now())
{
}

ProgramRun::~ProgramRun()
{
    if (std::uncaught_exceptions() == 0)
        return;

    keepPicture ("failed");

    std::cerr << "What the program wrote:\n"
              << user.file ("program.log").loadFileAsString() << "Its log:\n"
              << user.programLog() << "Its choosers:\n"
              << user.file ("chooser.log").loadFileAsString() << std::endl;
}

juce::File ProgramRun::standardProgram()
{
    return juce::File (TESSIVAR_BIN_DIR "/tessivar");
}

bool ProgramRun::waitForWindow (int timeoutMs)
{
    const auto before = user.x.windows();
    const auto found = waitUntil (
        [&]
        {
            for (const auto each : user.x.windows())
                if (user.x.titleOf (each) == "Tessivar" && ! user.x.boundsOf (each).isEmpty())
                    window = each;

            return window != 0 || ! process.isRunning();
        },
        timeoutMs);

    if (! found || window == 0)
        return false;

    const auto shows = waitUntil (
        [&]
        {
            const auto image = picture();
            return image.isValid() && brightestIn (image, menuNames) >= 60;
        },
        timeoutMs);
    const auto answers = shows && user.x.heartbeat (window, timeoutMs).has_value();
    usableAfter = now() - startedAt;
    user.x.bringToFront (window);
    return answers;
}

bool ProgramRun::isDimmed() const
{
    const auto image = picture();
    return image.isValid() && brightestIn (image, menuNames) < dimmedBelow;
}

bool ProgramRun::waitForDialog (int timeoutMs) const
{
    return waitUntil ([this] { return isDimmed(); }, timeoutMs);
}

bool ProgramRun::waitForNoDialog (int timeoutMs) const
{
    return waitUntil ([this] { return ! isDimmed(); }, timeoutMs);
}

bool ProgramRun::waitForRest (int timeoutMs) const
{
    constexpr double rest = 300.0;
    auto since = now();
    return waitUntil (
        [&]
        {
            if (isDimmed())
                since = now();

            return now() - since > rest;
        },
        timeoutMs);
}

bool ProgramRun::asksSomething() const
{
    const auto button = primaryButtonIn (picture());

    if (button.isEmpty())
        return false;

    juce::Thread::sleep (settleMs);
    return primaryButtonIn (picture()) == button;
}

juce::Point<int> ProgramRun::leftOfDialog() const
{
    // A dialog is centred: its left side is as far from one edge as the button from the other.
    constexpr int inside = 12;
    const auto image = picture();
    const auto button = primaryButtonIn (image);
    return at (image.getWidth() - button.getRight() + inside, button.getCentreY());
}

int ProgramRun::answerUntilRest (const char* key, int timeoutMs) const
{
    constexpr double rest = 400.0;
    constexpr int fadeMs = 3000;
    auto answers = 0;
    auto since = now();
    const auto atRest = waitUntil (
        [&]
        {
            const auto image = picture();
            const auto button = primaryButtonIn (image);

            if (! image.isValid() || brightestIn (image, menuNames) < dimmedBelow)
                since = now();

            if (! button.isEmpty())
            {
                // A dialog that appears or fades looks different a moment later. Once it is gone, a key is
                // the window's: Return would open the Focus knob's field, which then takes the keys of the
                // test.
                juce::Thread::sleep (settleMs);

                if (primaryButtonIn (picture()) == button)
                {
                    user.x.key (key);
                    ++answers;
                    [[maybe_unused]] const auto changed =
                        waitUntil ([&] { return primaryButtonIn (picture()) != button; }, fadeMs);
                }
            }

            return now() - since > rest;
        },
        timeoutMs);
    return atRest ? answers : -1;
}

bool ProgramRun::exportIsPrimary() const
{
    const auto image = picture();

    if (! image.isValid())
        return false;

    // The left end of the button, beside its text.
    const auto colour = image.getPixelAt (184, image.getHeight() - 56 - 30);
    return colour.getRed() > 140 && colour.getGreen() > 190 && colour.getBlue() > 220;
}

bool ProgramRun::analyze (int timeoutMs) const
{
    user.x.click (analyzeButton());
    // A short one may be over before its dialog is seen.
    return waitUntil ([this] { return isDimmed() || exportIsPrimary(); })
           && answerUntilRest ("Return", timeoutMs) >= 0
           && waitUntil ([this] { return exportIsPrimary(); }, timeoutMs);
}

bool ProgramRun::showsTrack() const
{
    // The left edge of the frame in the overview; an empty window is dark there.
    const auto image = picture();
    return image.isValid() && brightestIn (image, { 345, image.getHeight() - 300, 3, 30 }) > 150;
}

juce::Point<int> ProgramRun::at (int left, int top) const
{
    const auto bounds = user.x.boundsOf (window);
    return bounds.getPosition()
           + juce::Point<int> (left < 0 ? bounds.getWidth() + left : left,
                               top < 0 ? bounds.getHeight() + top : top);
}

bool ProgramRun::showsSame (const juce::Image& before, juce::Rectangle<int> area) const
{
    const auto after = picture();

    if (! after.isValid() || after.getBounds() != before.getBounds())
        return false;

    if (area.getY() < 0)
        area.translate (0, after.getHeight());

    for (int y = area.getY(); y < area.getBottom(); ++y)
        for (int column = area.getX(); column < area.getRight(); ++column)
            if (before.getPixelAt (column, y) != after.getPixelAt (column, y))
                return false;

    return true;
}

void ProgramRun::keepPicture (const juce::String& name) const
{
    const juce::File file (TESSIVAR_BIN_DIR "/../window-tests/" + name + ".png");
    file.getParentDirectory().createDirectory();
    file.deleteFile();

    if (const auto image = picture(); image.isValid())
        if (const auto stream = file.createOutputStream())
            juce::PNGImageFormat().writeImageToStream (image, *stream);
}

bool ProgramRun::quitUntilAsked() const
{
    return waitUntil (
        [this]
        {
            user.x.key ("ctrl+q");
            return waitUntil ([this] { return asksSomething(); }, 5000);
        },
        20000);
}

std::optional<int> ProgramRun::quit (int timeoutMs)
{
    user.x.bringToFront (window);
    user.x.key ("ctrl+q");
    return process.waitForEnd (timeoutMs);
}

} // namespace tessivar::test
