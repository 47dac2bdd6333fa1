#include "tests/model/GroupFileBuilders.h"

#include "model/LittleEndian.h"
#include "model/SourcePath.h"
#include "terms/AnalysisMethod.h"
#include "terms/ChannelLayout.h"
#include "terms/KnobValues.h"
#include "tests/support/SystemPaths.h"

#include <algorithm>
#include <bit>
#include <stdexcept>

namespace tessivar::test
{

std::vector<float> numberedSamples (std::int64_t numFrames, int channels, int seed)
{
    std::vector<float> samples (static_cast<std::size_t> (numFrames * channels));

    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float> (seed) + static_cast<float> (i) / 1024.0f;

    return samples;
}

TrackState
trackWith (const juce::String& name, DrumType type, std::int64_t numFrames, bool isRendered, int seed)
{
    TrackState track;
    track.name = name;
    track.sourceInfo.sampleRate = 48000.0;
    track.sourceInfo.bitsPerSample = 24;
    track.record.setLengthInSamples (numFrames);
    track.record.setDrumType (type);
    track.record.setProcessed (isRendered);

    if (isRendered)
    {
        track.rendered = std::make_shared<MemorySamples> (7, numberedSamples (numFrames, 7, seed));
        track.source = std::make_shared<ChannelOfSamples> (track.rendered, channelLayout::source);
    }
    else
    {
        track.source = std::make_shared<MemorySamples> (1, numberedSamples (numFrames, 1, seed));
    }

    return track;
}

GroupState smallGroup (std::int64_t numFrames)
{
    GroupState group;
    group.name = juce::CharPointer_UTF8 ("Take 3 \xe2\x80\x93 stage");
    group.method = AnalysisMethod::refined;
    BleedMap bleed (2);
    bleed.power (0, 1, 3, 0) = 1.0f / 3.0f;
    bleed.power (1, 1, 7, 5) = 1.0e20f;
    group.analysis = GroupState::Analysis{
        AnalysisMethod::refined, 0xfedcba9876543210u, 3, std::make_shared<const BleedMap> (bleed)
    };
    group.unknownProperties.set ("colour of the Group", "green");
    group.tracks = { trackWith ("Kick in", DrumType::kick, numFrames, true, 1),
                     trackWith ("Snare", DrumType::snare, numFrames + 17, false, 2),
                     trackWith ("Room", DrumType::other, numFrames - 5, false, 3) };

    auto& kick = group.tracks[0];
    kick.record.setKnobs (KnobSetting::a, { 3.5f, 0.25f });
    kick.record.setKnobs (KnobSetting::b, { 1.0f, 1.0f });
    kick.record.select (KnobSetting::b);
    kick.sourceInfo.file = juce::File ("/takes/3/Kick in.wav");
    kick.sourceInfo.channel = 1;
    kick.sourceInfo.numChannels = 2;
    kick.sourceInfo.metadata.set ("Z last letter", "first");
    kick.sourceInfo.metadata.set ("artist", juce::CharPointer_UTF8 ("M\xc3\xbcller"));
    kick.sourceInfo.metadata.set ("empty", "");
    kick.analysedAs = AnalysisInput{ DrumType::kick, false };
    kick.findings.focusMatchDb = { 0.1, 1.0 / 3.0, -1.0e-300, 4.0, 5.0, 6.0 };
    kick.findings.bestFocusUpTo = { 0, 1, 1, 3, 3, 5 };
    kick.findings.leakageDb = -17.3;
    kick.findings.maskedEnergyDb = -0.2;
    kick.findings.suggestedFocus = 2.7;
    kick.findings.benefit = { 0.8, -0.25, -3.5 };
    kick.findings.numHits = 12;
    kick.findings.confidence = 0.93;
    kick.findings.sharedDrum = 3;
    kick.strip = { -7.3f, true, false };
    kick.findings.bleedPlace = 1;
    kick.unknownProperties.set ("x", "1");

    SourceChunks chunks;
    chunks.container = SourceChunks::Container::wav;
    chunks.chunks.push_back ({ { 'b', 'e', 'x', 't' }, { 1, 0, 255 } });
    kick.sourceInfo.chunks = std::make_shared<const SourceChunks> (chunks);

    group.tracks[1].sourceInfo.isFloatingPoint = true;
    group.tracks[1].record.setKnobs (KnobSetting::a, startKnobsA);
    group.tracks[1].knobsTouched = true;
    group.tracks[2].typeUnknown = true;
    group.tracks[2].findings.soundsLike = DrumType::tomLow;
    group.tracks[2].unknownProperties.set (sourcePathProperty, foreignPath ("/takes/3/Room.wav"));
    group.tracks[1].fileWord = 0xabc00000;
    group.tracks[2].excluded = true;
    group.tracks[2].analysedAs = AnalysisInput{ DrumType::other, true };
    return group;
}

std::vector<float> savedSamplesOf (const TrackState& track)
{
    const auto& samples = track.rendered != nullptr ? track.rendered : track.source;

    if (samples == nullptr)
        return {};

    std::vector<float> result (static_cast<std::size_t> (samples->lengthInFrames() * samples->numChannels()));
    return samples->readFrames (0, result) ? result : std::vector<float>{};
}

namespace
{
bool hasSameValues (const TrackState& a, const TrackState& b)
{
    const auto chunks = [] (const TrackState& track)
    { return track.sourceInfo.chunks != nullptr ? *track.sourceInfo.chunks : SourceChunks{}; };

    return a.name == b.name && a.excluded == b.excluded && a.knobsTouched == b.knobsTouched
           && a.typeUnknown == b.typeUnknown && a.sourceInfo.file == b.sourceInfo.file
           && a.sourceInfo.channel == b.sourceInfo.channel
           && a.sourceInfo.numChannels == b.sourceInfo.numChannels
           && a.sourceInfo.sampleRate == b.sourceInfo.sampleRate
           && a.sourceInfo.bitsPerSample == b.sourceInfo.bitsPerSample
           && a.sourceInfo.isFloatingPoint == b.sourceInfo.isFloatingPoint
           && a.sourceInfo.metadata.getAllKeys() == b.sourceInfo.metadata.getAllKeys()
           && a.sourceInfo.metadata.getAllValues() == b.sourceInfo.metadata.getAllValues()
           && chunks (a) == chunks (b) && a.analysedAs == b.analysedAs && a.findings == b.findings
           && a.strip == b.strip && a.unknownProperties == b.unknownProperties && a.drumType() == b.drumType()
           && a.record.knobs (KnobSetting::a) == b.record.knobs (KnobSetting::a)
           && a.record.knobs (KnobSetting::b) == b.record.knobs (KnobSetting::b)
           && a.record.selected() == b.record.selected() && a.lengthInSamples() == b.lengthInSamples()
           && a.record.isProcessed() == b.record.isProcessed();
}
} // namespace

bool haveSameValues (const GroupState& a, const GroupState& b)
{
    return a.name == b.name && a.method == b.method && a.analysis == b.analysis
           && a.unknownProperties == b.unknownProperties && a.foreignText == b.foreignText
           && std::equal (a.tracks.begin(), a.tracks.end(), b.tracks.begin(), b.tracks.end(), hasSameValues);
}

bool isSameGroup (const GroupState& a, const GroupState& b)
{
    return haveSameValues (a, b)
           && std::equal (a.tracks.begin(),
                          a.tracks.end(),
                          b.tracks.begin(),
                          [] (const TrackState& one, const TrackState& other)
                          { return savedSamplesOf (one) == savedSamplesOf (other); });
}

SaveRequest requestFor (const GroupState& state, const juce::File& target, std::shared_ptr<GroupFile> current)
{
    SaveRequest request;
    request.state = state;
    request.target = target;
    request.currentFile = std::move (current);
    return request;
}

SavedGroup saved (const GroupState& state, const juce::File& target, std::shared_ptr<GroupFile> current)
{
    SavedGroup result;

    if (const auto saving = saveGroup (requestFor (state, target, std::move (current)), result);
        ! saving.isOk())
        throw std::runtime_error (saving.reason);

    return result;
}

LoadedGroup loaded (const juce::File& file)
{
    LoadedGroup result;

    if (const auto opening = openGroupFile (file, result); opening.failed())
        throw std::runtime_error (opening.getErrorMessage().toStdString());

    return result;
}

Bytes bytesOf (const juce::File& file)
{
    juce::MemoryBlock block;
    file.loadFileAsData (block);
    const auto* data = static_cast<const std::uint8_t*> (block.getData());
    return { data, data + block.getSize() };
}

Bytes f32 (float value)
{
    return u32 (static_cast<std::int64_t> (std::bit_cast<std::uint32_t> (value)));
}

void overwrite (Bytes& bytes, std::size_t place, const Bytes& with)
{
    std::copy (with.begin(), with.end(), bytes.begin() + static_cast<std::ptrdiff_t> (place));
}

void repairChecksum (Bytes& bytes)
{
    const auto trailer = bytes.size() - GroupFileTrailer::encodedSize;
    const auto tableSize = littleEndian::readU32 (&bytes[trailer]) * TrackRecord::encodedSize;
    const auto table = std::span<const std::uint8_t> (bytes).subspan (trailer - tableSize, tableSize);
    littleEndian::writeU64 (&bytes[trailer + 4], recordChecksum (table));
}

namespace
{
/** Unlike "+", doesn't copy what is there: files of some megabytes are built from single numbers. */
void append (Bytes& bytes, const Bytes& more)
{
    bytes.insert (bytes.end(), more.begin(), more.end());
}

void appendText (Bytes& bytes, const Bytes& characters)
{
    append (bytes, characters);
    append (bytes, u64 (static_cast<std::int64_t> (characters.size())));
}
} // namespace

Bytes ForeignFile::encode() const
{
    Bytes bytes, words, records;
    const auto place = [&] { return u64 (static_cast<std::int64_t> (bytes.size())); };

    for (const auto& track : tracks)
    {
        Bytes raw (track.record.begin(), track.record.end());
        overwrite (raw, 0, place());

        for (const auto sample : track.samples)
            append (bytes, f32 (sample));

        overwrite (raw, 16, place());
        overwrite (raw, 24, u64 (static_cast<std::int64_t> (track.name.size())));
        append (bytes, track.name);

        for (const auto& [key, value] : track.metadata)
        {
            appendText (bytes, key);
            appendText (bytes, value);
        }

        append (bytes, u64 (static_cast<std::int64_t> (track.metadata.size())));
        overwrite (
            raw, 48, u64 (static_cast<std::int64_t> (track.samples.size() / (track.isRendered ? 7 : 1))));
        overwrite (raw, 88, place());
        raw[116] = track.isRendered ? 1 : 0;
        overwrite (raw, 136, f32 (track.version));
        append (records, raw);
        append (words, u32 (track.word));
    }

    appendText (bytes, groupText);

    for (const auto& part :
         { words, records, u32 (static_cast<std::int64_t> (tracks.size())), u64 (0), magic, f32 (version) })
        append (bytes, part);

    repairChecksum (bytes);
    return bytes;
}

} // namespace tessivar::test
