#pragma once

#include "model/TemporaryStore.h"
#include "model/groupfile/GroupFileLoading.h"
#include "model/recovery/RecoveryEntry.h"

#include <juce_core/juce_core.h>

#include <map>
#include <memory>

namespace tessivar
{

/** Finds and opens the audio that recovery entries name: in group files, and in temporary folders of
    processes that are gone, which it takes over. Groups that shared a folder or samples share them again.
*/
class RecoveredAudio
{
public:
    /** Gives the tracks of an entry's state their samples. Audio that has changed or gone is left out, and
        notes tell the user: a track without its rendering counts as not analyzed, one without any audio has
        no samples. own is the Group's own file and its content; no file when it was never saved.
    */
    void attach (RecoveryEntry& entry, const LoadedGroup& own, juce::StringArray& notes);

private:
    using Samples = std::shared_ptr<TrackSamples>;

    /** source: what rendered samples may be folded with, if any. */
    [[nodiscard]] Samples samplesAt (const AudioPlace& place, std::int64_t numFrames, const Samples& source);
    [[nodiscard]] Samples framesAt (const AudioPlace& place, const Samples& source);
    [[nodiscard]] Samples storeSamplesAt (const AudioPlace& place, const Samples& source);
    [[nodiscard]] std::shared_ptr<StoreFile> storeFileAt (const AudioPlace& place);
    [[nodiscard]] std::shared_ptr<GroupFile> groupFileAt (const juce::File& path);
    void attachTo (TrackState& track, const RecoveryEntry::TrackAudio& audio, juce::StringArray& notes);

    AudioProbes probes;
    std::map<juce::String, std::weak_ptr<TemporaryStore>> stores; // by folder
    std::map<juce::String, std::weak_ptr<StoreFile>> storeFiles;  // by path
    std::map<juce::String, std::weak_ptr<GroupFile>> groupFiles;  // by path
    std::map<juce::String, std::weak_ptr<TrackSamples>> samples;  // by path, offset and channels
};

} // namespace tessivar
