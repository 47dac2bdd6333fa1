#include "tests/ui/Children.h"
#include "tests/ui/MouseEvents.h"
#include "tests/ui/Snapshots.h"
#include "tools/gallery/SampleStates.h"

#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "ui/EmptyView.h"
#include "ui/Palette.h"
#include "ui/TessivarControls.h"
#include "ui/TessivarSuppressionMeterComponent.h"
#include "ui/browser/BrowserView.h"
#include "ui/dock/SettingDock.h"
#include "ui/transport/TransportBar.h"
#include "ui/wave/TessivarWaveViewer.h"

#include <catch2/catch.hpp>

#include <array>
#include <functional>

using namespace tessivar;
using namespace tessivar::test;

namespace
{

constexpr auto left = juce::ModifierKeys::leftButtonModifier;
constexpr auto shiftLeft = juce::ModifierKeys::leftButtonModifier | juce::ModifierKeys::shiftModifier;
constexpr auto ctrlLeft = juce::ModifierKeys::leftButtonModifier | juce::ModifierKeys::ctrlModifier;

} // namespace

TEST_CASE ("TessivarKnobComponent", "[ui][knob]")
{
    PaintingFixture fixture;
    TessivarKnobTooltip label;
    TessivarKnobComponent knob (fixture.images, 39.0f, &label, true);
    knob.setRange (0.0, 5.0);
    knob.setDefaultValue (2.5f);
    knob.setBounds (0, 0, 128, 128);

    SECTION ("shows its dot where its value points, bright only when it can be turned")
    {
        const auto dotAt = [&] (float proportion)
        {
            const auto place =
                knobDotBounds (knob.getLocalBounds().toFloat(), 39.0f, proportion).getCentre().roundToInt();
            return snapshot (knob).getPixelAt (place.x, place.y);
        };
        knob.setValue (2.5, juce::dontSendNotification);
        CHECK (dotAt (0.5f).getBrightness() > 0.9f);
        CHECK (dotAt (0.0f).getBrightness() < 0.4f);
        knob.setEnabled (false);
        CHECK (dotAt (0.5f).getBrightness() < 0.6f);
    }

    SECTION ("jumps to its default on a shift-click, which begins no drag")
    {
        knob.setValue (1.0, juce::dontSendNotification);
        knob.mouseDown (mouseAt (knob, { 64.0f, 64.0f }, shiftLeft));
        CHECK (knob.getValue() == 2.5);
        knob.mouseDrag (mouseAt (knob, { 64.0f, 0.0f }, shiftLeft));
        CHECK (knob.getValue() == 2.5);
        knob.mouseUp (mouseAt (knob, { 64.0f, 0.0f }, shiftLeft));

        // A plain drag turns without a jump when the modifier for fine movement comes and goes.
        knob.setValue (0.0, juce::dontSendNotification);
        knob.mouseDown (mouseAt (knob, { 10.0f, 100.0f }));
        knob.mouseDrag (mouseAt (knob, { 10.0f, 50.0f }));
        CHECK (knob.getValue() == Approx (5.0 * 50.0 / 250.0));
        knob.mouseDrag (mouseAt (knob, { 160.0f, 50.0f }, ctrlLeft));
        CHECK (knob.getValue() == Approx (5.0 * (0.2 + 0.1)));
        knob.mouseDrag (mouseAt (knob, { 160.0f, 75.0f }, left));
        CHECK (knob.getValue() == Approx (5.0 * (0.3 - 0.1)));
        knob.mouseUp (mouseAt (knob, { 160.0f, 75.0f }));
    }

    SECTION ("moves by 1 % a notch of the wheel, and not while it is held or disabled")
    {
        juce::MouseWheelDetails up{ 0.0f, 50.0f / 256.0f, false, false, false };
        knob.setValue (2.5, juce::dontSendNotification);
        knob.mouseWheelMove (mouseAt (knob, { 64.0f, 64.0f }, 0), up);
        CHECK (knob.getValue() == Approx (5.0 * 0.51));
        knob.mouseWheelMove (mouseAt (knob, { 64.0f, 64.0f }, juce::ModifierKeys::ctrlModifier), up);
        CHECK (knob.getValue() == Approx (5.0 * 0.512));
        knob.mouseWheelMove (mouseAt (knob, { 64.0f, 64.0f }), up);
        knob.setEnabled (false);
        knob.mouseWheelMove (mouseAt (knob, { 64.0f, 64.0f }, 0), up);
        CHECK (knob.getValue() == Approx (5.0 * 0.512));
    }

    SECTION ("shows its label on a double-click, unless it is disabled")
    {
        label.setVisible (false);
        knob.setValue (3.1, juce::dontSendNotification);
        knob.setEnabled (false);
        knob.mouseDoubleClick (mouseAt (knob, { 64.0f, 64.0f }));
        CHECK_FALSE (label.isVisible());
        knob.setEnabled (true);
        knob.mouseDoubleClick (mouseAt (knob, { 64.0f, 64.0f }));
        CHECK (label.isVisible());
        CHECK (label.getText() == "62%");
        for (int tick = 0; tick < 85; ++tick)
            label.fadeTick();
        CHECK_FALSE (label.isVisible());
    }
}

