#include "tools/filefaults/GroupFileFaultRuns.h"

#include "platform/Process.h"
#include "tools/filefaults/FileFaults.h"

#include <iostream>
#include <utility>

namespace tessivar::test
{

namespace
{
/** One of the two Groups that saves alternate between. They differ in name and knobs. */
GroupState versionOf (GroupState group, bool isSecond)
{
    group.name = isSecond ? "second" : "first";
    group.tracks[0].record.setKnobs (KnobSetting::a, { isSecond ? 1.0f : 4.0f, 0.5f });
    return group;
}

GroupState groupToSave()
{
    GroupState group;

    while (group.tracks.size() < 24)
        group.tracks.push_back (trackWith ("Track", DrumType::snare, 500, group.tracks.size() % 2 == 0, 1));

    return group;
}

bool isEither (const GroupState& found, const GroupState& original)
{
    return isSameGroup (found, versionOf (original, true))
           || isSameGroup (found, versionOf (original, false));
}

int entriesOf (const juce::File& folder)
{
    return folder.getNumberOfChildFiles (juce::File::findFilesAndDirectories);
}

/** With what was opened closed when it is over: until then it may keep the old file. */
bool savesAgain (LoadedGroup found, const juce::File& file)
{
    auto request = requestFor (found.state, file, found.file);
    request.compact = true;
    SavedGroup again;
    return saveGroup (request, again).isOk();
}

constexpr auto begins = '.', waits = ':';

/** A process that saves over a file. */
class Saver
{
public:
    Saver (const juce::File& file, int callToWaitBefore)
    {
        const auto self = programFile();
        const auto program =
            self.getSiblingFile ("tessivar_group_file_faults" + self.getFileExtension()).getFullPathName();
        isRunning =
            process.start ({ program, "--save", file.getFullPathName(), juce::String (callToWaitBefore) },
                           juce::ChildProcess::wantStdOut);
    }

    /** Waits until the process says something; false when that is something else. */
    bool says (char what)
    {
        char found = 0;
        return isRunning && process.readProcessOutput (&found, 1) == 1 && found == what;
    }

    /** Ends it; false when it has ended by itself. */
    bool kill()
    {
        constexpr auto waitMs = 10000;
        return process.isRunning() && process.kill() && process.waitForProcessToFinish (waitMs);
    }

private:
    juce::ChildProcess process;
    bool isRunning = false;
};
} // namespace

int saveForEver (const juce::File& file, int callToWaitBefore)
{
    FaultyCalls calls (callToWaitBefore, SystemError::Kind::failed);
    calls.beforeFault = []
    {
        std::cout << waits << std::flush;
        juce::Thread::sleep (60000);
    };
    LoadedGroup group;
    std::cout << begins << std::flush;

    for (auto count = 0;; ++count)
    {
        if (group.file == nullptr && openGroupFile (file, group).failed())
            return 1;

        auto request = requestFor (versionOf (group.state, count % 2 == 0), file, group.file);
        request.compact = count % 3 == 0;
        request.calls = &calls;
        SavedGroup result;

        if (! saveGroup (request, result).isOk())
            return 2;

        group.state = result.state;
        group.file = result.file;
    }
}

KillCounts killSaves (const juce::File& folder, int numKills)
{
    constexpr auto numCalls = 34, longestMs = 40; // a whole save and two that append
    auto& random = juce::Random::getSystemRandom();
    const auto file = folder.getChildFile ("killed.dls");
    const auto original = groupToSave();
    KillCounts counts;
    saved (versionOf (original, false), file);

    for (; counts.kills < numKills; ++counts.kills)
    {
        const auto call = counts.kills % 2 == 0 ? 0 : 1 + counts.kills / 2 % numCalls;
        Saver saver (file, call);
        auto isSaving = saver.says (begins);

        if (call > 0)
            isSaving = isSaving && saver.says (waits);
        else
            juce::Thread::sleep (random.nextInt (longestMs));

        LoadedGroup found;

        if (! saver.kill() || ! isSaving || openGroupFile (file, found).failed() || found.damaged
            || ! isEither (found.state, original))
        {
            ++counts.lost;
            continue;
        }

        ++counts.opened;
        counts.recovered += found.recovered ? 1 : 0;

        const auto isSaved = savesAgain (std::move (found), file);
        counts.leftovers += isSaved && entriesOf (folder) == 1 ? 0 : 1;
    }

    return counts;
}

FullDiskCounts saveOnSmallDisks (const juce::File& folder, int numDisks)
{
    const auto old = versionOf (groupToSave(), false);
    auto larger = versionOf (groupToSave(), true);
    larger.tracks[0] = trackWith ("Kick", DrumType::kick, 20000, true, 3);
    FullDiskCounts counts;

    for (auto disk = 0; disk < numDisks; ++disk)
    {
        const SmallFileSystem small (folder.getChildFile ("disk"), 4 + disk * 32);

        if (! small.isMounted)
            return counts;

        ++counts.disks;
        const auto file = small.folder.getChildFile ("take.dls");
        auto request = requestFor (old, file);
        request.spareBytes = 0;
        SavedGroup first, second;
        auto result = saveGroup (request, first);
        const auto hasOld = result.isOk();
        const auto before = bytesOf (file);

        if (hasOld)
        {
            ++counts.saved;
            request = requestFor (larger, file, first.file);
            request.spareBytes = 0;
            request.savingDiskSpace = disk % 2 == 0;
            result = saveGroup (request, second);
            counts.saved += result.isOk() ? 1 : 0;
        }

        LoadedGroup found;
        const auto opening = openGroupFile (file, found);
        const auto isWhole = opening.wasOk() && ! found.damaged && ! found.recovered;

        if (result.isOk())
        {
            counts.lost += isWhole && isSameGroup (found.state, larger) ? 0 : 1;
            continue;
        }

        ++counts.refused;
        const juce::String text (result.reason);
        counts.unnamed += text.contains ("bytes needed") && text.contains ("bytes free") ? 0 : 1;
        const auto oldIsThere = hasOld ? isWhole && bytesOf (file) == before : ! file.exists();
        counts.lost += oldIsThere && entriesOf (small.folder) == (hasOld ? 1 : 0) ? 0 : 1;
    }

    return counts;
}

} // namespace tessivar::test
