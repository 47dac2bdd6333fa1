#include "ui/dialogs/DialogContent.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Motion.h"
#include "ui/Palette.h"

#include <algorithm>

namespace tessivar
{
namespace
{

constexpr int blur = 28, drop = 10; // logical pixels
constexpr int margin = blur + drop; // from the card to the image's edge, on each side
constexpr std::size_t mostKept = 3; // dialogs that are ever stacked

/** At one pixel per logical pixel: a shadow this soft has no detail that more would show. */
juce::Image blurred (int width, int height)
{
    juce::Image image (juce::Image::ARGB, width + 2 * margin, height + 2 * margin, true);
    juce::Graphics g (image);
    juce::Path card;
    card.addRoundedRectangle (juce::Rectangle<int> (margin, margin, width, height).toFloat(),
                              DialogShadow::cornerRadius);
    juce::DropShadow (juce::Colours::black.withAlpha (0.5f), blur, { 0, drop }).drawForPath (g, card);
    return image;
}

juce::Image scaled (const juce::Image& image, float scale)
{
    const auto pixels = [scale] (int logical)
    { return juce::roundToInt (std::ceil (static_cast<float> (logical) * scale)); };
    juce::Image result (juce::Image::ARGB, pixels (image.getWidth()), pixels (image.getHeight()), true);
    juce::Graphics g (result);
    g.setImageResamplingQuality (juce::Graphics::highResamplingQuality);
    g.drawImageTransformed (image, juce::AffineTransform::scale (scale));
    return result;
}

} // namespace

const juce::Image& DialogShadow::imageFor (int width, int height, float scale)
{
    const auto found = std::find_if (kept.begin(),
                                     kept.end(),
                                     [&] (const Kept& one) {
                                         return one.width == width && one.height == height
                                                && juce::approximatelyEqual (one.scale, scale);
                                     });
    if (found != kept.end())
    {
        std::rotate (found, found + 1, kept.end());
        return kept.back().image;
    }
    if (kept.size() == mostKept)
        kept.erase (kept.begin());
    const auto image = blurred (width, height);
    kept.push_back (
        { width, height, scale, juce::approximatelyEqual (scale, 1.0f) ? image : scaled (image, scale) });
    return kept.back().image;
}

void DialogShadow::draw (juce::Graphics& g, juce::Rectangle<int> card)
{
    const juce::Graphics::ScopedSaveState state (g);
    g.excludeClipRegion (card.reduced (static_cast<int> (cornerRadius), 1));
    g.excludeClipRegion (card.reduced (1, static_cast<int> (cornerRadius)));
    if (! g.clipRegionIntersects (card.expanded (margin)))
        return;
    const auto scale = g.getInternalContext().getPhysicalPixelScaleFactor();
    const auto corner = card.getPosition().translated (-margin, -margin).toFloat();
    g.setOpacity (1.0f);
    g.drawImageTransformed (imageFor (card.getWidth(), card.getHeight(), scale),
                            juce::AffineTransform::scale (1.0f / scale).translated (corner));
}

DialogContent::DialogContent (const juce::String& titleText, std::vector<DialogButton> buttonsToShow)
    : title (titleText), specs (std::move (buttonsToShow))
{
    setTitle (title);
    setFocusContainerType (FocusContainerType::keyboardFocusContainer);
    setWantsKeyboardFocus (true);
    for (std::size_t i = 0; i < specs.size(); ++i)
    {
        auto button = std::make_unique<ActionButton> (specs[i].text, specs[i].look);
        button->onClick = [this, i] { choose (static_cast<int> (i)); };
        addAndMakeVisible (*button);
        buttons.push_back (std::move (button));
    }
}

int DialogContent::idealHeight (int width) const
{
    return padding + titleHeight + bodyHeight (width - 2 * padding) + buttonRowHeight() + padding;
}

juce::Rectangle<int> DialogContent::bodyArea() const
{
    return getLocalBounds()
        .reduced (padding)
        .withTrimmedTop (titleHeight)
        .withTrimmedBottom (buttonRowHeight());
}

void DialogContent::choose (int index)
{
    // Copied, because dismissing may destroy this dialog and the button that is calling.
    const auto choice = onChoice;
    const auto dismiss = onDismiss;
    if (specs[static_cast<std::size_t> (index)].closes)
        call (dismiss);
    call (choice, index);
}

void DialogContent::escape()
{
    for (std::size_t i = 0; i < specs.size(); ++i)
        if (specs[i].isSafe && buttons[i]->isEnabled())
        {
            choose (static_cast<int> (i));
            return;
        }
}

void DialogContent::takeFirstFocus()
{
    for (std::size_t i = 0; i < specs.size(); ++i)
        if (specs[i].hasFirstFocus)
        {
            buttons[i]->grabKeyboardFocus();
            return;
        }
    grabKeyboardFocus();
}

bool DialogContent::keyPressed (const juce::KeyPress& key)
{
    if (key != juce::KeyPress (juce::KeyPress::escapeKey))
        return false;
    escape();
    return true;
}

void DialogContent::paint (juce::Graphics& g)
{
    const auto card = getLocalBounds().toFloat().reduced (0.5f);
    g.setGradientFill (
        juce::ColourGradient::vertical (juce::Colour (0xff1c2229), juce::Colour (0xff191e24), card));
    g.fillRoundedRectangle (card, DialogShadow::cornerRadius);
    g.setColour (palette::dialogEdge);
    g.drawRoundedRectangle (card, DialogShadow::cornerRadius, 1.0f);

    g.setColour (palette::textHigh);
    g.setFont (fonts::inter (15.0f, fonts::Weight::semibold));
    g.drawText (title,
                getLocalBounds().reduced (padding).withHeight (titleHeight).withTrimmedLeft (titleIndent()),
                juce::Justification::topLeft,
                true);
}

void DialogContent::resized()
{
    auto row = getLocalBounds().reduced (padding).removeFromBottom (buttonHeight);
    // Both answers to a question are equally wide.
    const auto isQuestion =
        specs.size() == 2
        && std::none_of (specs.begin(),
                         specs.end(),
                         [] (const DialogButton& spec) { return spec.atLeft || ! spec.closes; });
    const auto widthOf = [&] (std::size_t i)
    {
        buttons[i]->setSize (80, buttonHeight);
        const auto isFilled = specs[i].look == ButtonLook::primary || specs[i].look == ButtonLook::caution;
        const auto least = isQuestion ? 112 : isFilled ? 96 : specs.size() > 1 && specs[i].isSafe ? 92 : 70;
        return std::max (least, buttons[i]->idealWidth() + 4);
    };
    for (std::size_t i = buttons.size(); i-- > 0;)
    {
        if (specs[i].atLeft)
            continue;
        buttons[i]->setBounds (row.removeFromRight (widthOf (i)));
        row.removeFromRight (8);
    }
    for (std::size_t i = 0; i < buttons.size(); ++i)
        if (specs[i].atLeft)
        {
            buttons[i]->setBounds (row.removeFromLeft (widthOf (i)));
            row.removeFromLeft (8);
        }
    layOutBody (bodyArea());
}

std::unique_ptr<juce::AccessibilityHandler> DialogContent::createAccessibilityHandler()
{
    setDescription (getMessage());
    return std::make_unique<juce::AccessibilityHandler> (*this, juce::AccessibilityRole::dialogWindow);
}

DialogScrim::DialogScrim()
{
    setInterceptsMouseClicks (true, true);
    setVisible (false);
}

void DialogScrim::show (std::unique_ptr<DialogContent> content)
{
    auto* shown = content.get();
    if (dialogs.empty())
        focusedBefore = juce::Component::getCurrentlyFocusedComponent();
    shown->onDismiss = [this, shown] { remove (shown); };
    shown->onHeightChanged = [this, shown]
    {
        layOut (*shown);
        repaint();
    };
    dialogs.push_back (std::move (content));
    addAndMakeVisible (*shown);
    layOut (*shown);
    toFront (false);
    setVisible (true);
    motion::fadeIn (*shown);
    if (shown->isShowing())
        shown->takeFirstFocus();
    juce::AccessibilityHandler::postAnnouncement (shown->getTitle() + ". " + shown->getMessage(),
                                                  juce::AccessibilityHandler::AnnouncementPriority::high);
}

void DialogScrim::dismissTop()
{
    if (! dialogs.empty())
        remove (dialogs.back().get());
}

void DialogScrim::remove (DialogContent* content)
{
    const auto found =
        std::find_if (dialogs.begin(), dialogs.end(), [&] (auto& d) { return d.get() == content; });
    if (found == dialogs.end())
        return;
    auto leaving = std::move (*found);
    dialogs.erase (found);
    juce::Desktop::getInstance().getAnimator().cancelAnimation (leaving.get(), false);
    removeChildComponent (leaving.get());
    destroyLater (std::move (leaving));

    if (! dialogs.empty())
    {
        if (isShowing())
            dialogs.back()->takeFirstFocus();
        repaint();
        return;
    }
    setVisible (false);
    if (focusedBefore != nullptr && focusedBefore->isShowing())
        focusedBefore->grabKeyboardFocus();
}

void DialogScrim::layOut (DialogContent& content)
{
    const auto width = std::min (content.idealWidth(), getWidth() - 32);
    const auto height = std::min (content.idealHeight (width), getHeight() - 16);
    auto& animator = juce::Desktop::getInstance().getAnimator();
    const auto isFading = animator.isAnimating (&content);
    animator.cancelAnimation (&content, false); // it would move the dialog back to where it started
    content.setBounds (getLocalBounds().withSizeKeepingCentre (width, height));
    if (isFading)
        motion::fadeIn (content);
}

void DialogScrim::resized()
{
    for (auto& content : dialogs)
        layOut (*content);
}

bool DialogScrim::keyPressed (const juce::KeyPress& key)
{
    // An open dialog keeps all keys from the window's commands, except Tab: the toolkit takes it after
    // everyone else has declined it, and keeps it inside the dialog.
    return isShowingDialog() && ! key.isKeyCode (juce::KeyPress::tabKey);
}

void DialogScrim::paint (juce::Graphics& g)
{
    g.fillAll (palette::scrim);
    for (const auto& content : dialogs)
        shadow.draw (g, content->getBounds());
}

} // namespace tessivar
