#include "app/BleedController.h"

#include "terms/BleedMap.h"
#include "ui/DrumDrawing.h"
#include "ui/Palette.h"
#include "ui/wave/StrongHits.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
constexpr double loopLead = 0.05, loopLength = 0.65; // s before a hit, and in all
constexpr double hitSeconds = 0.08;                  // in which a drum's level at a hit is taken
constexpr float nearlyLoudest = 0.06f;               // of the power of a drum's loudest hit
constexpr double hardlyRemovedDb = 1.0;

/** The tracks of a Group that the map tells of, as the Group has them. */
std::vector<std::size_t> tracksOfMap (const GroupState& group)
{
    std::vector<std::size_t> positions;

    for (std::size_t i = 0; i < group.tracks.size(); ++i)
        if (group.bleedPlaceOf (group.tracks[i]))
            positions.push_back (i);

    return positions;
}

/** An output that isn't rendered any more is the source. */
KnobValues knobsOf (const TrackState& track)
{
    return track.hasProcessedOutput() ? track.soundingKnobs() : KnobValues{};
}

BleedLevel levelOf (const GroupState& group,
                    const TrackState& microphone,
                    const TrackState& drum,
                    std::optional<std::size_t> band = {})
{
    const auto& map = *group.analysis->bleed;
    const auto row = *microphone.findings.bleedPlace, column = *drum.findings.bleedPlace;
    return { map.levelDb (row, column, band, {}), map.levelDb (row, column, band, knobsOf (microphone)) };
}

juce::String hertzText (double hertz)
{
    return hertz < 1000.0 ? juce::String (juce::roundToInt (hertz)) : juce::String (hertz / 1000.0, 1) + "k";
}

juce::String bandName (std::size_t band)
{
    const auto& borders = BleedMap::bandBorders;
    return band == 0                ? "to " + hertzText (borders[0]) + " Hz"
           : band == borders.size() ? "from " + hertzText (borders.back())
                                    : hertzText (borders[band - 1]) + juce::String::fromUTF8 ("\xe2\x80\x93")
                                          + hertzText (borders[band]);
}
} // namespace

BleedState bleedStateFor (const GroupState& group, std::uint32_t selectedTrack)
{
    BleedState state;
    state.selectedTrack = selectedTrack;
    const auto positions = tracksOfMap (group);

    if (positions.empty())
    {
        const auto isRefined = group.analysis && group.analysis->method == AnalysisMethod::refined;
        state.message =
            ! GroupContents::of (group).hasSeveralMicrophones()
                ? "The bleed map compares microphones with each other, and here is only one."
            : isRefined ? "This analysis was made without a bleed map. Analyze again to see whose leakage "
                          "is in here."
                        : "Analyze by the refined method to see whose leakage is in here.";

        if (GroupContents::of (group).hasSeveralMicrophones())
            state.buttonText = "Analyze Group";

        return state;
    }

    for (const auto i : positions)
    {
        const auto& track = group.tracks[i];
        state.drums.push_back (
            { track.id, track.name, drumColour (track.drumType()), drumIcon (track.drumType()) });

        for (const auto j : positions)
            state.cells.push_back (
                { levelOf (group, track, group.tracks[j]), i != j && track.hearsDrumOf (group.tracks[j]) });
    }

    return state;
}

BleedController::BleedController (WaveController& waveToUse, Player& playerToUse, TrackActions& tracksToUse)
    : wave (waveToUse), player (playerToUse), tracks (tracksToUse)
{
    view.onClosed = [this] { setOpen (false); };
    wave.header.onSpectrumShown = [this] (bool shouldShow) { showSpectrum (shouldShow); };
    view.onChosen = [this] (std::size_t microphone, std::size_t drum) { listenTo (microphone, drum); };
    view.bandsOf = [this] (std::size_t microphone, std::size_t drum) { return bandsOf (microphone, drum); };
    view.describeChoice = [this] (std::size_t microphone, std::size_t drum)
    { return describe (microphone, drum); };
}

void BleedController::setOpen (bool shouldBeOpen)
{
    open = shouldBeOpen;
    onChanged();

    if (view.isShowing())
        view.grabKeyboardFocus();
}

bool BleedController::isSpectrumSeen() const
{
    return ! open && wave.isSpectrumShown();
}

void BleedController::showSpectrum (bool shouldShow)
{
    wave.setSpectrumShown (shouldShow);

    if (open)
        setOpen (false);
}

