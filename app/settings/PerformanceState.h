#pragma once

#include "app/settings/SettingsWidgets.h"
#include "playback/DiskBenchmark.h"

#include <juce_core/juce_core.h>

#include <array>
#include <cstdint>
#include <optional>

namespace tessivar
{

/** 0 for one thread per core, then 1 to as many as there are cores. */
[[nodiscard]] ChoiceList<int> threadChoices (int numCores, int chosen);

/** Seconds of read-ahead; an unusual value is added to the usual ones. */
[[nodiscard]] ChoiceList<double> readAheadChoices (double chosen);

/** Frames that are read at a time, and the size of that in a rendered track. */
[[nodiscard]] ChoiceList<int> pieceChoices (int chosen);

/** Percent; 0: automatic. */
inline constexpr std::array<int, 5> interfaceSizes{ 0, 100, 125, 150, 200 };

/** Index among the sizes; any other value counts as automatic. */
[[nodiscard]] int interfaceSizeIndex (int percent);

/** Size of the test file: what DiskBenchmark takes by itself, or less where that would fill more than a
    quarter of what is free; nothing when there is too little for a test. @param freeBytes  nothing: not known
*/
[[nodiscard]] std::optional<std::int64_t> benchmarkFileBytes (std::optional<std::uint64_t> freeBytes);

/** What is kept of a disk benchmark until the next one. */
struct BenchmarkSummary
{
    juce::String folder;
    juce::Time when;
    double readBytesPerSecond = 0.0; // in one go
    double writeBytesPerSecond = 0.0;
    double streamsBytesPerSecond = 0.0; // 24 streams side by side, the best piece size
    double neededBytesPerSecond = 0.0;  // of 24 rendered tracks
    bool keepsUp = false;
    ReadAheadSettings proposal;

    [[nodiscard]] static BenchmarkSummary
    of (const DiskBenchmark& result, const juce::File& folder, juce::Time when);

    /** One line for the settings file, and back; nothing for any other text. */
    [[nodiscard]] juce::String toText() const;
    [[nodiscard]] static std::optional<BenchmarkSummary> fromText (const juce::String& text);

    /** "Read 1,840 MB/s · Write 1,210 MB/s" */
    [[nodiscard]] juce::String headline() const;

    /** Whether the disk is fast enough, and when that was found. */
    [[nodiscard]] juce::String verdict (juce::Time now) const;

    /** "Proposed: 2 s in pieces of 8192 frames." Empty when that is what holds. */
    [[nodiscard]] juce::String proposalText (const ReadAheadSettings& current) const;
};

} // namespace tessivar
