#include "ui/EmptyView.h"

#include "terms/DrumType.h"
#include "ui/Call.h"
#include "ui/DrumDrawing.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"

#include <array>
#include <span>
#include <utility>

namespace tessivar
{
namespace
{

constexpr int glyphTile = 54;
constexpr int glyphGap = 10;
constexpr int contentHeight = 296; // from the top of the tiles to the bottom of the line of keys

juce::String utf8 (const char* text)
{
    return juce::String::fromUTF8 (text);
}

juce::String shortened (const juce::String& name)
{
    constexpr int longest = 24;
    return name.length() > longest ? name.substring (0, longest - 1) + utf8 ("\xe2\x80\xa6") : name;
}

} // namespace

EmptyView::EmptyView()
    : importTracks (utf8 ("Import Track(s)\xe2\x80\xa6"), ButtonLook::primary, Icon::import),
      open (utf8 ("Open Group(s)\xe2\x80\xa6")),
      demo ("Open the demo session", ButtonLook::standard, Icon::play), reopen ("Reopen")
{
    setTitle ("Start");
    setFocusContainerType (FocusContainerType::keyboardFocusContainer);
    addAndMakeVisible (importTracks);
    addAndMakeVisible (open);
    addChildComponent (demo);
    addChildComponent (reopen);
    reopen.onClick = [this] { call (onReopen); };
    demo.setTooltip ("Opens a group of example tracks");
    importTracks.onClick = [this] { call (onImport); };
    open.onClick = [this] { call (onOpen); };
    demo.onClick = [this] { call (onDemo); };
}

void EmptyView::setReopenable (std::vector<ReopenableGroup> groups)
{
    reopenable = std::move (groups);
    juce::StringArray names, lines;
    for (const auto& group : reopenable)
    {
        const auto isThere = group.reasonAgainst.isEmpty();
        if (isThere)
            names.add (group.name);
        lines.add (group.path + (isThere ? "" : ": " + group.reasonAgainst));
    }
    auto text = names.isEmpty() ? juce::String ("Reopen") : "Reopen " + shortened (names[0]);
    if (names.size() > 1)
        text << " and " << names.size() - 1 << " more";
    reopen.setButtonText (text);
    reopen.setTitle ("Reopen " + names.joinIntoString (", "));
    reopen.setTooltip ("What was open when the program was last quit:\n" + lines.joinIntoString ("\n"));
    reopen.setEnabled (! names.isEmpty());
    showButtons();
    resized();
    repaint();
}

juce::String EmptyView::missingText() const
{
    juce::StringArray lines;
    for (const auto& group : reopenable)
        if (group.reasonAgainst.isNotEmpty())
            lines.add (shortened (group.name) + ": " + group.reasonAgainst);
    if (lines.isEmpty())
        return {};
    return lines[0]
           + (lines.size() > 1 ? ", and " + juce::String (lines.size() - 1) + " more that can't be reopened"
                               : juce::String());
}

void EmptyView::setHasDemo (bool shouldHaveDemo)
{
    hasDemo = shouldHaveDemo;
    showButtons();
}

void EmptyView::setReading (const juce::String& headline)
{
    if (headline == reading)
        return;
    reading = headline;
    showButtons();
    repaint();
}

void EmptyView::showButtons()
{
    importTracks.setVisible (reading.isEmpty());
    open.setVisible (reading.isEmpty());
    demo.setVisible (hasDemo && reading.isEmpty());
    reopen.setVisible (! reopenable.empty() && reading.isEmpty());
}

void EmptyView::setHovered (bool shouldBeHovered, const juce::String& contents)
{
    if (hovered == shouldBeHovered && hovering == contents)
        return;
    hovered = shouldBeHovered;
    hovering = contents;
    repaint();
}

void EmptyView::fileDragEnter (const juce::StringArray& files, int, int)
{
    setHovered (true, onDescribeFiles != nullptr ? onDescribeFiles (files) : juce::String());
}

void EmptyView::filesDropped (const juce::StringArray& files, int, int)
{
    setHovered (false);
    call (onFilesDropped, files);
}

int EmptyView::contentTop() const
{
    return zone().getCentreY() - contentHeight / 2;
}

void EmptyView::resized()
{
    const auto y = contentTop() + 227;
    reopen.setSize (40, 36);
    const auto reopenWidth = reopen.isVisible() ? reopen.idealWidth() : 0;
    const auto total = 172 + 10 + 145 + (reopenWidth > 0 ? 10 + reopenWidth : 0);
    const auto left = getWidth() / 2 - total / 2;
    importTracks.setBounds (left, y, 172, 36);
    open.setBounds (left + 182, y, 145, 36);
    reopen.setBounds (left + 337, y, reopenWidth, 36);
    demo.setSize (160, 34);
    const auto width = demo.idealWidth() + 8;
    demo.setBounds (
        zone().getCentreX() - width / 2, contentTop() + (missingText().isEmpty() ? 312 : 328), width, 34);
}

void EmptyView::paint (juce::Graphics& g)
{
    const auto area = getLocalBounds().toFloat();
    g.fillAll (palette::panel);
    g.setGradientFill (juce::ColourGradient (juce::Colour (0xff1a1f27),
                                             area.getCentre(),
                                             palette::panel,
                                             area.getCentre().translated (0.5f * area.getWidth(), 0.0f),
                                             true));
    g.fillAll();

    juce::Path frame;
    frame.addRoundedRectangle (zone().toFloat().reduced (0.5f), 14.0f);
    if (hovered)
    {
        g.setColour (palette::ice.withAlpha (0.05f));
        g.fillPath (frame);
        g.setColour (palette::ice);
        g.strokePath (frame, juce::PathStrokeType (2.0f));
    }
    else
    {
        constexpr std::array<float, 2> dashes{ 3.0f, 3.0f };
        juce::Path dashed;
        juce::PathStrokeType (1.0f).createDashedStroke (dashed, frame, dashes.data(), 2);
        g.setColour (palette::textDisabled);
        g.fillPath (dashed);
    }

    paintGlyphs (g);
    const auto top = contentTop();
    const auto line = [&] (int y, int height, const juce::String& words)
    {
        g.drawFittedText (words,
                          { zone().getCentreX() - 259, top + y, 520, height },
                          juce::Justification::centredTop,
                          3,
                          1.0f);
    };
    g.setColour (palette::textHigh);
    g.setFont (fonts::inter (28.0f, fonts::Weight::semibold).withExtraKerningFactor (-0.016f));
    line (85,
          36,
          hovered                ? juce::String (releaseForNewGroup)
          : reading.isNotEmpty() ? reading
                                 : juce::String ("Drop your drum tracks here"));
    g.setColour (palette::textMid);
    const auto body = fonts::inter (15.0f);
    g.setFont (body);
    if (hovered || reading.isNotEmpty())
    {
        line (132, 20, hovered ? hovering : juce::String ("The group is complete when all of them are in."));
        paintSteps (g);
        return;
    }
    const char* const lines[] = { "One close microphone per file. WAV, AIFF or CAF at 44.1 to 192 kHz.",
                                  "Dropped files become one group, and their drum types are read from",
                                  "the file names." };
    for (int i = 0; i < 3; ++i)
        line (132 + i * 23, 20, lines[i]);
    g.setColour (palette::textLow);
    g.setFont (fonts::inter (12.0f));
    line (
        280,
        16,
        utf8 ("Ctrl+I import tracks  \xc2\xb7  Ctrl+F import a folder  \xc2\xb7  Ctrl+O open a saved group"));
    g.setColour (palette::textLow);
    line (300, 16, missingText());
    paintSteps (g);
}

void EmptyView::paintGlyphs (juce::Graphics& g) const
{
    constexpr int count = 6;
    auto x = zone().getCentreX() + 1 - (count * glyphTile + (count - 1) * glyphGap) / 2;
    for (const auto type : std::span (drumTypeChooserOrder).first<count>())
    {
        const auto tile = juce::Rectangle<int> (x, contentTop(), glyphTile, glyphTile).toFloat();
        g.setColour (drumColour (type).withAlpha (0.14f));
        g.fillRoundedRectangle (tile, 12.0f);
        drawIcon (g, drumIcon (type), tile.withSizeKeepingCentre (28.0f, 28.0f), drumColour (type));
        x += glyphTile + glyphGap;
    }
}

void EmptyView::paintSteps (juce::Graphics& g) const
{
    const std::array<const char*, 5> steps{ "Gather", "Check types", "Analyze", "Turn Focus", "Export" };
    const auto font = fonts::inter (13.0f);
    constexpr float disc = 20.0f, gap = 9.0f, between = 34.0f;
    float total = -between;
    for (const auto* step : steps)
        total += disc + gap + font.getStringWidthFloat (step) + between;

    auto x = static_cast<float> (zone().getCentreX()) - 0.5f * total;
    const auto y = static_cast<float> (zone().getBottom() - 37);
    int number = 1;
    for (const auto* step : steps)
    {
        const auto circle = juce::Rectangle<float> (disc, disc).withCentre ({ x + 0.5f * disc, y });
        g.setColour (palette::hover);
        g.fillEllipse (circle);
        g.setColour (palette::textMid);
        g.setFont (fonts::inter (11.0f, fonts::Weight::semibold));
        g.drawText (juce::String (number++), circle, juce::Justification::centred, false);
        x += disc + gap;
        g.setColour (palette::textLow);
        g.setFont (font);
        const auto width = font.getStringWidthFloat (step);
        g.drawText (step,
                    juce::Rectangle<float> (x, y - 10.0f, width + 2.0f, 20.0f),
                    juce::Justification::centredLeft,
                    false);
        x += width + between;
    }
}

void paintDropTarget (juce::Graphics& g,
                      juce::Rectangle<int> area,
                      const juce::String& title,
                      const juce::String& detail)
{
    const auto frame = area.toFloat().reduced (1.0f);
    g.setColour (palette::well.withAlpha (0.78f));
    g.fillRoundedRectangle (frame, 8.0f);
    g.setColour (palette::ice);
    g.drawRoundedRectangle (frame, 8.0f, 2.0f);

    auto words = area.withSizeKeepingCentre (area.getWidth() - 24, std::min (area.getHeight(), 44));
    g.setColour (palette::textHigh);
    g.setFont (fonts::inter (15.0f, fonts::Weight::semibold));
    g.drawText (
        title, detail.isEmpty() ? words : words.removeFromTop (24), juce::Justification::centred, true);
    g.setColour (palette::textMid);
    g.setFont (fonts::inter (12.0f));
    g.drawText (detail, words, juce::Justification::centred, true);
}

DropOverlay::DropOverlay()
{
    setInterceptsMouseClicks (false, false);
}

void DropOverlay::setTexts (const juce::String& newTitle, const juce::String& newDetail)
{
    title = newTitle;
    detail = newDetail;
    repaint();
}

void DropOverlay::paint (juce::Graphics& g)
{
    paintDropTarget (g, getLocalBounds(), title, detail);
}

} // namespace tessivar
