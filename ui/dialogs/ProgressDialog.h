#pragma once

#include "ui/dialogs/DialogContent.h"

#include <optional>

namespace tessivar
{

/** A stage of a long operation; it ends at this fraction of the whole, 0 to 1. */
struct ProgressStage
{
    juce::String name;
    double end = 1.0;
};

/** Read tracks to 10 %, Separate to 60 %, Build layers to the end. */
std::vector<ProgressStage> analysisStages();

struct ProgressState
{
    std::vector<ProgressStage> stages; // empty: one bar without names
    double progress = 0.0;             // 0 to 1
    juce::String status;
    std::optional<double> secondsLeft;
};

/** Fraction of a stage that is done, 0 to 1. */
double stageProgress (const ProgressState& state, std::size_t stage);
/** Index of the stage that runs; the last one when all is done. */
std::size_t currentStage (const ProgressState& state);

/** "Separating, pass 46 of 75 · about 40 s left" */
juce::String progressLine (const ProgressState& state);

/** Time left of an operation, from its speed so far; nothing in the first five seconds, when a guess would jump. */
std::optional<double> estimateSecondsLeft (double progress, double secondsSoFar);

/** Says when a screen reader should speak: at each stage, and every ten percent. */
class ProgressAnnouncer
{
public:
    /** What is to be said at this state; empty for nothing. */
    juce::String next (const ProgressState& state);

private:
    std::optional<std::size_t> stage;
    int tens = 0;
};

/** Progress of analysis, export, open, save or import, with Cancel. */
class ProgressDialog : public DialogContent
{
public:
    explicit ProgressDialog (const juce::String& titleText);

    void setState (const ProgressState& newState);
    void setMessageTitle (const juce::String& text) { setTitleText (text); }

    /** The user wants to stop. The dialog stays until the owner takes it away; Cancel is grey from then on. */
    std::function<void()> onCancel;

    int idealWidth() const override { return 480; }
    juce::String getMessage() const override { return progressLine (state); }
    void paint (juce::Graphics& g) override;

protected:
    int bodyHeight (int width) const override;
    void layOutBody (juce::Rectangle<int> body) override;

private:
    void paintStages (juce::Graphics& g, juce::Rectangle<int> area) const;

    ProgressState state;
    ProgressAnnouncer announcer;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ProgressDialog)
};

} // namespace tessivar
