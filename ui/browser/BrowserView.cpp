#include "ui/browser/BrowserView.h"

#include "ui/Call.h"
#include "ui/EmptyView.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{

namespace
{
constexpr int scrollBarWidth = 8, methodsHeight = 28;

/** Undo or redo, which names its step; grey without one. */
void showStep (IconButton& button, const juce::String& word, const char* keys, const juce::String& step)
{
    button.setEnabled (step.isNotEmpty());
    button.setTitle (step.isEmpty() ? word : word + " " + step);
    button.setTooltip ((step.isEmpty() ? "Nothing to " + word.toLowerCase() : word + ": " + step) + " ["
                       + keys + "]");
}
} // namespace

BrowserView::BrowserView (const ResourceImages& images)
    : newGroup ("New group", Icon::plus), importTracks ("Import tracks", Icon::import),
      undo ("Undo", Icon::undo), redo ("Redo", Icon::redo), list (images)
{
    setTitle ("Browser");
    setFocusContainerType (FocusContainerType::keyboardFocusContainer);
    for (auto* child : std::initializer_list<juce::Component*>{
             &undo, &redo, &newGroup, &importTracks, &viewport, &methods, &analyze, &exportGroup })
        addAndMakeVisible (child);
    viewport.setViewedComponent (&list, false);
    addChildComponent (scrollBar);
    viewport.setScrollBarsShown (false, false, true, false);
    viewport.setWantsKeyboardFocus (false);
    viewport.onScroll = [this] { showScrollPosition(); };
    scrollBar.setAutoHide (false);
    scrollBar.addListener (this);
    importTracks.setTooltip ("Import tracks [Ctrl+I]");

    undo.onClick = [this] { call (onUndo); };
    redo.onClick = [this] { call (onRedo); };
    newGroup.onClick = [this] { call (onNewGroup); };
    importTracks.onClick = [this] { call (onImport); };
    exportGroup.onClick = [this] { call (onExport); };
    methods.onChoose = [this] (AnalysisMethod method) { call (onMethodChosen, method); };
    methods.onDescribe = [this] (AnalysisMethod method)
    { return onDescribeMethod != nullptr ? onDescribeMethod (method) : juce::String(); };
    analyze.onClick = [this]
    {
        // "Up to date" is a state, not an action.
        if (getState().analyze != BrowserState::Analyze::upToDate)
            call (onAnalyze);
    };
    showButtons();
}

BrowserView::~BrowserView()
{
    // The list is destroyed before the viewport, which would still report it.
    viewport.onScroll = [] {};
}

void BrowserView::setState (const BrowserState& newState)
{
    list.setState (newState);

    // A list that goes with the last Group would leave the focus, and its ring, to the first button.
    if (newState.groups.empty() && list.hasKeyboardFocus (true) && getParentComponent() != nullptr)
        getParentComponent()->grabKeyboardFocus();

    viewport.setVisible (! newState.groups.empty());
    showButtons();
    resized();
    repaint();
}

void BrowserView::showButtons()
{
    using Analyze = BrowserState::Analyze;
    const auto& state = getState();
    const auto upToDate = state.analyze == Analyze::upToDate;
    const auto waiting = state.analyze == Analyze::waiting;
    analyze.setButtonText (upToDate                          ? "Up to date"
                           : waiting                         ? "Waits for files"
                           : state.analyze == Analyze::again ? "Analyze Again"
                                                             : "Analyze Group");
    analyze.setLook (upToDate || waiting ? ButtonLook::quiet : ButtonLook::primary);
    analyze.setIcon (upToDate ? Icon::tick : Icon::none);
    analyze.setEnabled (state.analyze != Analyze::unavailable);
    const auto isRefined = state.method == AnalysisMethod::refined;
    analyze.setTooltip (upToDate    ? "Nothing has changed since the analysis"
                        : waiting   ? "Starts when all files are in. Press again to call it off [Ctrl+P]"
                        : isRefined ? "Analyze by the refined method [Ctrl+P]"
                                    : "Analyze by the standard method [Ctrl+P]");
    methods.show (state.method, state.standardTime, state.refinedTime);
    methods.setEnabled (state.analyze != Analyze::unavailable);
    showStep (undo, "Undo", "Ctrl+Z", state.undoName);
    showStep (redo, "Redo", "Ctrl+Shift+Z", state.redoName);
    exportGroup.setEnabled (state.canExport);
    exportGroup.setLook (upToDate ? ButtonLook::primary : ButtonLook::standard);
    exportGroup.setIcon (state.groups.empty() ? Icon::none : Icon::exporting);
}

void BrowserView::setCompact (bool compact)
{
    list.setCompact (compact);
    resized();
}

