#pragma once

#include "ui/Icons.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** Words on a page of the settings. */
class TextBlock : public juce::Component
{
public:
    enum class Kind
    {
        label, // of a field: 12 px medium, one line
        hint,  // 12 px on 17, wrapped
        value  // 13 px, one line
    };

    explicit TextBlock (Kind kindToUse, const juce::String& words = {});

    void setText (const juce::String& words);
    [[nodiscard]] juce::String getText() const { return text; }

    /** Of one line, in logical pixels. */
    [[nodiscard]] int idealWidth() const;

    /** In amber instead of grey. */
    void setWarning (bool shouldWarn);
    [[nodiscard]] bool isWarning() const { return warns; }

    void paint (juce::Graphics& g) override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

private:
    [[nodiscard]] juce::Colour ink() const;
    [[nodiscard]] juce::Font font() const;

    const Kind kind;
    juce::String text;
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

/** A tinted box with an icon and a sentence. */
class NoteBox : public juce::Component
{
public:
    void show (NoteKind newKind, const juce::String& words);
    [[nodiscard]] juce::String getText() const { return text; }

    void paint (juce::Graphics& g) override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

private:
    NoteKind kind = NoteKind::plain;
    juce::String text;
};

/** A chooser that the keyboard reaches: arrows change it, Return opens its list. */
class SettingsCombo : public juce::ComboBox
{
public:
    explicit SettingsCombo (const juce::String& title);

    /** Replaces the choices without calling back. An index outside the range selects none. */
    void setChoices (const juce::StringArray& choices, int selectedIndex);
};

/** A field that shows a path and can't be typed into. */
class PathField : public juce::TextEditor
{
public:
    PathField (const juce::String& title, const juce::String& whenEmpty);
};

/** A card on the page: dark, with an edge. */
void drawCard (juce::Graphics& g, juce::Rectangle<int> area);

/** A divider from edge to edge of the area, at a height. */
void drawDivider (juce::Graphics& g, juce::Rectangle<int> area, int y);

} // namespace tessivar
