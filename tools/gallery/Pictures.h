#pragma once

#include "tests/ui/Snapshots.h"

#include <stdexcept>

namespace tessivar::test
{

/** Writes a PNG file of a component; throws std::runtime_error when it can't. */
inline void writePicture (juce::Component& component, const juce::File& file, float scale)
{
    file.deleteFile();
    juce::FileOutputStream stream (file);

    if (! stream.openedOk()
        || ! juce::PNGImageFormat().writeImageToStream (snapshot (component, scale), stream))
        throw std::runtime_error ("cannot write " + file.getFullPathName().toStdString());
}

/** The folder that an argument names, created if missing; throws std::runtime_error when it can't be. */
inline juce::File pictureFolder (const char* argument)
{
    const auto folder =
        juce::File::getCurrentWorkingDirectory().getChildFile (juce::String::fromUTF8 (argument));

    if (const auto made = folder.createDirectory(); made.failed())
        throw std::runtime_error (made.getErrorMessage().toStdString());

    return folder;
}

} // namespace tessivar::test
