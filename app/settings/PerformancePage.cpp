#include "app/AppSettings.h"
#include "app/settings/ChoiceGroup.h"
#include "app/settings/PerformanceState.h"
#include "app/settings/SettingsPage.h"
#include "platform/Folders.h"
#include "terms/AnalysisMethod.h"
#include "terms/WorkControl.h"
#include "ui/Buttons.h"
#include "ui/Call.h"
#include "ui/Motion.h"
#include "ui/Palette.h"

#include <thread>

namespace tessivar
{

namespace
{
constexpr double usualRate = 48000.0; // of the playback that a proposal is for while no Group is open
constexpr int cardHeight = 68, cardInset = 13, buttonWidth = 84, segmentsHeight = 34, dividerGap = 9;

std::vector<ChoiceGroup::Choice> sizeChoices()
{
    std::vector<ChoiceGroup::Choice> choices;

    for (const auto percent : interfaceSizes)
        choices.push_back ({ percent == 0 ? juce::String ("Automatic") : juce::String (percent) + "%" });

    return choices;
}

class PerformancePage final : public SettingsPage
{
public:
    explicit PerformancePage (const SettingsDialogContext& contextToUse)
        : SettingsPage ("Performance"), context (contextToUse), settings (context.workspace.settings())
    {
        threads.onChoose = [this] (int count)
        { settings.setValue (appSettingsKeys::analysisThreads, count); };
        method.onChoose = [this] (AnalysisMethod chosen)
        { settings.setValue (appSettingsKeys::analysisMethod, analysisMethodKey (chosen)); };
        seconds.onChoose = [this] (double chosen) {
            storeReadAhead ({ chosen, readAheadSettings (settings).framesPerRead });
        };
        piece.onChoose = [this] (int frames) {
            storeReadAhead ({ readAheadSettings (settings).seconds, frames });
        };
        motion.onSelect = [this] (int index)
        {
            settings.setValue (appSettingsKeys::reducedMotion, index == 1);
            tessivar::motion::setReduced (index == 1);
        };
        size.onSelect = [this] (int index)
        {
            const auto percent = interfaceSizes[static_cast<std::size_t> (index)];
            settings.setValue (appSettingsKeys::interfaceSize, percent);
            call (context.onInterfaceSizeChanged, percent);
            call (onFootnoteChanged);
        };
        runButton.onClick = [this] { runBenchmark(); };
        useButton.onClick = [this]
        {
            passFocus (useButton, runButton);

            if (benchmark)
                storeReadAhead (benchmark->proposal);
        };
        add (threads, threadsHint, seconds, secondsHint, method, piece, methodHint);
        add (benchmarkLabel, headline, verdict, runButton, useButton, sizeLabel, size, motionLabel, motion);
    }

    juce::String footnote() const override
    {
        const auto used = juce::roundToInt (juce::Desktop::getInstance().getGlobalScaleFactor() * 100.0f);

        if (const auto chosen = settings.getIntValue (appSettingsKeys::interfaceSize);
            context.onInterfaceSizeChanged && chosen > used)
            return "The screen has no room for " + juce::String (chosen) + "%: " + juce::String (used)
                   + "% is in use.";

        return context.onInterfaceSizeChanged ? "Changes apply at once, read-ahead from the next start."
                                              : "Read-ahead and interface size hold from the next start.";
    }

    void paint (juce::Graphics& g) override
    {
        g.setColour (palette::line);

        for (const auto y : { benchmarkLabel.getY() - dividerGap, card.getBottom() + dividerGap })
            g.fillRect (contentArea().withY (y).withHeight (1));

        drawCard (g, card);
    }

    void resized() override
    {
        auto area = contentArea();
        const auto leftOf = [this] (juce::Rectangle<int> row) { return row.withWidth (columnWidth()); };
        const auto rightOf = [this] (juce::Rectangle<int> row)
        { return row.withLeft (row.getRight() - columnWidth()); };
        const auto placePair = [&] (SettingsCombo& left, SettingsCombo& right)
        {
            auto rightArea = rightOf (area);
            right.setBounds (takeRow (right.label, rightArea));
            left.setBounds (leftOf (takeRow (left.label, area)));
            left.label.setBounds (leftOf (left.label.getBounds()));
            area.removeFromTop (4);
            return area.removeFromTop (18);
        };

        const auto hints = placePair (threads, seconds);
        threadsHint.setBounds (leftOf (hints));
        secondsHint.setBounds (rightOf (hints));
        area.removeFromTop (7);
        methodHint.setBounds (placePair (method, piece));

        area.removeFromTop (2 * dividerGap);
        card = takeRow (benchmarkLabel, area, 4, cardHeight);
        auto inside = card.reduced (cardInset, 8);
        auto buttons = inside.removeFromRight (buttonWidth);

        if (useButton.isVisible())
        {
            runButton.setBounds (buttons.removeFromTop (25));
            useButton.setBounds (buttons.removeFromBottom (25));
        }
        else
        {
            runButton.setBounds (buttons.withSizeKeepingCentre (buttonWidth, smallButtonHeight));
        }

        inside.removeFromRight (12);
        headline.setBounds (inside.removeFromTop (18));
        verdict.setBounds (inside);

        area.removeFromTop (2 * dividerGap);
        auto right = area.removeFromRight (motion.idealWidth());
        // The trough may go a little below the content.
        motion.setBounds (
            takeRow (motionLabel, right, 4).withHeight (segmentsHeight).expanded (ChoiceGroup::ringRoom));
        size.setBounds (takeRow (sizeLabel, area, 4)
                            .withSize (size.idealWidth(), segmentsHeight)
                            .expanded (ChoiceGroup::ringRoom));
    }

private:
    void enter() override
    {
        benchmark = BenchmarkSummary::fromText (settings.getValue (appSettingsKeys::diskBenchmark));
        refresh();
    }

