#include "cli/InputFiles.h"

#include "cli/TerminalText.h"

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

/** The audio files of a folder in order; fails when the folder can't be read. */
juce::Result listFolder (const juce::File& folder, std::vector<juce::File>& files)
{
    // An unreadable folder lists as an empty one.
    if (! folder.hasReadAccess())
        return juce::Result::fail (printable (folder.getFullPathName()) + ": the folder can't be read");

    std::vector<juce::File> sorted;
    for (const auto& child :
         folder.findChildFiles (juce::File::findFiles | juce::File::ignoreHiddenFiles, false))
        if (child.hasFileExtension (audioFileExtensions))
            sorted.push_back (child);
    std::sort (sorted.begin(), sorted.end(), precedes);
    if (sorted.empty())
        return juce::Result::fail (printable (folder.getFullPathName())
                                   + ": the folder holds no audio file (wav, aiff, aif, caf, flac, ogg)");
    files.insert (files.end(), sorted.begin(), sorted.end());
    return juce::Result::ok();
}
} // namespace

juce::Result fileFromArgument (const std::string& argument, juce::File& file)
{
    if (argument.empty())
        return juce::Result::fail ("an empty name is given");
    if (! juce::CharPointer_UTF8::isValidString (argument.data(), static_cast<int> (argument.size())))
        return juce::Result::fail ("\""
                                   + printable (juce::String::createStringFromData (
                                       argument.data(), static_cast<int> (argument.size())))
                                   + "\": the name is not UTF-8; rename the file");

    auto path = juce::String::fromUTF8 (argument.c_str());
    if (! path.startsWithChar ('/'))
        path = juce::File::getCurrentWorkingDirectory().getFullPathName() + "/" + path;
    file = juce::File (path);
    return juce::Result::ok();
}

InputFiles collectInputFiles (const std::vector<std::string>& arguments)
{
    std::vector<juce::File> candidates;
    InputFiles result;

    for (const auto& argument : arguments)
    {
        juce::File file;
        auto outcome = fileFromArgument (argument, file);
        if (outcome.wasOk())
        {
            if (file.isDirectory())
                outcome = listFolder (file, candidates);
            else
                candidates.push_back (file);
        }
        if (outcome.failed())
            result.bad.push_back ({ juce::String::fromUTF8 (argument.c_str()), outcome.getErrorMessage() });
    }

    for (const auto& file : candidates)
        if (std::find (result.files.begin(), result.files.end(), file) == result.files.end())
            result.files.push_back (file);
    return result;
}

} // namespace tessivar
