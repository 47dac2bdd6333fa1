#pragma once

#include <juce_core/juce_core.h>

#include <vector>

namespace tessivar::test
{

/** Writes a chooser (zenity) and xdg-open into home/bin that do nothing but note how they were called. */
void writeFakePrograms (const juce::File& home);

/** What the chooser prints, call by call; a call beyond them is cancelled. */
void writeChooserAnswers (const juce::File& home, const std::vector<juce::StringArray>& answers);

} // namespace tessivar::test
