#pragma once

#include "ui/dialogs/BlindTest.h"
#include "ui/dialogs/DialogContent.h"

namespace tessivar
{

/** A blind test of the settings A and B: plays A, B and X, takes answers, and shows the score when asked for
    it. All of it by keys as well.
*/
class BlindTestDialog : public DialogContent, private juce::Timer
{
public:
    explicit BlindTestDialog (std::uint64_t seed);

    /** A setting is to be heard from now on, where the playhead is. */
    std::function<void (KnobSetting)> onListen;
    std::function<void()> onPlayOrStop;

    /** Whether both settings are known to be equally loud; asked until they are. */
    std::function<bool()> isReady;

    int idealWidth() const override { return 560; }
    juce::String getMessage() const override;
    bool keyPressed (const juce::KeyPress& key) override;
    void paint (juce::Graphics& g) override;

protected:
    int bodyHeight (int width) const override;
    void layOutBody (juce::Rectangle<int> body) override;

private:
    enum class Heard
    {
        nothing,
        a,
        b,
        x
    };

    void timerCallback() override;
    void listenTo (Heard what);
    void answer (KnobSetting said);
    void showScoreOrStartOver();
    void showState();
    juce::String scoreText() const;
    void paintRounds (juce::Graphics& g, juce::Rectangle<int> area) const;

    BlindTest test;
    Heard heard = Heard::nothing;
    bool ready = false, showsScore = false;
    ActionButton playA{ "Play A" }, playB{ "Play B" }, playX{ "Play X" }, isA{ "X is A" }, isB{ "X is B" };
    juce::Rectangle<int> scoreArea;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (BlindTestDialog)
};

} // namespace tessivar
