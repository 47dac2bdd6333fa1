#include "jobs/ImportGroup.h"

#include "jobs/AudioFolder.h"
#include "jobs/GroupTracks.h"
#include "jobs/ImportTracks.h"
#include "model/DiskNames.h"
#include "model/audiofile/AudioIntake.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
constexpr auto droppedAudioExtensions = "wav;aiff;aif;caf;flac;ogg";
constexpr auto groupFileExtension = "dls";

/** The share of the work that a file is, when nothing better is known. */
double weightOf (const juce::File& file)
{
    return static_cast<double> (std::max<juce::int64> (1, file.getSize()));
}
} // namespace

ImportedTracks importTracks (const std::vector<juce::File>& files,
                             const GroupState& group,
                             ImportWarnings& warnings,
                             TemporaryStore& store,
                             const WorkControl& control)
{
    ImportedTracks result;
    std::vector<IntakeTrack> batch;
    auto sampleRate = group.sampleRate();
    double total = 0.0, done = 0.0;

    for (const auto& file : files)
        total += weightOf (file);

    for (const auto& file : files)
    {
        auto ofFile = control;
        ofFile.setProgress = [&] (double fraction)
        { control.progress ((done + fraction * weightOf (file)) / total); };
        auto outcome = importFile (file, sampleRate, warnings, &store, ofFile);

        if (outcome.intake.cancelled || control.stopRequested())
        {
            result = {};
            result.stopped = true;
            return result;
        }

        if (outcome.intake.storageFailed)
        {
            const auto reason = outcome.intake.reason;
            result = {};
            result.storageError = reason;
            return result;
        }

        if (! outcome.intake.accepted())
            result.refused.push_back ({ file, outcome.intake.code, outcome.intake.reason });

        for (std::size_t i = 0; i < outcome.tracks.size(); ++i)
        {
            auto track = trackStateOf (outcome.tracks[i]);
            sampleRate = track.sampleRate;
            result.tracks.push_back (std::move (track));
            batch.push_back (outcome.intake.tracks[i]);
        }

        for (const auto& note : outcome.intake.notes)
            result.notes.addIfNotAlreadyThere (note);

        done += weightOf (file);
    }

    checkBatch (intakeTracksOf (group.tracks), batch, warnings);
    control.progress (1.0);
    return result;
}

namespace
{
ImportRefusal rejectionOf (const juce::File& file, const char* reason)
{
    return { file, {}, file.getFullPathName() + ": " + reason };
}

/** What lies beside the audio files of a folder, without what is hidden. */
void rejectOthers (const juce::File& folder,
                   const std::vector<juce::File>& audioFiles,
                   std::vector<ImportRefusal>& rejected)
{
    for (const auto& file :
         folder.findChildFiles (juce::File::findFiles | juce::File::ignoreHiddenFiles, false))
        if (std::find (audioFiles.begin(), audioFiles.end(), file) == audioFiles.end())
            rejected.push_back (rejectionOf (
                file, "of a folder only audio files are taken (wav, aiff, aif, caf, flac, ogg)"));
}
} // namespace

SortedInputs sortInputs (const std::vector<juce::File>& filesAndFolders)
{
    SortedInputs sorted;
    std::vector<NewGroupFiles> folders;
    NewGroupFiles loose;

    for (const auto& file : filesAndFolders)
    {
        if (file.isDirectory())
        {
            NewGroupFiles group{ readablePath (file.getFileName()), {} };

            if (const auto listed = listAudioFolder (file, group.files); listed.failed())
            {
                sorted.rejected.push_back ({ file, {}, listed.getErrorMessage() });
                continue;
            }

            rejectOthers (file, group.files, sorted.rejected);
            folders.push_back (std::move (group));
        }
        else if (file.hasFileExtension (groupFileExtension))
        {
            sorted.groupFiles.push_back (file);
        }
        else if (file.hasFileExtension (droppedAudioExtensions))
        {
            loose.files.push_back (file);
        }
        else
        {
            sorted.rejected.push_back (rejectionOf (
                file, "neither an audio file (wav, aiff, aif, caf, flac, ogg) nor a group file (dls)"));
        }
    }

    if (! loose.files.empty())
    {
        loose.name = readablePath (loose.files.front().getParentDirectory().getFileName());
        sorted.newGroups.push_back (std::move (loose));
    }

    for (auto& group : folders)
        sorted.newGroups.push_back (std::move (group));

    return sorted;
}

} // namespace tessivar
