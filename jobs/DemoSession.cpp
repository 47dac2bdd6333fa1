#include "jobs/DemoSession.h"

#include "jobs/SortedInputs.h"

namespace tessivar::demoSession
{

std::vector<juce::File> files (const juce::File& resourceFolder)
{
    std::vector<juce::File> found;
    juce::ignoreUnused (listAudioFolder (resourceFolder.getChildFile ("demo"), found));
    return found;
}

const std::map<juce::String, DrumType>& types()
{
    static const std::map<juce::String, DrumType> ofTracks{
        { "Kick In", DrumType::kick },       { "SD Top", DrumType::snare },
        { "SD Bot", DrumType::snare },       { "HH", DrumType::hiHat },
        { "Rack Tom 1", DrumType::tomHigh }, { "Rack Tom 2", DrumType::tomHigh },
        { "Floor", DrumType::tomFloor },
    };
    return ofTracks;
}

} // namespace tessivar::demoSession
