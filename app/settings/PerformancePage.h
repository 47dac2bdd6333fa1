#pragma once

#include "app/settings/ChoiceGroup.h"
#include "app/settings/PerformanceState.h"
#include "app/settings/SettingsDialog.h"
#include "app/settings/SettingsPage.h"
#include "ui/Buttons.h"

namespace tessivar
{

/** Threads and method of the analysis, read-ahead, disk benchmark, interface size. */
class PerformancePage : public SettingsPage
{
public:
    explicit PerformancePage (const SettingsDialogContext& contextToUse);

    [[nodiscard]] juce::String footnote() const override;
    void paint (juce::Graphics& g) override;
    void resized() override;

protected:
    void enter() override;

private:
    void refresh();
    void showBenchmark();
    void runBenchmark();
    void storeReadAhead (const ReadAheadSettings& chosen);
    void chooseSize (int index);
    [[nodiscard]] SettingsStore& settings() const { return context.workspace.settings(); }

    const SettingsDialogContext& context;
    ChoiceList<int> threadList, pieceList;
    ChoiceList<double> secondsList;
    std::optional<BenchmarkSummary> benchmark;
    juce::Rectangle<int> card;
    int firstDivider = 0, secondDivider = 0;

    TextBlock threadsLabel{ TextBlock::Kind::label, "Analysis threads" };
    SettingsCombo threads{ "Analysis threads" };
    TextBlock threadsHint{ TextBlock::Kind::hint, "Fewer threads keep other programs quick." };
    TextBlock secondsLabel{ TextBlock::Kind::label, "Playback read-ahead" };
    SettingsCombo seconds{ "Playback read-ahead" };
    TextBlock secondsHint{ TextBlock::Kind::hint, "Raise it when playback drops out." };
    TextBlock methodLabel{ TextBlock::Kind::label, "Method of new groups" };
    SettingsCombo method{ "Method of new groups" };
    TextBlock methodHint{
        TextBlock::Kind::hint,
        "Refined models how drums leak into other microphones; it takes about twice as long."
    };
    TextBlock pieceLabel{ TextBlock::Kind::label, "Piece size" };
    SettingsCombo piece{ "Piece size" };
    TextBlock benchmarkLabel{ TextBlock::Kind::label, "Disk benchmark" };
    TextBlock headline{ TextBlock::Kind::value }, verdict{ TextBlock::Kind::hint };
    ActionButton runButton{ "Run" }, useButton{ "Use these" };
    TextBlock sizeLabel{ TextBlock::Kind::label, "Interface size" };
    ChoiceGroup size;
    TextBlock motionLabel{ TextBlock::Kind::label, "Motion" };
    ChoiceGroup motion;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (PerformancePage)
};

} // namespace tessivar
