#include "model/recovery/GroupAutosave.h"

#include <new>
#include <utility>

namespace tessivar
{

namespace
{
std::vector<const void*> renderingsOf (const Group& group)
{
    std::vector<const void*> renderings;

    for (int i = 0; i < group.numTracks(); ++i)
        if (const auto* const rendered = group.track (i)->state().rendered.get())
            renderings.push_back (rendered);

    return renderings;
}
} // namespace

GroupAutosave::GroupAutosave (TessivarWorkspace& workspaceToWatch,
                              std::shared_ptr<RecoverySession> sessionToUse)
    : workspace (workspaceToWatch), session (std::move (sessionToUse))
{
}

GroupAutosave::~GroupAutosave()
{
    flush();
}

void GroupAutosave::tick (std::int64_t now)
{
    JUCE_ASSERT_MESSAGE_THREAD
    collectFailures (now);

    for (const auto& group : workspace.allGroups())
        look (group, now);
}

void GroupAutosave::look (const Group::Ptr& group, std::int64_t now)
{
    auto& watched = watchedGroups[group->id()];

    // A new Group without tracks holds nothing yet; its files may be on their way.
    const auto isNothing = group->numTracks() == 0 && group->file() == juce::File();

    if (isNothing || ! group->hasUnsavedChanges())
    {
        removeEntry (group->id(), watched);
        watched.renderings = renderingsOf (*group);
        return;
    }

    if (watched.writtenRevision == group->revision() || now < watched.notBefore)
        return;

    if (! watched.changedSince)
        watched.changedSince = now;

    const auto isAnalysed = group->isAnalysed() && renderingsOf (*group) != watched.renderings;

    if (isAnalysed || now - *watched.changedSince >= changeDelay)
        write (*group, watched);
}

void GroupAutosave::writeNow (const Group::Ptr& group)
{
    JUCE_ASSERT_MESSAGE_THREAD
    auto& watched = watchedGroups[group->id()];

    if (group->hasUnsavedChanges() && watched.writtenRevision != group->revision())
        write (*group, watched);
}

void GroupAutosave::write (const Group& group, Watched& watched)
{
    auto renderings = renderingsOf (group);

    // The next write after a failure has to delete the old entry if this one can't.
    const auto old = watched.oldEntry;

    writer.addJob (
        [this, old, id = group.id(), state = group.state(), file = group.file()]
        {
            auto written = juce::Result::ok();

            try
            {
                written = session->write (id, RecoveryEntry::of (state, file, probes));
            }
            catch (const std::bad_alloc&)
            {
                written = juce::Result::fail ("memory ran out");
            }

            if (written.wasOk() && old != nullptr)
            {
                juce::ignoreUnused (deleteRecoveryEntry (old->file));
                old->lock.reset();
            }

            report (id, written);
        });

    // The job holds the state by now: nothing that is unwritten counts as written.
    watched.writtenRevision = group.revision();
    watched.changedSince.reset();
    watched.renderings = std::move (renderings);
    watched.mayHaveEntry = true;
}

void GroupAutosave::removeEntry (std::uint32_t groupId, Watched& watched)
{
    if (watched.mayHaveEntry || watched.oldEntry != nullptr)
        writer.addJob (
            [this, groupId, old = watched.oldEntry]
            {
                auto removed = session->remove (groupId);

                if (old != nullptr)
                {
                    if (const auto oldRemoved = deleteRecoveryEntry (old->file); oldRemoved.failed())
                        removed = oldRemoved;

                    old->lock.reset();
                }

                report (groupId, removed);
            });

    watched = {};
}

void GroupAutosave::discard (const Group::Ptr& group)
{
    JUCE_ASSERT_MESSAGE_THREAD
    removeEntry (group->id(), watchedGroups[group->id()]);
    watchedGroups.erase (group->id());
}

void GroupAutosave::takeOver (const RecoveredGroup& recovered)
{
    JUCE_ASSERT_MESSAGE_THREAD
    watchedGroups[recovered.group->id()].oldEntry =
        std::make_shared<OldEntry> (OldEntry{ recovered.entryFile, recovered.lock });
}

void GroupAutosave::flush()
{
    juce::WaitableEvent done;
    writer.addJob ([&] { done.signal(); });
    done.wait();
}

void GroupAutosave::report (std::uint32_t groupId, const juce::Result& result)
{
    const std::lock_guard guard (failuresLock);

    if (result.failed())
        failures.push_back ({ groupId, result.getErrorMessage() });
    else
        anySuccess = true;
}

void GroupAutosave::collectFailures (std::int64_t now)
{
    std::vector<Failure> collected;
    auto worksAgain = false;

    {
        const std::lock_guard guard (failuresLock);
        collected.swap (failures);
        worksAgain = std::exchange (anySuccess, false) && collected.empty();
    }

    if (worksAgain)
        isFailureReported = false;

    for (const auto& failure : collected)
    {
        if (const auto found = watchedGroups.find (failure.groupId); found != watchedGroups.end())
        {
            found->second.writtenRevision.reset();
            found->second.mayHaveEntry = true;
            found->second.notBefore = now + retryDelay;
        }

        // Once: on a full disk each reason has other numbers in it.
        if (! std::exchange (isFailureReported, true) && onFailure != nullptr)
            onFailure (failure.reason);
    }
}

} // namespace tessivar