TEST_CASE ("Control pictures", "[ui][controls]")
{
    PaintingFixture fixture;

    SECTION ("the meter's lit LEDs are ember, the others dark, from the top down")
    {
        TessivarSuppressionMeterComponent meter (fixture.images);
        meter.layOut ({ 0, 0 }, 8);
        meter.setLevel (12.0f / 41.0f + 0.0005f, 0.0f, 41.0f, false);
        const auto image = snapshot (meter);
        REQUIRE (image.getWidth() == 112);
        // At double size: readout 60, header 20, then LEDs of 10 every 16.
        const auto led = [&] (int index) { return image.getPixelAt (30, 80 + 16 * index + 5); };
        CHECK (isNear (led (0), palette::ember, 60));
        CHECK (isNear (led (11), palette::ember, 60));
        CHECK (led (12).getBrightness() < 0.25f);
        CHECK (led (40).getBrightness() < 0.25f);

        meter.mouseDown (mouseAt (meter, { 50.0f, 59.0f }));
        CHECK (meter.getState().readout() == "--");
        meter.setLevel (0.6f, 0.0f, 41.0f, false);
        meter.mouseDown (mouseAt (meter, { 50.0f, 60.0f }));
        CHECK (meter.getState().readout() == "25dB");
    }

    SECTION ("without images controls draw, and no press clears the meter")
    {
        const ResourceImages none (shippedResources().getChildFile ("none"));
        TessivarSuppressionMeterComponent meter (none);
        meter.setSize (112, 400);
        meter.setLevel (0.6f, 0.0f, 41.0f, false);
        CHECK (snapshot (meter).getPixelAt (20, 200) == juce::Colours::black);
        meter.mouseDown (mouseAt (meter, { 50.0f, 0.0f }));
        CHECK (meter.getState().readout() == "25dB");

        // A check box glows when it is on, with its images and without.
        for (const auto* images : std::array<const ResourceImages*, 2>{ &fixture.images, &none })
        {
            TessivarCheckBox box (*images);
            box.layOut ({ 0, 0, 20, 20 });
            CHECK (snapshot (box).getPixelAt (20, 20).getBrightness() < 0.4f);
            box.setToggleState (true, juce::dontSendNotification);
            CHECK (snapshot (box).getPixelAt (20, 20).getBrightness() > 0.9f);
        }
    }

    SECTION ("the empty window offers the demo session only where there is one, clear of everything else")
    {
        EmptyView empty;
        empty.setSize (723, 556); // the smallest window's
        auto opened = 0;
        empty.onDemo = [&] { ++opened; };
        auto& demo = *empty.getChildComponent (2);
        CHECK_FALSE (demo.isVisible());
        const auto before = snapshot (empty);
        for (int y = demo.getY(); y < demo.getBottom(); ++y)
            CHECK (isNear (before.getPixelAt (empty.getWidth() / 2, y), juce::Colour (0xff1a1f27), 16));
        empty.setHasDemo (true);
        CHECK (demo.isVisible());
        dynamic_cast<juce::Button&> (demo).onClick();
        CHECK (opened == 1);
    }
}

