#include "app/BackgroundImport.h"

#include "app/JobRunner.h"
#include "model/Abbreviations.h"
#include "platform/DiskNames.h"
#include "terms/WorkControl.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace tessivar
{

/** All that was started together; gone, and reported, with the last of its Groups. */
struct BackgroundImport::Drop
{
    std::shared_ptr<TemporaryStore> store;
    int numThreads = 1;
    OnEnd onEnd;
    std::unique_ptr<Report> report = std::make_unique<Report>();

    ~Drop()
    {
        if (onEnd)
            onEnd (std::move (report));
    }
};

/** The files of one Group. */
struct BackgroundImport::Batch
{
    struct Row
    {
        File file;
        std::atomic<float> fraction{ 0.0f };
        std::atomic<bool> isRefused{ false };
    };

    Batch (GroupFiles whatToRead, std::shared_ptr<Drop> whole)
        : wanted (std::move (whatToRead)), drop (std::move (whole)), rows (wanted.files.size())
    {
        static std::uint32_t lastId = 0;

        for (std::size_t i = 0; i < rows.size(); ++i)
        {
            const auto& file = wanted.files[i];
            const auto guess = classifyTrackFile (file.getFullPathName());
            auto& row = rows[i].file;
            row = { ++lastId, readablePath (file.getFileNameWithoutExtension()), guess.drumType };

            if (const auto given = wanted.types.find (row.name); given != wanted.types.end())
                row.type = given->second;
            else
                row.typeUnknown = ! guess.matched;
        }
    }

    /** @param changes  of what is told of the files */
    void read (const GroupState& state, std::atomic<std::uint32_t>& changes)
    {
        failure = guarded (
                      [&]
                      {
                          imported =
                              importTracks (wanted.files,
                                            state,
                                            warnings,
                                            *drop->store,
                                            drop->numThreads,
                                            { [this] { return isStopped.load(); }, {} },
                                            [&] (std::size_t index, double fraction, bool isRefused)
                                            {
                                                rows[index].fraction = static_cast<float> (fraction);

                                                if (isRefused && ! rows[index].isRefused.exchange (true))
                                                    ++changes;
                                            });
                      })
                      .reason;
    }

    const GroupFiles wanted;
    const std::shared_ptr<Drop> drop;
    std::vector<Row> rows;
    std::atomic<bool> isStopped{ false };

    // Belongs to the thread while it reads.
    ImportWarnings warnings;
    ImportedTracks imported;
    juce::String failure;
};

BackgroundImport::BackgroundImport() = default;

BackgroundImport::~BackgroundImport()
{
    for (const auto& batch : batches)
    {
        batch->isStopped = true;
        batch->drop->onEnd = nullptr;
    }

    if (thread.joinable())
        thread.join();

    cancelPendingUpdate();
}

void BackgroundImport::start (std::vector<GroupFiles> groups,
                              std::shared_ptr<TemporaryStore> store,
                              int numThreads,
                              OnEnd onEnd)
{
    const auto drop = std::make_shared<Drop>();
    drop->store = std::move (store);
    drop->numThreads = numThreads;
    drop->onEnd = std::move (onEnd);

    for (auto& group : groups)
        batches.push_back (std::make_unique<Batch> (std::move (group), drop));

    ++changes;
    readNext();
}

void BackgroundImport::readNext()
{
    if (thread.joinable() || batches.empty())
        return;

    // What the Group is by now: files of an earlier batch may have decided on its rate.
    auto& batch = *batches.front();
    const auto state = batch.wanted.group->state();
    juce::Logger::writeToLog ("Importing data: " + juce::String (batch.rows.size()) + " files into "
                              + state.name);

    try
    {
        thread = std::thread (
            [this, &batch, state]
            {
                batch.read (state, changes);
                triggerAsyncUpdate();
            });
    }
    catch (const std::system_error& error)
    {
        batch.failure = error.what();
        triggerAsyncUpdate();
    }
}

void BackgroundImport::handleAsyncUpdate()
{
    if (thread.joinable())
        thread.join();

    const auto batch = std::move (batches.front());
    batches.pop_front();
    const auto group = batch->wanted.group;
    finish (*batch);
    ++changes;

    if (! isReading (*group) && onGroupEnd)
        onGroupEnd (group);

    readNext();
}

void BackgroundImport::finish (Batch& batch)
{
    const auto isStopped = batch.isStopped || batch.imported.outcome.wasStopped();
    juce::Logger::writeToLog ("Importing data: " + juce::String (isStopped ? "stopped" : "over"));

    if (isStopped)
        return;

    for (const auto& refused : batch.imported.refused)
        juce::Logger::writeToLog ("Refused " + refused.file.getFullPathName() + ": " + refused.reason);

    auto& report = *batch.drop->report;

    if (batch.failure.isEmpty() && batch.imported.outcome.isOk())
    {
        for (auto& track : batch.imported.tracks)
            if (const auto given = batch.wanted.types.find (track.name); given != batch.wanted.types.end())
            {
                track.record.setDrumType (given->second);
                track.typeUnknown = false;
            }

        if (onNewTracks)
            onNewTracks (batch.imported.tracks);

        addTracks (std::move (batch.imported.tracks), *batch.wanted.group, batch.warnings);
    }
    else
        report.failure =
            batch.failure.isNotEmpty() ? batch.failure : juce::String (batch.imported.outcome.reason);

    report.warnings.add (batch.warnings);
    report.notes.addArray (batch.imported.notes);
}

void BackgroundImport::addTracks (std::vector<TrackState> tracks, Group& group, ImportWarnings& warnings)
{
    if (tracks.empty())
        return;

    if (const auto rate = group.sampleRate(); rate <= 0.0 || rate == tracks.front().sampleRate())
        group.addTracks (std::move (tracks));
    else
        for (const auto& track : tracks)
            warnings.add (track.name, ImportWarnings::differentSampleRate);
}

void BackgroundImport::stop (Group::Ptr group)
{
    auto* const atWork = batches.empty() ? nullptr : batches.front().get();

    for (const auto& batch : batches)
        if (batch->wanted.group == group)
            batch->isStopped = true;

    // The thread has the first one and gives it back; one that has not begun is gone at once.
    std::erase_if (batches, [&] (const auto& batch) { return batch->isStopped && batch.get() != atWork; });
    ++changes;

    if (onGroupEnd && (atWork == nullptr || atWork->wanted.group != group))
        onGroupEnd (group);
}

void BackgroundImport::stopAll()
{
    std::vector<Group::Ptr> groups;

    for (const auto& batch : batches)
        groups.push_back (batch->wanted.group);

    for (const auto& group : groups)
        stop (group);
}

bool BackgroundImport::isReading() const
{
    return std::any_of (
        batches.begin(), batches.end(), [] (const auto& batch) { return ! batch->isStopped.load(); });
}

bool BackgroundImport::isReading (const Group& group) const
{
    return std::any_of (batches.begin(),
                        batches.end(),
                        [&] (const auto& batch)
                        { return batch->wanted.group.get() == &group && ! batch->isStopped.load(); });
}

std::vector<BackgroundImport::File> BackgroundImport::filesOf (const Group& group) const
{
    std::vector<File> files;

    for (const auto& batch : batches)
        if (batch->wanted.group.get() == &group && ! batch->isStopped)
            for (const auto& row : batch->rows)
                if (! row.isRefused)
                {
                    files.push_back (row.file);
                    files.back().fraction = row.fraction;
                }

    return files;
}

} // namespace tessivar
