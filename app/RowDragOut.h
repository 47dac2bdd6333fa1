#pragma once

#include "app/TrackActions.h"
#include "jobs/ExportTracks.h"
#include "model/TemporaryStore.h"
#include "model/TessivarWorkspace.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tessivar
{

/** Rows that are dragged out of the window: the tracks are exported to temporary files, as the last export
    was, and these are what another program gets. The files are written while the mouse is on its way; the
    drag goes over to the desktop when they are there. They live until the program ends, since nobody tells
    when the other program has read them; after a crash the next start removes them.

    Message thread; the files are written on a thread of its own.
*/
class RowDragOut : private juce::Timer
{
public:
    RowDragOut (TessivarWorkspace& workspaceToUse, TrackActions& tracksToUse);

    ~RowDragOut() override;

    /** The drag has left the browser. onReady is called when the files can be dropped, at once or while the
        mouse is still down; after letGo() no more.
    */
    void begin (const TrackActions::TrackIds& ids,
                std::function<void (const juce::StringArray& uris)> onReady);

    /** The mouse button is up. Files that are being written are finished, for the next try. */
    void letGo();

    /** Told while files are written, and when that is over, without a share. */
    std::function<void (const TrackActions::TrackIds& ids, std::optional<double> share)> onProgress;
    std::function<void (const juce::String& text, bool warns)> onNotice;

private:
    /** What decides over the bytes of a track's file. */
    struct Source
    {
        std::uint32_t contentId = 0;
        KnobValues knobs;
        bool isProcessed = false;
        juce::String fileName;
        ExportDepth depth = ExportDepth::source;

        bool operator== (const Source&) const = default;
    };

    struct Rendering
    {
        std::vector<Source> sources;
        std::unique_ptr<TemporaryStore> store; // its folder holds the files
        std::vector<juce::File> files{};

        /** Whether nobody has taken them away. */
        [[nodiscard]] bool isThere() const;
        [[nodiscard]] juce::StringArray names() const;
    };

    class Writer;

    void timerCallback() override;
    void finish();
    void tell (const juce::String& text, bool warns) const;

    TessivarWorkspace& workspace;
    TrackActions& tracks;
    std::vector<Rendering> renderings;
    std::unique_ptr<Writer> writer;                       // while files are written
    std::function<void (const juce::StringArray&)> ready; // while the mouse is down

    JUCE_DECLARE_NON_COPYABLE (RowDragOut)
};

} // namespace tessivar
