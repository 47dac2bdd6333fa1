#pragma once

#include "app/TrackActions.h"
#include "app/WaveController.h"
#include "model/TessivarWorkspace.h"
#include "ui/EmptyView.h"

#include <juce_core/juce_core.h>

#include <optional>
#include <vector>

namespace tessivar
{

/** The group files that were open when the program was last quit, and what was looked at. Groups without a
    file are no part of it: recovery keeps them.
*/
struct LastSession
{
    std::vector<juce::File> files; // in the browser's order
    int selectedFile = -1;         // index into files; -1: none
    int leadTrack = -1;            // index within that Group; -1: none
    std::vector<int> chosenTracks;
    double position = 0.0, viewStart = 0.0; // s
    double horizontalZoom = 0.0, verticalZoom = 1.0;
    std::optional<juce::Range<double>> selection; // s
    bool loops = false;
    bool showsSpectrum = false, showsKept = true, showsRemoved = true;

    [[nodiscard]] static LastSession
    of (const TessivarWorkspace& workspace, const TrackActions& tracks, const WaveController& wave);

    /** Nothing where there is none, or no such text. */
    [[nodiscard]] static std::optional<LastSession> load (const juce::PropertySet& settings);

    /** A session without files leaves the one before it in place. */
    void save (juce::PropertySet& settings) const;

    [[nodiscard]] std::vector<juce::File> filesThatAreThere() const;

    /** What the empty window offers of it. */
    [[nodiscard]] std::vector<ReopenableGroup> reopenable() const;

    /** Selects and shows what was selected and shown, as far as its Group is open. */
    void show (TessivarWorkspace& workspace, TrackActions& tracks) const;
    void show (WaveController& wave) const;
};

} // namespace tessivar
