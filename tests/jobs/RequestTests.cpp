#include "jobs/AnalysisRequest.h"
#include "jobs/ExportRequest.h"
#include "jobs/GroupDLSImporter.h"
#include "jobs/SortedInputs.h"
#include "jobs/UserPrompts.h"
#include "model/groupfile/GroupFileSaving.h"
#include "tests/jobs/JobFixtures.h"
#include "tests/support/ScriptedPrompts.h"

using namespace tessivar;
using namespace tessivar::test;

namespace
{
TrackState trackOf (DrumType type)
{
    TrackState track;
    track.name = drumTypeKey (type);
    track.sourceInfo.file = juce::File ("/takes/" + track.name + ".wav");
    track.sourceInfo.sampleRate = 44100.0;
    track.record.setDrumType (type);
    track.record.setLengthInSamples (16384);
    return track;
}

/** An analysis that is over at once. */
GroupAnalysis completedAnalysis (const Group::Ptr& group)
{
    GroupAnalysis result;
    result.analysis = { group->method(), 1, group->numTracks() };

    for (const auto& track : group->state().tracks)
        result.tracks.push_back ({ track.id, track.analysisInput(), nullptr, nullptr, {} });

    return result;
}

struct Desk
{
    Desk() { prompts.accepts = true; }

    const juce::ScopedJuceInitialiser_GUI messages;
    WorkFolder work;
    TessivarWorkspace workspace{ UserFolders::below (work.folder) };
    ImportWarnings pending;
    ScriptedPrompts prompts;
    int numRuns = 0;

    Outcome request (const Group::Ptr& group)
    {
        return requestAnalysis (group,
                                workspace,
                                pending,
                                prompts,
                                [this] (const Group::Ptr& g)
                                {
                                    ++numRuns;
                                    return completedAnalysis (g);
                                });
    }
};
} // namespace

TEST_CASE ("requestAnalysis", "[jobs][request]")
{
    Desk desk;
    auto& heard = desk.prompts.heard;
    const Group::Ptr group = new Group ("Take 3", { trackOf (DrumType::kick), trackOf (DrumType::other) });

    SECTION ("shows the tips once per user, whatever the answer")
    {
        desk.prompts.accepts = false;
        CHECK (desk.request (group).wasStopped());
        CHECK (heard == juce::StringArray{ "ask: Quick Tips|PROCEED|RETURN" });
        CHECK (desk.prompts.lastText
               == "To ensure the best possible analysis results:\n 1) Please make sure to choose the correct "
                  "drum type "
                  "for each track.\n 2) Please avoid including tracks consisting exclusively of leakage or "
                  "silence.\n "
                  "3) Keep in mind that different track combinations produce different results.\n\n Would "
                  "you like to "
                  "proceed with analysis, or change track settings?");
        CHECK (desk.numRuns == 0);

        heard.clear();
        CHECK (desk.request (group).isOk());
        CHECK (heard.isEmpty());
        CHECK (desk.request (group).end == Outcome::End::refused);
        CHECK (heard
               == juce::StringArray{ "warn: Group has not changed since the last time you analyzed it." });
        CHECK (desk.numRuns == 1);
    }

    desk.workspace.settings().setValue (settingsKeys::analysisTips, "x");

    SECTION ("warns of more than 16 active tracks, and of what waits, and goes on")
    {
        std::vector<TrackState> tracks (17, trackOf (DrumType::kick));
        auto excluded = trackOf (DrumType::kick);
        excluded.excluded = true;
        tracks.push_back (excluded);
        const Group::Ptr large = new Group ("Large", tracks);

        desk.workspace.suppressWarning (ImportWarnings::shortDuration);
        desk.pending.add ("a.wav", ImportWarnings::shortDuration);
        desk.pending.add ("b.wav", ImportWarnings::longDuration);
        desk.prompts.silences = true;
        CHECK (desk.request (large).isOk());
        CHECK (heard == juce::StringArray{ "warning 10", "warning 11" });
        CHECK (desk.pending.isEmpty());
        CHECK (desk.workspace.suppressedWarnings() == std::vector<int>{ 8, 10 }); // 11 can't be silenced

        heard.clear();
        large->removeTracks ({ large->track (0)->id() });
        CHECK (desk.request (large).isOk());
        CHECK (heard.isEmpty());
    }

    SECTION ("gives one refusal at most, by its order of precedence")
    {
        const auto refusalOf = [&] (std::vector<TrackState> tracks)
        {
            heard.clear();
            const Group::Ptr refused = new Group ("Refused", std::move (tracks));
            CHECK (desk.request (refused).end == Outcome::End::refused);
            REQUIRE (heard.size() == 1);
            CHECK_FALSE (refused->isAnalysed());
            return heard[0];
        };

        CHECK (refusalOf ({ trackOf (DrumType::hiHat), trackOf (DrumType::other) })
                   .startsWith ("warn: In order to analyze the HiHat track a Kick or Snare track"));
        CHECK (refusalOf ({ trackOf (DrumType::other), trackOf (DrumType::oh) })
               == "warn: Group has no close microphones to analyze.");
        CHECK (desk.request (nullptr).end == Outcome::End::refused);
    }

    SECTION ("tells a failure, keeps a stop to itself, and leaves the Group as it was")
    {
        for (const auto& ended : { Outcome::failed ("x"), Outcome::noRoom ("y"), Outcome::stopped() })
        {
            heard.clear();
            const auto outcome = requestAnalysis (group,
                                                  desk.workspace,
                                                  desk.pending,
                                                  desk.prompts,
                                                  [&] (const Group::Ptr&)
                                                  {
                                                      GroupAnalysis result;
                                                      result.outcome = ended;
                                                      return result;
                                                  });
            CHECK (outcome == ended);
            CHECK (heard
                   == (ended.wasStopped() ? juce::StringArray()
                                          : juce::StringArray{
                                              "warn: Analyze seems to have failed. Please try again. If the "
                                              "problem persists contact us." }));
            CHECK_FALSE (group->isAnalysed());
        }
    }
}

