#include "ui/dialogs/ProgressDialog.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/TessivarLookAndFeel.h"

#include <cmath>

namespace tessivar
{
namespace
{

int percentOf (double progress)
{
    // Cut, so that 100 % stands for the end alone; the millionth takes up what 0.58 lacks to 58 hundredths.
    return juce::jlimit (0, 100, static_cast<int> (progress * 100.0 + 1.0e-6));
}

juce::String timeLeftText (double seconds)
{
    // Steps that a person would say: tens of seconds, then minutes.
    if (seconds < 10.0)
        return "a few seconds left";
    if (seconds < 90.0)
        return "about " + juce::String (10 * juce::roundToInt (seconds / 10.0)) + " s left";
    return "about " + juce::String (juce::roundToInt (seconds / 60.0)) + " min left";
}

} // namespace

std::vector<ProgressStage> analysisStages()
{
    return { { "Read tracks", 0.1 }, { "Separate", 0.6 }, { "Build layers", 1.0 } };
}

double stageProgress (const ProgressState& state, std::size_t stage)
{
    const auto start = stage == 0 ? 0.0 : state.stages[stage - 1].end;
    const auto length = state.stages[stage].end - start;
    return length > 0.0 ? juce::jlimit (0.0, 1.0, (state.progress - start) / length) : 1.0;
}

std::size_t currentStage (const ProgressState& state)
{
    std::size_t stage = 0;
    while (stage + 1 < state.stages.size() && state.progress >= state.stages[stage].end)
        ++stage;
    return stage;
}

juce::String progressLine (const ProgressState& state)
{
    if (! state.secondsLeft.has_value())
        return state.status;
    const auto left = timeLeftText (*state.secondsLeft);
    return state.status.isEmpty() ? left : state.status + juce::String::fromUTF8 (" \xc2\xb7 ") + left;
}

std::optional<double> estimateSecondsLeft (double progress, double secondsSoFar)
{
    if (secondsSoFar < 5.0 || progress < 0.02)
        return {};
    return secondsSoFar * (1.0 - std::min (1.0, progress)) / progress;
}

juce::String ProgressAnnouncer::next (const ProgressState& state)
{
    juce::StringArray parts;
    if (! state.stages.empty())
    {
        const auto now = currentStage (state);
        if (stage != now)
            parts.add (state.stages[now].name);
        stage = now;
    }
    const auto nowTens = percentOf (state.progress) / 10;
    if (nowTens > tens)
        parts.add (juce::String (nowTens * 10) + " percent");
    tens = std::max (tens, nowTens);
    return parts.joinIntoString (", ");
}

ProgressDialog::ProgressDialog (const juce::String& titleText)
    : DialogContent (titleText, { { "Cancel", ButtonLook::standard, false, true, true, false } })
{
    onChoice = [this] (int)
    {
        getButton (0).setEnabled (false);
        if (onCancel != nullptr)
            onCancel();
    };
}

void ProgressDialog::setState (const ProgressState& newState)
{
    const auto hadStages = ! state.stages.empty();
    state = newState;
    if (const auto words = announcer.next (state); words.isNotEmpty())
        juce::AccessibilityHandler::postAnnouncement (words,
                                                      juce::AccessibilityHandler::AnnouncementPriority::low);
    if (hadStages == state.stages.empty())
        resized();
    repaint();
}

int ProgressDialog::bodyHeight (int) const
{
    // The percent and the status line stand beside the button, not above it.
    return state.stages.empty() ? 48 : 58;
}

void ProgressDialog::layOutBody (juce::Rectangle<int>) {}

void ProgressDialog::paint (juce::Graphics& g)
{
    DialogContent::paint (g);
    const auto area = getLocalBounds().reduced (padding);
    if (state.stages.empty())
        drawProgressTrough (g, area.withY (padding + 39).withHeight (8).toFloat(), state.progress);
    else
        paintStages (g, area.withTrimmedTop (36));

    const auto words = getButton (0).getBounds().withX (padding).withRight (getButton (0).getX() - 12);
    g.setColour (palette::textHigh);
    fonts::drawTabular (g,
                        fonts::inter (24.0f, fonts::Weight::semibold),
                        juce::String (percentOf (state.progress)) + "%",
                        words.withY (words.getBottom() - 47).withHeight (28).toFloat(),
                        juce::Justification::centredLeft);
    g.setColour (palette::textLow);
    g.setFont (fonts::inter (12.0f));
    g.drawText (progressLine (state),
                words.withY (words.getBottom() - 17).withHeight (18),
                juce::Justification::centredLeft,
                true);
}

void ProgressDialog::paintStages (juce::Graphics& g, juce::Rectangle<int> area) const
{
    constexpr float gap = 6.0f;
    const auto count = static_cast<float> (state.stages.size());
    const auto width = (static_cast<float> (area.getWidth()) - gap * (count - 1.0f)) / count;
    const auto now = currentStage (state);
    auto x = static_cast<float> (area.getX());
    for (std::size_t i = 0; i < state.stages.size(); ++i)
    {
        const juce::Rectangle<float> bar (x, static_cast<float> (area.getY()), width, 6.0f);
        drawProgressTrough (g, bar, stageProgress (state, i));
        auto name = bar.withY (bar.getBottom() + 7.0f).withHeight (18.0f);
        const auto isDone = stageProgress (state, i) >= 1.0;
        if (isDone)
        {
            drawIcon (g,
                      Icon::tick,
                      name.removeFromLeft (12.0f).withSizeKeepingCentre (11.0f, 11.0f),
                      palette::green);
            name.removeFromLeft (5.0f);
        }
        const auto isNow = i == now && ! isDone;
        g.setColour (isNow ? palette::textHigh : (isDone ? palette::textMid : palette::textLow));
        g.setFont (fonts::inter (12.0f, isNow ? fonts::Weight::semibold : fonts::Weight::regular));
        g.drawText (state.stages[i].name, name, juce::Justification::centredLeft, true);
        x += width + gap;
    }
}

} // namespace tessivar
