#include "tests/ui/Children.h"
#include "tests/ui/MouseEvents.h"
#include "tests/ui/Snapshots.h"
#include "tools/gallery/SampleStates.h"

#include "ui/browser/BrowserView.h"
#include "ui/dialogs/BlindTestDialog.h"
#include "ui/transport/TransportBar.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
/** A part of a component by its title or its name; the test fails when there is none. */
template <typename Kind>
Kind& partOf (juce::Component& whole, const juce::String& title)
{
    auto* found = childOf<Kind> (
        whole, [&] (Kind& part) { return part.getTitle() == title || part.getName() == title; });
    INFO (title);
    REQUIRE (found != nullptr);
    return *found;
}

juce::KeyPress key (int code, int modifiers = 0)
{
    return { code, juce::ModifierKeys (modifiers), 0 };
}
} // namespace

TEST_CASE ("A blind test counts", "[ui][kit]")
{
    SECTION ("how likely guessing is as good")
    {
        CHECK (BlindTest::chanceOf (0, 0) == 1.0);
        CHECK (BlindTest::chanceOf (0, 10) == Approx (1.0));
        CHECK (BlindTest::chanceOf (1, 1) == Approx (0.5));
        CHECK (BlindTest::chanceOf (8, 10) == Approx (56.0 / 1024.0));
        CHECK (BlindTest::chanceOf (12, 16) == Approx (2517.0 / 65536.0));
        CHECK (BlindTest::chanceOf (10, 10) == Approx (1.0 / 1024.0));
        CHECK (BlindTest::chanceOf (5000, 10000) == Approx (0.504).margin (0.001));
    }

    SECTION ("answers of rounds in which X is either")
    {
        BlindTest test (1);
        int numB = 0, numChanges = 0;
        for (int i = 0; i < 1000; ++i)
        {
            const auto x = test.x();
            numB += x == KnobSetting::b ? 1 : 0;
            test.answer (i % 4 == 0 ? otherSetting (x) : x);
            numChanges += test.x() != x ? 1 : 0;
        }
        CHECK (test.numRight() == 750);
        CHECK (std::abs (numB - 500) < 80);
        CHECK (std::abs (numChanges - 500) < 80);
    }
}

TEST_CASE ("The blind test is worked by keys alone", "[ui][kit]")
{
    PaintingFixture fixture;
    BlindTestDialog dialog (7);
    std::vector<KnobSetting> heard;
    dialog.onListen = [&] (KnobSetting setting) { heard.push_back (setting); };
    dialog.setSize (dialog.idealWidth(), dialog.idealHeight (dialog.idealWidth()));
    auto& score = dialog.getButton (0);
    const auto press = [&] (int code) { REQUIRE (dialog.keyPressed (key (code))); };

    // Before A and B are known to be equally loud nothing can be heard or said.
    press ('A');
    press ('1');
    CHECK (heard.empty());
    CHECK_FALSE (score.isEnabled());

    dialog.isReady = [] { return true; };
    for (int i = 0; i < 100 && ! partOf<ActionButton> (dialog, "Play X").isEnabled(); ++i)
        juce::MessageManager::getInstance()->runDispatchLoopUntil (20);

    press ('a');
    press ('B');
    CHECK (heard == std::vector{ KnobSetting::a, KnobSetting::b });

    // X stays what it is within a round; whoever says so is right. The next one is not heard unasked.
    for (int round = 0; round < 6; ++round)
    {
        heard.clear();
        press ('X');
        press ('A');
        press ('X');
        REQUIRE (heard.size() == 3);
        CHECK (heard[0] == heard[2]);
        press (heard[0] == KnobSetting::a ? '1' : '2');
        CHECK (heard.back() == KnobSetting::a);
    }

    CHECK (score.isEnabled());
    press ('S');
    CHECK (score.getButtonText() == "Start over");
    heard.clear();
    press ('X');
    press ('1');
    CHECK (heard.empty());
    const auto scored = snapshot (dialog);
    score.onClick();
    CHECK_FALSE (score.isEnabled()); // no round yet
    CHECK (dialog.keyPressed (key (juce::KeyPress::escapeKey)));
    CHECK (scored.isValid());
}