TEST_CASE ("SettingDock", "[ui][dock]")
{
    PaintingFixture fixture;
    SettingDock dock (fixture.images);
    dock.setSize (935, 202);
    dock.setState (dockSample());

    SECTION ("reports a turned knob with the sounding setting's values and shows the label")
    {
        std::vector<float> heard;
        dock.onFocusChange = [&] (float value) { heard.push_back (value); };
        dock.getFocus().nudge (0.01);
        REQUIRE (heard.size() == 1);
        CHECK (heard[0] == Approx (3.15f));
        CHECK (dock.getFocus().getLabel().getText() == "63%");
        CHECK (dock.getFocus().getLabel().isVisible());
        dock.getFocus().keyPressed (
            juce::KeyPress (juce::KeyPress::downKey, juce::ModifierKeys::shiftModifier, 0));
        CHECK (heard.back() == Approx (2.9f));
    }

    SECTION ("takes a typed percentage, and for an empty text goes back to what was")
    {
        float heard = -1.0f;
        dock.onFocusChange = [&] (float value) { heard = value; };
        auto& label = dock.getFocus().getLabel();
        label.setText ("40", juce::sendNotificationSync);
        CHECK (heard == Approx (2.0f));
        heard = -1.0f;
        label.setText ("%", juce::sendNotificationSync);
        CHECK (heard == -1.0f);
        CHECK (label.getText() == "40%");
    }

    SECTION ("reports nothing while there is nothing to turn")
    {
        int calls = 0;
        dock.onFocusChange = [&] (float) { ++calls; };
        dock.onListeningChange = [&] (ListenMode) { ++calls; };
        dock.onChooseSetting = [&] (KnobSetting, bool) { ++calls; };
        auto state = dockSample();
        state.available = false;
        dock.setState (state);
        dock.getFocus().nudge (0.1);
        dock.getListen().press (ListenMode::bypass);
        dock.getSetting().mouseDown (mouseAt (dock.getSetting(), { 140.0f, 80.0f }));
        CHECK (calls == 0);
    }

    SECTION ("tells the cell that was clicked, and with Shift that it is for the group")
    {
        std::vector<std::pair<KnobSetting, bool>> chosen;
        dock.onChooseSetting = [&] (KnobSetting letter, bool wholeGroup) {
            chosen.push_back ({ letter, wholeGroup });
        };
        auto& setting = dock.getSetting();
        setting.mouseDown (mouseAt (setting, { 140.0f, 80.0f }));
        setting.mouseDown (mouseAt (setting, { 60.0f, 80.0f }));
        setting.mouseDown (mouseAt (setting, { 60.0f, 80.0f }, shiftLeft));
        REQUIRE (chosen.size() == 2);
        CHECK (chosen[0] == std::pair (KnobSetting::b, false));
        CHECK (chosen[1] == std::pair (KnobSetting::a, true));
    }

    SECTION ("draws the value ring up to the value in ice and beyond it in grey")
    {
        auto& section = dock.getFocus();
        const auto centre = section.getKnob().getBounds().toFloat().getCentre();
        const auto image = snapshot (section);
        const auto ringAt = [&] (float proportion)
        {
            const auto place =
                centre.getPointOnCircumference (0.54f * 128.0f, angleForProportion (proportion)).roundToInt();
            return image.getPixelAt (place.x, place.y);
        };
        CHECK (isNear (ringAt (0.5f), palette::iceMid, 30));
        CHECK (ringAt (0.9f).getBrightness() < 0.35f);
    }
}

