#pragma once

#include "jobs/AnalyseGroup.h"
#include "jobs/ExportTracks.h"
#include "model/GroupState.h"
#include "model/settings/SettingsStore.h"
#include "playback/ReadAhead.h"
#include "terms/AnalysisMethod.h"

namespace tessivar
{

/** Keys of the settings that only the window uses, and their values. Missing or invalid values mean the
    defaults.
*/
namespace appSettingsKeys
{
inline constexpr auto analysisThreads = "analysisThreads"; // 0: one per core
inline constexpr auto analysisMethod =
    "analysisMethod"; // "standard" or "refined": chosen last, for new Groups
inline constexpr auto exportFileType = "exportFileType"; // "wav" or "aiff", of exports to a folder
inline constexpr auto exportDepth = "exportDepth";       // "float"; else as the source
inline constexpr auto interfaceSize = "interfaceSize";   // percent; 0: automatic
inline constexpr auto reducedMotion = "reducedMotion";   // absent: as the desktop says
inline constexpr auto lastSession = "lastSession";       // what was open at the end, as LastSession writes it
inline constexpr auto windowState = "windowState";
inline constexpr auto browserWidth = "browserWidth";
inline constexpr auto volume = "volume"; // dB
inline constexpr auto playsKit = "playsKit";
inline constexpr auto readAheadSeconds = ReadAheadSettings::secondsKey;
inline constexpr auto readAheadFrames = ReadAheadSettings::framesPerReadKey;
inline constexpr auto diskBenchmark = "diskBenchmark"; // the last one, as BenchmarkSummary::toText()
} // namespace appSettingsKeys

[[nodiscard]] int analysisThreads (const juce::PropertySet& settings);
[[nodiscard]] AnalysisMethod defaultMethod (const juce::PropertySet& settings);

/** For an analysis by this method, on the threads that the user chose. */
[[nodiscard]] AnalysisOptions analysisOptions (AnalysisMethod method, const juce::PropertySet& settings);

[[nodiscard]] ExportFileType exportFileType (const juce::PropertySet& settings);
[[nodiscard]] ExportDepth exportDepth (const juce::PropertySet& settings);
[[nodiscard]] ReadAheadSettings readAheadSettings (const juce::PropertySet& settings);

/** Of the window without its frame, logical pixels. */
namespace windowSizes
{
inline constexpr int leastWidth = 1024, leastHeight = 640, usualWidth = 1280, usualHeight = 800;
}

/** Scale of the interface: the user's, or the largest of 100, 125, 150 and 200 % with which the window has
    its usual size on a screen with this room; TESSIVAR_SCALE in the environment (a number such as 1.5) comes
    before both. Always small enough for a window of the least size, down to 75 %.
*/
[[nodiscard]] double interfaceScale (const juce::PropertySet& settings, int roomWidth, int roomHeight);

} // namespace tessivar
