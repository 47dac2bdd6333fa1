#pragma once

#include "model/audiofile/PatchedInputStream.h"

#include <juce_core/juce_core.h>

#include <array>
#include <cstdint>
#include <vector>

namespace tessivar
{

enum class AudioFileKind
{
    wav,
    aiff,
    caf,
    flac,
    oggVorbis,
    groupFile // one track of it; never told by inspectAudioHeader()
};

/** "WAV", "AIFF", "CAF", "FLAC", "Ogg Vorbis" or "DLS". */
juce::String audioFileKindName (AudioFileKind kind);

/** Where a chunk of metadata lies in a WAV or AIFF file. */
struct ChunkLocation
{
    std::array<char, 4> id{};
    std::int64_t start = 0; // of the content, behind id and size
    std::int64_t size = 0;  // bytes, without padding
};

/** What the header of an audio file says, after every number in it was checked. */
struct AudioHeader
{
    AudioFileKind kind = AudioFileKind::wav;
    double sampleRate = 0.0; // Hz, above 0
    int numChannels = 0;     // 1..64
    int bitsPerSample = 0;   // 8, 12, 16, 20, 24 or 32: the significant ones
    bool isFloatingPoint = false;
    std::int64_t lengthInSamples = -1;   // as far as the file goes; -1: the decoder has to tell
    std::int64_t maxLengthInSamples = 0; // the most that a file of this size can hold
    juce::StringArray notes;             // oddities that were coped with
    juce::StringPairArray metadata;      // tags that the format's reader doesn't give
    std::vector<HeaderPatch> patches;    // what the format's reader is to see instead of the file's bytes
    std::vector<ChunkLocation> chunks;   // metadata of WAV and AIFF in file order, known or not
};

/** Limits that no recording exceeds; beyond them a reader may hang, crash or fill the memory. */
namespace headerLimits
{
inline constexpr int maxChannels = 64;
inline constexpr double maxSampleRate = 1.0e6;                     // Hz
inline constexpr std::int64_t maxMetadataBytes = 16 * 1024 * 1024; // in one chunk that a reader loads
inline constexpr int maxChunks = 20000;
} // namespace headerLimits

/** Tells what kind of audio file a stream holds, by its content, and checks its header before any reader sees
    it.

    Kinds: WAVE in RIFF, RF64 and BW64; AIFF and AIFC; CAF with linear PCM or ALAC; FLAC; Ogg with one Vorbis
    stream. Refused, with a reason that names the number that is out of range: anything else, headers that
    contradict themselves or the size of the file, and everything beyond headerLimits. A PCM file that ends
    before its audio does is not refused: the length is cut to what is there, and a note says so. Damaged
    metadata is hidden from the reader, with a note. An unusual but possible sample rate passes.

    Reads anywhere in the stream, which must know its length; an Ogg file is read through once. Takes no
    more memory at a file's word than headerLimits::maxMetadataBytes. On failure header stays as it was.
*/
juce::Result inspectAudioHeader (juce::InputStream& stream, AudioHeader& header);

} // namespace tessivar
