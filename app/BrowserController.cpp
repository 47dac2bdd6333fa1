#include "app/BrowserController.h"

#include "app/AppSettings.h"

#include <optional>
#include <vector>

namespace tessivar
{

namespace
{
constexpr int smallestWidth = 300, largestWidth = 480;
}

class BrowserController::Edge : public juce::Component
{
public:
    Edge() { setMouseCursor (juce::MouseCursor::LeftRightResizeCursor); }

    /** The browser's new right edge, in the parent's coordinates. */
    std::function<void (int)> onDrag;

    void mouseDrag (const juce::MouseEvent& event) override
    {
        if (onDrag)
            onDrag (event.getEventRelativeTo (getParentComponent()).x);
    }
};

BrowserController::BrowserController (TessivarWorkspace& workspaceToUse,
                                      TrackActions& tracksToUse,
                                      GroupWork& workToUse,
                                      const WaveController& wave,
                                      const ResourceImages& images)
    : view (images), presenter (workspaceToUse, wave.waveforms, workToUse), workspace (workspaceToUse),
      tracks (tracksToUse), work (workToUse), dragOut (workspace, tracks),
      draggedEdge (std::make_unique<Edge>())
{
    chosenWidth =
        juce::jlimit (smallestWidth,
                      largestWidth,
                      workspace.settings().getIntValue (appSettingsKeys::browserWidth, chosenWidth));
    draggedEdge->onDrag = [this] (int right) { widen (right - chosenWidth); };
    wireView();
    wireRows();
    wireDragOut();
}

BrowserController::~BrowserController()
{
    workspace.settings().setValue (appSettingsKeys::browserWidth, chosenWidth);
}

juce::Component& BrowserController::edge()
{
    return *draggedEdge;
}

void BrowserController::widen (int by)
{
    chosenWidth = juce::jlimit (smallestWidth, largestWidth, chosenWidth + by);
    onWidthChanged();
}

void BrowserController::wireView()
{
    view.onNewGroup = [this] { onVerb (Verb::newGroup); };
    view.onImport = [this] { onVerb (Verb::importTracks); };
    view.onUndo = [this] { onVerb (Verb::undo); };
    view.onRedo = [this] { onVerb (Verb::redo); };
    view.onAnalyze = [this] { onVerb (Verb::analyzeGroup); };
    view.onExport = [this] { onVerb (Verb::exportGroup); };
    view.onMethodChosen = [this] (AnalysisMethod method)
    { onVerb (method == AnalysisMethod::refined ? Verb::methodRefined : Verb::methodStandard); };
    view.onDescribeMethod = [this] (AnalysisMethod method) { return presenter.describeMethod (method); };
}

void BrowserController::wireRows()
{
    auto& list = view.getList();
    const auto idsOf = &BrowserPresenter::trackIdsOf;
    list.onSelect = [this, idsOf] (const BrowserSelection& selection)
    {
        tracks.select (presenter.groupOf (selection.group),
                       static_cast<std::uint32_t> (selection.lead),
                       idsOf (selection.tracks));
        onSelected();
    };
    list.onMenu = [this] (RowId group, RowId row, juce::Point<int> position)
    {
        if (row == 0 && presenter.groupOf (group) != nullptr)
            onMenu (groupMenuLines(), nullptr, position);
        else if (const auto selected = tracks.group(); row != 0 && selected != nullptr)
            onMenu (trackMenuLines(), selected->findTrack (static_cast<std::uint32_t> (row)), position);
    };
    list.onInclude = [this, idsOf] (const std::vector<RowId>& rows, bool included)
    { tracks.setExcluded (idsOf (rows), ! included); };
    list.onType = [this, idsOf] (const std::vector<RowId>& rows, DrumType type)
    { tracks.setDrumType (idsOf (rows), type); };
    list.onSolo = [this, idsOf] (const std::vector<RowId>& rows, bool solo)
    { tracks.setSolo (idsOf (rows), solo); };
    list.onMute = [this, idsOf] (const std::vector<RowId>& rows, bool mute)
    { tracks.setMute (idsOf (rows), mute); };
    list.onFader = [this] (RowId row, float levelDb)
    { tracks.setFader (static_cast<std::uint32_t> (row), levelDb); };
    list.onFold = [this] (RowId group)
    {
        presenter.toggleOpen (group);
        show();
    };
    list.onClose = [this] (RowId row)
    {
        if (const auto group = presenter.groupOf (row); group != nullptr && ! isBlocked())
            onClose (group);
    };
    list.onRename = [this] (RowId row, const juce::String& name)
    {
        if (const auto group = presenter.groupOf (row); group != nullptr && name.trim().isNotEmpty())
            group->rename (name.trim());
    };
    list.onStopReading = [this] (RowId row)
    {
        if (const auto group = presenter.groupOf (row))
            work.stopReading (group);
    };
    list.onDescribeType = [this] (RowId track)
    { return presenter.describeType (static_cast<std::uint32_t> (track)); };
    list.onLocate = [this] (RowId track)
    {
        if (! isBlocked())
            work.chooseSource (tracks.group(), static_cast<std::uint32_t> (track));
    };
    list.onMoveTracks = [this, idsOf] (const std::vector<RowId>& rows, RowId toGroup, int index)
    {
        if (const auto target = presenter.groupOf (toGroup))
            tracks.move (idsOf (rows), *target, index);
    };
}

void BrowserController::wireDragOut()
{
    view.getList().onDragOut = [this] (const std::vector<RowId>& rows)
    {
        dragOut.begin (BrowserPresenter::trackIdsOf (rows),
                       [this] (const juce::StringArray& files)
                       {
                           view.getList().handOverDrag();
                           juce::DragAndDropContainer::performExternalDragDropOfFiles (files, false, &view);
                       });
    };
    view.getList().onDragOver = [this] { dragOut.letGo(); };
    dragOut.onProgress = [this] (const TrackActions::TrackIds& ids, std::optional<double> share)
    {
        const std::vector<RowId> rows (ids.begin(), ids.end());
        view.getList().setExporting (rows,
                                     share ? std::optional (static_cast<float> (*share)) : std::nullopt);
    };
    dragOut.onNotice = [this] (const juce::String& text, bool warns) { onNotice (text, warns); };
}

void BrowserController::showSelection()
{
    const auto group = tracks.group();
    const auto lead = static_cast<RowId> (tracks.trackId());
    const auto chosen = tracks.chosen();
    const auto& shown = view.getList().getSelection();

    if (group == nullptr
        || (shown.group == BrowserPresenter::rowOf (*group) && shown.lead == lead
            && shown.tracks.size() == chosen.size()))
        return;

    BrowserSelection selection;
    selection.group = BrowserPresenter::rowOf (*group);
    selection.lead = selection.anchor = lead;

    for (const auto id : chosen)
        selection.tracks.push_back (static_cast<RowId> (id));

    view.getList().setSelection (selection);
}

void BrowserController::renameGroup()
{
    if (const auto group = tracks.group())
        view.getList().beginRename (BrowserPresenter::rowOf (*group));
}

void BrowserController::stepGroup (int step)
{
    tracks.stepGroup (step);

    if (const auto group = tracks.group())
        presenter.unfold (*group);
}

} // namespace tessivar
