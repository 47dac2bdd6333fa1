#include "app/settings/ChoiceGroup.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

namespace tessivar
{

namespace
{
constexpr int segmentInset = 3, segmentPadding = 13;

juce::Font segmentFont()
{
    return fonts::inter (13.0f, fonts::Weight::medium);
}

/** Where a key leads among a number of choices; nothing when it is no such key. */
std::optional<int> indexForKey (const juce::KeyPress& key, int index, int count)
{
    if (key.getModifiers().isAnyModifierKeyDown())
        return {};

    if (key.isKeyCode (juce::KeyPress::upKey) || key.isKeyCode (juce::KeyPress::leftKey))
        return std::max (0, index - 1);

    if (key.isKeyCode (juce::KeyPress::downKey) || key.isKeyCode (juce::KeyPress::rightKey))
        return std::min (count - 1, index + 1);

    if (key.isKeyCode (juce::KeyPress::homeKey))
        return 0;

    return key.isKeyCode (juce::KeyPress::endKey) ? std::make_optional (count - 1) : std::nullopt;
}
} // namespace

class ChoiceGroup::Entry : public juce::Button
{
public:
    Entry (const Choice& choiceToShow, Style styleToUse)
        : Button (choiceToShow.text), choice (choiceToShow), style (styleToUse)
    {
        setTitle (choice.text);
        setMouseClickGrabsKeyboardFocus (false);
        setHasFocusOutline (true);
        setRadioGroupId (1, juce::dontSendNotification);
    }

    [[nodiscard]] int segmentWidth() const
    {
        return juce::roundToInt (std::ceil (segmentFont().getStringWidthFloat (choice.text)))
               + 2 * segmentPadding;
    }

    void paintButton (juce::Graphics& g, bool over, bool) override
    {
        if (style == Style::segments)
            paintSegment (g, over);
        else
            paintRow (g, over);
    }

private:
    void paintSegment (juce::Graphics& g, bool over)
    {
        const auto area = getLocalBounds().toFloat();

        if (getToggleState())
        {
            g.setColour (palette::hover);
            g.fillRoundedRectangle (area, 6.0f);
            g.setColour (palette::outline);
            g.drawRoundedRectangle (area.reduced (0.5f), 6.0f, 1.0f);
        }

        g.setColour (getToggleState() ? palette::ice : over ? palette::textHigh : palette::textMid);
        g.setFont (segmentFont());
        g.drawText (choice.text, getLocalBounds(), juce::Justification::centred, false);
    }

    void paintRow (juce::Graphics& g, bool over)
    {
        auto area = getLocalBounds().toFloat();
        const auto on = getToggleState();

        if (on || over)
        {
            juce::Path ground;
            ground.addRoundedRectangle (area, 6.0f);
            g.setColour (on ? palette::selected : palette::hover);
            g.fillPath (ground);

            if (on)
            {
                const juce::Graphics::ScopedSaveState state (g);
                g.reduceClipRegion (ground);
                g.setColour (palette::iceMid);
                g.fillRect (area.withWidth (3.0f));
            }
        }

        const auto isPage = style == Style::pages;
        const auto ink = on ? palette::textHigh : palette::textMid;
        const auto iconInk = ! choice.colour.isTransparent() ? choice.colour
                             : on                            ? palette::ice
                                                             : palette::textLow;
        const auto iconArea = area.withTrimmedLeft (isPage ? 12.0f : 10.0f).withWidth (16.0f);
        drawIcon (g, choice.icon, iconArea.withSizeKeepingCentre (15.0f, 15.0f), iconInk);
        g.setColour (ink);
        g.setFont (fonts::inter (13.0f, on ? fonts::Weight::semibold : fonts::Weight::regular));
        g.drawText (choice.text,
                    area.withTrimmedLeft (isPage ? 38.0f : 35.0f),
                    juce::Justification::centredLeft,
                    true);
    }

    const Choice choice;
    const Style style;
};

ChoiceGroup::ChoiceGroup (const juce::String& title, Style styleToUse, const std::vector<Choice>& choices)
    : style (styleToUse)
{
    setTitle (title);

    for (const auto& choice : choices)
    {
        auto* entry = entries.add (new Entry (choice, style));
        entry->onClick = [this, index = entries.size() - 1] { choose (index); };
        addAndMakeVisible (entry);
    }

    select (0);
}

ChoiceGroup::~ChoiceGroup() = default;

void ChoiceGroup::select (int index)
{
    if (! juce::isPositiveAndBelow (index, entries.size()))
        return;

    selected = index;

    for (auto* entry : entries)
    {
        entry->setToggleState (entry == entries[index], juce::dontSendNotification);
        entry->setWantsKeyboardFocus (entry == entries[index]);
    }
}

void ChoiceGroup::choose (int index)
{
    if (index == selected)
        return;

    select (index);
    call (onSelect, index);
}

bool ChoiceGroup::keyPressed (const juce::KeyPress& key)
{
    const auto index = indexForKey (key, selected, entries.size());

    if (! index)
        return false;

    choose (*index);
    takeFocus();
    return true;
}

void ChoiceGroup::takeFocus()
{
    if (isShowing())
        entries[selected]->grabKeyboardFocus();
}

int ChoiceGroup::idealWidth() const
{
    return std::accumulate (entries.begin(),
                            entries.end(),
                            2 * segmentInset,
                            [] (int sum, const Entry* entry) { return sum + entry->segmentWidth(); });
}

void ChoiceGroup::paint (juce::Graphics& g)
{
    if (style != Style::segments)
        return;

    const auto trough = getLocalBounds().reduced (ringRoom).toFloat();
    g.setColour (palette::well);
    g.fillRoundedRectangle (trough, 8.0f);
    g.setColour (palette::lineStrong);
    g.drawRoundedRectangle (trough.reduced (0.5f), 8.0f, 1.0f);
}

void ChoiceGroup::resized()
{
    auto area = getLocalBounds().reduced (ringRoom);
    const auto isPage = style == Style::pages;

    if (style == Style::segments)
        area.reduce (segmentInset, segmentInset);

    for (auto* entry : entries)
    {
        if (style == Style::segments)
        {
            entry->setBounds (area.removeFromLeft (entry->segmentWidth()));
            continue;
        }

        entry->setBounds (area.removeFromTop (isPage ? 36 : 32));
        area.removeFromTop (isPage ? 2 : 1);
    }
}

} // namespace tessivar
