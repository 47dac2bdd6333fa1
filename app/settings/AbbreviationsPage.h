#pragma once

#include "app/settings/AbbreviationsState.h"
#include "app/settings/ChoiceGroup.h"
#include "app/settings/SettingsDialog.h"
#include "app/settings/SettingsPage.h"
#include "terms/DrumType.h"
#include "ui/Buttons.h"
#include "ui/DrumDrawing.h"

namespace tessivar
{

/** The lists by which file names tell their drum types. */
class AbbreviationsPage : public SettingsPage
{
public:
    explicit AbbreviationsPage (const SettingsDialogContext& contextToUse);

    [[nodiscard]] juce::String footnote() const override;
    void resized() override;

protected:
    void enter() override;
    void leave() override;

private:
    /** The type that the name would get, as a sign. */
    class TypeSign : public juce::Component
    {
    public:
        void show (DrumType newLook);
        [[nodiscard]] int idealWidth() const;
        void paint (juce::Graphics& g) override;
        std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

    private:
        DrumType look = DrumType::other;
    };

    /** Keeps a list on one line, whatever is pasted. */
    struct OneLine : juce::TextEditor::InputFilter
    {
        juce::String filterNewText (juce::TextEditor&, const juce::String& text) override
        {
            return text.replaceCharacters ("\r\n\t", "   ");
        }
    };

    void showList();
    void showTrial();
    void save();

    const SettingsDialogContext& context;
    AbbreviationsState state;

    ChoiceGroup types;
    TextBlock listLabel{ TextBlock::Kind::label };
    juce::TextEditor list;
    TextBlock listHint{ TextBlock::Kind::hint };
    TextBlock nameLabel{ TextBlock::Kind::label, "Try a file name" };
    juce::TextEditor name;
    TypeSign sign;
    TextBlock why{ TextBlock::Kind::hint };
    ActionButton resetButton{ "Reset to defaults" };
    ActionButton saveButton{ "Save", ButtonLook::primary };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (AbbreviationsPage)
};

} // namespace tessivar