TEST_CASE ("Export checks", "[jobs][request]")
{
    Desk desk;
    auto& workspace = desk.workspace;
    const auto refusal = [&] (ExportScope scope, const Group* group, const Track* track)
    { return juce::String (checkExportable (scope, workspace, group, track).reason); };

    for (const auto scope : { ExportScope::track, ExportScope::group, ExportScope::allGroups })
        CHECK (refusal (scope, nullptr, nullptr) == "There are no groups to export.");

    const Group::Ptr group = new Group ("Take", { trackOf (DrumType::kick), trackOf (DrumType::other) });
    workspace.addGroup (group);
    CHECK (refusal (ExportScope::track, group.get(), nullptr) == "There are no tracks to export.");
    CHECK (refusal (ExportScope::track, group.get(), group->track (0).get())
           == "The selected group is not analyzed.");
    CHECK (refusal (ExportScope::group, group.get(), nullptr) == "The group is not analyzed.");
    CHECK (refusal (ExportScope::allGroups, group.get(), nullptr) == "The group is not analyzed.");

    const auto analysis = completedAnalysis (group);
    group->applyAnalysis (analysis.analysis, analysis.tracks);
    CHECK (refusal (ExportScope::track, group.get(), group->track (0).get())
           == "The selected track is not analyzed.");
    CHECK (refusal (ExportScope::track, group.get(), group->track (1).get())
               .isEmpty()); // passes through as it is
    CHECK (refusal (ExportScope::group, group.get(), nullptr).isEmpty());

    workspace.addGroup (new Group ("Other", {}));
    CHECK (refusal (ExportScope::allGroups, group.get(), nullptr) == "The group is not analyzed.");

    SECTION ("ask once before any file is replaced")
    {
        const auto there = desk.work.file ("Kick_Processed.wav");
        const std::vector<PlannedFile> files{ { desk.work.file ("new.wav") }, { there } };
        CHECK (confirmOverwriting (files, desk.prompts));
        CHECK (desk.prompts.heard.isEmpty());
        there.replaceWithText ("old");
        desk.prompts.accepts = false;
        CHECK_FALSE (confirmOverwriting (files, desk.prompts));
        CHECK (desk.prompts.heard == juce::StringArray{ "ask: Warning|Overwrite|Cancel" });
        CHECK (desk.prompts.lastText == "Do you want to overwrite previously exported files?");
    }
}

