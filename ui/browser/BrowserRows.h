#pragma once

#include "terms/DrumType.h"
#include "ui/Buttons.h"
#include "ui/Call.h"
#include "ui/TessivarControls.h"
#include "ui/browser/BrowserState.h"
#include "ui/browser/TrackStrip.h"

#include <optional>

namespace tessivar
{

/** Chooses a track's drum type: glyph, name, and a list of the seven types with their keys. */
class DrumTypeChooser : public TessivarComboBox
{
public:
    DrumTypeChooser();

    /** Shows a type without calling back. An overhead shows a dash and isn't in the list; one that nobody has
        told is asked for, by the name of the drum it sounds like if there is one. Below a width of 80 the
        glyph alone is shown.
    */
    void setType (DrumType newType, bool isUnknown = false, std::optional<DrumType> soundsLike = {});

    /** The user chose a type. */
    std::function<void (DrumType)> onChoose;

    /** What the type rests on; asked when the tooltip is wanted. */
    std::function<juce::String()> onDescribe;
    juce::String getTooltip() override;

    void showPopup() override;
    void paint (juce::Graphics& g) override;
    void lookAndFeelChanged() override;

private:
    void hideLabel();

    DrumType type = DrumType::other;
    bool unknown = false;
    std::optional<DrumType> offered;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (DrumTypeChooser)
};

/** Two small buttons that answer what a track sounds like. */
class OfferButtons : public juce::Component
{
public:
    OfferButtons();

    std::function<void()> onTake, onRefuse;

    void show (const juce::String& trackName, DrumType offered);
    void listenToMouse (juce::MouseListener& listener);
    void resized() override;

private:
    IconButton take{ "Set this drum type", Icon::tick }, refuse{ "Not a drum", Icon::close };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (OfferButtons)
};

/** What rows report to the list, which sets these once for all rows. */
struct RowCallbacks
{
    std::function<void (RowId group, RowId track, const juce::MouseEvent&)> onPress, onDrag, onRelease;
    std::function<void (RowId group, RowId track, juce::Point<int> screenPosition)> onMenu;
    std::function<void (RowId track, bool included)> onInclude;
    std::function<void (RowId track, DrumType type)> onType, onOfferAnswered;
    std::function<void (RowId track)> onLocate;
    std::function<void (RowId track, bool)> onSolo, onMute;
    std::function<void (RowId track, float levelDb)> onFader;
    std::function<juce::String (RowId track)> onDescribeType;
    std::function<void (RowId group)> onFold, onClose, onStopReading;
    std::function<void (RowId group, const juce::String& name)> onRename;
};

/** What the rows of Groups and of Tracks share: hover, selection, and the mouse, of which the list is told.
*/
class ListRow : public juce::Component
{
public:
    RowId getGroup() const { return group; }
    /** 0 for the row of a Group. */
    RowId getTrack() const { return track; }
    bool isGroup() const { return track == 0; }

    /** Takes what the state says of this row. */
    virtual void takeFrom (const BrowserState& browser) = 0;
    void setSelected (bool isSelected, bool isLead);

    void mouseDown (const juce::MouseEvent& event) override;
    void mouseDrag (const juce::MouseEvent& event) override;
    void mouseUp (const juce::MouseEvent& event) override;
    void mouseEnter (const juce::MouseEvent&) override { hover.setOver (isMouseOver (true)); }
    void mouseExit (const juce::MouseEvent&) override { hover.setOver (isMouseOver (true)); }
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

protected:
    ListRow (const RowCallbacks& callbacksToUse, RowId groupId, RowId trackId)
        : callbacks (callbacksToUse), group (groupId), track (trackId)
    {
    }

    /** The ground, as it is at rest when neither hovered nor selected; a seam below it is left out. */
    void paintGround (juce::Graphics& g, juce::Colour rest) const;
    void paintSelection (juce::Graphics& g) const;

    const RowCallbacks& callbacks;
    const RowId group, track;

private:
    bool selected = false, lead = false;
    motion::HoverFade hover{ *this };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ListRow)
};

/** The row of a Track. */
class TrackRow : public ListRow, public juce::SettableTooltipClient
{
public:
    TrackRow (const ResourceImages& images, const RowCallbacks& callbacks, RowId group, RowId track);

    void takeFrom (const BrowserState& browser) override;
    void setState (const TrackRowState& newState);

    /** Updates the level bar alone; called at display rate. */
    void setLevels (float source, float kept);

    /** How much of the track's file is written, 0 to 1; nothing when none is being written. */
    void setExporting (std::optional<float> share);

    void paint (juce::Graphics& g) override;
    void paintOverChildren (juce::Graphics& g) override;
    void resized() override;
    void mouseDown (const juce::MouseEvent& event) override;

private:
    juce::Rectangle<int> levelBar() const;
    juce::Rectangle<int> waveArea() const;
    void showOffer();
    void showStrip();
    void paintName (juce::Graphics& g) const;
    void paintMark (juce::Graphics& g) const;
    void paintWave (juce::Graphics& g) const;
    void paintLevel (juce::Graphics& g) const;

    const ResourceImages& images;
    TrackRowState state;
    std::optional<float> exporting;
    TessivarCheckBox include;
    DrumTypeChooser type;
    // Most of hundreds of rows never need these.
    std::unique_ptr<OfferButtons> offer;
    ActionButton locate;
    std::unique_ptr<TrackStrip> strip;
};

/** The row of a file on its way into a Group: what it is taken for, and how much of it has been read. */
class ReadingRow : public ListRow
{
public:
    ReadingRow (const RowCallbacks& callbacksToUse, RowId groupId, RowId fileId)
        : ListRow (callbacksToUse, groupId, fileId)
    {
    }

    void takeFrom (const BrowserState& browser) override;
    void setFraction (float fraction);

    void paint (juce::Graphics& g) override;
    void mouseDown (const juce::MouseEvent& event) override;

private:
    ReadingRowState state;
};

/** The row of a Group. */
class GroupRow : public ListRow, private juce::TextEditor::Listener
{
public:
    GroupRow (const RowCallbacks& callbacks, RowId group);

    void takeFrom (const BrowserState& browser) override;
    void setState (const GroupRowState& newState);
    /** Of the files on their way. */
    void setFractions (const std::vector<ReadFraction>& fractions);
    /** Shown at an edge of the list, away from its place, with tracks passing behind it. */
    void setPinned (bool shouldBePinned);

    /** Opens the name for editing. Enter and losing the focus commit, Escape cancels; an empty name changes
        nothing.
    */
    void beginRename();

    void paint (juce::Graphics& g) override;
    void resized() override;
    void mouseDoubleClick (const juce::MouseEvent&) override { call (callbacks.onFold, group); }

private:
    void textEditorReturnKeyPressed (juce::TextEditor&) override { endRename (true); }
    void textEditorEscapeKeyPressed (juce::TextEditor&) override { endRename (false); }
    void textEditorFocusLost (juce::TextEditor&) override { endRename (true); }
    void endRename (bool keep);
    int markRoom() const; // right of the badge
    float badgeWidth() const;
    void paintBadge (juce::Graphics& g) const;

    GroupRowState state;
    bool pinned = false;
    IconButton fold, close, stop;
    std::unique_ptr<juce::TextEditor> nameEditor;
};

} // namespace tessivar
