#include "jobs/ExportSignals.h"
#include "jobs/ExportTracks.h"
#include "jobs/MonoFileWriter.h"
#include "model/SourcePath.h"
#include "tests/jobs/JobFixtures.h"
#include "tests/support/SystemPaths.h"

#include <vector>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("Export names and formats", "[jobs][export]")
{
    TrackState track;
    track.sourceInfo.file = juce::File ("/takes/Kick in.WAV");

    SECTION ("a name tells the channel and whether the track is processed")
    {
        CHECK (exportFileName (track, ".wav") == "Kick in.wav");
        track.rendered = std::make_shared<ChannelOfSamples> (nullptr, 0);
        track.record.setDrumType (DrumType::kick);
        CHECK (exportFileName (track, ".aif") == "Kick in_Processed.aif");
        track.sourceInfo.numChannels = 2;
        CHECK (exportFileName (track, ".wav") == "Kick in_L_Processed.wav");
        track.sourceInfo.channel = 1;
        CHECK (exportFileName (track, ".wav") == "Kick in_R_Processed.wav");
        track.excluded = true;
        CHECK (exportFileName (track, ".wav") == "Kick in_R.wav");
    }

    SECTION ("no two tracks share a name, nor does one exceed what a file system takes")
    {
        std::vector<TrackState> tracks (4);
        tracks[0].sourceInfo.file = juce::File ("/a/~kick.wav");
        tracks[1].sourceInfo.file = juce::File ("/b/~Kick.wav");
        tracks[2].sourceInfo.file = juce::File ("/c/~Kick.aiff");
        const auto longName = juce::String::repeatedString (juce::String::fromUTF8 ("\xc3\xb6"), 125);
        tracks[3].sourceInfo.file = juce::File ("/d/" + longName + ".wav");
        tracks[3].record.setDrumType (DrumType::kick);

        const auto files = planExport (
            tracks, { .folder = systemFile ("/out"), .extension = ".wav" }, PlannedFor::tracksOnceAnalysed);
        CHECK (files[0].file.getFullPathName() == systemPath ("/out/~kick.wav"));
        CHECK (files[0].note.isEmpty());
        CHECK (files[1].file.getFullPathName() == systemPath ("/out/~Kick_2.wav"));
        CHECK (files[1].note == "Numbered: another track has the name ~Kick.wav.");
        CHECK (files[2].file.getFullPathName() == systemPath ("/out/~Kick_3.wav"));
        CHECK (files[3].file.getFileName().getNumBytesAsUTF8() <= 255);
        CHECK (files[3].file.getFileName().endsWith (juce::String::fromUTF8 ("\xc3\xb6_Processed.wav")));
        CHECK (files[3].note.startsWith ("Name shortened"));
    }

    SECTION ("a track goes by its source's name, from another system too, or by its own, as far as files can")
    {
        std::vector<TrackState> tracks (5);
        tracks[0].name = "Snare / Top\n";
        tracks[1].name = "Kick";
        tracks[2].name = "../..";
        tracks[3].name = "Kick";
        tracks[3].sourceInfo.file = juce::File ("/takes/Kick in.WAV");
        tracks[4].name = "Kick";
        tracks[4].unknownProperties.set (sourcePathProperty, foreignPath ("/takes/Kick out.aiff"));
        juce::StringArray names;

        for (const auto& planned :
             planExport (tracks, { .folder = systemFile ("/out"), .extension = ".wav" }))
            names.add (planned.file.getRelativePathFrom (systemFile ("/out")));

        CHECK (
            names
            == juce::StringArray{ "Snare  Top.wav", "Kick.wav", "Track.wav", "Kick in.wav", "Kick out.wav" });
    }

    SECTION ("the extension chooses the type, the source and the type choose the depth")
    {
        CHECK (exportFileTypeFor (".AIF") == ExportFileType::aiff);
        CHECK (exportFileTypeFor ("aiff") == ExportFileType::aiff);
        CHECK (exportFileTypeFor (".flac") == ExportFileType::wav);

        struct Case
        {
            int bits;
            bool isFloat;
            int wavBits, aiffBits;
        };

        for (const auto& [bits, isFloat, wavBits, aiffBits] : { Case{ 8, false, 8, 8 },
                                                                Case{ 12, false, 16, 16 },
                                                                Case{ 16, false, 16, 16 },
                                                                Case{ 20, false, 24, 24 },
                                                                Case{ 24, false, 24, 24 },
                                                                Case{ 32, false, 32, 24 },
                                                                Case{ 32, true, 32, 24 },
                                                                Case{ 64, true, 32, 24 } })
        {
            INFO (bits << (isFloat ? " bit float" : " bit"));
            const auto wav = exportSampleFormatFor (bits, isFloat, ExportFileType::wav);
            const auto aiff = exportSampleFormatFor (bits, isFloat, ExportFileType::aiff);
            CHECK (wav.bitsPerSample == wavBits);
            CHECK (wav.isFloatingPoint == (wavBits == 32));
            CHECK (wav.note.isEmpty() == (wavBits == bits && wav.isFloatingPoint == isFloat));
            CHECK (aiff.bitsPerSample == aiffBits);
            CHECK_FALSE (aiff.isFloatingPoint);
            CHECK (aiff.note.isEmpty() == (aiffBits == bits));
        }
    }

    SECTION ("WAV becomes RF64 and AIFF is refused at 4 GB")
    {
        MonoFilePlan plan;
        plan.format = { 32, true, {} };
        plan.lengthInSamples = (1ll << 30) - 1;
        CHECK_FALSE (plan.needsRf64());
        plan.lengthInSamples += 1;
        CHECK (plan.needsRf64());
        CHECK (plan.check().wasOk());
        CHECK (plan.fileBytes() == (1ull << 32) + 104);

        plan.type = ExportFileType::aiff;
        plan.format = { 16, false, {} };
        CHECK (plan.check().wasOk());
        plan.lengthInSamples *= 2;
        CHECK (plan.check().getErrorMessage().contains (juce::String (plan.fileBytes())));
    }
}
