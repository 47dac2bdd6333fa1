#include "app/FilesFromOutside.h"

#include "jobs/SortedInputs.h"

#include <utility>

namespace tessivar
{

namespace
{
std::vector<juce::File> filesOf (const juce::StringArray& paths)
{
    std::vector<juce::File> files;

    for (const auto& path : paths)
        if (juce::File::isAbsolutePath (path))
            files.emplace_back (path);

    return files;
}
} // namespace

void FilesFromOutside::later (std::function<void()> what)
{
    juce::MessageManager::callAsync (
        [what = std::move (what), self = juce::WeakReference<FilesFromOutside> (this)]
        {
            if (self != nullptr)
                what();
        });
}

void FilesFromOutside::open (const juce::StringArray& paths)
{
    if (! paths.isEmpty())
        take ({ paths, nullptr });
}

void FilesFromOutside::drop (const juce::StringArray& paths, const Group::Ptr& target)
{
    later ([this, arrival = Arrival{ paths, target }] { take (arrival); });
}

void FilesFromOutside::take (const Arrival& arrival)
{
    if (isBlocked())
    {
        waiting.push_back (arrival);
        return;
    }

    work.importInputs (filesOf (arrival.paths), arrival.target);
    onTaken();
}

void FilesFromOutside::openDemo()
{
    later (
        [this]
        {
            if (! isBlocked())
                work.importDemo();

            onTaken();
        });
}

juce::String FilesFromOutside::describe (const juce::StringArray& paths)
{
    if (paths != described)
    {
        described = paths;
        description = describeInputs (filesOf (paths));
    }

    return description;
}

void FilesFromOutside::tick()
{
    // What follows may open dialogs, and those run loops of their own.
    if (! isBlocked() && (! waiting.empty() || work.canFinishImports()))
        later ([this] { endWaiting(); });
}

void FilesFromOutside::endWaiting()
{
    if (isBlocked())
        return;

    for (const auto& arrival : std::exchange (waiting, {}))
        take (arrival);

    if (! isBlocked())
        work.finishImports();

    onTaken();
}

} // namespace tessivar
