#pragma once

#include "ui/dialogs/DialogContent.h"

#include <optional>

namespace tessivar
{

/** A stage of a long operation, with the overall progress at which it ends, 0 to 1. */
struct ProgressStage
{
    juce::String name;
    double end = 1.0;
    juce::String activity = {}; // what the line says meanwhile; empty: nothing
    int passes = 0;             // shown in the line; 0: none
};

/** Read tracks to 10 %, Separate to 60 %, Build layers to the end. With a share below 1 all of this takes
    that share of the progress, and Build layers the rest as well.
*/
std::vector<ProgressStage> analysisStages (int passes, double share = 1.0);

struct ProgressState
{
    std::vector<ProgressStage> stages; // empty: one bar without names
    double progress = 0.0;             // 0 to 1
    juce::String status;
    std::optional<double> secondsLeft;
};

/** Progress of one stage, 0 to 1. */
double stageProgress (const ProgressState& state, std::size_t stage);
/** Index of the running stage; the last one when all are done. */
std::size_t currentStage (const ProgressState& state);

/** What the running stage does: "Separating, pass 46 of 75". */
juce::String stageActivity (const ProgressState& state);

/** "Separating, pass 46 of 75 · about 40 s left" */
juce::String progressLine (const ProgressState& state);

/** Time left, from the speed so far; nothing in the first five seconds, when an estimate would jump. */
std::optional<double> estimateSecondsLeft (double progress, double secondsSoFar);

/** Decides when a screen reader speaks: at each stage, and every ten percent. */
class ProgressAnnouncer
{
public:
    /** What to say in this state; empty for nothing. */
    juce::String next (const ProgressState& state);

private:
    std::optional<std::size_t> stage;
    int tens = 0;
};

/** Progress of an analysis, export, open, save or import, with Cancel. However often its state is set, it
    repaints only what changed, at most 15 times a second.
*/
class ProgressDialog : public DialogContent, private juce::Timer
{
public:
    explicit ProgressDialog (const juce::String& titleText);

    void setState (const ProgressState& newState);

    /** The user wants to stop. The dialog stays until the owner removes it; Cancel is grey from then on. */
    std::function<void()> onCancel;

    int idealWidth() const override { return 480; }
    juce::String getMessage() const override { return progressLine (state); }
    void paint (juce::Graphics& g) override;

protected:
    int bodyHeight (int width) const override;
    void layOutBody (juce::Rectangle<int> body) override;

private:
    static constexpr int repaintMs = 66;

    void timerCallback() override;
    /** Repaints what differs from what is on screen; false when nothing does. */
    bool showChanges();
    juce::Rectangle<int> barArea (std::size_t stage) const;
    juce::Rectangle<int> stageNameArea (std::size_t stage) const;
    juce::Rectangle<int> wordsArea() const;
    juce::Rectangle<int> percentArea() const;
    juce::Rectangle<int> lineArea() const;
    void paintStage (juce::Graphics& g, std::size_t stage) const;

    ProgressState state, shown;
    ProgressAnnouncer announcer;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ProgressDialog)
};

} // namespace tessivar
