#include "app/RowDragOut.h"

#include "app/AppSettings.h"
#include "jobs/ExportRequest.h"
#include "platform/Desktop.h"
#include "terms/WorkControl.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace tessivar
{

namespace
{
constexpr int progressMs = 50;

juce::String filesText (std::size_t count)
{
    return count == 1 ? "The file is" : juce::String (static_cast<int> (count)) + " files are";
}
} // namespace

/** Exports tracks on a thread of its own. */
class RowDragOut::Writer final : public juce::Thread
{
public:
    Writer (TrackActions::TrackIds idsToShow,
            std::vector<TrackState> tracksToWrite,
            ExportOptions optionsToUse,
            Rendering renderingToFill)
        : juce::Thread ("rows dragged out"), ids (std::move (idsToShow)), states (std::move (tracksToWrite)),
          options (std::move (optionsToUse)), rendering (std::move (renderingToFill))
    {
        startThread();
    }

    ~Writer() override { stopThread (-1); } // an export looks for a stop several times a second

    void run() override
    {
        try
        {
            report = exportTracks (
                states,
                options,
                { [this] { return threadShouldExit(); }, [this] (double done) { share = done; } });
        }
        catch (const std::bad_alloc&)
        {
            report.outcome = Outcome::noRoom ("memory ran out");
        }

        isOver = true;
    }

    const TrackActions::TrackIds ids;
    const std::vector<TrackState> states;
    const ExportOptions options;
    Rendering rendering;
    ExportReport report; // once it is over
    std::atomic<double> share{ 0.0 };
    std::atomic<bool> isOver{ false };
};

RowDragOut::RowDragOut (TessivarWorkspace& workspaceToUse, TrackActions& tracksToUse)
    : workspace (workspaceToUse), tracks (tracksToUse)
{
}

RowDragOut::~RowDragOut() = default;

bool RowDragOut::Rendering::isThere() const
{
    return std::all_of (
        files.begin(), files.end(), [] (const juce::File& file) { return file.existsAsFile(); });
}

juce::StringArray RowDragOut::Rendering::names() const
{
    juce::StringArray list;

    for (const auto& file : files)
        list.add (nameInDrag (file));

    return list;
}

void RowDragOut::begin (const TrackActions::TrackIds& ids,
                        std::function<void (const juce::StringArray&)> onReady)
{
    const auto group = tracks.group();

    if (group == nullptr)
        return;

    std::vector<TrackState> states;

    for (const auto id : ids)
        if (const auto track = group->findTrack (id))
        {
            if (const auto check = checkExportable (ExportScope::track, workspace, group.get(), track.get());
                ! check.isOk())
                return tell (juce::String (check.reason), true);

            states.push_back (track->state());
        }

    ExportOptions options;
    options.depth = exportDepth (workspace.settings());
    options.extension = exportFileType (workspace.settings()) == ExportFileType::aiff ? ".aiff" : ".wav";
    options.numThreads = analysisThreads (workspace.settings());
    const auto names = planExport (states, options);
    Rendering rendering;

    for (std::size_t i = 0; i < states.size(); ++i)
        rendering.sources.push_back ({ states[i].contentId,
                                       states[i].soundingKnobs(),
                                       states[i].hasProcessedOutput(),
                                       names[i].file.getFileName(),
                                       options.depth });

    if (states.empty())
        return;

    for (const auto& known : renderings)
        if (known.sources == rendering.sources && known.isThere())
            return onReady (known.names());

    if (writer != nullptr && writer->rendering.sources != rendering.sources)
        return tell ("Other files are still being written.", false);

    ready = std::move (onReady);

    if (writer != nullptr)
        return;

    if (const auto opened = TemporaryStore::open (workspace.temporaryFolder().folder, rendering.store);
        opened.failed())
        return tell (opened.getErrorMessage(), true);

    options.folder = rendering.store->folder();
    writer = std::make_unique<Writer> (ids, std::move (states), options, std::move (rendering));
    startTimer (progressMs);
    timerCallback();
}

void RowDragOut::letGo()
{
    ready = nullptr;
}

void RowDragOut::timerCallback()
{
    if (writer == nullptr)
        return stopTimer();

    if (writer->isOver)
        return finish();

    if (onProgress)
        onProgress (writer->ids, writer->share.load());
}

void RowDragOut::finish()
{
    stopTimer();
    const auto ended = std::exchange (writer, nullptr);

    if (onProgress)
        onProgress (ended->ids, {});

    const auto& report = ended->report;

    if (! report.outcome.isOk())
        return tell (juce::String (report.outcome.reason), true);

    auto& rendering = ended->rendering;

    for (const auto& track : report.tracks)
        rendering.files.push_back (track.file);

    for (const auto& line : report.log())
        juce::Logger::writeToLog ("Dragged out: " + line);

    const auto names = rendering.names();
    renderings.push_back (std::move (rendering));

    if (const auto drag = std::exchange (ready, nullptr))
        drag (names);
    else
        tell (filesText (report.tracks.size()) + " ready: drag again.", false);
}

void RowDragOut::tell (const juce::String& text, bool warns) const
{
    if (onNotice)
        onNotice (text, warns);
}

} // namespace tessivar
