#include "cli/Commands.h"
#include "cli/ProcessReport.h"
#include "model/Abbreviations.h"
#include "tests/cli/TestAudio.h"
#include "tools/commanddriver/ProgramRunner.h"

#include <catch2/catch.hpp>
#include <nlohmann/json.hpp>

#include <sstream>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
using Json = nlohmann::ordered_json;

ProcessRequest someRequest()
{
    ProcessRequest request;
    request.outFolder = juce::File ("/out");
    return request;
}

/** A report with something in every list. */
ProcessReport fullReport()
{
    ProcessReport report;
    report.group.tracks.resize (1);
    auto& state = report.group.tracks.front();
    state.sourceInfo.sampleRate = 44100.0;
    state.sourceInfo.bitsPerSample = 24;
    state.record.setLengthInSamples (44100);
    state.record.setDrumType (DrumType::snare);
    ReportedTrack track;
    track.name = juce::String::fromUTF8 ("Sn\xc3\xa4re \"1\"\n");
    track.typeOrigin = TypeOrigin::given;
    track.outputFile = juce::File ("/out/Snare_Processed.wav");
    track.output = TrackExport{};
    track.output->outcome = Outcome::ok();
    track.output->removedDb = -3.0;
    track.output->removedPartDb = -6.0;
    report.tracks.push_back (track);
    report.refused.push_back ({ "bad.wav", 3, "bad.wav: why" });
    report.warnings.push_back ({ .code = 3, .message = "message", .entries = { "bad.wav" } });
    report.forecast = ProcessForecast{};
    report.forecast->outputFree = std::numeric_limits<std::uint64_t>::max();
    return report;
}
} // namespace

TEST_CASE ("JSON documents", "[cli]")
{
    SECTION ("process prints every list")
    {
        const auto json = reportToJson (fullReport(), someRequest());
        keepDocument (json.dump());
        const auto parsed = Json::parse (json.dump());
        CHECK (parsed["tracks"][0]["name"] == "Sn\xc3\xa4re \"1\"\n");
        CHECK (parsed["tracks"][0]["removedDb"] == -6.0);
        CHECK (parsed["tracks"][0]["levelChangeDb"] == -3.0);
        CHECK (parsed["forecast"]["outputFree"].is_null());
    }

    SECTION ("a run that ends early keeps the keys and has no values for what it did not reach")
    {
        auto report = fullReport();
        report.exitCode = 130;
        report.forecast.reset();
        report.tracks[0].output.reset();
        report.tracks[0].outputFile = juce::File();
        const auto json = reportToJson (report, someRequest());
        keepDocument (json.dump());
        CHECK (json["status"] == "interrupted");
        CHECK (json["forecast"].is_null());
        CHECK (json["tracks"][0]["file"].is_null());
        CHECK (json["tracks"][0]["removedDb"].is_null());
        CHECK (json["tracks"][0]["written"] == false);
    }

    SECTION ("info tells files that are taken and files that are not")
    {
        const TemporaryFolder temporary;
        writeHits (temporary.child ("Kick.wav"), { .bitsPerSample = 16, .numChannels = 2 });
        setDefaultAbbreviations();
        std::ostringstream out, diagnostics;
        const CommandContext context{ .out = out,
                                      .diagnostics = diagnostics,
                                      .diagnosticsAreTerminal = false,
                                      .resourceFolder = {},
                                      .stopRequested = {} };
        const auto parsed =
            parseCommandLine ({ "info", "--json", temporary.path ("Kick.wav"), temporary.path ("gone.wav") });
        CHECK (runInfo (parsed.invocation, context) == 1);

        keepDocument (out.str());
        const auto json = Json::parse (out.str());
        CHECK (json["files"][0]["channels"] == 2);
        CHECK (json["files"][0]["bitsPerSample"] == 16);
        CHECK (json["files"][0]["lengthInSamples"] == 20000);
        CHECK (json["files"][0]["type"] == "kick");
        CHECK (json["files"][0]["warnings"][0]["code"] == 8);
        CHECK (json["files"][1]["accepted"] == false);
        CHECK (json["files"][1]["refusalCode"] == 2);
        CHECK_THAT (diagnostics.str(), Catch::Contains ("gone.wav"));
    }
}