TEST_CASE ("The fader of a row", "[ui][kit]")
{
    PaintingFixture fixture;
    StripFader fader (fixture.images);
    fader.setSize (84, 28);
    fader.setLevel (-12.0f);
    const auto level = [&] { return fader.getValue(); };

    REQUIRE (fader.keyPressed (key (juce::KeyPress::rightKey)));
    CHECK (level() == Approx (-11.5));
    REQUIRE (fader.keyPressed (key (juce::KeyPress::leftKey, juce::ModifierKeys::shiftModifier)));
    CHECK (level() == Approx (-14.5));
    CHECK_FALSE (fader.keyPressed (key (juce::KeyPress::upKey))); // the list's
    CHECK_FALSE (fader.keyPressed (key (juce::KeyPress::deleteKey)));
    fader.mouseWheelMove (mouseAt (fader, { 10, 10 }, 0), { 0.0f, -1.0f, false, false, false });
    CHECK (level() == Approx (-15.0));
    REQUIRE (fader.keyPressed (key (juce::KeyPress::backspaceKey)));
    CHECK (level() == 0.0);

    // A drag that comes near 0 dB rests there.
    CHECK (fader.snapValue (0.5, juce::Slider::absoluteDrag) == 0.0);
    CHECK (fader.snapValue (-0.8, juce::Slider::absoluteDrag) == -0.8);
    CHECK (fader.getTextFromValue (-60.0) == "Off");
    CHECK (fader.getTextFromValue (-3.5).endsWith ("3.5 dB"));
}

TEST_CASE ("What belongs to the kit shows with it", "[ui][kit]")
{
    PaintingFixture fixture;

    SECTION ("in the rows of a browser of any width, where it acts on all that are selected")
    {
        const auto compact = GENERATE (false, true);
        BrowserView browser (fixture.images);
        browser.setCompact (compact);
        browser.setSize (compact ? 300 : 344, 700);
        auto state = browserSample (true);
        for (auto& track : state.groups[0].tracks)
            track.strip = MixStrip{};
        browser.setState (state);
        auto& list = browser.getList();
        const auto& rows = state.groups[0].tracks;
        list.setSelection ({ state.groups[0].id, rows[1].id, rows[0].id, { rows[0].id, rows[1].id } });

        std::vector<RowId> soloed, muted;
        list.onSolo = [&] (const std::vector<RowId>& tracks, bool on)
        { soloed = on ? tracks : std::vector<RowId>{}; };
        list.onMute = [&] (const std::vector<RowId>& tracks, bool) { muted = tracks; };
        partOf<juce::Button> (browser, "Solo " + rows[0].name).onClick();
        partOf<juce::Button> (browser, "Mute " + rows[2].name).onClick();
        CHECK (soloed == std::vector{ rows[0].id, rows[1].id });
        CHECK (muted == std::vector{ rows[2].id });

        auto& fader = partOf<StripFader> (browser, "Level of " + rows[0].name);
        CHECK (fader.getWidth() >= 64);
        CHECK (fader.getHeight() >= 28);
        for (auto& track : state.groups[0].tracks)
            track.strip.reset();
        browser.setState (state);
        CHECK_FALSE (fader.getParentComponent()->isVisible());
    }

    SECTION ("in the transport, where there is room for all at the smallest width")
    {
        TransportBar bar (fixture.images);
        bar.setSize (1024, TransportBar::height);
        TransportState state;
        state.hasTrack = true;
        state.position = state.duration = 3599.0;
        state.loop = juce::Range<double> (3000.0, 3500.0);
        bar.setState (state);
        auto asked = 0;
        bar.onWholeGroup = [&] (bool whole) { asked = whole ? 1 : -1; };
        auto& kit = partOf<juce::Button> (bar, "Hear the kit");
        auto& alone = partOf<juce::Button> (bar, "Hear the selected track");
        CHECK (alone.getToggleState());
        kit.onClick();
        CHECK (asked == 1);
        state.wholeGroup = true;
        bar.setState (state);
        CHECK ((kit.getToggleState() && ! alone.getToggleState()));

        std::vector<juce::Component*> shown;
        for (auto* child : bar.getChildren())
            if (child->isVisible())
            {
                for (auto* other : shown)
                {
                    INFO (child->getTitle() << " and " << other->getTitle());
                    CHECK_FALSE (child->getBounds().intersects (other->getBounds()));
                }
                shown.push_back (child);
            }
    }

    SECTION ("and undo and redo name their step, and are grey without one")
    {
        BrowserView browser (fixture.images);
        browser.setSize (300, 700);
        auto state = browserSample (true);
        state.undoName = "Focus of SN Top";
        browser.setState (state);
        auto& undo = partOf<juce::Button> (browser, "Undo Focus of SN Top");
        CHECK (undo.getTooltip() == "Undo: Focus of SN Top [Ctrl+Z]");
        CHECK (undo.isEnabled());
        CHECK_FALSE (partOf<juce::Button> (browser, "Redo").isEnabled());
    }
}
