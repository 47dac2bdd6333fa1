#include "tools/gallery/SampleStates.h"

#include "terms/DrumType.h"
#include "ui/DrumDrawing.h"

#include <algorithm>
#include <cmath>

namespace tessivar::test
{
namespace
{

/** Hits that die away, `perTrack` of them, over a floor of leakage. */
std::shared_ptr<const MiniWave> sampleWave (int perTrack, float floorLevel, bool analysed)
{
    auto wave = std::make_shared<MiniWave>();
    wave->numColumns = 126;
    juce::Random random (perTrack);
    for (int i = 0; i < wave->numColumns; ++i)
    {
        const auto phase =
            std::fmod (static_cast<float> (i * perTrack) / static_cast<float> (wave->numColumns), 1.0f);
        const auto kept = std::exp (-3.0f * phase) * (0.7f + 0.3f * random.nextFloat());
        wave->source.push_back (std::max (kept, floorLevel * random.nextFloat()));
        if (analysed)
            wave->kept.push_back (kept);
    }
    return wave;
}

TrackRowState sampleTrack (RowId id, const char* name, DrumType type, int focus, bool analysed, int hits)
{
    TrackRowState track;
    track.id = id;
    track.name = name;
    track.type = type;
    track.wave = sampleWave (hits, 0.5f, analysed);
    if (! analysed)
        return track;
    track.mark = type == DrumType::other ? TrackRowState::Mark::asIs : TrackRowState::Mark::analysed;
    if (type != DrumType::other)
        track.focusPercent = focus;
    track.sourceLevel = 0.3f;
    track.keptLevel = type == DrumType::other ? 0.3f : 0.24f;
    return track;
}

juce::String facts (const char* text)
{
    return juce::String::fromUTF8 (text);
}

} // namespace

BrowserState browserSample (bool analysed)
{
    using Mark = GroupRowState::Mark;
    BrowserState state;
    GroupRowState take;
    take.id = 1;
    take.name = juce::String::fromUTF8 ("Take 3 \xc2\xb7 Full Kit");
    take.facts = facts ("8 tracks \xc2\xb7 48 kHz \xc2\xb7 3:42");
    take.unsaved = ! analysed;
    take.mark = analysed ? Mark::analysed : Mark::notAnalysed;
    take.tracks = { sampleTrack (11, "Kick In", DrumType::kick, 62, analysed, 40),
                    sampleTrack (12, "Snare Top", DrumType::snare, 48, analysed, 30),
                    sampleTrack (13, "HiHat", DrumType::hiHat, 34, analysed, 12),
                    sampleTrack (14, "Rack Tom 1", DrumType::tomHigh, 80, analysed, 16),
                    sampleTrack (15, "Rack Tom 2", DrumType::tomLow, 78, analysed, 14),
                    sampleTrack (16, "Floor Tom", DrumType::tomFloor, 72, analysed, 6),
                    sampleTrack (17, "Ride", DrumType::other, 0, analysed, 9),
                    sampleTrack (18, "Room Mono", DrumType::other, 0, analysed, 50) };
    if (! analysed)
    {
        take.tracks[7].included = false;
        take.tracks[7].mark = TrackRowState::Mark::excluded;
        take.tracks[5].sourceMissing = true;
        take.tracks[4].loading = 0.4f;
        take.tracks[6].type = DrumType::oh;
        take.tracks[6].mark = TrackRowState::Mark::asIs;
    }
    GroupRowState toms{ 2,
                        juce::String::fromUTF8 ("Take 5 \xc2\xb7 Overdub Toms"),
                        facts ("4 tracks \xc2\xb7 48 kHz \xc2\xb7 1:08"),
                        false,
                        false,
                        analysed ? Mark::analysed : Mark::changed,
                        {} };
    GroupRowState rehearsal{ 3,     "Rehearsal", facts ("11 tracks \xc2\xb7 44.1 kHz \xc2\xb7 4:55"),
                             false, false,       Mark::notAnalysed,
                             {} };
    state.groups = { take, toms, rehearsal };
    state.analyze = analysed ? BrowserState::Analyze::upToDate : BrowserState::Analyze::analyze;
    state.canExport = analysed;
    state.standardTime = "about 6 s";
    state.refinedTime = "about 13 s";
    return state;
}

DockState dockSample()
{
    DockState state;
    state.available = true;
    state.settings = { { { 3.1f, 0.18f }, { 1.9f, 0.0f } } };
    state.layers = {
        { { 1.0f, 0.0f }, { 1.0f, 0.0f }, { 0.5f, 0.09f }, { 0.0f, 0.18f }, { 0.0f, 0.18f }, { 0.0f, 0.18f } }
    };
    state.suggestedFocus = 3.8f;
    return state;
}

BleedState bleedSample (std::size_t numDrums)
{
    BleedState state;
    state.selectedTrack = 11;

    if (numDrums == 0)
    {
        state.message = "Analyze by the refined method to see whose leakage is in here.";
        state.buttonText = "Analyze Group";
    }

    for (std::size_t i = 0; i < numDrums; ++i)
    {
        const auto type = drumTypeChooserOrder[i % 6];
        state.drums.push_back ({ static_cast<std::uint32_t> (10 + i),
                                 drumName (type) + (i < 6 ? juce::String() : " " + juce::String (i / 6 + 1)),
                                 drumColour (type),
                                 drumIcon (type) });

        for (std::size_t j = 0; j < numDrums; ++j)
        {
            BleedState::Cell cell;
            cell.isSameDrum = i != j && std::min (i, j) + 2 == numDrums;

            if (i == j)
                cell.before = cell.after = 0.0;
            else if (! cell.isSameDrum && (i + 2 * j) % 5 != 0)
            {
                cell.before = 4.0 - static_cast<double> ((7 * i + 11 * j) % 53);
                cell.after = *cell.before - 5.0 - static_cast<double> ((3 * i + j) % 17);
            }

            state.cells.push_back (cell);
        }
    }

    return state;
}

} // namespace tessivar::test
