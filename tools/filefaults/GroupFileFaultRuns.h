#pragma once

#include "tests/model/GroupFileBuilders.h"

/** Saves that are cut off from outside, as many as one likes. */
namespace tessivar::test
{

/** What became of a file whose saves were killed. */
struct KillCounts
{
    int kills = 0, opened = 0, recovered = 0;
    int lost = 0;      // times the file was neither the old nor the new
    int leftovers = 0; // temporary files after the next save
};

/** Starts processes that save over a file in a loop, whole and by tails, and kills each: every other one at a
    random moment, those between before one of the calls that a save consists of. They are
    tessivar_group_file_faults, which lies beside the running program.
*/
KillCounts killSaves (const juce::File& folder, int numKills);

/** What such a process does: it saves until it is killed or a save fails, says that it begins, and says when
    it waits before a call, counted from 1; 0: never.
*/
int saveForEver (const juce::File& file, int callToWaitBefore);

struct FullDiskCounts
{
    int disks = 0; // 0: mounting isn't permitted
    int saved = 0, refused = 0;
    int lost = 0;    // times the old file was not what it was, or a new one not whole
    int unnamed = 0; // refusals that didn't name both numbers of bytes
};

/** Saves over a file, and to a new one, on small disks of many sizes. */
FullDiskCounts saveOnSmallDisks (const juce::File& folder, int numDisks);

} // namespace tessivar::test
