#pragma once

#include "model/Abbreviations.h"
#include "model/GroupState.h"
#include "model/ImportWarnings.h"
#include "terms/Outcome.h"
#include "terms/WorkControl.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tessivar
{

/** A shorter track is warned of: there is little in it to learn from. */
inline constexpr double shortDurationSeconds = 30.0;

/** Samples in one block of the waveform overview; a file shorter than one block is discarded. */
inline constexpr int intakeBlockLength = 16384;

/** One channel of an accepted audio file: the track it becomes, with its knobs where they start, its type
    guessed from the file name, and no audio yet.
*/
struct IntakeTrack
{
    TrackState state;
    std::int64_t nonFiniteSamples = 0; // NaN or infinite, read as 0; 0 as long as nothing was decoded
    float peak = 0.0f;                 // largest magnitude, full scale 1.0; 0 as long as nothing was decoded
};

/** What became of one file: accepted (ok), stopped, refused, or noRoom when the sink gave up. The reason
    names the file.
*/
struct Intake
{
    Outcome outcome;
    std::optional<int> code;         // the warning code a refusal was filed under
    std::vector<IntakeTrack> tracks; // one per channel, left first; none unless accepted
    juce::String formatName;         // "WAV", "AIFF", "CAF", "FLAC" or "Ogg Vorbis", by content
    TrackClassification guess;       // what the drum type rests on
    juce::StringArray notes;         // what the user should know about an accepted file; each names the file

    [[nodiscard]] bool accepted() const { return outcome.isOk(); }
};

/** Takes the decoded samples of a file while it is checked. This one ignores them, for a check alone. */
class IntakeSink
{
public:
    virtual ~IntakeSink() = default;

    /** Called once for a file that passed every check made on its header, before the first block. Count and
        peak of the tracks are not known yet. Returns false to give up on this file.
    */
    virtual bool begin (const std::vector<IntakeTrack>& tracks)
    {
        juce::ignoreUnused (tracks);
        return true;
    }

    /** The samples [start, start + samples.size()) of one channel, full scale 1.0. Blocks come in ascending
        order of start, all channels of a block after one another; all but the last hold intakeBlockLength
        samples. NaN and infinite samples are already 0. Returns false when they can't be kept: the file is
        then given up.

        A file that turns out damaged, or a stop, ends the calls before the last block: what came so far is to
        be thrown away whenever intakeFile() returns no tracks.
    */
    virtual bool block (int channel, std::int64_t start, std::span<const float> samples)
    {
        juce::ignoreUnused (channel, start, samples);
        return true;
    }
};

/** Why a track can't join a Group: a code of ImportWarnings, not filed yet, and a reason that names no file.
*/
struct IntakeRefusal
{
    int code = 0;
    juce::String reason;
};

/** The checks of a track's rate and length, wherever its samples lie; the first failing one decides:
      1  sample rate other than groupSampleRate, when that is above 0
      7  sample rate not supported
      9  fewer than intakeBlockLength samples
    The advice of codes 8 (short) and 10 (long) is filed under the name with the duration.

    @param sampleRate, groupSampleRate  Hz
*/
[[nodiscard]] std::optional<IntakeRefusal> checkTrack (const juce::String& name,
                                                       double sampleRate,
                                                       std::int64_t lengthInSamples,
                                                       double groupSampleRate,
                                                       ImportWarnings& warnings);

/** Opens one audio file, checks it against the rules of its Group and decodes it once, from start to end.

    The kind of file is told by its content, never by its extension. Problems are filed in warnings: the code
    of a refusal, and the advice of codes 8 (short) and 10 (long). The first failing check decides:
      2  the path is empty, names a folder or no file
      3  unreadable, no known kind of audio file, damaged, or more than two channels
      1, 7, 9  see checkTrack()

    A file whose samples can't be decoded up to the stated end is refused with code 3 as well, except that
    plain PCM whose file simply ends early is taken as far as it goes, with a note.

    @param groupSampleRate  Hz; 0 for a Group without tracks, whose rate is then that of these tracks
    @param sink             gets the samples; null checks the header only and decodes nothing
*/
[[nodiscard]] Intake intakeFile (const juce::File& file,
                                 double groupSampleRate,
                                 ImportWarnings& warnings,
                                 IntakeSink* sink,
                                 const WorkControl& control = {});

/** The checks made when a batch of files joins a Group:
      6  every file, of the batch or of the Group, that the batch leaves shorter than the longest track
      0  every file of the batch whose bit depth differs from that of the Group's first track

    Tracks that were short already before the batch came are not filed again. Nothing is refused here.

    @param groupTracks  the Group's tracks before the batch, may be empty
    @param batch        the accepted tracks that join
*/
void checkBatch (std::span<const TrackState> groupTracks,
                 std::span<const TrackState> batch,
                 ImportWarnings& warnings);

/** The duration as it is compared and shown: whole hundredths of a second, never rounded up. */
double intakeDurationSeconds (std::int64_t lengthInSamples, double sampleRate);

} // namespace tessivar
