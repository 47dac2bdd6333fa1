#include "tools/windowdriver/ProgramRun.h"
#include "tools/windowdriver/XDropTarget.h"

#include <catch2/catch.hpp>

using namespace tessivar::test;

namespace
{
/** What a program that is not ours makes of a line of the list. */
juce::String pathOf (const juce::String& uri)
{
    REQUIRE (uri.startsWith ("file:///"));
    std::string bytes;

    for (auto text = uri.substring (7).toStdString(); ! text.empty();)
    {
        const auto isNumber = text[0] == '%';
        REQUIRE (static_cast<unsigned char> (text[0]) < 0x80);
        bytes += isNumber ? static_cast<char> (std::stoi (text.substr (1, 2), nullptr, 16)) : text[0];
        text.erase (0, isNumber ? 3 : 1);
    }

    return juce::String::fromUTF8 (bytes.data(), static_cast<int> (bytes.size()));
}
} // namespace

TEST_CASE ("Rows are dragged out", "[window][drag]")
{
    UserAtScreen user (testDisplay());
    user.presetExperiencedUser();
    const auto names = { "Kick 50% in.wav", "SD B\xc3\xb6ttom #2.wav" };
    const auto take = user.newFolder ("Take");
    const auto recorded = user.recording (4.0);
    juce::StringArray files;

    for (const auto* name : names)
    {
        const auto file = take.getChildFile (juce::String::fromUTF8 (name));
        REQUIRE (juce::File (recorded[files.size()]).copyFileTo (file));
        files.add (file.getFullPathName());
    }

    ProgramRun run (user);
    REQUIRE (run.waitForWindow());
    REQUIRE (user.x.drop (run.window, run.waveform(), files));
    REQUIRE (waitUntil ([&] { return run.showsTrack() && ! run.isDimmed(); }));
    REQUIRE (run.analyze());
    REQUIRE (run.waitForRest());
    user.x.key ("ctrl+a");

    for (int i = 0; i < 6; ++i)
    {
        user.x.key ("alt+shift+Up");
        user.x.key ("alt+Down");
    }

    const auto saved = user.file ("Take.dls");
    user.answerChoosers ({ { saved.getFullPathName() } });
    user.x.key ("ctrl+s");
    REQUIRE (waitUntil ([&] { return saved.existsAsFile(); }));
    REQUIRE (run.waitForRest());
    const auto out = user.file ("out");
    ChildProgram exporting ({ .program = TESSIVAR_BIN_DIR "/tessivar-cli",
                              .arguments = { "export",
                                             saved.getFullPathName().toStdString(),
                                             "--out",
                                             out.getFullPathName().toStdString() },
                              .environment = {},
                              .outputFile = {} });
    REQUIRE (exporting.waitForEnd (60000) == 0);
    const auto exported = out.findChildFiles (juce::File::findFiles, false);
    REQUIRE (exported.size() == 2);

    const auto row = [&] (int index) { return run.at (200, 28 + 44 + 46 + 57 * index + 14); };
    const auto place = run.waveform();
    const auto carry = [&] (juce::Point<int> from, juce::Point<int> to)
    {
        constexpr int steps = 12;

        for (int i = 1; i <= steps; ++i)
        {
            user.x.moveTo (from + (to - from) * i / steps);
            juce::Thread::sleep (15);
        }
    };
    /** The files as they were when they came. */
    const auto drag = [&] (const XDropTarget& target, juce::Point<int> from)
    {
        user.x.moveTo (from);
        user.x.press();
        carry (from, place);
        const auto entered = target.numEntered();
        REQUIRE (waitUntil (
            [&]
            {
                user.x.moveTo (place.translated (1, 0));
                user.x.moveTo (place);
                return target.numEntered() > entered || entered > 0;
            }));
        juce::Thread::sleep (200);
        user.x.moveTo (place.translated (3, 3));
        juce::Thread::sleep (200);
        user.x.release();
        std::optional<std::string> list;
        REQUIRE (waitUntil ([&] { return (list = target.takeDropped()).has_value(); }));
        auto lines = juce::StringArray::fromLines (juce::String (*list));
        CHECK (list->ends_with ("\r\n"));
        lines.removeEmptyStrings();
        return lines;
    };
    const auto isExported = [&] (const juce::String& uri)
    {
        const juce::File file (pathOf (uri));
        INFO (uri);
        return file.hasIdenticalContentTo (out.getChildFile (file.getFileName()));
    };

    SECTION ("to another program, as they would be exported")
    {
        const XDropTarget target (user.display, { place.x - 60, place.y - 60, 120, 120 });
        REQUIRE (target.isConnected());
        user.x.click (row (0));
        const auto one = drag (target, row (0));
        REQUIRE (one.size() == 1);
        CHECK (isExported (one[0]));

        // Both, the second time without being written again.
        user.x.key ("ctrl+a");
        const auto both = drag (target, row (1));
        REQUIRE (both.size() == 2);
        CHECK (isExported (both[0]));
        CHECK (isExported (both[1]));
        run.keepPicture ("dragged-out");

        // Out of the target, in again, and let go beside it.
        const auto entered = target.numEntered();
        user.x.moveTo (row (0));
        user.x.press();
        carry (row (0), place);
        carry (place, place.translated (200, 0));
        carry (place.translated (200, 0), place);
        CHECK (waitUntil ([&] { return target.numEntered() == entered + 2; }));
        carry (place, place.translated (200, 0));
        user.x.release();
        juce::Thread::sleep (300);
        CHECK_FALSE (target.takeDropped().has_value());

        const juce::File written (pathOf (one[0]));
        CHECK (written.existsAsFile());
        CHECK (run.quit() == 0);
        CHECK_FALSE (written.existsAsFile());
    }

    SECTION ("and let go in the window change nothing")
    {
        user.x.click (row (0));
        user.x.moveTo (place);
        juce::Thread::sleep (500);
        const auto before = run.picture();
        const juce::Rectangle<int> rows (0, 119, 330, 113);
        user.x.moveTo (row (0));
        user.x.press();
        carry (row (0), place);
        juce::Thread::sleep (500); // by now the desktop has the drag
        carry (place, row (1).translated (0, 40));
        user.x.release();
        user.x.moveTo (place);
        CHECK (waitUntil ([&] { return run.showsSame (before, rows); }, 5000));
        run.keepPicture ("dragged-in");
        CHECK (run.quit() == 0); // without a question: nothing is unsaved
    }
}
