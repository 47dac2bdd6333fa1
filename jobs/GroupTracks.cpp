#include "jobs/GroupTracks.h"

#include "terms/KnobValues.h"

namespace tessivar
{

namespace
{
/** The channels of a file have its name; in a Group each has its own. */
juce::String channelSuffix (const SessionTrack& track)
{
    return track.numChannels <= 1 ? "" : track.channel == 0 ? " L" : " R";
}

TrackAnalysis analysisOf (const TrackState& track)
{
    TrackAnalysis analysis;
    analysis.rendered = track.rendered != nullptr;
    analysis.findings = track.findings;
    return analysis;
}
} // namespace

SessionTrack sessionTrackOf (const TrackState& track)
{
    SessionTrack session;
    session.sourceFile = track.sourceFile;
    session.name = track.name;
    session.channel = track.channel;
    session.numChannels = track.numSourceChannels;
    session.sampleRate = track.sampleRate;
    session.lengthInSamples = track.lengthInSamples();
    session.bitsPerSample = track.bitsPerSample;
    session.isFloatingPoint = track.isFloatingPoint;
    session.metadata = track.metadata;
    session.sourceChunks = track.sourceChunks;
    session.drumType = track.drumType();
    session.excluded = track.excluded;
    session.setting = track.record.knobs (track.record.selected());
    session.source = track.source;
    session.processed = track.rendered != nullptr;
    session.analysis = analysisOf (track);
    session.rendered = track.rendered;
    session.components = track.components;
    return session;
}

std::vector<SessionTrack> sessionTracksOf (const GroupState& group)
{
    std::vector<SessionTrack> tracks;

    for (const auto& track : group.tracks)
        tracks.push_back (sessionTrackOf (track));

    return tracks;
}

TrackState trackStateOf (const SessionTrack& track)
{
    TrackState state;
    state.name = track.name + channelSuffix (track);
    state.excluded = track.excluded;
    state.sourceFile = track.sourceFile;
    state.channel = track.channel;
    state.numSourceChannels = track.numChannels;
    state.sampleRate = track.sampleRate;
    state.bitsPerSample = track.bitsPerSample;
    state.isFloatingPoint = track.isFloatingPoint;
    state.metadata = track.metadata;
    state.sourceChunks = track.sourceChunks;
    state.source = track.source;
    state.rendered = track.rendered;
    state.components = track.components;
    state.findings = track.analysis.findings;
    state.record.setLengthInSamples (track.lengthInSamples);
    state.record.setDrumType (track.drumType);
    state.record.setProcessed (track.rendered != nullptr);
    state.record.setKnobs (KnobSetting::a, startKnobsA);
    state.record.setKnobs (KnobSetting::b, startKnobsB);
    return state;
}

std::vector<IntakeTrack> intakeTracksOf (const std::vector<TrackState>& tracks)
{
    std::vector<IntakeTrack> result;

    for (const auto& track : tracks)
    {
        IntakeTrack intake;
        intake.file = track.sourceFile;
        intake.name = track.name;
        intake.sampleRate = track.sampleRate;
        intake.lengthInSamples = track.lengthInSamples();
        intake.bitsPerSample = track.bitsPerSample;
        result.push_back (std::move (intake));
    }

    return result;
}

} // namespace tessivar
