#pragma once

#include "model/Group.h"
#include "model/ImportWarnings.h"
#include "model/settings/RecentFiles.h"
#include "model/settings/Settings.h"
#include "model/settings/SettingsStore.h"
#include "model/settings/UserFolders.h"

#include <juce_audio_basics/juce_audio_basics.h>
#include <juce_events/juce_events.h>

#include <vector>

namespace tessivar
{

/** The user's open work: the open Groups and which of them is selected, the thread that reads ahead for
    playback, the settings, and the group files used last. One object, made at the start by the main component
    and gone with it.

    Listeners are told, on the message thread and some time later, when the set of Groups or the selection has
    changed, or one of the Groups. Everything is called on the message thread, but the functions that say
    otherwise.
*/
class TessivarWorkspace : public juce::ChangeBroadcaster, public juce::ChangeListener
{
public:
    /** Opens the settings and makes the abbreviation lists and folders that they hold those of the program.
        As long as no folder was ever chosen, the built-in lists take the place of the saved ones, in the
        settings too. That is intended.
    */
    explicit TessivarWorkspace (const UserFolders& folders = UserFolders::ofUser());

    /** Stops the thread, for which it waits at most 10 s, releases the Groups and writes the settings. */
    ~TessivarWorkspace() override;

    [[nodiscard]] const UserFolders& folders() const { return userFolders; }

    /** For sources of playback; runs as long as the workspace lives. On any thread. */
    [[nodiscard]] juce::TimeSliceThread& readAheadThread() { return readAhead; }

    // Groups, in the order in which they were opened. These questions may be asked on any thread; what is
    // done with the Groups themselves belongs to the message thread.

    [[nodiscard]] int numGroups() const;
    [[nodiscard]] Group::Ptr group (int index) const; // null outside
    [[nodiscard]] std::vector<Group::Ptr> allGroups() const;
    [[nodiscard]] int indexOf (const Group* group) const; // -1: not open here
    [[nodiscard]] int selectedGroupIndex() const;         // -1: none
    [[nodiscard]] Group::Ptr selectedGroup() const;

    /** The Group that was loaded from this file or saved to it; -1 when it is not open. */
    [[nodiscard]] int indexOfFile (const juce::File& file) const;

    /** Adds at the end and returns the index. The selection stays. A Group that is open already is not added
        again.
    */
    int addGroup (const Group::Ptr& group);

    /** The selection stays with its Group; that of the removed one goes to the next, else to the last one
        left.
    */
    void removeGroup (int index);

    /** An index outside selects none. */
    void selectGroup (int index);

    /** Updates every Group, and tells listeners. */
    void refreshAll();

    // Settings.

    /** May be read on any thread. */
    [[nodiscard]] SettingsStore& settings() { return store; }

    /** True once, when the program runs for the first time. */
    [[nodiscard]] bool isFirstRun() { return tessivar::isFirstRun (store); }

    [[nodiscard]] bool shouldShowWarning (int kind) const
    {
        return tessivar::shouldShowWarning (&store, kind);
    }
    void suppressWarning (int kind) { tessivar::suppressWarning (&store, kind); }
    [[nodiscard]] std::vector<int> suppressedWarnings() const
    {
        return tessivar::suppressedWarnings (&store);
    }
    void suppressWarnings (const std::vector<int>& kinds) { tessivar::suppressWarnings (&store, kinds); }

    // Folders that dialogs start with. What was stored is returned as it is, also when it no longer exists;
    // the user's documents folder when nothing was.

    [[nodiscard]] juce::String lastViewedFolder() const
    {
        return storedPath (settingsKeys::lastViewedFolder);
    }
    void setLastViewedFolder (const juce::String& path)
    {
        store.setValue (settingsKeys::lastViewedFolder, path);
    }
    [[nodiscard]] juce::String lastViewedImportFolder() const
    {
        return storedPath (settingsKeys::lastViewedImportFolder);
    }
    void setLastViewedImportFolder (const juce::String& path)
    {
        store.setValue (settingsKeys::lastViewedImportFolder, path);
    }
    [[nodiscard]] juce::String lastExportFolder() const
    {
        return storedPath (settingsKeys::lastExportFolder);
    }
    void setLastExportFolder (const juce::String& path)
    {
        store.setValue (settingsKeys::lastExportFolder, path);
    }

    /** Where choosers for exports begin: the export folder of the settings page, or else the last one. */
    [[nodiscard]] juce::File exportDialogFolder() const;

    /** The folder of the first source file of the selected Group; the documents folder when there is none. */
    [[nodiscard]] juce::File defaultDialogFolder() const;

    /** What the user chose on the settings page. */
    [[nodiscard]] const FolderSettings& folderSettings() const { return chosenFolders; }
    void setFolderSettings (const FolderSettings& chosen);
    [[nodiscard]] TemporaryFolderChoice temporaryFolder() const;

    // Recent files.

    [[nodiscard]] const RecentFiles& recentFiles() const { return recent; }

    /** For a group file that was opened or saved. */
    void addRecentFile (const juce::File& file) { recent.add (file); }
    void removeRecentFile (const juce::File& file) { recent.remove (file); }

    /** What the menu offers: not the files of open Groups. */
    [[nodiscard]] std::vector<RecentFiles::MenuEntry> recentFilesMenu() const;

private:
    void changeListenerCallback (juce::ChangeBroadcaster*) override { sendChangeMessage(); }
    void loadSettings();
    void storeRecentFiles();
    [[nodiscard]] juce::String storedPath (const char* key) const;

    const UserFolders userFolders;

    juce::ReferenceCountedArray<Group> groups;
    int selectedIndex = -1;
    juce::TimeSliceThread readAhead{ "playbackReadAheadThreadName" };
    juce::CriticalSection groupsLock;    // guards groups against the jobs; taken before selectionLock
    juce::CriticalSection selectionLock; // guards selectedIndex
    SettingsStore store;
    RecentFiles recent;

    FolderSettings chosenFolders;
    juce::String recentFilesAtStart;

    JUCE_DECLARE_NON_COPYABLE (TessivarWorkspace)
};

} // namespace tessivar
