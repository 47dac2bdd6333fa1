#pragma once

#include <juce_core/juce_core.h>

#include <string>
#include <vector>

namespace tessivar
{

/** An argument as a file. Relative names belong to the working directory, "~" is a letter like any other;
    fails on an empty argument.
*/
[[nodiscard]] juce::Result fileFromArgument (const std::string& argument, juce::File& file);

/** An argument that names no file. */
struct BadInput
{
    juce::String argument;
    juce::String reason; // one printable line that names it
};

struct InputFiles
{
    std::vector<juce::File> files;
    std::vector<BadInput> bad;
};

/** The audio files that a list of files and folders stands for: files as given, whatever they are, each
    folder as the audio files in it, ordered by name as a file browser does, hidden ones left out. A file
    named twice comes once.
*/
[[nodiscard]] InputFiles collectInputFiles (const std::vector<std::string>& arguments);

} // namespace tessivar
