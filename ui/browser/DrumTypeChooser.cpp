#include "ui/browser/DrumTypeChooser.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{

DrumTypeChooser::DrumTypeChooser()
{
    for (int i = 0; i < numChoosableDrumLooks; ++i)
    {
        const auto look = static_cast<DrumLook> (i);
        juce::PopupMenu::Item item (drumName (look));
        item.itemID = i + 1;
        item.image = iconDrawable (drumIcon (look), 16.0f, drumColour (look));
        item.shortcutKeyDescription = juce::String (i + 1);
        getRootMenu()->addItem (std::move (item));
    }
    onChange = [this]
    {
        const auto chosen = getSelectedId() - 1;
        if (chosen < 0)
            return;
        type = static_cast<DrumLook> (chosen);
        repaint();
        if (onChoose != nullptr)
            onChoose (type);
    };
    hideLabel();
}

void DrumTypeChooser::hideLabel()
{
    // The chooser draws glyph and name itself; the toolkit's label would draw the name again, centred.
    for (auto* child : getChildren())
        child->setVisible (false);
}

void DrumTypeChooser::lookAndFeelChanged()
{
    TessivarComboBox::lookAndFeelChanged();
    hideLabel();
}

void DrumTypeChooser::setType (DrumLook newType)
{
    type = newType;
    setSelectedId (type == DrumLook::overhead ? 0 : static_cast<int> (type) + 1, juce::dontSendNotification);
    repaint();
}

void DrumTypeChooser::paint (juce::Graphics& g)
{
    const auto enabled = isEnabled();
    const auto colour = enabled ? drumColour (type) : palette::textDisabled;
    auto area = getLocalBounds().toFloat().reduced (0.5f);
    g.setColour (juce::Colour (0xff11161a));
    g.fillRoundedRectangle (area, 5.0f);
    g.setColour (isMouseOver (true) && enabled ? palette::outline : palette::lineStrong);
    g.drawRoundedRectangle (area, 5.0f, 1.0f);

    area.removeFromLeft (6.0f);
    drawIcon (g, drumIcon (type), area.removeFromLeft (14.0f).withSizeKeepingCentre (14.0f, 14.0f), colour);
    area.removeFromLeft (4.5f);
    area.removeFromRight (6.0f);
    drawIcon (
        g, Icon::chevronDown, area.removeFromRight (12.0f).withSizeKeepingCentre (11.0f, 11.0f), colour);
    g.setColour (enabled ? palette::textHigh : palette::textDisabled);
    g.setFont (fonts::inter (12.0f));
    g.drawText (drumName (type), area, juce::Justification::centredLeft, true);
}

} // namespace tessivar