TEST_CASE ("BrowserList", "[ui][browser]")
{
    PaintingFixture fixture;
    BrowserList list (fixture.images);
    list.setSize (344, 600);
    list.setState (browserSample (true));
    const auto rowOf = [&] (RowId track)
    { return childOf<TrackRow> (list, [&] (TrackRow& row) { return row.getTrack() == track; }); };
    const auto click = [&] (RowId track, int modifiers = left)
    {
        rowOf (track)->mouseDown (mouseAt (*rowOf (track), { 200.0f, 20.0f }, modifiers));
        rowOf (track)->mouseUp (mouseAt (*rowOf (track), { 200.0f, 20.0f }, modifiers));
    };

    SECTION ("chooses rows by clicks and keys and reports each change once")
    {
        std::vector<RowId> leads;
        list.onSelect = [&] (const BrowserSelection& selection) { leads.push_back (selection.lead); };
        click (12);
        click (12);
        list.keyPressed (juce::KeyPress (juce::KeyPress::downKey));
        list.keyPressed (juce::KeyPress (juce::KeyPress::upKey, juce::ModifierKeys::altModifier, 0));
        CHECK (leads == std::vector<RowId>{ 12, 13 });
    }

    SECTION ("lets a type chosen in one of several chosen rows act on all of them")
    {
        std::vector<RowId> acted;
        list.onType = [&] (const std::vector<RowId>& tracks, DrumType) { acted = tracks; };
        list.setSelection ({ 1, 11, 11, { 11, 13 } });
        const auto chooseIn = [&] (RowId track) {
            childOf<DrumTypeChooser> (*rowOf (track), [] (auto&) { return true; })
                ->onChoose (DrumType::snare);
        };
        chooseIn (13);
        CHECK (acted == std::vector<RowId>{ 11, 13 });
        chooseIn (12);
        CHECK (acted == std::vector<RowId>{ 12 });

        // A click singles a row out only when it is let go without a drag.
        auto& row = *rowOf (13);
        row.mouseDown (mouseAt (row, { 200.0f, 20.0f }));
        CHECK (list.getSelection().tracks.size() == 2);
        row.mouseUp (mouseAt (row, { 200.0f, 20.0f }));
        CHECK (list.getSelection().tracks == std::vector<RowId>{ 13 });
    }

    SECTION ("sets the type that a track sounds like, or says that it is no drum, of that row alone")
    {
        std::vector<std::pair<std::vector<RowId>, DrumType>> answers;
        list.onType = [&] (const std::vector<RowId>& tracks, DrumType type) {
            answers.push_back ({ tracks, type });
        };
        const auto button = [&] (const char* name) {
            return childOf<IconButton> (*rowOf (12),
                                        [&] (IconButton& found) { return found.getName() == name; });
        };
        CHECK (childOf<OfferButtons> (*rowOf (12), [] (auto&) { return true; }) == nullptr);
        auto state = browserSample (true);
        auto& offered = state.groups[0].tracks[1];
        offered.type = DrumType::other;
        offered.typeUnknown = true;
        offered.offeredType = DrumType::tomLow;
        list.setState (state);
        list.setSelection ({ 1, 11, 11, { 11, 12 } });
        REQUIRE (button ("Set this drum type") != nullptr);
        button ("Set this drum type")->onClick();
        button ("Not a drum")->onClick();
        const std::vector<RowId> alone{ 12 };
        CHECK (answers == decltype (answers){ { alone, DrumType::tomLow }, { alone, DrumType::other } });
    }

    SECTION ("moves a row that is dragged inside the list, not one that is let go beside it")
    {
        juce::Viewport viewport;
        viewport.setSize (344, 400);
        viewport.setViewedComponent (&list, false);
        auto moves = 0;
        list.onMoveTracks = [&] (const std::vector<RowId>&, RowId, int) { ++moves; };
        auto& row = *rowOf (12);
        const auto dragTo = [&] (juce::Point<float> end)
        {
            const juce::Point<float> start (200.0f, 20.0f);
            row.mouseDown (mouseAt (row, start));
            row.mouseDrag (mouseAt (row, end, left, start));
            row.mouseUp (mouseAt (row, end, left, start));
        };
        dragTo ({ 500.0f, 60.0f });
        CHECK (moves == 0);
        dragTo ({ 200.0f, 100.0f });
        CHECK (moves == 1);
    }

    SECTION ("folds the chosen group by the arrow keys")
    {
        std::vector<RowId> folded;
        list.onFold = [&] (RowId group) { folded.push_back (group); };
        list.setSelection ({ 2, 0, 0, {} });
        CHECK (list.keyPressed (juce::KeyPress (juce::KeyPress::leftKey))); // is folded already
        CHECK (list.keyPressed (juce::KeyPress (juce::KeyPress::rightKey)));
        list.setSelection ({ 1, 11, 11, { 11 } });
        CHECK_FALSE (list.keyPressed (juce::KeyPress (juce::KeyPress::leftKey)));
        CHECK (folded == std::vector<RowId>{ 2 });
    }

    SECTION ("keeps a row's component when only its content changes")
    {
        auto* before = rowOf (12);
        auto state = browserSample (true);
        state.groups[0].tracks[1].focusPercent = 50;
        list.setState (state);
        CHECK (rowOf (12) == before);
        state.groups[0].tracks.erase (state.groups[0].tracks.begin());
        list.setState (state);
        CHECK (rowOf (12) == before);
        CHECK (rowOf (11) == nullptr);
        CHECK (before->getY() == 46);
    }

    SECTION ("outlives a group that its own button closes")
    {
        list.onClose = [&] (RowId) { list.setState ({}); };
        auto* row = childOf<GroupRow> (list, [] (GroupRow& each) { return each.getGroup() == 1; });
        childOf<juce::Button> (*row, [] (auto& button) { return button.getTitle().startsWith ("Close"); })
            ->onClick();
        CHECK (list.getNumChildComponents() == 0);
        CHECK (list.getSelection() == BrowserSelection{});
    }

    SECTION ("shows levels in ember behind and the type's colour in front")
    {
        list.setLevels ({ { 12, 1.0f, 0.5f } });
        const auto image = snapshot (*rowOf (12));
        CHECK (isNear (image.getPixelAt (330, 12), palette::emberLine));
        CHECK (isNear (image.getPixelAt (330, 45), palette::snare));
    }
}

