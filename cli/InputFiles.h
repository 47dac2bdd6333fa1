#pragma once

#include <juce_core/juce_core.h>

#include <string>
#include <vector>

namespace tessivar
{

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

/** The audio files that arguments stand for: files as given, folders as the audio files in them, ordered as a
    file browser does, without hidden ones. A file named twice counts once.
*/
[[nodiscard]] InputFiles collectInputFiles (const std::vector<std::string>& arguments);

} // namespace tessivar
