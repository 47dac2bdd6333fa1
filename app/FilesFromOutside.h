#pragma once

#include "app/GroupWork.h"

#include <functional>
#include <vector>

namespace tessivar
{

/** Files that come to the window from outside: dropped on it, named on the command line, or handed over by a
    second start of the program. While a job or a dialog is in front, they wait for its end. Message thread.
*/
class FilesFromOutside
{
public:
    explicit FilesFromOutside (GroupWork& workToUse) : work (workToUse) {}

    /** Whether something is in front of everything. */
    std::function<bool()> isBlocked = [] { return false; };

    /** Groups have been opened, or files are on their way into them. */
    std::function<void()> onTaken = [] {};

    void open (const juce::StringArray& paths);

    /** Into this Group, null for a new one, once the drag that is under way has ended. */
    void drop (const juce::StringArray& paths, const Group::Ptr& target);
    void openDemo();

    /** "12 audio files in 2 folders" */
    [[nodiscard]] juce::String describe (const juce::StringArray& paths);

    /** Called a few times a second: takes what waited, and ends imports. */
    void tick();

private:
    struct Arrival
    {
        juce::StringArray paths;
        Group::Ptr target;
    };

    void later (std::function<void()> what);
    void take (const Arrival& arrival);
    void endWaiting();

    GroupWork& work;
    std::vector<Arrival> waiting;
    juce::StringArray described; // a drag asks again and again
    juce::String description;

    JUCE_DECLARE_WEAK_REFERENCEABLE (FilesFromOutside)
};

} // namespace tessivar
