#include "jobs/AudioFolder.h"

#include <algorithm>

namespace tessivar
{

namespace
{
constexpr auto audioFileExtensions = "wav;aiff;aif;caf;flac;ogg";

bool precedes (const juce::File& a, const juce::File& b)
{
    const auto nameA = a.getFileName(), nameB = b.getFileName();
    const auto natural = nameA.compareNatural (nameB);
    return natural != 0 ? natural < 0 : nameA.compare (nameB) < 0;
}
} // namespace

juce::Result listAudioFolder (const juce::File& folder, std::vector<juce::File>& files)
{
    // An unreadable folder lists as an empty one.
    if (! folder.hasReadAccess())
        return juce::Result::fail (folder.getFullPathName() + ": the folder can't be read");

    std::vector<juce::File> found;

    for (const auto& child :
         folder.findChildFiles (juce::File::findFiles | juce::File::ignoreHiddenFiles, false))
        if (child.hasFileExtension (audioFileExtensions))
            found.push_back (child);

    if (found.empty())
        return juce::Result::fail (folder.getFullPathName()
                                   + ": the folder holds no audio file (wav, aiff, aif, caf, flac, ogg)");

    std::sort (found.begin(), found.end(), precedes);
    files = std::move (found);
    return juce::Result::ok();
}

} // namespace tessivar
