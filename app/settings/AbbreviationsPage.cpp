#include "app/settings/AbbreviationsState.h"
#include "app/settings/ChoiceGroup.h"
#include "app/settings/SettingsPage.h"
#include "terms/DrumType.h"
#include "ui/Buttons.h"
#include "ui/Call.h"
#include "ui/DrumDrawing.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/TessivarLookAndFeel.h"

#include <cmath>

namespace tessivar
{

namespace
{
constexpr int typesWidth = 150, longestText = 4000; // characters
constexpr int signIcon = 14, signInset = 12, signGap = 6;

std::vector<ChoiceGroup::Choice> typeChoices()
{
    std::vector<ChoiceGroup::Choice> choices;

    for (const auto type : drumTypeChooserOrder)
        choices.push_back ({ drumTypeDisplayName (type), drumIcon (type), drumColour (type) });

    return choices;
}

/** Keeps a list on one line, whatever is pasted. */
struct OneLine : juce::TextEditor::InputFilter
{
    juce::String filterNewText (juce::TextEditor&, const juce::String& text) override
    {
        return text.replaceCharacters ("\r\n\t", "   ");
    }
};

/** The type that the name would get, as a sign. */
class TypeSign : public StaticText
{
public:
    void show (DrumType newType)
    {
        type = newType;
        setTitle (type == DrumType::oh ? juce::String ("Overhead") : drumName (type));
        repaint();
    }

    [[nodiscard]] int idealWidth() const
    {
        return 2 * signInset + signIcon + signGap
               + juce::roundToInt (std::ceil (font().getStringWidthFloat (getTitle())));
    }

    void paint (juce::Graphics& g) override
    {
        auto area = getLocalBounds().toFloat();
        g.setColour (palette::panel);
        g.fillRoundedRectangle (area, 6.0f);
        g.setColour (palette::lineStrong);
        g.drawRoundedRectangle (area.reduced (0.5f), 6.0f, 1.0f);
        area = area.withTrimmedLeft (signInset);
        drawIcon (g, drumIcon (type), area.removeFromLeft (signIcon), drumColour (type));
        g.setColour (palette::textHigh);
        g.setFont (font());
        g.drawText (getTitle(), area.withTrimmedLeft (signGap), juce::Justification::centredLeft, false);
    }

private:
    static juce::Font font() { return fonts::inter (12.0f, fonts::Weight::medium); }

    DrumType type = DrumType::other;
};

class AbbreviationsPage final : public SettingsPage
{
public:
    explicit AbbreviationsPage (const SettingsDialogContext& context)
        : SettingsPage ("Abbreviations"), state (processAbbreviations(), context.workspace.settings())
    {
        types.onSelect = [this] (int index)
        {
            state.select (drumTypeChooserOrder[static_cast<std::size_t> (index)]);
            showList();
        };

        list.setMultiLine (true);
        list.setFont (fonts::inter (13.0f));
        list.setIndents (9, 8);
        list.setInputFilter (new OneLine(), true);
        list.onTextChange = [this]
        {
            state.edit (list.getText().substring (0, longestText));
            showTrial();
        };
        name.setTitle ("Try a file name");
        name.setTextToShowWhenEmpty ("Rim click 02.wav", palette::textLow);
        prepareTextField (name);
        name.onTextChange = [this] { showTrial(); };

        // Escape closes the dialog from within a field too, and no list has more than one line.
        for (auto* editor : { &list, &name })
        {
            editor->setEscapeAndReturnKeysConsumed (false);
            editor->setTabKeyUsedAsCharacter (false);
        }

        resetButton.onClick = [this]
        {
            state.reset();
            showList();
        };
        saveButton.onClick = [this] { save(); };
        add (types, listLabel, list, listHint, nameLabel, name, sign, why, resetButton, saveButton);
    }

    juce::String footnote() const override
    {
        return state.willBeLost() ? "The next start brings back the built-in lists, as long as no folder is "
                                    "chosen on the page "
                                    "Folders."
                                  : "Changes apply at once, lists when saved.";
    }

    void resized() override
    {
        auto area = contentArea();
        types.setBounds (
            area.removeFromLeft (typesWidth).withTrimmedTop (-1).expanded (ChoiceGroup::ringRoom));
        area.removeFromLeft (columnGap);
        list.setBounds (takeRow (listLabel, area, labelGap, 78));
        area.removeFromTop (5);
        listHint.setBounds (area.removeFromTop (38));
        area.removeFromTop (13);
        auto row = takeRow (nameLabel, area);

        if (sign.isVisible())
        {
            const auto width = std::max (74, sign.idealWidth());
            sign.setBounds (row.removeFromRight (width).withSizeKeepingCentre (width, smallButtonHeight));
            row.removeFromRight (10);
        }

        name.setBounds (row);
        area.removeFromTop (5);
        why.setBounds (area.removeFromTop (54));
        row = area.removeFromTop (smallButtonHeight);
        resetButton.setSize (80, smallButtonHeight);
        resetButton.setBounds (row.removeFromLeft (resetButton.idealWidth()));
        saveButton.setBounds (row.removeFromRight (84));
    }

private:
    void enter() override
    {
        state.reload();
        showList();
    }

    void leave() override { state.reload(); }

    void showList()
    {
        const auto type = drumTypeDisplayName (state.selected());
        const auto label = "A file is " + juce::String (state.selected() == DrumType::other ? "" : "a ")
                           + type + " when its name contains";
        listLabel.setText (label);
        list.setTitle (label);
        list.setText (state.text(), false);
        showTrial();
    }

    void showTrial()
    {
        const auto isEmpty = state.hasEmptyEntry();
        listHint.setWarning (isEmpty);
        listHint.setText (
            isEmpty ? "An empty entry matches every file name. Remove the separator at the end."
                    : "Separate entries with ; or , and put quotes around an entry that holds one. Upper "
                      "and lower case are equal.");

        auto words = state.hints();
        sign.setVisible (! name.isEmpty());

        if (! name.isEmpty())
        {
            const auto trial = state.tryName (name.getText());
            sign.show (trial.type);
            words.insert (0, trial.why);
        }

        why.setWarning (false);
        why.setText (words.joinIntoString (" "));
        saveButton.setEnabled (state.hasChanges());
        resized();
        call (onFootnoteChanged);
    }

    void save()
    {
        const auto saved = state.save();
        passFocus (saveButton, list);
        showList();

        if (saved.failed())
        {
            why.setWarning (true);
            why.setText (saved.getErrorMessage());
        }

        juce::AccessibilityHandler::postAnnouncement (
            saved.wasOk() ? juce::String ("Lists saved") : saved.getErrorMessage(),
            juce::AccessibilityHandler::AnnouncementPriority::medium);
    }

    AbbreviationsState state;
    ChoiceGroup types{ "Drum types", ChoiceGroup::Style::types, typeChoices() };
    TextBlock listLabel{ TextBlock::Kind::label };
    juce::TextEditor list;
    TextBlock listHint{ TextBlock::Kind::hint };
    TextBlock nameLabel{ TextBlock::Kind::label, "Try a file name" };
    juce::TextEditor name;
    TypeSign sign;
    TextBlock why{ TextBlock::Kind::hint };
    ActionButton resetButton{ "Reset to defaults" };
    ActionButton saveButton{ "Save", ButtonLook::primary };
};
} // namespace

std::unique_ptr<SettingsPage> makeAbbreviationsPage (const SettingsDialogContext& context)
{
    return std::make_unique<AbbreviationsPage> (context);
}

} // namespace tessivar
