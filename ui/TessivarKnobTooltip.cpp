#include "ui/TessivarKnobTooltip.h"

#include "ui/KnobGeometry.h"

namespace tessivar
{
namespace
{

const juce::Colour whitesmoke (0xfff5f5f5);

} // namespace

void KnobLabelState::show()
{
    alpha = 255;
    fading = false;
}

void KnobLabelState::valueChanged()
{
    alpha = 255;
    fading = true;
}

KnobLabelState::Change KnobLabelState::fadeTick (bool editorOpen)
{
    auto change = Change::none;
    if (fading)
    {
        alpha = static_cast<std::uint8_t> (alpha - alphaStep);
        change = alpha > alphaStep ? Change::redraw : Change::hide;
        if (change == Change::hide)
        {
            alpha = 0;
            fading = false;
        }
    }
    // A finished fade starts again here, unseen until the label is shown the next time.
    if (! editorOpen)
        fading = true;
    return change;
}

TessivarKnobTooltip::TessivarKnobTooltip()
{
    setColour (backgroundColourId, juce::Colours::transparentBlack);
    setColour (textColourId, whitesmoke);
    setJustificationType (juce::Justification::centred);
    setEditable (true, false, false);
    setBorderSize ({ 0, 0, 0, 0 });
    setMinimumHorizontalScale (1.0f);
}

void TessivarKnobTooltip::sliderValueChanged (juce::Slider* slider)
{
    setText (percentText (slider->getValue(), slider->getMaximum()), juce::dontSendNotification);
    state.valueChanged();
    applyAlpha();
}

void TessivarKnobTooltip::mouseDown (const juce::MouseEvent& event)
{
    Label::mouseDown (event);
    state.holdForEditing();
}

void TessivarKnobTooltip::showText (const juce::String& text)
{
    state.show();
    setText (text, juce::dontSendNotification);
    applyAlpha();
    setVisible (true);
    toFront (false);
}

void TessivarKnobTooltip::fadeTick()
{
    switch (state.fadeTick (isBeingEdited()))
    {
        case KnobLabelState::Change::redraw:
            applyAlpha();
            break;
        case KnobLabelState::Change::hide:
            setVisible (false);
            break;
        case KnobLabelState::Change::none:
            break;
    }
}

void TessivarKnobTooltip::applyAlpha()
{
    setColour (textColourId, whitesmoke.withAlpha (state.alpha));
    repaint();
}

juce::TextEditor* TessivarKnobTooltip::createEditorComponent()
{
    auto* box = Label::createEditorComponent();
    box->setColour (juce::TextEditor::backgroundColourId, juce::Colours::transparentBlack);
    box->setColour (juce::TextEditor::textColourId, whitesmoke);
    box->setColour (juce::TextEditor::highlightColourId, juce::Colour (0xff808080));
    box->setColour (juce::TextEditor::highlightedTextColourId, juce::Colour (0xfff5deb3));
    box->setColour (juce::TextEditor::outlineColourId, juce::Colour (0xffb3b3b3));
    box->setColour (juce::TextEditor::focusedOutlineColourId, juce::Colour (0xffb3b3b3));
    box->setInputRestrictions (4, "0123456789%");
    box->setJustification (juce::Justification::centred);
    box->setIndents (0, 0);
    return box;
}

void TessivarKnobTooltip::editorShown (juce::TextEditor* box)
{
    // A tick between the press and the release that opens the box has restarted the fade.
    state.holdForEditing();
    Label::editorShown (box);
}

} // namespace tessivar