    void refresh()
    {
        const auto cores = std::max (1, static_cast<int> (std::thread::hardware_concurrency()));
        const auto readAhead = readAheadSettings (settings);
        threads.show (threadChoices (cores, settings.getIntValue (appSettingsKeys::analysisThreads)));
        seconds.show (readAheadChoices (readAhead.seconds));
        piece.show (pieceChoices (readAhead.framesPerRead));
        method.show (choicesOf ({ AnalysisMethod::standard, AnalysisMethod::refined },
                                defaultMethod (settings),
                                [] (AnalysisMethod each)
                                { return each == AnalysisMethod::refined ? "Refined" : "Standard"; }));
        motion.select (tessivar::motion::isReduced() ? 1 : 0);
        size.select (interfaceSizeIndex (settings.getIntValue (appSettingsKeys::interfaceSize)));
        showBenchmark();
    }

    void showBenchmark()
    {
        const auto proposal =
            benchmark ? benchmark->proposalText (readAheadSettings (settings)) : juce::String();
        runButton.setButtonText (benchmark ? "Run again" : "Run");
        useButton.setVisible (proposal.isNotEmpty());
        headline.setText (benchmark ? benchmark->headline() : juce::String ("Not tested yet"));
        verdict.setText (
            benchmark ? benchmark->verdict (juce::Time::getCurrentTime()) + " " + proposal
                      : juce::String ("Tests how fast the folder for temporary files reads and writes, and "
                                      "proposes how far to read ahead."));
        resized();
    }

    void storeReadAhead (const ReadAheadSettings& chosen)
    {
        const auto valid = chosen.sanitised();
        settings.setValue (appSettingsKeys::readAheadSeconds, valid.seconds);
        settings.setValue (appSettingsKeys::readAheadFrames, valid.framesPerRead);
        refresh();
    }

    void runBenchmark()
    {
        const auto folder = context.workspace.temporaryFolder().folder;

        if (const auto made = makeFolder (folder); made.failed())
            return context.prompts.warn ("The folder for temporary files can't be used.",
                                         made.getErrorMessage());

        const auto fileBytes = benchmarkFileBytes (freeBytesOf (folder));

        if (! fileBytes)
            return context.prompts.warn ("There is too little free space for a test.",
                                         folder.getFullPathName());

        DiskBenchmark::Options options;
        options.fileBytes = *fileBytes;
        const auto groupRate = context.groupRate();
        options.sampleRate = groupRate > 0.0 ? groupRate : usualRate;
        DiskBenchmark measured;
        auto outcome = juce::Result::fail ("The test did not come to its end.");

        // Messages are delivered meanwhile; this page may be gone afterwards.
        const juce::Component::SafePointer<juce::Component> self (this);
        const auto ended =
            context.runJob ("Testing the disk",
                            { { "Write", 0.4 }, { "Read", 0.55 }, { "Read 24 tracks", 1.0 } },
                            [&] (const WorkControl& watch)
                            { outcome = DiskBenchmark::run (folder, options, watch, measured); });

        if (self == nullptr || ! isOpen() || ended.wasStopped())
            return;

        if (! ended.isOk() || outcome.failed())
            return context.prompts.warn ("The disk could not be tested.", outcome.getErrorMessage());

        benchmark = BenchmarkSummary::of (measured, folder, juce::Time::getCurrentTime());
        settings.setValue (appSettingsKeys::diskBenchmark, benchmark->toText());
        showBenchmark();
    }

    const SettingsDialogContext& context;
    SettingsStore& settings;
    std::optional<BenchmarkSummary> benchmark;
    juce::Rectangle<int> card;

    ValueCombo<int> threads{ "Analysis threads" };
    TextBlock threadsHint{ TextBlock::Kind::hint, "Fewer threads keep other programs quick." };
    ValueCombo<double> seconds{ "Playback read-ahead" };
    TextBlock secondsHint{ TextBlock::Kind::hint, "Raise it when playback drops out." };
    ValueCombo<AnalysisMethod> method{ "Method of new groups" };
    ValueCombo<int> piece{ "Piece size" };
    TextBlock methodHint{
        TextBlock::Kind::hint,
        "Refined models how drums leak into other microphones; it takes about twice as long."
    };
    TextBlock benchmarkLabel{ TextBlock::Kind::label, "Disk benchmark" };
    TextBlock headline{ TextBlock::Kind::value }, verdict{ TextBlock::Kind::hint };
    ActionButton runButton{ "Run" }, useButton{ "Use these" };
    TextBlock sizeLabel{ TextBlock::Kind::label, "Interface size" };
    ChoiceGroup size{ "Interface size", ChoiceGroup::Style::segments, sizeChoices() };
    TextBlock motionLabel{ TextBlock::Kind::label, "Motion" };
    ChoiceGroup motion{ "Motion", ChoiceGroup::Style::segments, { { "Full" }, { "Reduced" } } };
};
} // namespace

std::unique_ptr<SettingsPage> makePerformancePage (const SettingsDialogContext& context)
{
    return std::make_unique<PerformancePage> (context);
}

} // namespace tessivar
