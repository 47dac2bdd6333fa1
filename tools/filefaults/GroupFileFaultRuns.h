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

/** Lets child processes save over a file in a loop, whole and by tails, and kills each at a random moment. */
KillCounts killSaves (const juce::File& folder, int numKills, juce::Random& random);

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
