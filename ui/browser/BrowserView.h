#pragma once

#include "terms/AnalysisMethod.h"
#include "ui/browser/BrowserList.h"
#include "ui/browser/MethodChoice.h"

namespace tessivar
{

/** The browser at the left of the window: title with "new" and "import" buttons, the list, and the buttons
    for the selected Group. It takes dropped files and shows where they would go.
*/
class BrowserView : public juce::Component,
                    public juce::FileDragAndDropTarget,
                    private juce::ScrollBar::Listener
{
public:
    explicit BrowserView (const ResourceImages& images);
    ~BrowserView() override;

    void setState (const BrowserState& newState);
    const BrowserState& getState() const { return list.getState(); }

    /** Rows 53 pixels high instead of 57. */
    void setCompact (bool compact);

    BrowserList& getList() { return list; }

    std::function<void()> onNewGroup, onImport, onAnalyze, onExport, onUndo, onRedo;
    /** The user chose a method for the selected Group's next analysis. */
    std::function<void (AnalysisMethod)> onMethodChosen;
    /** What a method does, and takes for the selected Group. */
    std::function<juce::String (AnalysisMethod)> onDescribeMethod;
    /** Files were dropped on a Group, or elsewhere (0), which makes a new Group. */
    std::function<void (const juce::StringArray& files, RowId group)> onFilesDropped;

    /** What hovering files and folders hold. */
    std::function<juce::String (const juce::StringArray& files)> onDescribeFiles;

    /** Where hovering files would go: nowhere, to a Group, or to a new Group (0). */
    struct DropHover
    {
        RowId group = 0;
        int numFiles = 0;
        juce::String contents{}; // of files and folders
        friend bool operator== (const DropHover&, const DropHover&) = default;
    };
    void setDropHover (std::optional<DropHover> hover);

    bool isInterestedInFileDrag (const juce::StringArray&) override { return onFilesDropped != nullptr; }
    void fileDragEnter (const juce::StringArray& files, int x, int y) override { fileDragMove (files, x, y); }
    void fileDragMove (const juce::StringArray& files, int x, int y) override;
    void fileDragExit (const juce::StringArray&) override { setDropHover ({}); }
    void filesDropped (const juce::StringArray& files, int x, int y) override;

    void paint (juce::Graphics& g) override;
    void paintOverChildren (juce::Graphics& g) override;
    void resized() override;

    static constexpr int titleHeight = 44;
    static constexpr int footerHeight = 96;

private:
    RowId groupUnder (juce::Point<int> position) const;
    juce::Rectangle<int> dropArea() const;
    void paintEmpty (juce::Graphics& g) const;
    void showButtons();
    void showScrollPosition();
    void scrollBarMoved (juce::ScrollBar*, double newStart) override;

    /** Leaves Home, End and the page keys, which the toolkit would scroll with, to the window's commands. */
    class ListViewport : public juce::Viewport
    {
    public:
        bool keyPressed (const juce::KeyPress&) override { return false; }
        void visibleAreaChanged (const juce::Rectangle<int>&) override { onScroll(); }
        std::function<void()> onScroll = [] {};
    };

    IconButton newGroup, importTracks, undo, redo;
    ListViewport viewport;
    BrowserList list;
    juce::ScrollBar scrollBar{ true }; // over the rows, so that they keep their width
    MethodChoice methods;
    ActionButton analyze{ "Analyze Group" },
        exportGroup{ "Export Group", ButtonLook::standard, Icon::exporting };
    std::optional<DropHover> dropHover;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (BrowserView)
};

} // namespace tessivar
