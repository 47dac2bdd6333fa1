#pragma once

#include "terms/DrumType.h"
#include "ui/browser/BrowserRows.h"

namespace tessivar
{

/** The browser's rows, one below the other, inside a viewport. It keeps the selection, handles the keys, and
    moves tracks by dragging.
*/
class BrowserList : public juce::Component
{
public:
    explicit BrowserList (const ResourceImages& images);

    void setState (const BrowserState& newState);
    const BrowserState& getState() const { return state; }

    void setSelection (const BrowserSelection& newSelection);
    const BrowserSelection& getSelection() const { return selection; }

    void setCompact (bool compact);
    BrowserMetrics getMetrics() const { return metrics; }

    /** Visible part of the list, logical pixels from its top; Group rows stick to its edges. The list is
        never shorter.
    */
    void setView (juce::Range<int> newView);
    /** The Group whose visible row or tracks are at this height; 0 below the last one. */
    RowId groupSeenAt (int y) const;

    struct Level
    {
        RowId track = 0;
        float source = 0.0f, kept = 0.0f; // 0 to 1 of the bar
    };
    void setLevels (const std::vector<Level>& levels);
    void setReadFractions (const std::vector<ReadFraction>& fractions);

    /** How much of the files of these tracks is written, 0 to 1; nothing when that is over. */
    void setExporting (const std::vector<RowId>& tracks, std::optional<float> share);

    void beginRename (RowId group);

    /** The user selected other rows. */
    std::function<void (const BrowserSelection&)> onSelect;
    /** Tracks were dragged to before the track with this index of a Group, as counted before the move. */
    std::function<void (const std::vector<RowId>& tracks, RowId toGroup, int index)> onMoveTracks;
    /** A drag of tracks has left the browser; and is over, inside it or not. */
    std::function<void (const std::vector<RowId>& tracks)> onDragOut;
    std::function<void()> onDragOver;
    /** Somebody else goes on with the drag, or nobody: here it changes nothing any more. */
    void handOverDrag();
    /** The user asked for a menu; track is 0 on a Group row. */
    std::function<void (RowId group, RowId track, juce::Point<int> screenPosition)> onMenu;
    /** Toggling one of several selected tracks toggles all of them. */
    std::function<void (const std::vector<RowId>& tracks, bool included)> onInclude;
    std::function<void (const std::vector<RowId>& tracks, DrumType type)> onType;
    /** Of the selected tracks when the one clicked is among them. */
    std::function<void (const std::vector<RowId>&tracks, bool)> onSolo, onMute;
    std::function<void (RowId track, float levelDb)> onFader;
    /** What a track's drum type rests on. */
    std::function<juce::String (RowId track)> onDescribeType;
    std::function<void (RowId)> onLocate, onFold, onClose, onStopReading;
    std::function<void (RowId group, const juce::String& name)> onRename;

    bool keyPressed (const juce::KeyPress& key) override;
    void focusGained (FocusChangeType) override { repaint(); }
    void focusLost (FocusChangeType) override { repaint(); }
    void paint (juce::Graphics& g) override;
    void paintOverChildren (juce::Graphics& g) override;
    void resized() override { layOutRows (false); }
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

private:
    void wireRows();
    void rebuildRows();
    void layOutRows (bool animated);
    void placeGroupRows();
    juce::Rectangle<int> seenBounds (std::size_t row) const;
    int idealHeight() const;
    void showSelection();
    void choose (const BrowserSelection& newSelection);
    void pressed (RowId group, RowId track, const juce::MouseEvent& event);
    void dragged (const juce::MouseEvent& event);
    void released (RowId group, RowId track, const juce::MouseEvent& event);
    void endDrag();
    bool hasLeft (const juce::MouseEvent& event) const;
    void scrollToLead();
    bool foldByKey (bool open);
    void openMenuByKey();
    std::vector<RowId> actedOn (RowId track) const;

    const ResourceImages& images;
    BrowserState state;
    BrowserSelection selection;
    BrowserMetrics metrics = browserMetrics (false);
    RowCallbacks callbacks;
    std::vector<BrowserRow> shownRows;
    std::vector<std::unique_ptr<ListRow>> rows; // of shownRows
    juce::Range<int> view;
    juce::ComponentAnimator animator;
    std::vector<RowId> draggedTracks; // empty while nothing is dragged
    std::optional<DropPlace> dropPlace;
    bool isDragOut = false, isDragDone = false; // until the mouse is let go

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (BrowserList)
};

} // namespace tessivar
