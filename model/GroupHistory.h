#pragma once

#include <juce_core/juce_core.h>

#include <memory>
#include <vector>

namespace tessivar
{

struct GroupStep;

/** What a Group can undo and redo. A step that moved tracks between two Groups stands in the history of both:
    undone from either, it is undone in both, whatever was done to the other one since.
*/
class GroupHistory
{
public:
    [[nodiscard]] bool canUndo() const { return ! done.empty(); }
    [[nodiscard]] bool canRedo() const { return ! undone.empty(); }

    /** The name of the next step, "Rename Group"; empty when there is none. */
    [[nodiscard]] juce::String undoName() const;
    [[nodiscard]] juce::String redoName() const;

    void undo();
    void redo();
    void clear();

private:
    friend class Group;
    friend struct GroupStep;

    /** Notes a step that was just made; what could be redone no longer can. */
    void add (std::shared_ptr<GroupStep> step);

    static constexpr std::size_t longest = 300; // steps

    std::vector<std::shared_ptr<GroupStep>> done, undone; // the next one last
    bool lastStepIsOpen = false;                          // what continues it may still become part of it
};

} // namespace tessivar
