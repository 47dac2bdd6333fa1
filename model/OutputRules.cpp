#include "model/OutputRules.h"

#include "model/TemporaryStore.h"

#include <algorithm>

namespace tessivar
{

namespace
{
/** Where a file is made: a link that leads to nothing yet stands for what it names. */
juce::File endOfLinks (juce::File file)
{
    constexpr int longestChain = 40; // as for the system

    for (int i = 0; i < longestChain && file.isSymbolicLink(); ++i)
        file = file.getLinkedTarget();

    return file;
}

bool isOneName (const juce::String& a, const juce::String& b)
{
    return juce::File::areFileNamesCaseSensitive() ? a == b : a.equalsIgnoreCase (b);
}

/** Whether what is written to one would be written to the other, though they may not exist yet. */
bool leadsToOneFile (const juce::File& a, const juce::File& b)
{
    if (a == b || isSameFile (a, b))
        return true;

    const auto endOfA = endOfLinks (a), endOfB = endOfLinks (b);
    return endOfA == endOfB
           || (isOneName (endOfA.getFileName(), endOfB.getFileName())
               && isSameFile (endOfA.getParentDirectory(), endOfB.getParentDirectory()));
}
} // namespace

juce::String reasonOf (OutputRefusal refusal)
{
    switch (refusal)
    {
        case OutputRefusal::isSource:
            return "this is a source file, which is never replaced";
        case OutputRefusal::isGroupInUse:
            return "this is a group file in use, which is never replaced by anything else";
        case OutputRefusal::isTaken:
            return "two results would be written to this file";
        case OutputRefusal::exists:
            return "the file exists; --overwrite replaces it";
        case OutputRefusal::none:
            break;
    }

    return {};
}

void OutputRules::Protected::add (const juce::File& file)
{
    if (file == juce::File())
        return;

    paths.insert (file);

    if (const auto status = statusOf (file))
        ids.insert (status->id);
}

bool OutputRules::Protected::contains (const juce::File& file) const
{
    const auto status = statusOf (file);
    return status && (ids.contains (status->id) || paths.contains (endOfLinks (file)));
}

void OutputRules::protectSamples (const TrackSamples* samples, const juce::File& ownFile)
{
    if (samples == nullptr)
        return;

    const auto file = samples->location().file;

    if (! TemporaryStore::isStoreFile (file) && ! leadsToOneFile (file, ownFile))
        protectGroupFile (file);
}

void OutputRules::protect (const GroupState& group, const juce::File& ownFile)
{
    for (const auto& track : group.tracks)
    {
        protectSource (track.sourceInfo.file);

        protectSamples (track.source.get(), ownFile);
        protectSamples (track.rendered.get(), ownFile);
    }
}

OutputRefusal OutputRules::claim (const juce::File& target, bool mayReplace, const juce::File& ownFile)
{
    if (sources.contains (target))
        return OutputRefusal::isSource;

    if (groupFiles.contains (target) && ! leadsToOneFile (target, ownFile))
        return OutputRefusal::isGroupInUse;

    if (std::ranges::any_of (taken, [&] (const juce::File& other) { return leadsToOneFile (other, target); }))
        return OutputRefusal::isTaken;

    if (! mayReplace && target.existsAsFile())
        return OutputRefusal::exists;

    taken.push_back (target);
    return OutputRefusal::none;
}

juce::Result OutputRules::claimFile (const juce::File& target, bool mayReplace, const juce::File& ownFile)
{
    const auto refusal = claim (target, mayReplace, ownFile);
    return refusal == OutputRefusal::none
               ? juce::Result::ok()
               : juce::Result::fail (target.getFullPathName() + ": " + reasonOf (refusal));
}

} // namespace tessivar
