#pragma once

#include "ui/Buttons.h"

#include <vector>

namespace tessivar
{

/** A Group that can be opened again, or why it can't. */
struct ReopenableGroup
{
    juce::String name, path;
    juce::String reasonAgainst{}; // empty: it can
};

/** Fills the centre while no Group is open: the drop zone, the buttons, the five steps; the demo session is
    offered where it is installed.
*/
class EmptyView : public juce::Component, public juce::FileDragAndDropTarget
{
public:
    EmptyView();

    std::function<void()> onImport, onOpen, onDemo, onReopen;
    std::function<void (const juce::StringArray&)> onFilesDropped;
    /** What hovering files and folders hold. */
    std::function<juce::String (const juce::StringArray&)> onDescribeFiles;

    /** Whether there is a demo session to open; false until set. */
    void setHasDemo (bool shouldHaveDemo);

    /** What was open when the program was last quit; none until set. What can't be opened is told with its
        reason; the button is grey when nothing can.
    */
    void setReopenable (std::vector<ReopenableGroup> groups);

    /** "Reading 24 files": in the place of the offers, while files are on their way; empty when none are. */
    void setReading (const juce::String& headline);

    /** Highlights the drop zone while files hover over the window, and says what they hold. */
    void setHovered (bool shouldBeHovered, const juce::String& contents = {});

    bool isInterestedInFileDrag (const juce::StringArray&) override { return onFilesDropped != nullptr; }
    void fileDragEnter (const juce::StringArray& files, int x, int y) override;
    void fileDragExit (const juce::StringArray&) override { setHovered (false); }
    void filesDropped (const juce::StringArray& files, int x, int y) override;

    void paint (juce::Graphics& g) override;
    void resized() override;

private:
    juce::Rectangle<int> zone() const { return getLocalBounds().reduced (20); }
    int contentTop() const;
    void paintGlyphs (juce::Graphics& g) const;
    void paintSteps (juce::Graphics& g) const;
    juce::String missingText() const;
    void showButtons();

    bool hovered = false, hasDemo = false;
    juce::String hovering, reading; // what files in the air hold; the headline while files are read
    ActionButton importTracks, open, demo, reopen;
    std::vector<ReopenableGroup> reopenable;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (EmptyView)
};

inline constexpr const char* releaseForNewGroup = "Release to make a new group";

/** Paints what lies over an area while files hover over it: a solid edge, and what releasing them does. */
void paintDropTarget (juce::Graphics& g,
                      juce::Rectangle<int> area,
                      const juce::String& title,
                      const juce::String& detail);

/** Covers an area while files hover over it: a solid edge, and what releasing them does. Lets the mouse
    through.
*/
class DropOverlay : public juce::Component
{
public:
    DropOverlay();

    void setTexts (const juce::String& newTitle, const juce::String& newDetail);
    void paint (juce::Graphics& g) override;

private:
    juce::String title{ releaseForNewGroup }, detail;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (DropOverlay)
};

} // namespace tessivar
