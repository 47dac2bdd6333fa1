#include "tests/ui/Snapshots.h"

#include "ui/dialogs/ChecklistDialog.h"
#include "ui/dialogs/ExportReportDialog.h"
#include "ui/dialogs/FileDialog.h"
#include "ui/dialogs/MessageDialog.h"
#include "ui/dialogs/ProgressDialog.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

namespace
{

/** Notes what a component asks to have painted anew. */
struct RepaintRecorder : juce::CachedComponentImage
{
    explicit RepaintRecorder (juce::RectangleList<int>& areasToFill) : areas (areasToFill) {}

    void paint (juce::Graphics&) override {}
    bool invalidateAll() override
    {
        areas.add (0, 0, 10000, 10000);
        return true;
    }
    bool invalidate (const juce::Rectangle<int>& area) override
    {
        areas.add (area);
        return true;
    }
    void releaseResources() override {}

    juce::RectangleList<int>& areas;
};

} // namespace

TEST_CASE ("Progress", "[ui][dialogs]")
{
    ProgressState state{ analysisStages (75), 0.35, "Separating, pass 37 of 75", {} };
    CHECK (stageActivity (state) == "Separating, pass 38 of 75");
    CHECK (stageActivity ({ analysisStages (75), 0.6, {}, {} }).startsWith ("Building"));
    CHECK (stageActivity ({ analysisStages (75, 0.5), 0.175, {}, {} }) == "Separating, pass 38 of 75");

    SECTION ("belongs to one stage at a time")
    {
        CHECK (currentStage (state) == 1);
        CHECK (stageProgress (state, 0) == 1.0);
        CHECK (stageProgress (state, 1) == Approx (0.5));
        CHECK (stageProgress (state, 2) == 0.0);
        state.progress = 0.6;
        CHECK (currentStage (state) == 2);
        state.progress = 1.0;
        CHECK (currentStage (state) == 2);
    }

    SECTION ("guesses the time left only after five seconds")
    {
        CHECK_FALSE (estimateSecondsLeft (0.5, 4.0).has_value());
        CHECK_FALSE (estimateSecondsLeft (0.0, 60.0).has_value());
        CHECK (estimateSecondsLeft (0.25, 20.0) == Approx (60.0));
        state.secondsLeft = 38.0;
        CHECK (progressLine (state)
               == juce::String::fromUTF8 ("Separating, pass 37 of 75 \xc2\xb7 about 40 s left"));
    }

    SECTION ("is announced at each stage and every ten percent, and nowhere between")
    {
        ProgressAnnouncer announcer;
        const auto at = [&] (double progress)
        {
            state.progress = progress;
            return announcer.next (state);
        };
        CHECK (at (0.0) == "Read tracks");
        CHECK (at (0.05).isEmpty());
        CHECK (at (0.1) == "Separate, 10 percent");
        CHECK (at (0.19).isEmpty());
        CHECK (at (0.45) == "40 percent");
        CHECK (at (1.0) == "Build layers, 100 percent");
    }
}