TEST_CASE ("sortInputs", "[jobs][import]")
{
    WorkFolder work;
    const auto take = work.file ("Take 3"), empty = work.file ("Empty");
    take.createDirectory();
    empty.createDirectory();

    for (const auto* name : { "T10.wav", "T9.WAV", "T9 2.wav", "notes.txt" })
        take.getChildFile (name).replaceWithText ("x");

    const auto sorted = sortInputs ({ work.file ("a.wav"),
                                      take,
                                      work.file ("old.dls"),
                                      work.file ("readme.txt"),
                                      work.file ("b.aif"),
                                      empty });
    REQUIRE (sorted.newGroups.size() == 2);
    CHECK (sorted.newGroups[0].name == work.folder.getFileName());
    CHECK (sorted.newGroups[0].files == std::vector<juce::File>{ work.file ("a.wav"), work.file ("b.aif") });
    CHECK (sorted.newGroups[1].name == "Take 3");
    CHECK (sorted.newGroups[1].files
           == std::vector<juce::File>{
               take.getChildFile ("T9.WAV"), take.getChildFile ("T9 2.wav"), take.getChildFile ("T10.wav") });
    CHECK (sorted.groupFiles == std::vector<juce::File>{ work.file ("old.dls") });

    CHECK (describeInputs ({ take }) == "3 audio files in 1 folder");
    CHECK (describeInputs ({ work.file ("a.wav"), take, work.file ("old.dls") })
           == "4 audio files, 3 of them in 1 folder, 1 group file");
    CHECK (describeInputs ({ empty, work.file ("readme.txt") }) == "No audio");

    // What a folder holds besides is told too, and each refusal names its file.
    REQUIRE (sorted.rejected.size() == 3);
    const std::array rejected{ take.getChildFile ("notes.txt"), work.file ("readme.txt"), empty };

    for (std::size_t i = 0; i < rejected.size(); ++i)
    {
        CHECK (sorted.rejected[i].file == rejected[i]);
        CHECK (sorted.rejected[i].reason.startsWith (rejected[i].getFullPathName() + ": "));
    }
}

TEST_CASE ("Tracks out of a group file are checked as audio files are", "[jobs][import]")
{
    WorkFolder work;
    const auto store = openStore (work.file ("store"));
    const auto track = [&] (const char* name, std::int64_t length, int bits)
    {
        auto made = trackOf (DrumType::kick);
        made.name = name;
        made.record.setLengthInSamples (length);
        made.sourceInfo.bitsPerSample = bits;
        made.source = storedTrack (*store, noise (length, 1));
        return made;
    };
    GroupState group;
    group.tracks = { track ("Kick", 16384, 24), track ("Blip", 16383, 24), track ("Snare", 20000, 16) };
    SaveRequest request;
    request.state = group;
    request.target = work.file ("take.dls");
    SavedGroup saved;
    REQUIRE (saveGroup (request, saved).isOk());

    ImportWarnings warnings;
    GroupDLSImporter importer;
    REQUIRE (importer.open (work.file ("take.dls"), warnings).wasOk());
    const auto imported = importer.import ({ 0, 1, 2 }, {}, warnings, *store);
    CHECK (imported.tracks.size() == 2);
    REQUIRE (imported.refused.size() == 1);
    CHECK (imported.refused[0].reason.contains ("Blip: 16383 samples"));
    using Names = juce::StringArray;
    CHECK (warnings.entries (ImportWarnings::shortDuration)
           == Names{ "Kick (0.37secs)", "Blip (0.37secs)", "Snare (0.45secs)" });
    CHECK (warnings.entries (ImportWarnings::tooShort) == Names{ "Blip" });
    CHECK (warnings.entries (ImportWarnings::shorterThanGroup) == Names{ "Kick" });
    CHECK (warnings.entries (ImportWarnings::differentBitDepths) == Names{ "Snare" });

    auto elsewhere = group;
    elsewhere.tracks[0].sourceInfo.sampleRate = 48000.0;
    CHECK (importer.import ({ 0 }, elsewhere, warnings, *store).tracks.empty());
    CHECK (warnings.entries (ImportWarnings::differentSampleRate) == Names{ "Kick" });
}
