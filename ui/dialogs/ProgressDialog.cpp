#include "ui/dialogs/ProgressDialog.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/TessivarLookAndFeel.h"

#include <cmath>

namespace tessivar
{
namespace
{

constexpr int stageGap = 6;
constexpr double smallestMove = 0.25; // logical pixels that a bar's end moves before it is repainted

int percentOf (double progress)
{
    // Truncated, so that 100 % means done; the millionth makes up for 0.58 being stored slightly low.
    return juce::jlimit (0, 100, static_cast<int> (progress * 100.0 + 1.0e-6));
}

juce::String timeLeftText (double seconds)
{
    // Steps a person would say: tens of seconds, then minutes.
    if (seconds < 10.0)
        return "a few seconds left";
    if (seconds < 90.0)
        return "about " + juce::String (10 * juce::roundToInt (seconds / 10.0)) + " s left";
    return "about " + juce::String (juce::roundToInt (seconds / 60.0)) + " min left";
}

} // namespace

std::vector<ProgressStage> analysisStages (int passes, double share)
{
    return { { "Read tracks", 0.1 * share, "Reading tracks" },
             { "Separate", 0.6 * share, "Separating", passes },
             { "Build layers", 1.0, "Building layers" } };
}

juce::String stageActivity (const ProgressState& state)
{
    if (state.stages.empty())
        return {};

    const auto stage = currentStage (state);
    const auto& shown = state.stages[stage];

    if (shown.passes == 0)
        return shown.activity;

    const auto pass =
        std::min (shown.passes, 1 + static_cast<int> (stageProgress (state, stage) * shown.passes));
    return shown.activity + ", pass " + juce::String (pass) + " of " + juce::String (shown.passes);
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
    : DialogContent (titleText, { { "Cancel", ButtonLook::standard, false, false, true, false } })
{
    // A job may come while something is typed: Escape stops it, Enter does not.
    getButton (0).setWantsKeyboardFocus (false);
    onChoice = [this] (int)
    {
        getButton (0).setEnabled (false);
        call (onCancel);
    };
}

void ProgressDialog::setState (const ProgressState& newState)
{
    const auto isLaidOut = newState.stages.size() == state.stages.size();
    state = newState;
    if (const auto words = announcer.next (state); words.isNotEmpty())
        juce::AccessibilityHandler::postAnnouncement (words,
                                                      juce::AccessibilityHandler::AnnouncementPriority::low);
    if (! isLaidOut)
    {
        shown = state;
        call (onHeightChanged);
        resized();
        repaint();
    }
    if (isTimerRunning())
        return;
    showChanges();
    startTimer (repaintMs);
}

void ProgressDialog::timerCallback()
{
    if (! showChanges())
        stopTimer();
}

bool ProgressDialog::showChanges()
{
    auto changed = false;
    const auto repaintIf = [&] (bool differs, juce::Rectangle<int> area)
    {
        if (differs)
            repaint (area);
        changed = changed || differs;
    };
    const auto moved = [] (double from, double to, int width)
    { return std::abs (to - from) * width >= smallestMove || (to >= 1.0) != (from >= 1.0); };

    const auto count = state.stages.size();
    if (count == 0)
        repaintIf (moved (shown.progress, state.progress, barArea (0).getWidth()), barArea (0));
    for (std::size_t i = 0; i < count; ++i)
    {
        const auto before = stageProgress (shown, i), after = stageProgress (state, i);
        repaintIf (moved (before, after, barArea (i).getWidth()), barArea (i));
        repaintIf ((before >= 1.0) != (after >= 1.0)
                       || (currentStage (shown) == i) != (currentStage (state) == i),
                   stageNameArea (i));
    }
    repaintIf (percentOf (shown.progress) != percentOf (state.progress), percentArea());
    repaintIf (progressLine (shown) != progressLine (state), lineArea());
    if (changed)
        shown = state;
    return changed;
}

int ProgressDialog::bodyHeight (int) const
{
    // Percentage and status line stand beside the button, not above it.
    return state.stages.empty() ? 28 : 49;
}

void ProgressDialog::layOutBody (juce::Rectangle<int>) {}

juce::Rectangle<int> ProgressDialog::barArea (std::size_t stage) const
{
    const auto area = getLocalBounds().reduced (padding);
    if (state.stages.empty())
        return area.withY (padding + 38).withHeight (8);
    const auto count = static_cast<int> (state.stages.size()), index = static_cast<int> (stage);
    const auto room = area.getWidth() + stageGap;
    const auto left = room * index / count, right = room * (index + 1) / count - stageGap;
    return { area.getX() + left, area.getY() + 35, right - left, 6 };
}

juce::Rectangle<int> ProgressDialog::stageNameArea (std::size_t stage) const
{
    const auto bar = barArea (stage);
    return bar.withY (bar.getBottom() + 7).withHeight (18);
}

juce::Rectangle<int> ProgressDialog::wordsArea() const
{
    const auto cancel = getButton (0).getBounds();
    return cancel.withX (padding).withRight (cancel.getX() - 12);
}

juce::Rectangle<int> ProgressDialog::percentArea() const
{
    const auto words = wordsArea();
    return words.withY (words.getBottom() - 47).withHeight (28);
}

juce::Rectangle<int> ProgressDialog::lineArea() const
{
    const auto words = wordsArea();
    return words.withY (words.getBottom() - 17).withHeight (18);
}

void ProgressDialog::paint (juce::Graphics& g)
{
    DialogContent::paint (g);
    if (state.stages.empty())
        drawProgressTrough (g, barArea (0).toFloat(), state.progress);
    for (std::size_t i = 0; i < state.stages.size(); ++i)
        paintStage (g, i);

    g.setColour (palette::textHigh);
    fonts::drawTabular (g,
                        fonts::inter (24.0f, fonts::Weight::semibold),
                        juce::String (percentOf (state.progress)) + "%",
                        percentArea().toFloat(),
                        juce::Justification::centredLeft);
    g.setColour (palette::textLow);
    g.setFont (fonts::inter (12.0f));
    g.drawText (progressLine (state), lineArea(), juce::Justification::centredLeft, true);
}

void ProgressDialog::paintStage (juce::Graphics& g, std::size_t stage) const
{
    const auto share = stageProgress (state, stage);
    drawProgressTrough (g, barArea (stage).toFloat(), share);
    auto name = stageNameArea (stage).toFloat();
    const auto isDone = share >= 1.0;
    if (isDone)
    {
        drawIcon (
            g, Icon::tick, name.removeFromLeft (12.0f).withSizeKeepingCentre (11.0f, 11.0f), palette::green);
        name.removeFromLeft (5.0f);
    }
    const auto isNow = stage == currentStage (state) && ! isDone;
    g.setColour (isNow ? palette::textHigh : (isDone ? palette::textMid : palette::textLow));
    g.setFont (fonts::inter (12.0f, isNow ? fonts::Weight::semibold : fonts::Weight::regular));
    g.drawText (state.stages[stage].name, name, juce::Justification::centredLeft, true);
}

} // namespace tessivar
