#include "model/recovery/RecoveryEntry.h"

#include "model/LittleEndian.h"
#include "model/TemporaryStore.h"
#include "model/groupfile/AudioSums.h"
#include "model/groupfile/GroupTail.h"
#include "model/groupfile/PropertyList.h"
#include "platform/DiskNames.h"
#include "platform/FileStatus.h"
#include "platform/Process.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace tessivar
{

namespace
{
namespace key
{
constexpr auto version = "recovery.version", groupFile = "recovery.groupFile",
               writtenAt = "recovery.writtenAt", boot = "recovery.boot", length = "recovery.length",
               source = "recovery.source", rendered = "recovery.rendered", components = "recovery.components";
} // namespace key

constexpr auto currentVersion = "1";

/** Names of files may be any bytes. */
juce::String textOfPath (const juce::File& file)
{
    const auto bytes = bytesOfPath (file);
    return textForAnyBytes ({ reinterpret_cast<const std::uint8_t*> (bytes.data()), bytes.size() });
}

std::optional<juce::File> fileOf (const juce::String& text)
{
    const auto bytes = bytesForAnyText (text);
    const auto path = pathOfBytes (std::string (bytes.begin(), bytes.end()));
    return juce::File::isAbsolutePath (path) ? std::make_optional<juce::File> (path) : std::nullopt;
}

/** Nine numbers and the path, with a space after each number. */
juce::String textOf (const AudioPlace& place)
{
    juce::String text;

    for (const auto number : { place.offset,
                               static_cast<std::uint64_t> (place.numFrames),
                               static_cast<std::uint64_t> (place.numChannels),
                               static_cast<std::uint64_t> (place.channel + 1),
                               place.identity.size,
                               place.identity.modified,
                               place.identity.device,
                               place.identity.inode,
                               std::uint64_t{ place.probe } })
        text << juce::String (number) << ' ';

    return text + textOfPath (place.file);
}

std::optional<AudioPlace> placeOf (const juce::String& text)
{
    std::array<std::uint64_t, 9> numbers{};
    auto rest = text;

    for (auto& number : numbers)
    {
        const auto parsed = unsignedOf (rest.upToFirstOccurrenceOf (" ", false, false));

        if (! parsed)
            return std::nullopt;

        number = *parsed;
        rest = rest.fromFirstOccurrenceOf (" ", false, false);
    }

    const auto [offset, numFrames, numChannels, channel, size, modified, device, inode, probe] = numbers;
    const auto file = fileOf (rest);
    const auto fits = numFrames <= static_cast<std::uint64_t> (std::numeric_limits<std::int64_t>::max())
                      && numChannels >= 1 && numChannels <= channelLayout::numRendered
                      && channel <= numChannels && probe <= std::numeric_limits<std::uint32_t>::max();

    if (! file || ! fits)
        return std::nullopt;

    return AudioPlace{ *file,
                       { size, modified, device, inode },
                       offset,
                       static_cast<std::int64_t> (numFrames),
                       static_cast<int> (numChannels),
                       static_cast<int> (channel) - 1,
                       static_cast<std::uint32_t> (probe) };
}

std::optional<AudioPlace> placeOf (const std::shared_ptr<TrackSamples>& samples, AudioProbes& probes)
{
    if (samples == nullptr)
        return std::nullopt;

    const auto location = samples->location();
    const auto identity = FileIdentity::of (location.file);
    const auto probe = probes.of (samples);

    if (! identity || ! probe)
        return std::nullopt;

    AudioPlace place{ location.file, *identity, location.offset, samples->lengthInFrames() };
    place.numChannels = samples->numChannels();
    place.probe = *probe;

    // One channel of several is always the source within the rendered ones.
    if (dynamic_cast<const ChannelOfSamples*> (samples.get()) != nullptr)
    {
        place.numChannels = channelLayout::numRendered;
        place.channel = channelLayout::source;
    }

    return place;
}

std::optional<AudioPlace> placeOf (const StoreFile* file)
{
    if (file == nullptr)
        return std::nullopt;

    const auto identity = FileIdentity::of (file->path());
    return identity ? std::make_optional (AudioPlace{ file->path(), *identity }) : std::nullopt;
}

/** The audio of a track, by the properties that say where it lies. */
constexpr std::pair<const char*, std::optional<AudioPlace> RecoveryEntry::TrackAudio::*> places[] = {
    { key::source, &RecoveryEntry::TrackAudio::source },
    { key::rendered, &RecoveryEntry::TrackAudio::rendered },
    { key::components, &RecoveryEntry::TrackAudio::components }
};
} // namespace

std::optional<FileIdentity> FileIdentity::of (const juce::File& file)
{
    const auto status = statusOf (file);

    if (! status || ! status->isFile())
        return std::nullopt;

    return FileIdentity{
        status->size, static_cast<std::uint64_t> (status->modified), status->id.volume, status->id.number
    };
}

bool FileIdentity::isStillIn (const FileIdentity& later) const
{
    const auto isSame = device == later.device && inode == later.inode && size <= later.size;
    return isSame || (size == later.size && modified == later.modified);
}

std::optional<std::uint32_t> AudioProbes::of (const std::shared_ptr<TrackSamples>& samples)
{
    std::erase_if (known, [] (const auto& entry) { return entry.second.samples.expired(); });

    if (const auto found = known.find (samples.get()); found != known.end())
        return found->second.probe;

    constexpr std::int64_t framesAtATime = 256;
    const auto length = samples->lengthInFrames();
    const auto count = std::min (framesAtATime, length);
    std::vector<float> frames (static_cast<std::size_t> (count * samples->numChannels()));
    std::vector<std::uint8_t> bytes;

    for (const auto start : { std::int64_t{}, (length - count) / 2, length - count })
    {
        if (! samples->readFrames (start, frames))
            return std::nullopt;

        for (const auto value : frames)
        {
            bytes.resize (bytes.size() + sizeof (float));
            littleEndian::writeF32 (&bytes[bytes.size() - sizeof (float)], value);
        }
    }

    const auto probe = crc32Of (bytes);
    known[samples.get()] = { samples, probe };
    return probe;
}

RecoveryEntry RecoveryEntry::of (const GroupState& state, const juce::File& groupFile, AudioProbes& probes)
{
    RecoveryEntry entry;
    entry.state = state;
    entry.groupFile = groupFile;
    entry.groupFileIdentity = FileIdentity::of (groupFile).value_or (FileIdentity{});
    entry.writtenAt = juce::Time::currentTimeMillis();
    entry.boot = currentBoot();

    for (const auto& track : state.tracks)
        entry.audio.push_back ({ placeOf (track.source, probes),
                                 placeOf (track.rendered, probes),
                                 placeOf (track.components.get()) });

    return entry;
}

std::vector<std::uint8_t> encodeRecoveryEntry (const RecoveryEntry& entry)
{
    auto tail = groupTailFor (entry.state);
    tail.properties.set (key::version, currentVersion);
    tail.properties.set (key::writtenAt, juce::String (entry.writtenAt));
    tail.properties.set (key::boot, entry.boot);

    if (entry.groupFile != juce::File())
        tail.properties.set (key::groupFile, textOf (AudioPlace{ entry.groupFile, entry.groupFileIdentity }));

    jassert (entry.audio.size() == tail.tracks.size());

    for (std::size_t i = 0; i < tail.tracks.size(); ++i)
    {
        auto& [record, word, name, metadata, properties] = tail.tracks[i];
        properties.set (key::length, juce::String (record.lengthInSamples()));

        for (const auto& [property, place] : places)
            if (const auto& known = entry.audio[i].*place)
                properties.set (property, textOf (*known));

        // The audio isn't here, and a reader of tails looks whether it can be.
        record.setSampleDataOffset (0);
        record.setLengthInSamples (0);
    }

    return encodeGroupTail (tail, 0);
}

juce::Result decodeRecoveryEntry (std::span<const std::uint8_t> bytes, RecoveryEntry& out)
{
    MemoryBytes memory (bytes);
    FoundTail found;

    if (const auto decoded = decodeGroupTail (memory, bytes.size(), found); decoded.failed())
        return decoded;

    if (! found.isOurs || ! found.isIntact() || found.start != 0)
        return juce::Result::fail ("damaged");

    const auto& properties = found.tail.properties;

    if (properties[key::version] != currentVersion)
        return juce::Result::fail ("no recovery entry that this version of the program knows");

    RecoveryEntry entry;
    juce::StringArray notes;
    entry.state = groupStateFrom (found, {}, notes);
    entry.writtenAt = properties[key::writtenAt].getLargeIntValue();
    entry.boot = properties[key::boot];

    if (const auto place = placeOf (properties[key::groupFile]))
    {
        entry.groupFile = place->file;
        entry.groupFileIdentity = place->identity;
    }

    for (std::size_t i = 0; i < entry.state.tracks.size(); ++i)
    {
        const auto& ofTrack = found.tail.tracks[i].properties;
        const auto length = unsignedOf (ofTrack[key::length]);

        if (! length || *length > static_cast<std::uint64_t> (std::numeric_limits<std::int64_t>::max()))
            return juce::Result::fail ("a track without a length");

        entry.state.tracks[i].record.setLengthInSamples (static_cast<std::int64_t> (*length));
        auto& audio = entry.audio.emplace_back();

        for (const auto& [property, place] : places)
            audio.*place = placeOf (ofTrack[property]);
    }

    out = std::move (entry);
    return juce::Result::ok();
}

} // namespace tessivar
