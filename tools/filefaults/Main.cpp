#include "tools/filefaults/GroupFileFaultRuns.h"

#include <iostream>

namespace
{
using namespace tessivar;
using namespace tessivar::test;

/** Small group files of every kind. */
void writeSeeds (const juce::File& folder)
{
    const auto write = [&] (const char* name, const Bytes& bytes)
    { folder.getChildFile (name).replaceWithData (bytes.data(), bytes.size()); };

    folder.createDirectory();
    const auto file = folder.getChildFile ("two-saves.dls");
    auto group = saved (smallGroup (6), file);
    write ("one-save.dls", bytesOf (file));
    group.state.tracks[0].name = "renamed";
    group = saved (group.state, file, group.file);
    auto interrupted = bytesOf (file);
    interrupted.resize (interrupted.size() - 12);
    write ("interrupted-save.dls", interrupted);

    ForeignFile foreign;
    foreign.tracks.resize (2);
    foreign.tracks[0].metadata = { { text ("key"), text ("value") }, { text ("other"), {} } };
    foreign.tracks[1].isRendered = true;
    foreign.tracks[1].samples = numberedSamples (3, 7, 1);
    write ("foreign.dls", foreign.encode());
    foreign.magic = Bytes (8, 0);
    foreign.tracks[0].version = 1.0f;
    write ("foreign-without-mark.dls", foreign.encode());
    foreign.tracks.clear();
    foreign.magic = text ("RAVISSET");
    write ("foreign-empty.dls", foreign.encode());
}
} // namespace

/** The long runs of what the tests do a few times:

      tessivar_group_file_faults --kills 300
      tessivar_group_file_faults --disks 64

    and what the fuzzer starts from:

      tessivar_group_file_faults --seeds tests/fuzz/corpus/group_file

    The first starts itself to be killed:

      tessivar_group_file_faults --save FILE CALL
*/
int main (int argc, char* argv[])
{
    const juce::StringArray arguments (argv + 1, argc - 1);
    const auto numberBehind = [&] (const char* option)
    { return arguments.contains (option) ? arguments[arguments.indexOf (option) + 1].getIntValue() : 0; };

    if (arguments.size() == 3 && arguments[0] == "--save")
        return saveForEver (juce::File (arguments[1]), arguments[2].getIntValue());

    const WorkFolder folder;
    auto isClean = true;

    if (const auto kills = numberBehind ("--kills"); kills > 0)
    {
        const auto counts = killSaves (folder.file (""), kills);
        std::cout << "kills " << counts.kills << ", opened " << counts.opened << ", of these recovered "
                  << counts.recovered << ", lost " << counts.lost << ", temporary files left "
                  << counts.leftovers << "\n";
        isClean = counts.lost == 0 && counts.leftovers == 0;
    }

    if (const auto disks = numberBehind ("--disks"); disks > 0)
    {
        const auto counts = saveOnSmallDisks (folder.file (""), disks);
        std::cout << "small disks " << counts.disks << ", saves " << counts.saved << ", refusals "
                  << counts.refused << ", lost " << counts.lost << ", refusals without numbers "
                  << counts.unnamed << "\n";
        isClean = isClean && counts.lost == 0 && counts.unnamed == 0;
    }

    if (arguments.contains ("--seeds"))
        writeSeeds (juce::File::getCurrentWorkingDirectory().getChildFile (
            arguments[arguments.indexOf ("--seeds") + 1]));

    return isClean ? 0 : 1;
}
