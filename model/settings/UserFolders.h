#pragma once

#include "platform/Folders.h"

#include <optional>

namespace tessivar
{

/** Where a user's files of this program lie. None of the folders is made here. */
struct UserFolders
{
    juce::File settings;  // Tessivar/ in the configuration folder: tessivar.config, AudioDeviceSetup.config
    juce::File state;     // tessivar/: recovery entries, locks, damaged settings files
    juce::File cache;     // tessivar/
    juce::File runtime;   // tessivar/: sockets
    juce::File documents; // the user's own

    [[nodiscard]] static UserFolders ofUser() { return in (KnownFolders::ofUser()); }
    [[nodiscard]] static UserFolders in (const KnownFolders& folders);

    /** All of them below one folder. */
    [[nodiscard]] static UserFolders below (const juce::File& folder);

    [[nodiscard]] juce::File settingsFile() const { return settings.getChildFile ("tessivar.config"); }

    /** Held while the settings are written. It does not lie beside them: everything there that is no
        ".config" file is deleted at each start.
    */
    [[nodiscard]] juce::File settingsLock() const { return state.getChildFile ("settings.lock"); }

    [[nodiscard]] juce::File damagedSettings() const { return state.getChildFile ("damaged-settings"); }
    [[nodiscard]] juce::File logs() const { return state.getChildFile ("log"); }
    [[nodiscard]] juce::File recovery() const { return state.getChildFile ("recovery"); }

    /** Notes of folders that are being written to, see WritingNote. */
    [[nodiscard]] juce::File writing() const { return state.getChildFile ("writing"); }
};

/** Where temporary files go, and why. */
struct TemporaryFolderChoice
{
    enum class Reason
    {
        chosenByUser,
        sharedByAllUsers, // what is taken when nothing was chosen
        sharedNotWritable // so that the user's cache has to do: to be told on the settings page
    };

    juce::File folder;
    Reason reason = Reason::chosenByUser;
};

/** The folder that the user chose, whatever its state; else that of all users when it can be written to or
    made; else one in the user's cache.
*/
[[nodiscard]] TemporaryFolderChoice chooseTemporaryFolder (const std::optional<juce::File>& chosenByUser,
                                                           const UserFolders& folders,
                                                           const juce::File& sharedFolder);

/** Tessivar/ in the application data folder of all users. */
[[nodiscard]] juce::File sharedTemporaryFolder();

} // namespace tessivar
