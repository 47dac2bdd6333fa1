#pragma once

#include "ui/Icons.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <vector>

namespace tessivar
{

/** A few choices, one of them selected. Tab reaches that one; arrow keys, Home and End go to the others. */
class ChoiceGroup : public juce::Component
{
public:
    enum class Style
    {
        pages,   // below each other, 36 px high, 38 apart
        types,   // below each other, 32 px high, 33 apart
        segments // side by side in a trough
    };

    struct Choice
    {
        juce::String text;
        Icon icon = Icon::none;
        juce::Colour colour{}; // of the icon; transparent: as the words
    };

    ChoiceGroup (const juce::String& title, Style styleToUse, const std::vector<Choice>& choices);
    ~ChoiceGroup() override;

    /** Does not call back. An index outside the range changes nothing. */
    void select (int index);
    [[nodiscard]] int getSelected() const { return selected; }

    /** The user chose another. */
    std::function<void (int)> onSelect;

    /** Logical pixels kept free on each side for the focus ring. */
    static constexpr int ringRoom = 4;

    /** Focuses the selected choice. */
    void takeFocus();

    /** Width of the segments without the room for the ring, in logical pixels. */
    [[nodiscard]] int idealWidth() const;

    void paint (juce::Graphics& g) override;
    void resized() override;
    bool keyPressed (const juce::KeyPress& key) override;

private:
    class Entry;

    void choose (int index);

    const Style style;
    juce::OwnedArray<Entry> entries;
    int selected = 0;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ChoiceGroup)
};

} // namespace tessivar
