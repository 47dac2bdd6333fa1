#pragma once

#include "terms/AnalysisMethod.h"
#include "ui/Buttons.h"

#include <functional>

namespace tessivar
{

/** The two methods of analysis side by side, one of them lit, each with its time. */
class MethodChoice : public juce::Component
{
public:
    MethodChoice();

    /** @param standardTime  "about 6 s", or empty */
    void show (AnalysisMethod chosen, const juce::String& standardTime, const juce::String& refinedTime);

    /** The user clicked the method that was not lit. */
    std::function<void (AnalysisMethod)> onChoose;
    /** Asked when the pointer rests on a method: what it does and takes. */
    std::function<juce::String (AnalysisMethod)> onDescribe;

    void paint (juce::Graphics& g) override;
    void resized() override;

private:
    class MethodButton : public LookButton
    {
    public:
        MethodButton (MethodChoice& owner, AnalysisMethod methodToOffer, const juce::String& word);

        void show (bool isChosen, const juce::String& newTime);
        juce::String getTooltip() override;
        void paintButton (juce::Graphics& g, bool over, bool down) override;

    private:
        MethodChoice& choice;
        const AnalysisMethod method;
        juce::String time;
    };

    MethodButton standard{ *this, AnalysisMethod::standard, "Standard" },
        refined{ *this, AnalysisMethod::refined, "Refined" };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (MethodChoice)
};

} // namespace tessivar
