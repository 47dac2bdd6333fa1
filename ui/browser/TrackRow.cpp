#include "terms/DrumType.h"
#include "ui/DrumDrawing.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/browser/BrowserRows.h"

namespace tessivar
{
namespace
{

constexpr int dotColumn = 34; // logical pixels; all of it toggles the dot
constexpr int colourBarWidth = 4;
constexpr int narrowWidth = 330;
constexpr float excludedAlpha = 0.5f;

} // namespace

DrumTypeChooser::DrumTypeChooser()
{
    auto place = 0;
    for (const auto choice : drumTypeChooserOrder)
    {
        juce::PopupMenu::Item item (drumName (choice));
        item.itemID = static_cast<int> (drumTypeCode (choice));
        item.shortcutKeyDescription = juce::String (++place);
        getRootMenu()->addItem (std::move (item));
    }
    onChange = [this]
    {
        const auto chosen = drumTypeFromCode (static_cast<std::uint32_t> (getSelectedId()));
        if (! chosen)
            return;
        type = *chosen;
        repaint();
        call (onChoose, type);
    };
    hideLabel();
}

void DrumTypeChooser::showPopup()
{
    // Made when they are looked at: there are rows by the hundred.
    for (juce::PopupMenu::MenuItemIterator items (*getRootMenu()); items.next();)
        if (auto& item = items.getItem(); item.image == nullptr)
            if (const auto choice = drumTypeFromCode (static_cast<std::uint32_t> (item.itemID)))
                item.image = iconDrawable (drumIcon (*choice), 16.0f, drumColour (*choice));
    TessivarComboBox::showPopup();
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

void DrumTypeChooser::setType (DrumType newType, bool isUnknown, std::optional<DrumType> soundsLike)
{
    type = newType;
    unknown = isUnknown;
    offered = soundsLike;
    // Of one that is asked for, every choice is a new one.
    setSelectedId (canBeChosen (type) && ! unknown ? static_cast<int> (drumTypeCode (type)) : 0,
                   juce::dontSendNotification);
    repaint();
}

juce::String DrumTypeChooser::getTooltip()
{
    return onDescribe != nullptr ? onDescribe() : TessivarComboBox::getTooltip();
}

void DrumTypeChooser::paint (juce::Graphics& g)
{
    const auto enabled = isEnabled();
    const auto colour = ! enabled ? palette::textDisabled : unknown ? palette::amber : drumColour (type);
    const auto isOver = isMouseOver (true) && enabled;
    const auto edge = unknown && enabled ? palette::amber.withAlpha (isOver ? 0.9f : 0.5f)
                      : isOver           ? palette::outline
                                         : palette::lineStrong;
    drawFrame (g, getLocalBounds().toFloat(), juce::Colour (0xff11161a), edge, 5.0f);

    auto area = getLocalBounds().toFloat().reduced (6.5f, 0.5f);
    drawIcon (g,
              offered   ? drumIcon (*offered)
              : unknown ? Icon::warning
                        : drumIcon (type),
              area.removeFromLeft (14.0f),
              colour);
    area.removeFromLeft (4.5f);
    drawIcon (
        g, Icon::chevronDown, area.removeFromRight (12.0f).withSizeKeepingCentre (11.0f, 11.0f), colour);
    if (getWidth() < 80)
        return;
    g.setColour (! enabled ? palette::textDisabled : unknown ? palette::amber : palette::textHigh);
    g.setFont (fonts::inter (12.0f));
    g.drawText (offered   ? drumName (*offered) + "?"
                : unknown ? juce::String ("type?")
                          : drumName (type),
                area,
                juce::Justification::centredLeft,
                true);
}

OfferButtons::OfferButtons()
{
    for (auto* button : { &take, &refuse })
    {
        addAndMakeVisible (button);
        button->setIconSize (12.0f);
        button->setInk (palette::amber);
        button->setWantsKeyboardFocus (false); // the figures do the same
    }
    take.onClick = [this] { call (onTake); };
    refuse.onClick = [this] { call (onRefuse); };
}

void OfferButtons::show (const juce::String& trackName, DrumType offered)
{
    take.setTitle ("Set " + trackName + " to " + drumName (offered));
    refuse.setTitle (trackName + " is not a drum");
}

void OfferButtons::listenToMouse (juce::MouseListener& listener)
{
    addMouseListener (&listener, true);
}

void OfferButtons::resized()
{
    take.setBounds (0, 0, 22, 22);
    refuse.setBounds (22, 0, 22, 22);
}

TrackRow::TrackRow (const ResourceImages& imagesToUse,
                    const RowCallbacks& callbacksToUse,
                    RowId groupId,
                    RowId trackId)
    : ListRow (callbacksToUse, groupId, trackId), images (imagesToUse), include (imagesToUse),
      locate (juce::String::fromUTF8 ("Locate\xe2\x80\xa6"))
{
    addAndMakeVisible (include);
    addAndMakeVisible (type);
    addChildComponent (locate);
    include.setWantsKeyboardFocus (false);
    locate.setWantsKeyboardFocus (false);
    include.onClick = [this] { call (callbacks.onInclude, track, include.getToggleState()); };
    type.onChoose = [this] (DrumType chosen) { call (callbacks.onType, track, chosen); };
    type.onDescribe = [this]
    { return callbacks.onDescribeType != nullptr ? callbacks.onDescribeType (track) : juce::String(); };
    locate.onClick = [this] { call (callbacks.onLocate, track); };
    // Moving onto a control inside the row doesn't end the hover.
    include.addMouseListener (this, false);
    type.addMouseListener (this, false);
}

void TrackRow::takeFrom (const BrowserState& browser)
{
    if (const auto* found = findTrack (browser, track))
        setState (*found);
}

void TrackRow::setState (const TrackRowState& newState)
{
    state = newState;
    include.setToggleState (state.included, juce::dontSendNotification);
    include.setTitle ("Include " + state.name + " in analysis");
    include.setTooltip (state.included ? "Leave out of analysis [E]" : "Include in analysis [E]");
    type.setType (state.type, state.typeUnknown, state.offeredType);
    type.setTitle ("Drum type of " + state.name);
    type.setVisible (! state.sourceMissing);
    locate.setVisible (state.sourceMissing);
    showStrip();
    showOffer();
    setTitle (accessibleName (state));
    setTooltip (state.hint);
    resized();
    repaint();
}

void TrackRow::showStrip()
{
    if (state.strip && strip == nullptr)
    {
        strip = std::make_unique<TrackStrip> (images);
        addChildComponent (*strip);
        strip->onSolo = [this] (bool solo) { call (callbacks.onSolo, track, solo); };
        strip->onMute = [this] (bool mute) { call (callbacks.onMute, track, mute); };
        strip->onFader = [this] (float levelDb) { call (callbacks.onFader, track, levelDb); };
        strip->addListenerToParts (*this);
    }
    if (strip != nullptr)
        strip->setVisible (state.strip && ! state.sourceMissing);
    if (state.strip)
        strip->show (state.name, *state.strip);
}

void TrackRow::showOffer()
{
    const auto isOffered = state.offeredType && ! state.sourceMissing && ! state.strip;
    if (isOffered && offer == nullptr)
    {
        offer = std::make_unique<OfferButtons>();
        addChildComponent (*offer);
        offer->listenToMouse (*this);
        offer->onTake = [this]
        {
            if (const auto offered = state.offeredType)
                call (callbacks.onOfferAnswered, track, *offered);
        };
        offer->onRefuse = [this] { call (callbacks.onOfferAnswered, track, DrumType::other); };
    }
    if (offer != nullptr)
        offer->setVisible (isOffered);
    if (isOffered)
        offer->show (state.name, *state.offeredType);
}

void TrackRow::setLevels (float source, float kept)
{
    if (juce::approximatelyEqual (source, state.sourceLevel)
        && juce::approximatelyEqual (kept, state.keptLevel))
        return;
    state.sourceLevel = source;
    state.keptLevel = kept;
    repaint (levelBar());
}

void TrackRow::setExporting (std::optional<float> share)
{
    exporting = share;
    repaint();
}

juce::Rectangle<int> TrackRow::levelBar() const
{
    return { getWidth() - 16, 6, 5, getHeight() - 13 };
}

juce::Rectangle<int> TrackRow::waveArea() const
{
    // "Excluded" is wider than the other marks.
    const auto right = state.mark == TrackRowState::Mark::excluded ? 80 : 72;
    const auto left = offer != nullptr && offer->isVisible() ? offer->getRight() + 6 : 146;
    return juce::Rectangle<int>::leftTopRightBottom (
        left, getHeight() - 32, getWidth() - right, getHeight() - 6);
}

void TrackRow::resized()
{
    include.layOut ({ 9, (getHeight() - 1) / 2 - 10, 20, 20 });
    const auto chooserTop = getHeight() - 29;
    // In a narrow browser the strip takes the place of the type's name.
    const auto chooserWidth = state.strip && getWidth() < narrowWidth ? 46 : 104;
    type.setBounds (dotColumn, chooserTop, chooserWidth, 22);

    if (offer != nullptr)
        offer->setBounds (type.getRight() + 3, chooserTop, 44, 22);

    if (strip != nullptr)
        strip->setBounds (juce::Rectangle<int>::leftTopRightBottom (
            type.getRight() + 4, chooserTop - 3, waveArea().getRight(), chooserTop + 25));
    locate.setBounds (dotColumn, chooserTop, 76, 22);
}

void TrackRow::paint (juce::Graphics& g)
{
    paintGround (g, palette::raised);
    g.setColour (juce::Colour (0xff0f1316));
    g.fillRect (0, getHeight() - 1, getWidth(), 1);

    const auto alpha = state.included ? 1.0f : excludedAlpha;
    g.setColour (drumColour (state.type).withMultipliedAlpha (alpha));
    g.fillRect (0, 0, colourBarWidth, getHeight() - 1);

    paintName (g);
    paintMark (g);
    if (! state.sourceMissing && ! state.strip.has_value())
        paintWave (g);
    paintLevel (g);

    if (const auto share = exporting.has_value() ? exporting : state.loading; share.has_value())
    {
        g.setColour (palette::iceMid);
        g.fillRect (0.0f,
                    static_cast<float> (getHeight() - 3),
                    static_cast<float> (getWidth()) * juce::jlimit (0.0f, 1.0f, *share),
                    2.0f);
    }
    paintSelection (g);
}

void TrackRow::paintOverChildren (juce::Graphics& g)
{
    drawSocket (g, include.getDotArea());
}

void TrackRow::paintName (juce::Graphics& g) const
{
    const auto font = fonts::inter (13.0f, fonts::Weight::medium);
    auto area = juce::Rectangle<int>::leftTopRightBottom (
        dotColumn, getHeight() > 55 ? 5 : 3, getWidth() - 66, getHeight() > 55 ? 25 : 23);
    const auto figure = state.strip.has_value() ? faderText (state.strip->faderDb) : state.leakage;
    if (figure.isNotEmpty())
    {
        const auto figures = fonts::inter (11.0f);
        g.setColour (palette::textLow.withMultipliedAlpha (state.included ? 1.0f : excludedAlpha));
        const auto width = juce::roundToInt (std::ceil (fonts::tabularWidth (figures, figure)));
        fonts::drawTabular (
            g, figures, figure, area.removeFromRight (width).toFloat(), juce::Justification::centredRight);
        area.removeFromRight (8);
    }
    // Dimmed, but legible on the background of a selected row.
    g.setColour (state.included && ! state.sourceMissing ? palette::textHigh : palette::textLow);
    g.setFont (font);
    g.drawText (state.name, area, juce::Justification::centredLeft, true);
    if (! state.sourceMissing)
        return;
    const auto width = std::min (font.getStringWidth (state.name), area.getWidth());
    g.fillRect (area.getX(), area.getCentreY(), width, 1);
    g.setColour (palette::amber);
    g.setFont (fonts::inter (12.0f));
    g.drawText ("Source file not found",
                juce::Rectangle<int>::leftTopRightBottom (
                    dotColumn + 84, getHeight() - 29, getWidth() - 24, getHeight() - 7),
                juce::Justification::centredLeft,
                true);
}

void TrackRow::paintMark (juce::Graphics& g) const
{
    using Mark = TrackRowState::Mark;
    const auto right = getWidth() - 22;
    const auto nameLine = juce::Rectangle<float> (
        static_cast<float> (right - 60), getHeight() > 55 ? 7.0f : 5.0f, 60.0f, 20.0f);
    if (state.focusPercent.has_value())
    {
        g.setColour (palette::textHigh);
        fonts::drawTabular (g,
                            fonts::inter (13.0f, fonts::Weight::semibold),
                            juce::String (*state.focusPercent) + "%",
                            nameLine,
                            juce::Justification::centredRight);
    }
    else
    {
        g.setColour (palette::textLow);
        g.setFont (fonts::inter (13.0f));
        g.drawText (
            juce::String::fromUTF8 ("\xe2\x80\x93"), nameLine, juce::Justification::centredRight, false);
    }
    if (state.sourceMissing)
        return;

    const juce::Rectangle<float> markLine (
        static_cast<float> (right - 60), static_cast<float> (getHeight() - 29), 60.0f, 22.0f);
    const auto spot = markLine.withLeft (markLine.getRight() - 13.0f).withSizeKeepingCentre (13.0f, 13.0f);
    const auto word = [&] (const char* text)
    {
        g.setColour (palette::textLow);
        g.setFont (fonts::inter (12.0f));
        g.drawText (text, markLine, juce::Justification::centredRight, false);
    };
    switch (state.mark)
    {
        case Mark::analysed:
            drawIcon (g, Icon::tick, spot.reduced (0.5f), palette::green);
            break;
        case Mark::notAnalysed:
            drawIcon (g, Icon::ring, spot.expanded (3.0f), palette::textLow);
            break;
        case Mark::asIs:
            word ("As is");
            break;
        case Mark::excluded:
            word ("Excluded");
            break;
    }
}

void TrackRow::paintWave (juce::Graphics& g) const
{
    if (state.wave == nullptr || state.wave->numColumns <= 0)
        return;
    const auto area = waveArea().toFloat();
    const auto middle = area.getCentreY();
    const auto half = 0.5f * area.getHeight();
    const auto columnWidth = area.getWidth() / static_cast<float> (state.wave->numColumns);
    const auto fill = [&] (const std::vector<float>& peaks, juce::Colour colour)
    {
        juce::RectangleList<float> bars;
        for (std::size_t i = 0; i < peaks.size(); ++i)
        {
            const auto height = std::max (0.5f, juce::jlimit (0.0f, 1.0f, peaks[i]) * half);
            bars.addWithoutMerging ({ area.getX() + static_cast<float> (i) * columnWidth,
                                      middle - height,
                                      columnWidth,
                                      2.0f * height });
        }
        g.setColour (colour);
        g.fillRectList (bars);
    };
    const auto alpha = state.included ? 1.0f : excludedAlpha;
    const auto isAnalysed = ! state.wave->kept.empty() && state.mark == TrackRowState::Mark::analysed;
    const auto plain = state.mark == TrackRowState::Mark::asIs ? drumColour (state.type).withAlpha (0.8f)
                                                               : palette::sourceUnanalysed.withAlpha (0.6f);
    fill (state.wave->source, isAnalysed ? palette::emberLine : plain.withMultipliedAlpha (alpha));
    if (isAnalysed)
        fill (state.wave->kept, drumColour (state.type));
}

void TrackRow::paintLevel (juce::Graphics& g) const
{
    const auto bar = levelBar().toFloat();
    g.setColour (palette::well);
    g.fillRoundedRectangle (bar, 2.0f);
    const auto level = [&] (float height, juce::Colour colour)
    {
        g.setColour (colour.withMultipliedAlpha (state.isHeard ? 1.0f : 0.35f));
        g.fillRoundedRectangle (
            bar.withTop (bar.getBottom() - juce::jlimit (0.0f, 1.0f, height) * bar.getHeight()), 2.0f);
    };
    if (state.sourceLevel > 0.0f)
        level (state.sourceLevel, palette::emberLine);
    if (state.keptLevel > 0.0f)
        level (state.keptLevel, drumColour (state.type));
}

void TrackRow::mouseDown (const juce::MouseEvent& event)
{
    // A menu click anywhere in the row opens its menu; only the dot answers to either button.
    if (event.mods.isPopupMenu() ? event.eventComponent == &include : event.eventComponent != this)
        return;
    if (! event.mods.isPopupMenu() && event.x < dotColumn && event.x >= colourBarWidth)
        include.triggerClick();
    else
        ListRow::mouseDown (event);
}

} // namespace tessivar