void BrowserView::resized()
{
    auto area = getLocalBounds();
    auto title = area.removeFromTop (titleHeight);
    title.removeFromRight (9);
    importTracks.setBounds (title.removeFromRight (28).withSizeKeepingCentre (28, 28));
    title.removeFromRight (6);
    newGroup.setBounds (title.removeFromRight (28).withSizeKeepingCentre (28, 28));
    title.removeFromRight (18);
    redo.setBounds (title.removeFromRight (28).withSizeKeepingCentre (28, 28));
    title.removeFromRight (2);
    undo.setBounds (title.removeFromRight (28).withSizeKeepingCentre (28, 28));

    auto footer = area.removeFromBottom (footerHeight).reduced (12);
    methods.setBounds (footer.removeFromTop (methodsHeight));
    footer.removeFromTop (8);
    analyze.setBounds (footer.removeFromLeft ((footer.getWidth() - 8) / 2));
    footer.removeFromLeft (8);
    exportGroup.setBounds (footer);

    // The last row's seam lies under the footer's.
    viewport.setBounds (area.withTrimmedTop (1));
    list.setSize (viewport.getWidth(), list.getHeight());
    scrollBar.setBounds (viewport.getBounds().withTrimmedBottom (1).removeFromRight (scrollBarWidth));
    showScrollPosition();
}

void BrowserView::showScrollPosition()
{
    const auto y = viewport.getViewPositionY();
    list.setView ({ y, y + viewport.getHeight() });
    scrollBar.setRangeLimits (0.0, list.getHeight(), juce::dontSendNotification);
    scrollBar.setCurrentRange (y, viewport.getHeight(), juce::dontSendNotification);
    scrollBar.setVisible (viewport.isVisible() && list.getHeight() > viewport.getHeight());
}

void BrowserView::scrollBarMoved (juce::ScrollBar*, double newStart)
{
    viewport.setViewPosition (0, juce::roundToInt (newStart));
}

void BrowserView::paint (juce::Graphics& g)
{
    g.fillAll (palette::panel);
    g.setColour (palette::textHigh);
    g.setFont (fonts::inter (15.0f, fonts::Weight::semibold));
    g.drawText ("Groups", 16, 0, 180, titleHeight, juce::Justification::centredLeft, false);

    g.setColour (palette::seam);
    if (getState().groups.empty())
        paintEmpty (g);
    else
        g.fillRect (0, titleHeight, getWidth(), 1);
}

void BrowserView::paintEmpty (juce::Graphics& g) const
{
    const auto middle =
        getLocalBounds().withTrimmedTop (titleHeight).withTrimmedBottom (footerHeight).getCentreY();
    const auto width = getWidth();
    g.setColour (palette::textMid);
    g.setFont (fonts::inter (13.0f));
    g.drawText ("No groups yet", 0, middle - 29, width, 18, juce::Justification::centred, false);
    juce::AttributedString words;
    words.append (
        "One group holds the close-mic tracks of one performance.", fonts::inter (12.0f), palette::textLow);
    words.setJustification (juce::Justification::horizontallyCentred);
    words.setLineSpacing (2.0f);
    words.draw (g, juce::Rectangle<int> (40, middle - 4, width - 80, 40).toFloat());
}

void BrowserView::setDropHover (std::optional<DropHover> hover)
{
    if (hover == dropHover)
        return;
    dropHover = hover;
    repaint();
}

juce::Rectangle<int> BrowserView::dropArea() const
{
    const auto shown = viewport.getBounds();
    const auto extent = groupExtent (getState(), list.getMetrics(), dropHover->group);
    if (dropHover->group == 0 || ! extent.has_value())
        return shown;
    return juce::Rectangle<int> (0, extent->getStart(), viewport.getWidth(), extent->getLength())
        .translated (0, viewport.getY() - viewport.getViewPositionY())
        .getIntersection (shown);
}

void BrowserView::paintOverChildren (juce::Graphics& g)
{
    g.setColour (palette::seam);
    g.fillRect (0, getHeight() - footerHeight - 1, getWidth(), 1);
    if (! dropHover.has_value())
        return;
    if (const auto* group = findGroup (getState(), dropHover->group))
        paintDropTarget (g, dropArea(), dropText (dropHover->numFiles, group->name), dropHover->contents);
    else
        paintDropTarget (g, dropArea(), releaseForNewGroup, dropHover->contents);
}

RowId BrowserView::groupUnder (juce::Point<int> position) const
{
    if (! viewport.isVisible() || ! viewport.getBounds().contains (position))
        return 0;
    return list.groupSeenAt (position.y - viewport.getY() + viewport.getViewPositionY());
}

void BrowserView::fileDragMove (const juce::StringArray& files, int x, int y)
{
    setDropHover (DropHover{ groupUnder ({ x, y }),
                             files.size(),
                             onDescribeFiles != nullptr ? onDescribeFiles (files) : juce::String() });
}

void BrowserView::filesDropped (const juce::StringArray& files, int x, int y)
{
    setDropHover ({});
    call (onFilesDropped, files, groupUnder ({ x, y }));
}

} // namespace tessivar
