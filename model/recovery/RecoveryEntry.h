#pragma once

#include "model/GroupState.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace tessivar
{

/** What tells whether a file is still the one that it was. */
struct FileIdentity
{
    std::uint64_t size = 0;     // bytes
    std::uint64_t modified = 0; // ns since 1970
    std::uint64_t device = 0, inode = 0;

    bool operator== (const FileIdentity&) const = default;

    /** Nothing when there is no such regular file. */
    [[nodiscard]] static std::optional<FileIdentity> of (const juce::File& file);

    /** Whether audio that lay in this file lies at the same place in that one: it is the same file and only
        grew, as a group file does that is saved again, or an untouched copy.
    */
    [[nodiscard]] bool isStillIn (const FileIdentity& later) const;
};

/** Where samples lie on disk. */
struct AudioPlace
{
    juce::File file;
    FileIdentity identity;
    std::uint64_t offset = 0;   // of the first frame, in bytes
    std::int64_t numFrames = 0; // 0: everything in the file, in no frames
    int numChannels = 1;        // interleaved 32-bit floats
    int channel = allChannels;  // the one that counts
    std::uint32_t probe = 0;    // of the samples, see AudioProbes

    static constexpr int allChannels = -1;

    bool operator== (const AudioPlace&) const = default;
};

/** Sums over a few frames of samples, by which to tell later whether a place still holds them: a file may
    have been replaced, or its last part may not have reached the disk. Remembers the sums of samples that
    live, as reading takes time. On one thread at a time.
*/
class AudioProbes
{
public:
    /** Nothing when the samples can't be read. */
    [[nodiscard]] std::optional<std::uint32_t> of (const std::shared_ptr<TrackSamples>& samples);

private:
    struct Known
    {
        std::weak_ptr<TrackSamples> samples;
        std::uint32_t probe = 0;
    };

    std::map<const TrackSamples*, Known> known;
};

/** Everything about an open Group but its audio, for which it notes where that lies: what brings unsaved work
    back after a crash.

    A small file: the tail of a group file at offset 0, without audio, with these properties beside the usual
    ones. Of the Group:
      recovery.version    "1"
      recovery.writtenAt  ms since 1970
      recovery.boot       identity of the operating system's start
      recovery.groupFile  a place, of which path and identity count; missing: never saved
    Of each track:
      recovery.length     in samples; the record's own length and offset are 0
      recovery.source, recovery.rendered, recovery.components  places; missing: there is no such audio

    A place is nine decimal numbers, each with a space behind it, and a path: offset in bytes, frames,
    interleaved channels, the channel that counts plus 1 or 0 for all, size of the file in bytes, its time in
    ns since 1970, device, inode, and the probe.
*/
struct RecoveryEntry
{
    /** Decoded, its tracks have no samples. */
    GroupState state;

    juce::File groupFile; // none: never saved
    FileIdentity groupFileIdentity;
    std::int64_t writtenAt = 0; // ms since 1970
    juce::String boot;          // of the system, so that a restart in between shows

    struct TrackAudio
    {
        std::optional<AudioPlace> source, rendered, components;

        bool operator== (const TrackAudio&) const = default;
    };

    std::vector<TrackAudio> audio; // one per track

    /** Looks at the files that the samples lie in. On any thread. */
    [[nodiscard]] static RecoveryEntry
    of (const GroupState& state, const juce::File& groupFile, AudioProbes& probes);
};

/** The longest file that is read as an entry, in bytes. */
inline constexpr std::size_t maxRecoveryEntrySize = 256 << 20;

[[nodiscard]] std::vector<std::uint8_t> encodeRecoveryEntry (const RecoveryEntry& entry);

/** Fails, with the reason, unless the bytes are an entry as it was written, from the first to the last; entry
    then stays as it was.
*/
[[nodiscard]] juce::Result decodeRecoveryEntry (std::span<const std::uint8_t> bytes, RecoveryEntry& entry);

} // namespace tessivar