TEST_CASE ("Dialogs", "[ui][dialogs]")
{
    PaintingFixture fixture;

    SECTION ("a warning answers when it closes, not when its list is copied")
    {
        std::vector<bool> silenced;
        auto dialog = makeWarningDialog (fixture.images,
                                         "Warning",
                                         "Text",
                                         { "a.wav", "b.wav" },
                                         { "no header" },
                                         true,
                                         [&] (bool silence) { silenced.push_back (silence); });
        int dismissed = 0;
        dialog->onDismiss = [&] { ++dismissed; };
        dialog->choose (0);
        CHECK (silenced.empty());
        CHECK (dismissed == 0);
        dialog->escape();
        CHECK (silenced == std::vector<bool>{ false });
        CHECK (dismissed == 1);
    }

    SECTION ("Escape gives the safe answer to a question, whichever side it stands on")
    {
        for (const auto look : { ButtonLook::primary, ButtonLook::caution, ButtonLook::danger })
        {
            std::vector<bool> answers;
            auto dialog = makeQuestionDialog (fixture.images,
                                              "T",
                                              "M",
                                              "Yes",
                                              "No",
                                              look,
                                              [&] (bool answer) { answers.push_back (answer); });
            dialog->keyPressed (juce::KeyPress (juce::KeyPress::escapeKey));
            dialog->choose (dialog->getButton (0).getButtonText() == "Yes" ? 0 : 1);
            CHECK (answers == std::vector<bool>{ false, true });
        }
    }

    SECTION ("Enter saves under the proposed name")
    {
        const auto proposed =
            juce::File::getSpecialLocation (juce::File::tempDirectory).getChildFile ("T.wav");
        FileDialog dialog ({ "T", "Save", "*.wav", proposed, true });
        std::vector<juce::File> chosen;
        dialog.onResult = [&] (const auto& files) { chosen = files; };
        CHECK (dialog.keyPressed (juce::KeyPress (juce::KeyPress::returnKey)));
        CHECK (chosen == std::vector<juce::File>{ proposed });
    }

    SECTION ("quitting hands over which groups are ticked")
    {
        std::optional<QuitChoice> choice;
        std::vector<bool> toSave;
        auto dialog =
            makeQuitDialog (fixture.images,
                            { { "Take 3", "Never saved", true }, { "Take 5", "Focus changed", false } },
                            [&] (QuitChoice chosen, const std::vector<bool>& ticked)
                            {
                                choice = chosen;
                                toSave = ticked;
                            });
        dialog->escape();
        CHECK (choice == QuitChoice::cancel);
        dialog->choose (2);
        CHECK (choice == QuitChoice::saveAndQuit);
        CHECK (toSave == std::vector<bool>{ true, false });
    }

    SECTION ("a running operation repaints its bar and its words, and those not before they change")
    {
        juce::RectangleList<int> areas;
        ProgressDialog dialog ("Analyzing");
        dialog.setSize (480, dialog.idealHeight (480));
        dialog.setVisible (true);
        ProgressState state{ analysisStages (75), 0.35, "Separating", 40.0 };
        dialog.setState (state);
        dialog.setCachedComponentImage (new RepaintRecorder (areas));
        const auto settle = [] { juce::MessageManager::getInstance()->runDispatchLoopUntil (250); };
        settle();
        areas.clear();

        state.progress = 0.35001; // less than what can be seen
        dialog.setState (state);
        settle();
        CHECK (areas.isEmpty());
        state.progress = 0.36; // the second stage goes on, the percent with it
        dialog.setState (state);
        settle();
        CHECK_FALSE (areas.isEmpty());
        CHECK (areas.containsRectangle ({ 173, 62, 60, 4 }));
        for (const auto& area : areas)
            CHECK (area.getWidth() * area.getHeight() < 480 * 30);

        areas.clear();
        for (int i = 0; i < 20; ++i)
        {
            state.progress = 0.37 + 0.01 * i;
            dialog.setState (state);
        }
        CHECK (areas.getNumRectangles() <= 3); // one round: the bar, the percent, the line
        settle();
        CHECK (areas.containsRectangle ({ 173, 62, 60, 4 }));
        dialog.setCachedComponentImage (nullptr);
    }

    SECTION ("Cancel of a running operation asks once and leaves the dialog to the owner")
    {
        ProgressDialog dialog ("Analyzing");
        int cancelled = 0, dismissed = 0;
        dialog.onCancel = [&] { ++cancelled; };
        dialog.onDismiss = [&] { ++dismissed; };
        dialog.escape();
        dialog.escape();
        CHECK (cancelled == 1);
        CHECK (dismissed == 0);
    }

    SECTION ("an export report counts its files and offers another try only after a failure")
    {
        ExportReportContent report;
        report.lines = { { "a.wav", {}, ExportReportLine::Outcome::written },
                         { "b.wav", "Failed to open file.", ExportReportLine::Outcome::failed } };
        CHECK (report.title() == "1 of 2 files exported");
        CHECK (ExportReportDialog (fixture.images, report).getNumButtons() == 3);
        report.lines[1].outcome = ExportReportLine::Outcome::remarked;
        CHECK (report.title() == "2 files exported");
        CHECK (ExportReportDialog (fixture.images, report).getNumButtons() == 2);
    }

    SECTION ("a list shows long paths and reasons whole, in more lines")
    {
        const juce::String path (
            "/Volumes/Sessions 2026/Drums/Close microphones/A very long take name/Kick In.wav");
        DialogList list (fixture.images);
        const auto heightOf = [&] (const juce::String& text, const juce::String& remark)
        {
            list.setRows ({ { .text = text, .remark = remark } }, 30);
            return list.idealHeight (400);
        };
        CHECK (heightOf ("Kick In.wav", "Failed to open file.") == 32);
        CHECK (heightOf (path, {}) > 45);
        CHECK (heightOf (path.removeCharacters (" "), {}) > 45);
        CHECK (heightOf ("Kick In.wav", "Failed to open file: " + path) > 60);
    }

    SECTION ("a scrim shows one dialog above the other and goes with the last, which may open the next")
    {
        DialogScrim scrim;
        scrim.setSize (1024, 640);
        int answers = 0;
        const auto ask = [&] (std::function<void()> then)
        {
            scrim.show (makeWarningDialog (
                fixture.images, "T", "M", {}, {}, false, [then = std::move (then)] (bool) { then(); }));
        };
        ask ([&] { ++answers; });
        ask ([&] { ask ([&] { ++answers; }); });
        auto* second = scrim.getTop();
        second->escape();
        CHECK (scrim.getTop() != second);
        scrim.getTop()->escape();
        scrim.getTop()->escape();
        CHECK (answers == 2);
        CHECK_FALSE (scrim.isVisible());
    }

    SECTION ("a progress dialog that is told its stages when it is on the screen takes the height they need")
    {
        DialogScrim scrim;
        scrim.setSize (1024, 640);
        auto content = std::make_unique<ProgressDialog> ("Analyzing");
        auto& dialog = *content;
        scrim.show (std::move (content));
        const auto plain = dialog.getHeight();
        dialog.setState ({ analysisStages (75), 0.1, {}, {} });
        CHECK (dialog.getHeight() > plain);
        CHECK (dialog.getHeight() == dialog.idealHeight (dialog.getWidth()));
        CHECK (std::abs (dialog.getBounds().getCentreY() - 320) <= 1);
    }

    SECTION ("a dialog's shadow goes with it, in every size of the window and the display")
    {
        DialogScrim scrim;
        scrim.setSize (1024, 640);
        scrim.show (makeWarningDialog (fixture.images, "T", "M", {}, {}, false, nullptr));
        for (const auto size : { juce::Point<int> (1024, 640), juce::Point<int> (1400, 900) })
            for (const auto scale : { 1, 2 })
            {
                scrim.setSize (size.x, size.y);
                juce::Image picture (juce::Image::RGB, size.x * scale, size.y * scale, true);
                juce::Graphics g (picture);
                g.addTransform (juce::AffineTransform::scale (static_cast<float> (scale)));
                g.fillAll (juce::Colours::white);
                scrim.paintEntireComponent (g, false);
                const auto card = scrim.getTop()->getBounds();
                const auto brightness = [&] (int x, int y)
                { return picture.getPixelAt (x * scale, y * scale).getBrightness(); };
                const auto far = brightness (4, 4);
                CHECK (brightness (card.getCentreX(), card.getBottom() + 6) < 0.8f * far);
                CHECK (brightness (card.getRight() + 4, card.getCentreY()) < 0.9f * far);
                CHECK (brightness (card.getCentreX(), card.getBottom() + 60) == Approx (far));
            }
    }
}
