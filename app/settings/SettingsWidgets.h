#pragma once

#include "ui/Icons.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <algorithm>
#include <functional>
#include <vector>

namespace tessivar
{

/** Something to be read, not used: its title is its text. */
class StaticText : public juce::Component
{
public:
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;
};

/** Words on a page of the settings. */
class TextBlock : public StaticText
{
public:
    enum class Kind
    {
        label, // of a field: 12 px medium, one line
        hint,  // 12 px on 17, wrapped
        value  // 13 px, one line
    };

    explicit TextBlock (Kind kind, const juce::String& words = {});

    void setText (const juce::String& words);

    /** Of one line, in logical pixels. */
    [[nodiscard]] int idealWidth() const;

    /** In amber instead of grey. */
    void setWarning (bool shouldWarn);
    [[nodiscard]] bool isWarning() const { return warns; }

    void paint (juce::Graphics& g) override;

private:
    const juce::Font font;
    const juce::Colour usualInk;
    const bool wraps;
    bool warns = false;
};

/** What a note says, by its colour and its icon. */
enum class NoteKind
{
    plain,
    good,
    warning,
    failure
};

struct Note
{
    NoteKind kind = NoteKind::plain;
    juce::String text;
};

/** A tinted box with an icon and a sentence. */
class NoteBox : public StaticText
{
public:
    void show (const Note& note);

    void paint (juce::Graphics& g) override;

private:
    NoteKind kind = NoteKind::plain;
};

/** A chooser that the keyboard reaches: arrows change it, Return opens its list. */
class SettingsCombo : public juce::ComboBox
{
public:
    explicit SettingsCombo (const juce::String& title);

    /** Replaces the choices without calling back. An index outside the range selects none. */
    void setChoices (const juce::StringArray& choices, int selectedIndex);

    TextBlock label;
};

/** Values to choose from, the words for them, and the index of the current one; -1: none of them. */
template <typename Value>
struct ChoiceList
{
    std::vector<Value> values;
    juce::StringArray texts;
    int selected = 0;
};

/** @param words  makes the text for a value */
template <typename Value, typename Words>
[[nodiscard]] ChoiceList<Value> choicesOf (std::vector<Value> values, Value chosen, const Words& words)
{
    ChoiceList<Value> result;
    const auto found = std::find (values.begin(), values.end(), chosen);
    result.selected = found != values.end() ? static_cast<int> (found - values.begin()) : -1;

    for (const auto value : values)
        result.texts.add (words (value));

    result.values = std::move (values);
    return result;
}

/** A chooser among values. */
template <typename Value>
class ValueCombo : public SettingsCombo
{
public:
    explicit ValueCombo (const juce::String& title) : SettingsCombo (title)
    {
        onChange = [this]
        {
            // The choices may have been replaced since the user's click.
            if (const auto index = static_cast<std::size_t> (getSelectedItemIndex()); index < values.size())
                onChoose (values[index]);
        };
    }

    /** Replaces the choices without calling back. */
    void show (ChoiceList<Value> choices)
    {
        values = std::move (choices.values);
        setChoices (choices.texts, choices.selected);
    }

    /** The user chose a value. */
    std::function<void (Value)> onChoose;

private:
    std::vector<Value> values;
};

/** A field that shows a path and can't be typed into. */
class PathField : public juce::TextEditor
{
public:
    PathField (const juce::String& title, const juce::String& whenEmpty);

    TextBlock label;
};

/** A card on the page: dark, with an edge. */
void drawCard (juce::Graphics& g, juce::Rectangle<int> area);

} // namespace tessivar