TEST_CASE ("Browser and transport", "[ui][browser]")
{
    PaintingFixture fixture;

    SECTION ("files dropped on a group go there, elsewhere they make a new one")
    {
        BrowserView browser (fixture.images);
        browser.setSize (345, 716);
        browser.setState (browserSample (true));
        std::vector<RowId> targets;
        browser.onFilesDropped = [&] (const juce::StringArray&, RowId group) { targets.push_back (group); };
        browser.filesDropped ({ "a.wav" }, 100, 200);
        browser.filesDropped ({ "a.wav" }, 100, 44 + 1 + 46 + 8 * 57 + 10);
        browser.filesDropped ({ "a.wav" }, 100, 20);
        CHECK (targets == std::vector<RowId>{ 1, 2, 0 });
    }

    SECTION ("one click chooses the other method, and the owner lights it")
    {
        BrowserView browser (fixture.images);
        browser.setSize (345, 716);
        auto state = browserSample (true);
        state.analyze = BrowserState::Analyze::analyze;
        browser.setState (state);
        std::vector<AnalysisMethod> chosen;
        browser.onMethodChosen = [&] (AnalysisMethod method) { chosen.push_back (method); };
        auto* choice = childOf<MethodChoice> (browser, [] (auto&) { return true; });
        REQUIRE (choice != nullptr);
        const auto named = [&] (const char* title) {
            return childOf<juce::Button> (*choice, [=] (auto& button) { return button.getTitle() == title; });
        };
        auto *standard = named ("Standard method, about 6 s"),
             *refined = named ("Refined method, about 13 s");
        REQUIRE (standard != nullptr);
        REQUIRE (refined != nullptr);
        CHECK (refined->getToggleState());
        refined->onClick();
        standard->onClick();
        CHECK (chosen == std::vector{ AnalysisMethod::standard });
        CHECK_FALSE (standard->getToggleState());
    }

    SECTION ("a state says which buttons can be used")
    {
        TransportBar bar (fixture.images);
        bar.setSize (1280, 56);
        TransportState state;
        state.hasTrack = true;
        state.playable = false;
        bar.setState (state);
        int plays = 0;
        bar.onPlayOrStop = [&] { ++plays; };
        auto* play = childOf<juce::Button> (bar, [] (auto& button) { return button.getTitle() == "Play"; });
        REQUIRE (play != nullptr);
        CHECK_FALSE (play->isEnabled());
        state.playable = true;
        bar.setState (state);
        CHECK (play->isEnabled());
        // The round ground of the play button is ice while it offers to play.
        CHECK (isNear (snapshot (bar).getPixelAt (70, 28), palette::ice, 40));
        play->onClick();
        CHECK (plays == 1);
    }
}
