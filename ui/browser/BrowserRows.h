#pragma once

#include "terms/DrumType.h"
#include "ui/Buttons.h"
#include "ui/DrumDrawing.h"
#include "ui/TessivarControls.h"
#include "ui/browser/BrowserState.h"

namespace tessivar
{

/** Chooses a track's drum type: glyph, name, and a list of the seven types with their keys. */
class DrumTypeChooser : public TessivarComboBox
{
public:
    DrumTypeChooser();

    /** Shows a type without calling back. An overhead shows a dash and isn't in the list. */
    void setType (DrumType newType);

    /** The user chose a type. */
    std::function<void (DrumType)> onChoose;

    void paint (juce::Graphics& g) override;
    void lookAndFeelChanged() override;

private:
    void hideLabel();

    DrumType type = DrumType::other;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (DrumTypeChooser)
};

/** What rows report to the list, which sets these once for all rows. */
struct RowCallbacks
{
    std::function<void (RowId group, RowId track, const juce::MouseEvent&)> onPress, onDrag, onRelease;
    std::function<void (RowId group, RowId track, juce::Point<int> screenPosition)> onMenu;
    std::function<void (RowId track, bool included)> onInclude;
    std::function<void (RowId track, DrumType type)> onType;
    std::function<void (RowId track)> onLocate;
    std::function<void (RowId group)> onFold, onClose;
    std::function<void (RowId group, const juce::String& name)> onRename;
};

/** The row of a Track. */
class TrackRow : public juce::Component, public juce::SettableTooltipClient
{
public:
    TrackRow (const ResourceImages& images, const RowCallbacks& callbacks, RowId group, RowId track);

    RowId getTrack() const { return id; }
    RowId getGroup() const { return group; }

    void setState (const TrackRowState& newState);
    void setSelected (bool isSelected, bool isLead);
    void setDimmed (bool shouldBeDimmed);

    /** Updates the level bar alone; called at display rate. */
    void setLevels (float source, float kept);

    void paint (juce::Graphics& g) override;
    void paintOverChildren (juce::Graphics& g) override;
    void resized() override;
    void mouseDown (const juce::MouseEvent& event) override;
    void mouseDrag (const juce::MouseEvent& event) override;
    void mouseUp (const juce::MouseEvent& event) override;
    void mouseEnter (const juce::MouseEvent& event) override;
    void mouseExit (const juce::MouseEvent& event) override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

private:
    juce::Rectangle<int> levelBar() const;
    juce::Rectangle<int> waveArea() const;
    void paintName (juce::Graphics& g) const;
    void paintMark (juce::Graphics& g) const;
    void paintWave (juce::Graphics& g) const;
    void paintLevel (juce::Graphics& g) const;
    void updateHover();

    const RowCallbacks& callbacks;
    const RowId group, id;
    TrackRowState state;
    bool selected = false, lead = false;
    motion::HoverFade hover{ *this };
    TessivarCheckBox include;
    DrumTypeChooser type;
    ActionButton locate;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TrackRow)
};

/** The row of a Group. */
class GroupRow : public juce::Component, private juce::TextEditor::Listener
{
public:
    GroupRow (const RowCallbacks& callbacks, RowId group);

    RowId getGroup() const { return id; }

    void setState (const GroupRowState& newState);
    void setSelected (bool isSelected);
    /** Shown at an edge of the list, away from its place, with tracks passing behind it. */
    void setPinned (bool shouldBePinned);

    /** Opens the name for editing. Enter and losing the focus commit, Escape cancels; an empty name changes
        nothing.
    */
    void beginRename();

    void paint (juce::Graphics& g) override;
    void resized() override;
    void mouseDown (const juce::MouseEvent& event) override;
    void mouseDrag (const juce::MouseEvent& event) override;
    void mouseUp (const juce::MouseEvent& event) override;
    void mouseDoubleClick (const juce::MouseEvent& event) override;
    void mouseEnter (const juce::MouseEvent& event) override;
    void mouseExit (const juce::MouseEvent& event) override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

private:
    void textEditorReturnKeyPressed (juce::TextEditor&) override;
    void textEditorEscapeKeyPressed (juce::TextEditor&) override;
    void textEditorFocusLost (juce::TextEditor&) override;
    void endRename (bool keep);
    float badgeWidth() const;
    void paintBadge (juce::Graphics& g) const;

    const RowCallbacks& callbacks;
    const RowId id;
    GroupRowState state;
    bool selected = false, pinned = false;
    motion::HoverFade hover{ *this };
    IconButton fold, close;
    std::unique_ptr<juce::TextEditor> nameEditor;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (GroupRow)
};

} // namespace tessivar