void BleedController::show (const Group::Ptr& groupToShow, const Track::Ptr& track)
{
    const auto isShown = open && track != nullptr;
    wave.view.setVisible (track != nullptr && ! open);
    wave.header.setBleedShown (isShown);
    wave.header.setSpectrumShown (isSpectrumSeen());
    view.setVisible (isShown);

    if (! isShown)
        return;

    group = groupToShow->state();
    positions = tracksOfMap (group);
    auto state = bleedStateFor (group, track->id());

    if (wave.listening() != ListenMode::processed && track->state().hasProcessedOutput())
    {
        const auto isRemoved = wave.listening() == ListenMode::removed;
        state.notice = isRemoved ? "You are hearing what is removed" : "Bypassed: you are hearing the source";
        state.noticeColour = isRemoved ? palette::ember : palette::textHigh;
    }

    view.setState (std::move (state));
}

const TrackState* BleedController::trackAt (std::size_t place) const
{
    return place < positions.size() ? &group.tracks[positions[place]] : nullptr;
}

std::vector<BleedBand> BleedController::bandsOf (std::size_t microphone, std::size_t drum) const
{
    std::vector<BleedBand> bands;
    const auto *own = trackAt (microphone), *other = trackAt (drum);

    if (own != nullptr && other != nullptr)
        for (std::size_t band = 0; band < BleedMap::numBands; ++band)
            bands.push_back ({ levelOf (group, *own, *other, band), bandName (band) });

    return bands;
}

bool BleedController::isKept (std::size_t microphone, std::size_t drum) const
{
    const auto level = levelOf (group, *trackAt (microphone), *trackAt (drum));
    return ! level.before || ! level.after || *level.after > *level.before - hardlyRemovedDb;
}

juce::String BleedController::describe (std::size_t microphone, std::size_t drum) const
{
    const auto *own = trackAt (microphone), *other = trackAt (drum);

    if (own == nullptr || other == nullptr)
        return {};

    if (own->hearsDrumOf (*other))
        return "Click: select " + own->name + ".";

    return "Click: select " + own->name + " and loop "
           + (isKept (microphone, drum) ? "its source" : "what is removed from it") + " around the hit of "
           + other->name + " at which " + own->name
           + "'s own drum is quietest. Other drums that sound then are heard too.";
}

std::optional<double> BleedController::tellingHit (const TrackState& microphone, const TrackState& drum) const
{
    const auto own = wave.waveforms.find (microphone), other = wave.waveforms.find (drum);

    if (own == nullptr || other == nullptr || own->energies == nullptr || other->energies == nullptr)
        return {};

    const auto rate = drum.sampleRate();
    const auto powerAt = [rate] (const TrackWaveform& waveform, const TrackState& track, double seconds)
    {
        const auto weights = soundingWeights (track);
        const auto first = static_cast<std::int64_t> (seconds * rate),
                   last = static_cast<std::int64_t> ((seconds + hitSeconds) * rate);
        auto loudest = 0.0f;

        for (auto frame = first; frame <= last; frame += ChannelEnergyPyramid::baseBlock)
            loudest = std::max (loudest, waveform.energies->processedPower (frame, weights));

        return loudest;
    };

    struct Hit
    {
        double seconds;
        float power, ownPower;
    };

    std::vector<Hit> hits;

    for (const auto seconds :
         findStrongHits (*other->source, other->energies.get(), soundingWeights (drum), rate))
        hits.push_back ({ seconds, powerAt (*other, drum, seconds), powerAt (*own, microphone, seconds) });

    auto loudest = 0.0f;

    for (const auto& hit : hits)
        loudest = std::max (loudest, hit.power);

    std::erase_if (hits, [loudest] (const Hit& hit) { return hit.power < nearlyLoudest * loudest; });
    const auto best = std::min_element (
        hits.begin(), hits.end(), [] (const Hit& a, const Hit& b) { return a.ownPower < b.ownPower; });
    return best != hits.end() ? std::optional (best->seconds) : std::nullopt;
}

void BleedController::listenTo (std::size_t microphone, std::size_t drum)
{
    const auto *own = trackAt (microphone), *other = trackAt (drum);

    if (own == nullptr || other == nullptr)
        return;

    const auto isOwnDrum = own->hearsDrumOf (*other);
    const auto hit = isOwnDrum ? std::nullopt : tellingHit (*own, *other);
    const auto listening = isOwnDrum                   ? ListenMode::processed
                           : isKept (microphone, drum) ? ListenMode::bypass
                                                       : ListenMode::removed;
    tracks.selectTrack (own->id);
    onChanged();
    wave.setListening (listening);

    if (! hit)
        return;

    const auto start = std::max (0.0, *hit - loopLead);
    wave.select ({ start, std::min (start + loopLength, player.duration()) });
    wave.setLooping (true);
    wave.seek (start);

    if (player.canPlay() && ! player.isPlaying())
        player.playOrStop();
}

} // namespace tessivar
