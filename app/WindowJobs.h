#pragma once

#include "app/JobRunner.h"
#include "jobs/AnalyseGroup.h"
#include "jobs/ExportRequest.h"

#include <vector>

namespace tessivar
{

/** The analysis of one Group, as it was when the job was made. */
class TessivarProcess final : public WindowJob
{
public:
    TessivarProcess (Group::Ptr groupToAnalyze, AnalysisOptions optionsToUse, TemporaryStore& storeToFill)
        : group (std::move (groupToAnalyze)), state (group->state()), options (std::move (optionsToUse)),
          store (storeToFill)
    {
    }

    [[nodiscard]] juce::String title() const override { return "Analyzing " + state.name; }
    [[nodiscard]] std::vector<ProgressStage> stages() const override;
    void run (const WorkControl& control) override { result = analyseGroup (state, options, store, control); }

    GroupAnalysis result;

private:
    const Group::Ptr group;
    const GroupState state;
    const AnalysisOptions options;
    TemporaryStore& store;
};

/** Writes tracks to as many files; its report tells how each went. */
class ExportJob : public WindowJob
{
public:
    ExportJob (const std::vector<TrackState>& tracksToWrite,
               const std::vector<PlannedFile>& filesToMake,
               ExportOptions optionsToUse)
        : tracks (tracksToWrite), files (filesToMake), options (std::move (optionsToUse))
    {
    }

    ExportReport report;

protected:
    const std::vector<TrackState>& tracks;
    const std::vector<PlannedFile>& files;
    const ExportOptions options;
};

/** One track, to a file that the user named. */
class ExportTrackThread final : public ExportJob
{
public:
    using ExportJob::ExportJob;

    [[nodiscard]] juce::String title() const override
    {
        return "Exporting Track to folder " + options.folder.getFullPathName();
    }

    void run (const WorkControl& control) override
    {
        report = exportTrackTo (files.front().file, tracks.front(), options, control);
    }
};

/** All tracks of one Group or of several, to a folder. */
class ExportGroupThread final : public ExportJob
{
public:
    using ExportJob::ExportJob;

    [[nodiscard]] juce::String title() const override
    {
        return "Exporting Group to folder " + options.folder.getFullPathName();
    }

    void run (const WorkControl& control) override
    {
        report = exportTracks (tracks, files, options, control);
    }
};

} // namespace tessivar
