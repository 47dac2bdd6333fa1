#include "tools/filefaults/GroupFileFaultRuns.h"

#include "tests/support/ForkedProcess.h"
#include "tools/filefaults/FileFaults.h"

#include <chrono>
#include <optional>
#include <thread>

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

/** Saves until it is killed, or a save fails. */
int saveForEver (const juce::File& file)
{
    LoadedGroup group;

    for (auto count = 0;; ++count)
    {
        if (group.file == nullptr && openGroupFile (file, group).failed())
            return 1;

        auto request = requestFor (versionOf (group.state, count % 2 == 0), file, group.file);
        request.compact = count % 3 == 0;
        SavedGroup result;

        if (! saveGroup (request, result).isOk())
            return 2;

        group.state = result.state;
        group.file = result.file;
    }
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
} // namespace

KillCounts killSaves (const juce::File& folder, int numKills, juce::Random& random)
{
    const auto file = folder.getChildFile ("killed.dls");
    const auto original = groupToSave();
    KillCounts counts;
    saved (versionOf (original, false), file);

    for (; counts.kills < numKills; ++counts.kills)
    {
        ForkedProcess child ([&] { return saveForEver (file); });
        std::this_thread::sleep_for (std::chrono::microseconds (random.nextInt (40000)));
        LoadedGroup found;

        if (! child.kill() || openGroupFile (file, found).failed() || found.damaged
            || ! isEither (found.state, original))
        {
            ++counts.lost;
            continue;
        }

        ++counts.opened;
        counts.recovered += found.recovered ? 1 : 0;
        auto request = requestFor (found.state, file, found.file);
        request.compact = true;
        SavedGroup again;

        if (! saveGroup (request, again).isOk() || entriesOf (folder) != 1)
            ++counts.leftovers;
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
