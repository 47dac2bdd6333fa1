#include "app/settings/PerformancePage.h"

#include "app/AppSettings.h"
#include "model/TemporaryStore.h"
#include "platform/Folders.h"
#include "terms/AnalysisMethod.h"
#include "terms/WorkControl.h"
#include "ui/Motion.h"

#include <thread>

namespace tessivar
{

namespace
{
constexpr double usualRate = 48000.0; // of the playback that a proposal is for while no Group is open
constexpr int cardHeight = 68, cardInset = 13, buttonWidth = 84;

std::vector<ChoiceGroup::Choice> sizeChoices()
{
    std::vector<ChoiceGroup::Choice> choices;

    for (const auto percent : interfaceSizes)
        choices.push_back (
            { percent == 0 ? juce::String ("Automatic") : juce::String (percent) + "%", Icon::none, {} });

    return choices;
}

std::vector<ProgressStage> benchmarkStages()
{
    return { { "Write", 0.4 }, { "Read", 0.55 }, { "Read 24 tracks", 1.0 } };
}
} // namespace

PerformancePage::PerformancePage (const SettingsDialogContext& contextToUse)
    : SettingsPage ("Performance"), context (contextToUse),
      size ("Interface size", ChoiceGroup::Style::segments, sizeChoices()),
      motion ("Motion",
              ChoiceGroup::Style::segments,
              { { "Full", Icon::none, {} }, { "Reduced", Icon::none, {} } })
{
    threads.onChange = [this]
    {
        const auto index = static_cast<std::size_t> (threads.getSelectedItemIndex());
        settings().setValue (appSettingsKeys::analysisThreads, threadList.values[index]);
    };
    method.onChange = [this]
    {
        const auto chosen =
            method.getSelectedItemIndex() == 1 ? AnalysisMethod::refined : AnalysisMethod::standard;
        settings().setValue (appSettingsKeys::analysisMethod, analysisMethodKey (chosen));
    };
    seconds.onChange = [this]
    {
        auto chosen = readAheadSettings (settings());
        chosen.seconds = secondsList.values[static_cast<std::size_t> (seconds.getSelectedItemIndex())];
        storeReadAhead (chosen);
    };
    piece.onChange = [this]
    {
        auto chosen = readAheadSettings (settings());
        chosen.framesPerRead = pieceList.values[static_cast<std::size_t> (piece.getSelectedItemIndex())];
        storeReadAhead (chosen);
    };
    motion.onSelect = [this] (int index)
    {
        const auto isReduced = index == 1;
        settings().setValue (appSettingsKeys::reducedMotion, isReduced);
        tessivar::motion::setReduced (isReduced);
        motion.select (index);
    };
    size.onSelect = [this] (int index) { chooseSize (index); };
    runButton.onClick = [this] { runBenchmark(); };
    useButton.onClick = [this]
    {
        passFocus (useButton, runButton);

        if (benchmark)
            storeReadAhead (benchmark->proposal);
    };

    for (auto* component : std::initializer_list<juce::Component*>{
             &threadsLabel, &threads,        &threadsHint, &secondsLabel, &seconds,
             &secondsHint,  &methodLabel,    &method,      &pieceLabel,   &piece,
             &methodHint,   &benchmarkLabel, &headline,    &verdict,      &runButton,
             &useButton,    &sizeLabel,      &size,        &motionLabel,  &motion })
        addAndMakeVisible (component);
}

void PerformancePage::enter()
{
    benchmark = BenchmarkSummary::fromText (settings().getValue (appSettingsKeys::diskBenchmark));
    refresh();
}

juce::String PerformancePage::footnote() const
{
    return context.onInterfaceSizeChanged ? "Changes apply at once, read-ahead from the next start."
                                          : "Read-ahead and interface size hold from the next start.";
}

void PerformancePage::refresh()
{
    const auto cores = std::max (1, static_cast<int> (std::thread::hardware_concurrency()));
    const auto readAhead = readAheadSettings (settings());
    threadList = threadChoices (cores, settings().getIntValue (appSettingsKeys::analysisThreads));
    secondsList = readAheadChoices (readAhead.seconds);
    pieceList = pieceChoices (readAhead.framesPerRead);
    threads.setChoices (threadList.texts, threadList.selected);
    seconds.setChoices (secondsList.texts, secondsList.selected);
    piece.setChoices (pieceList.texts, pieceList.selected);
    method.setChoices ({ "Standard", "Refined" },
                       defaultMethod (settings()) == AnalysisMethod::refined ? 1 : 0);
    motion.select (tessivar::motion::isReduced() ? 1 : 0);
    size.select (interfaceSizeIndex (settings().getIntValue (appSettingsKeys::interfaceSize)));
    showBenchmark();
}

void PerformancePage::showBenchmark()
{
    const auto proposal =
        benchmark ? benchmark->proposalText (readAheadSettings (settings())) : juce::String();
    runButton.setButtonText (benchmark ? "Run again" : "Run");
    useButton.setVisible (proposal.isNotEmpty());
    headline.setText (benchmark ? benchmark->headline() : juce::String ("Not tested yet"));
    verdict.setText (
        benchmark ? benchmark->verdict (juce::Time::getCurrentTime()) + " " + proposal
                  : juce::String ("Tests how fast the folder for temporary files reads and writes, and "
                                  "proposes how far to read ahead."));
    resized();
}

void PerformancePage::storeReadAhead (const ReadAheadSettings& chosen)
{
    const auto valid = chosen.sanitised();
    settings().setValue (appSettingsKeys::readAheadSeconds, valid.seconds);
    settings().setValue (appSettingsKeys::readAheadFrames, valid.framesPerRead);
    refresh();
}

void PerformancePage::chooseSize (int index)
{
    const auto percent = interfaceSizes[static_cast<std::size_t> (index)];
    settings().setValue (appSettingsKeys::interfaceSize, percent);

    if (context.onInterfaceSizeChanged)
        context.onInterfaceSizeChanged (percent);
}

void PerformancePage::runBenchmark()
{
    const auto folder = context.workspace.temporaryFolder().folder;

    if (const auto made = makeFolder (folder); made.failed())
        return context.prompts.warn ("The folder for temporary files can't be used.", made.getErrorMessage());

    const auto fileBytes = benchmarkFileBytes (freeBytesOf (folder));

    if (! fileBytes)
        return context.prompts.warn ("There is too little free space for a test.", folder.getFullPathName());

    DiskBenchmark::Options options;
    options.fileBytes = *fileBytes;
    const auto groupRate = context.groupRate ? context.groupRate() : 0.0;
    options.sampleRate = groupRate > 0.0 ? groupRate : usualRate;
    DiskBenchmark measured;
    auto outcome = juce::Result::fail ("The test did not come to its end.");

    // Messages are delivered meanwhile; this page may be gone afterwards.
    const juce::Component::SafePointer<juce::Component> self (this);
    const auto end = context.runJob ("Testing the disk",
                                     benchmarkStages(),
                                     [&] (const WorkControl& watch)
                                     { outcome = DiskBenchmark::run (folder, options, watch, measured); });

    if (self == nullptr || ! isOpen() || end == JobRunner::End::stopped)
        return;

    if (end == JobRunner::End::failed || outcome.failed())
        return context.prompts.warn ("The disk could not be tested.", outcome.getErrorMessage());

    benchmark = BenchmarkSummary::of (measured, folder, juce::Time::getCurrentTime());
    settings().setValue (appSettingsKeys::diskBenchmark, benchmark->toText());
    showBenchmark();
}

void PerformancePage::paint (juce::Graphics& g)
{
    drawDivider (g, contentArea(), firstDivider);
    drawDivider (g, contentArea(), secondDivider);
    drawCard (g, card);
}

void PerformancePage::resized()
{
    auto area = contentArea();
    const auto columnWidth = (area.getWidth() - columnGap) / 2;
    const auto placeRow = [&] (juce::Component& leftLabel,
                               juce::Component& left,
                               juce::Component& rightLabel,
                               juce::Component& right)
    {
        placeField (leftLabel, left, area.withWidth (columnWidth));
        placeField (rightLabel, right, area.withLeft (area.getRight() - columnWidth));
        area.removeFromTop (labelHeight + labelGap + fieldHeight + 4);
        return area.removeFromTop (18);
    };

    const auto hints = placeRow (threadsLabel, threads, secondsLabel, seconds);
    threadsHint.setBounds (hints.withWidth (columnWidth));
    secondsHint.setBounds (hints.withLeft (hints.getRight() - columnWidth));
    area.removeFromTop (7);
    methodHint.setBounds (placeRow (methodLabel, method, pieceLabel, piece));

    firstDivider = area.getY() + 9;
    area.removeFromTop (18);
    benchmarkLabel.setBounds (area.removeFromTop (labelHeight));
    area.removeFromTop (4);
    card = area.removeFromTop (cardHeight);
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

    secondDivider = area.getY() + 9;
    area.removeFromTop (18);
    const auto motionWidth = motion.idealWidth();
    auto labels = area.removeFromTop (labelHeight);
    motionLabel.setBounds (labels.removeFromRight (motionWidth));
    sizeLabel.setBounds (labels);
    area.removeFromTop (4);
    size.setBounds (area.withSize (size.idealWidth(), 34).expanded (ChoiceGroup::ringRoom));
    motion.setBounds (area.withSize (motionWidth, 34)
                          .withX (area.getRight() - motionWidth)
                          .expanded (ChoiceGroup::ringRoom));
}

} // namespace tessivar
