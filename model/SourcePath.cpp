#include "model/SourcePath.h"

namespace tessivar
{

juce::String sourcePathOf (const TrackState& track)
{
    const auto& file = track.sourceInfo.file;
    return file != juce::File() ? file.getFullPathName() : track.unknownProperties[sourcePathProperty];
}

juce::String sourceNameOf (const TrackState& track)
{
    const auto path = sourcePathOf (track);
    const auto* const separators = path.startsWithChar ('/') ? "/" : "/\\";
    return path.substring (path.lastIndexOfAnyOf (separators) + 1);
}

} // namespace tessivar
