#include "ui/TessivarLookAndFeel.h"

#include "ui/Buttons.h"
#include "ui/Palette.h"

namespace tessivar
{
namespace
{

using Scheme = juce::LookAndFeel_V4::ColourScheme;

Scheme makeScheme()
{
    return { palette::window,     palette::well,      palette::popup,
             palette::lineStrong, palette::textHigh,  palette::lineStrong,
             palette::textHigh,   palette::highlight, palette::textHigh };
}

/** Draws the keyboard focus around any component that asks for an outline. */
class RingProperties : public juce::FocusOutline::OutlineWindowProperties
{
public:
    juce::Rectangle<int> getOutlineBounds (juce::Component& focused) override
    {
        return focused.getScreenBounds().expanded (4);
    }

    void drawOutline (juce::Graphics& g, int width, int height) override
    {
        if (areFocusRingsShown())
            drawFocusRing (g, juce::Rectangle<int> (width, height).reduced (4).toFloat());
    }
};

} // namespace

TessivarLookAndFeel::TessivarLookAndFeel (const juce::File& resourcesFolder)
    : LookAndFeel_V4 (makeScheme()), typefaces (resourcesFolder)
{
    setColours();
    // A font drawn before this look was set keeps its cached typeface until the cache is cleared.
    juce::Typeface::clearTypefaceCache();
}

TessivarLookAndFeel::~TessivarLookAndFeel()
{
    juce::Typeface::clearTypefaceCache();
}

void TessivarLookAndFeel::setColours()
{
    setColour (juce::ResizableWindow::backgroundColourId, palette::window);
    setColour (juce::Label::textColourId, palette::textHigh);
    setColour (juce::ComboBox::backgroundColourId, juce::Colour (0xff11161a));
    setColour (juce::ComboBox::outlineColourId, palette::outline);
    setColour (juce::ComboBox::arrowColourId, palette::textMid);
    setColour (juce::TextEditor::backgroundColourId, palette::well);
    setColour (juce::TextEditor::outlineColourId, palette::outline);
    setColour (juce::TextEditor::focusedOutlineColourId, palette::ice);
    setColour (juce::TextEditor::highlightColourId, palette::highlight);
    setColour (juce::CaretComponent::caretColourId, palette::ice);
    setColour (juce::AlertWindow::backgroundColourId, palette::raised);
    setColour (juce::AlertWindow::outlineColourId, palette::dialogEdge);
    setColour (juce::PopupMenu::backgroundColourId, palette::popup);
    setColour (juce::ListBox::backgroundColourId, palette::well);
    setColour (juce::TooltipWindow::textColourId, palette::textHigh);
    setColour (juce::ScrollBar::thumbColourId, palette::lineStrong);
}

juce::Typeface::Ptr TessivarLookAndFeel::getTypefaceForFont (const juce::Font& font)
{
    const auto& name = font.getTypefaceName();
    if (name == fonts::familyName || name == juce::Font::getDefaultSansSerifFontName())
    {
        auto style = font.getTypefaceStyle();
        if (auto typeface = typefaces.forStyle (style))
            return typeface;
        return LookAndFeel_V4::getTypefaceForFont (juce::Font (font.getHeight()));
    }
    return LookAndFeel_V4::getTypefaceForFont (font);
}

void TessivarLookAndFeel::drawButtonBackground (
    juce::Graphics& g, juce::Button& button, const juce::Colour&, bool over, bool down)
{
    const ButtonState state{ button.isEnabled(), over, down };
    drawButtonGround (g, button.getLocalBounds().toFloat(), ButtonLook::standard, state);
}

void TessivarLookAndFeel::drawButtonText (juce::Graphics& g, juce::TextButton& button, bool over, bool down)
{
    g.setFont (getTextButtonFont (button, button.getHeight()));
    g.setColour (buttonInk (ButtonLook::standard, { button.isEnabled(), over, down }));
    g.drawFittedText (
        button.getButtonText(), button.getLocalBounds().reduced (8, 2), juce::Justification::centred, 1);
}

juce::Font TessivarLookAndFeel::getTextButtonFont (juce::TextButton&, int height)
{
    return fonts::inter (height < 30 ? 12.0f : 13.0f, fonts::Weight::semibold);
}

void TessivarLookAndFeel::drawComboBox (
    juce::Graphics& g, int width, int height, bool, int, int, int, int, juce::ComboBox& box)
{
    const auto area = juce::Rectangle<int> (width, height).toFloat();
    const auto enabled = box.isEnabled();
    const auto ground = box.findColour (juce::ComboBox::backgroundColourId);
    const auto edge = ! enabled                ? palette::line
                      : box.isMouseOver (true) ? palette::textMid
                                               : box.findColour (juce::ComboBox::outlineColourId);
    drawFrame (g, area, ground.withMultipliedAlpha (enabled ? 1.0f : 0.5f), edge, 5.0f);
    const auto chevron =
        area.reduced (0.5f).withLeft (area.getRight() - 28.5f).withSizeKeepingCentre (12.0f, 12.0f);
    drawIcon (g,
              Icon::chevronDown,
              chevron,
              enabled ? box.findColour (juce::ComboBox::arrowColourId) : palette::textDisabled);
}

void TessivarLookAndFeel::positionComboBoxText (juce::ComboBox& box, juce::Label& label)
{
    label.setBounds (10, 1, std::max (0, box.getWidth() - 38), box.getHeight() - 2);
    label.setFont (getComboBoxFont (box));
    label.setBorderSize ({ 0, 0, 0, 0 });
}

juce::PopupMenu::Options TessivarLookAndFeel::getOptionsForComboBoxPopupMenu (juce::ComboBox& box,
                                                                              juce::Label& label)
{
    return LookAndFeel_V4::getOptionsForComboBoxPopupMenu (box, label).withStandardItemHeight (30);
}

void TessivarLookAndFeel::drawScrollbar (juce::Graphics& g,
                                         juce::ScrollBar&,
                                         int x,
                                         int y,
                                         int width,
                                         int height,
                                         bool isVertical,
                                         int thumbStart,
                                         int thumbSize,
                                         bool isOver,
                                         bool isDown)
{
    if (thumbSize <= 0)
        return;
    const auto thumb = isVertical ? juce::Rectangle<int> (x, thumbStart, width, thumbSize)
                                  : juce::Rectangle<int> (thumbStart, y, thumbSize, height);
    g.setColour (isDown ? palette::textLow : (isOver ? palette::outline : palette::lineStrong));
    const auto bar = thumb.toFloat().reduced (2.0f);
    g.fillRoundedRectangle (bar, 0.5f * std::min (bar.getWidth(), bar.getHeight()));
}

void TessivarLookAndFeel::fillTextEditorBackground (juce::Graphics& g,
                                                    int width,
                                                    int height,
                                                    juce::TextEditor& editor)
{
    g.setColour (editor.findColour (juce::TextEditor::backgroundColourId));
    g.fillRoundedRectangle (juce::Rectangle<int> (width, height).toFloat().reduced (0.5f), 5.0f);
}

void TessivarLookAndFeel::drawTextEditorOutline (juce::Graphics& g,
                                                 int width,
                                                 int height,
                                                 juce::TextEditor& editor)
{
    const auto focused = editor.hasKeyboardFocus (true) && ! editor.isReadOnly();
    auto colour = editor.findColour (focused ? juce::TextEditor::focusedOutlineColourId
                                             : juce::TextEditor::outlineColourId);
    g.setColour (editor.isEnabled() ? colour : palette::line);
    g.drawRoundedRectangle (juce::Rectangle<int> (width, height).toFloat().reduced (0.5f),
                            5.0f,
                            focused && colour == palette::ice ? 2.0f : 1.0f);
}

void prepareTextField (juce::TextEditor& editor)
{
    editor.setFont (fonts::inter (13.0f));
    editor.setIndents (9, 0);
    editor.setJustification (juce::Justification::centredLeft);
    editor.setTextToShowWhenEmpty (editor.getTextToShowWhenEmpty(), palette::textLow);
}

void drawProgressTrough (juce::Graphics& g, juce::Rectangle<float> area, double progress)
{
    const auto radius = 0.5f * std::min (area.getHeight(), 8.0f);
    g.setColour (palette::well);
    g.fillRoundedRectangle (area, radius);
    g.setColour (palette::line);
    g.drawRoundedRectangle (area.reduced (0.5f), radius, 1.0f);
    if (progress <= 0.0)
        return;
    const auto filled = area.withWidth (area.getWidth() * static_cast<float> (std::min (1.0, progress)));
    g.setGradientFill (juce::ColourGradient::horizontal (palette::iceDeep, palette::ice, filled));
    g.fillRoundedRectangle (filled, std::min (radius, 0.5f * filled.getWidth()));
}

std::unique_ptr<juce::FocusOutline> TessivarLookAndFeel::createFocusOutlineForComponent (juce::Component&)
{
    return std::make_unique<juce::FocusOutline> (std::make_unique<RingProperties>());
}

} // namespace tessivar
