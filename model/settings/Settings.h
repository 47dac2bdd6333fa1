#pragma once

#include <juce_core/juce_core.h>

#include <optional>

namespace tessivar
{

/** The keys of the settings file, beside those of the abbreviation lists, which are drumTypeKey(). Values are
    texts, flags are settingsTrue and settingsFalse.
*/
namespace settingsKeys
{
inline constexpr auto recentFiles = "RecentFiles";
inline constexpr auto firstTime = "FirstTime";
inline constexpr auto analysisTips = "ANALTIPS";
inline constexpr auto showLongTracksWarning = "ShowLongTracksWarning";
inline constexpr auto showShortTracksWarning = "ShowShortTracksWarning";
inline constexpr auto lastViewedFolder = "LastViewedFolder";
inline constexpr auto lastViewedImportFolder = "LastViewedImportFolder";
inline constexpr auto lastExportFolder = "LastExportFolder";
inline constexpr auto exportPath = "exportPath";
inline constexpr auto tempFileLocation = "tempFileLocation";
inline constexpr auto presetPrefix = "preset."; // before drumTypeKey(): knobs, as knobText() writes them
inline constexpr auto presetForNewPrefix = "presetForNew."; // before drumTypeKey(): a flag
} // namespace settingsKeys

inline constexpr auto settingsTrue = "TRUE";
inline constexpr auto settingsFalse = "FALSE";

/** Whether the program runs for the first time with these settings. Notes that it has run: true once. */
[[nodiscard]] bool isFirstRun (juce::PropertySet& settings);

/** The folders that the user chose on the settings page; nothing: none chosen, the default counts. */
struct FolderSettings
{
    std::optional<juce::File> temporaryFiles;
    std::optional<juce::File> exportFolder;

    [[nodiscard]] static FolderSettings load (const juce::PropertySet& settings);

    /** Writes the chosen folders. A default export folder removes its key; a default folder for temporary
        files leaves its key as it is, whatever it holds. That difference is intended.
    */
    void save (juce::PropertySet& settings) const;
};

/** Whether either folder was ever chosen; as long as not, every start installs the built-in abbreviation
    lists.
*/
[[nodiscard]] bool hasFolderSettings (const juce::PropertySet& settings);

/** Makes the settings folder if need be and deletes every file directly in it that is no ".config" file;
    folders in it are left alone, and so is what a running copy of the program is about to rename to a
    ".config" file. A file in the folder's place is deleted. Returns how many files went, or -1 when there is
    no such folder in the end.
*/
int tidySettingsFolder (const juce::File& folder);

} // namespace tessivar
