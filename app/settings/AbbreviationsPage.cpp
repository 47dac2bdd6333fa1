#include "app/settings/AbbreviationsPage.h"

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

juce::Font signFont()
{
    return fonts::inter (12.0f, fonts::Weight::medium);
}
} // namespace

void AbbreviationsPage::TypeSign::show (DrumType newLook)
{
    look = newLook;
    setTitle (look == DrumType::oh ? juce::String ("Overhead") : drumName (look));
    repaint();
}

int AbbreviationsPage::TypeSign::idealWidth() const
{
    return 2 * signInset + signIcon + signGap
           + juce::roundToInt (std::ceil (signFont().getStringWidthFloat (getTitle())));
}

void AbbreviationsPage::TypeSign::paint (juce::Graphics& g)
{
    auto area = getLocalBounds().toFloat();
    g.setColour (palette::panel);
    g.fillRoundedRectangle (area, 6.0f);
    g.setColour (palette::lineStrong);
    g.drawRoundedRectangle (area.reduced (0.5f), 6.0f, 1.0f);
    area = area.withTrimmedLeft (signInset);
    drawIcon (g, drumIcon (look), area.removeFromLeft (signIcon), drumColour (look));
    g.setColour (palette::textHigh);
    g.setFont (signFont());
    g.drawText (getTitle(), area.withTrimmedLeft (signGap), juce::Justification::centredLeft, false);
}

std::unique_ptr<juce::AccessibilityHandler> AbbreviationsPage::TypeSign::createAccessibilityHandler()
{
    return std::make_unique<juce::AccessibilityHandler> (*this, juce::AccessibilityRole::staticText);
}

AbbreviationsPage::AbbreviationsPage (const SettingsDialogContext& contextToUse)
    : SettingsPage ("Abbreviations"), context (contextToUse),
      state (processAbbreviations(), contextToUse.workspace.settings()),
      types ("Drum types", ChoiceGroup::Style::types, typeChoices())
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

    for (auto* component : std::initializer_list<juce::Component*>{ &types,
                                                                    &listLabel,
                                                                    &list,
                                                                    &listHint,
                                                                    &nameLabel,
                                                                    &name,
                                                                    &sign,
                                                                    &why,
                                                                    &resetButton,
                                                                    &saveButton })
        addAndMakeVisible (component);
}

void AbbreviationsPage::enter()
{
    state.reload();
    showList();
}

void AbbreviationsPage::leave()
{
    state.reload();
}

juce::String AbbreviationsPage::footnote() const
{
    if (state.willBeLost())
        return "The next start brings back the built-in lists, as long as no folder is chosen on the page "
               "Folders.";

    return "Changes apply at once, lists when saved.";
}

void AbbreviationsPage::showList()
{
    const auto type = drumTypeDisplayName (state.selected());
    const auto label = "A file is " + juce::String (state.selected() == DrumType::other ? "" : "a ") + type
                       + " when its name contains";
    listLabel.setText (label);
    list.setTitle (label);
    list.setText (state.text(), false);
    showTrial();
}

void AbbreviationsPage::showTrial()
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
    footnoteChanged();
}

void AbbreviationsPage::save()
{
    const auto saved = state.save();
    passFocus (saveButton, list);
    showList();

    if (saved.failed())
    {
        why.setWarning (true);
        why.setText (saved.getErrorMessage());
    }

    juce::AccessibilityHandler::postAnnouncement (saved.wasOk() ? juce::String ("Lists saved")
                                                                : saved.getErrorMessage(),
                                                  juce::AccessibilityHandler::AnnouncementPriority::medium);
}

void AbbreviationsPage::resized()
{
    auto area = contentArea();
    types.setBounds (area.removeFromLeft (typesWidth).withTrimmedTop (-1).expanded (ChoiceGroup::ringRoom));
    area.removeFromLeft (columnGap);
    listLabel.setBounds (area.removeFromTop (labelHeight));
    area.removeFromTop (labelGap);
    list.setBounds (area.removeFromTop (78));
    area.removeFromTop (5);
    listHint.setBounds (area.removeFromTop (38));
    area.removeFromTop (13);
    nameLabel.setBounds (area.removeFromTop (labelHeight));
    area.removeFromTop (labelGap);
    auto row = area.removeFromTop (fieldHeight);

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

} // namespace tessivar
