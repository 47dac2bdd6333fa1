#pragma once

#include "model/groupfile/GroupFileLoading.h"
#include "model/groupfile/GroupFileSaving.h"
#include "tests/model/AudioFileBuilders.h"
#include "tests/support/MemorySamples.h"

#include <utility>
#include <vector>

/** Groups in memory, and group files put together byte by byte. */
namespace tessivar::test
{

/** A different sample in every frame and channel. */
std::vector<float> numberedSamples (std::int64_t numFrames, int channels, int seed);

/** A track with one channel, or with seven when it is rendered. */
TrackState
trackWith (const juce::String& name, DrumType type, std::int64_t numFrames, bool isRendered, int seed);

/** Three tracks, one of them rendered, one excluded; every field of the states holds something. */
GroupState smallGroup (std::int64_t numFrames = 300);

/** All samples of a track as it is saved; empty when they can't be read. */
std::vector<float> savedSamplesOf (const TrackState& track);

/** Whether two Groups are the same but for their audio. */
bool haveSameValues (const GroupState& a, const GroupState& b);

/** Whether two Groups are the same for a user: texts, knobs, types, audio. */
bool isSameGroup (const GroupState& a, const GroupState& b);

SaveRequest
requestFor (const GroupState& state, const juce::File& target, std::shared_ptr<GroupFile> current = nullptr);

/** Throws with the reason when it fails. */
SavedGroup
saved (const GroupState& state, const juce::File& target, std::shared_ptr<GroupFile> current = nullptr);
LoadedGroup loaded (const juce::File& file);

Bytes bytesOf (const juce::File& file);

/** A track in a file by another program. */
struct ForeignTrack
{
    Bytes name = text ("Track");
    std::vector<float> samples = { 0.25f, -0.5f, 1.0f };
    bool isRendered = false;
    std::vector<std::pair<Bytes, Bytes>> metadata;
    TrackRecord::Bytes record{}; // what it holds besides
    float version = 1.5f;
    std::int64_t word = 0;
};

/** A file by another program, whose parts any number can be put into. */
struct ForeignFile
{
    std::vector<ForeignTrack> tracks{ ForeignTrack{} };
    Bytes groupText = text ("Their words");
    float version = 1.5f;
    Bytes magic = text ("RAVISSET");

    Bytes encode() const;
};

Bytes f32 (float value);

/** Puts bytes over those at a place. */
void overwrite (Bytes& bytes, std::size_t place, const Bytes& with);

/** Makes the checksum of the records right again, in a file that ends with its trailer. */
void repairChecksum (Bytes& bytes);

} // namespace tessivar::test
