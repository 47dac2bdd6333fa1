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
    juce::String activity = {}; // what the line says meanwhile; empty: nothing
    int passes = 0;             // through which the stage goes, for the line; 0: none to be told of
};

/** Read tracks to 10 %, Separate to 60 %, Build layers to the end; all of it within the first share of the progress, with the
    rest of Build layers behind it.
*/
std::vector<ProgressStage> analysisStages (int passes, double share = 1.0);

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

/** What a stage does just now: "Separating, pass 46 of 75". */
juce::String stageActivity (const ProgressState& state);

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

/** Progress of analysis, export, open, save or import, with Cancel. However often it is told the state, it repaints what
    has changed, at most 15 times a second.
*/
class ProgressDialog : public DialogContent, private juce::Timer
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
    static constexpr int repaintMs = 66;

    void timerCallback() override;
    /** Repaints what differs from what was shown last; false when nothing does. */
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
