#pragma once

#include "app/BrowserPresenter.h"
#include "app/Menus.h"
#include "app/RowDragOut.h"
#include "app/TrackActions.h"
#include "app/WaveController.h"
#include "ui/browser/BrowserView.h"

#include <functional>
#include <memory>

namespace tessivar
{

/** The browser: shows the workspace, and leads what is done to its rows to selection, tracks and Groups.
    Message thread.
*/
class BrowserController
{
public:
    BrowserController (TessivarWorkspace& workspaceToUse,
                       TrackActions& tracksToUse,
                       GroupWork& workToUse,
                       const WaveController& wave,
                       const ResourceImages& images);
    ~BrowserController();

    BrowserView view;
    BrowserPresenter presenter;

    /** The edge between browser and track, which drags the browser wider or narrower. */
    juce::Component& edge();

    /** Logical pixels; the settings keep it. */
    [[nodiscard]] int width() const { return chosenWidth; }
    void widen (int by);

    /** All rows as they are. */
    void show() { view.setState (presenter.makeState()); }
    void showSelection();

    void renameGroup(); // the selected one, in its row
    void stepGroup (int step);

    /** Whether something is in front of everything. */
    std::function<bool()> isBlocked = [] { return false; };

    std::function<void (Verb)> onVerb;
    std::function<void (std::span<const MenuLine>, const Track::Ptr& clicked, juce::Point<int>)> onMenu;
    std::function<void (const Group::Ptr&)> onClose;
    std::function<void()> onSelected, onWidthChanged;
    std::function<void (const juce::String& notice, bool warns)> onNotice;

private:
    class Edge;

    void wireView();
    void wireRows();
    void wireDragOut();

    TessivarWorkspace& workspace;
    TrackActions& tracks;
    GroupWork& work;
    RowDragOut dragOut;
    std::unique_ptr<Edge> draggedEdge;
    int chosenWidth = 344;

    JUCE_DECLARE_NON_COPYABLE (BrowserController)
};

} // namespace tessivar
