#include "model/TessivarWorkspace.h"

#include "model/Abbreviations.h"

#include <algorithm>

namespace tessivar
{

namespace
{
constexpr int longestWaitForReadAhead = 10000; // ms; JUCE ends the thread by force after that
}

TessivarWorkspace::TessivarWorkspace (const UserFolders& foldersToUse)
    : userFolders (foldersToUse), store (foldersToUse)
{
    loadSettings();
    readAhead.startThread();
}

void TessivarWorkspace::loadSettings()
{
    recent.setLimit (RecentFiles::defaultLimit);
    recentFilesAtStart = store.getValue (settingsKeys::recentFiles);

    if (recentFilesAtStart.isNotEmpty())
        recent.restoreFrom (recentFilesAtStart);

    loadAbbreviationsAtStart (store);

    if (hasFolderSettings (store))
        chosenFolders = FolderSettings::load (store);
    else
        // Settings that can't be written are those of this run all the same.
        juce::ignoreUnused (saveAbbreviations (&store));
}

TessivarWorkspace::~TessivarWorkspace()
{
    readAhead.stopThread (longestWaitForReadAhead);

    for (auto* const group : groups)
        group->removeChangeListener (this);

    {
        const juce::ScopedLock guard (groupsLock);
        groups.clear();
    }

    storeRecentFiles();
    juce::ignoreUnused (store.saveIfNeeded());
}

void TessivarWorkspace::storeRecentFiles()
{
    // Reads what another running copy of the program has written meanwhile.
    juce::ignoreUnused (store.save());
    const auto stored = store.getValue (settingsKeys::recentFiles);

    if (stored == recentFilesAtStart)
    {
        store.setValue (settingsKeys::recentFiles, recent.toString());
        return;
    }

    RecentFiles theirs;
    theirs.restoreFrom (stored);
    recent.replayOn (theirs);
    store.setValue (settingsKeys::recentFiles, theirs.toString());
}

int TessivarWorkspace::numGroups() const
{
    const juce::ScopedLock guard (groupsLock);
    return groups.size();
}

Group::Ptr TessivarWorkspace::group (int index) const
{
    const juce::ScopedLock guard (groupsLock);
    return groups[index];
}

std::vector<Group::Ptr> TessivarWorkspace::allGroups() const
{
    const juce::ScopedLock guard (groupsLock);
    return { groups.begin(), groups.end() };
}

int TessivarWorkspace::indexOf (const Group* groupToFind) const
{
    const juce::ScopedLock guard (groupsLock);
    return groups.indexOf (groupToFind);
}

int TessivarWorkspace::selectedGroupIndex() const
{
    const juce::ScopedLock guard (selectionLock);
    return selectedIndex;
}

Group::Ptr TessivarWorkspace::selectedGroup() const
{
    const juce::ScopedLock guard (groupsLock);
    return groups[selectedGroupIndex()];
}

int TessivarWorkspace::indexOfFile (const juce::File& file) const
{
    const auto all = allGroups();
    const auto found =
        std::ranges::find_if (all, [&] (const Group::Ptr& open) { return open->file() == file; });
    return found == all.end() || file == juce::File() ? -1 : static_cast<int> (found - all.begin());
}

int TessivarWorkspace::addGroup (const Group::Ptr& groupToAdd)
{
    JUCE_ASSERT_MESSAGE_THREAD
    jassert (groupToAdd != nullptr);

    if (const auto index = indexOf (groupToAdd.get()); index >= 0)
        return index;

    groupToAdd->addChangeListener (this);
    auto index = 0;

    {
        const juce::ScopedLock guard (groupsLock);
        groups.add (groupToAdd.get());
        index = groups.size() - 1;
    }

    sendChangeMessage();
    return index;
}

void TessivarWorkspace::removeGroup (int index)
{
    JUCE_ASSERT_MESSAGE_THREAD
    // Keeps it until the locks are free: what a Group takes with it may take time.
    const auto removed = group (index);

    if (removed == nullptr)
        return;

    removed->removeChangeListener (this);

    {
        const juce::ScopedLock groupsGuard (groupsLock);
        const juce::ScopedLock selectionGuard (selectionLock);
        groups.remove (index);

        if (selectedIndex > index)
            --selectedIndex;

        selectedIndex = std::min (selectedIndex, groups.size() - 1);
    }

    sendChangeMessage();
}

void TessivarWorkspace::selectGroup (int index)
{
    JUCE_ASSERT_MESSAGE_THREAD

    {
        const juce::ScopedLock groupsGuard (groupsLock);
        const juce::ScopedLock selectionGuard (selectionLock);
        const auto wanted = juce::isPositiveAndBelow (index, groups.size()) ? index : -1;

        if (std::exchange (selectedIndex, wanted) == wanted)
            return;
    }

    sendChangeMessage();
}

void TessivarWorkspace::refreshAll()
{
    JUCE_ASSERT_MESSAGE_THREAD

    for (const auto& open : allGroups())
        open->update();

    sendChangeMessage();
}

juce::String TessivarWorkspace::storedPath (const char* key) const
{
    return store.getValue (key, userFolders.documents.getFullPathName());
}

juce::File TessivarWorkspace::exportDialogFolder() const
{
    return chosenFolders.exportFolder.value_or (juce::File (lastExportFolder()));
}

juce::File TessivarWorkspace::defaultDialogFolder() const
{
    if (const auto selected = selectedGroup(); selected != nullptr && selected->numTracks() > 0)
    {
        const auto folder = selected->track (0)->state().sourceInfo.file.getParentDirectory();

        if (folder.isDirectory())
            return folder;
    }

    return userFolders.documents;
}

void TessivarWorkspace::setFolderSettings (const FolderSettings& chosen)
{
    chosenFolders = chosen;
    chosenFolders.save (store);
}

TemporaryFolderChoice TessivarWorkspace::temporaryFolder() const
{
    return chooseTemporaryFolder (chosenFolders.temporaryFiles, userFolders, sharedTemporaryFolder());
}

std::vector<RecentFiles::MenuEntry> TessivarWorkspace::recentFilesMenu() const
{
    std::vector<juce::File> openFiles;

    for (const auto& open : allGroups())
        openFiles.push_back (open->file());

    return recent.menuEntries (openFiles);
}

} // namespace tessivar
