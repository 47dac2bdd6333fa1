#include "tests/cli/TestAudio.h"
#include "tools/commanddriver/ProgramRunner.h"

#include <catch2/catch.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <functional>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
using nlohmann::json;

const juce::File demoFolder{ TESSIVAR_SOURCE_DIR "/demo" };

std::vector<std::string> processDemo (const juce::File& out, std::vector<std::string> further)
{
    further.insert (further.begin(),
                    { "process",
                      demoFolder.getFullPathName().toStdString(),
                      "--out",
                      out.getFullPathName().toStdString(),
                      "--type",
                      "SD*=snare",
                      "--type",
                      "Rack*=tomHigh" });
    return further;
}

/** Energy of the samples [start, end) of b over that of a, in dB. */
double
levelChange (const std::vector<float>& a, const std::vector<float>& b, std::size_t start, std::size_t end)
{
    double energyA = 0.0, energyB = 0.0;
    for (auto i = start; i < end; ++i)
    {
        energyA += static_cast<double> (a[i]) * static_cast<double> (a[i]);
        energyB += static_cast<double> (b[i]) * static_cast<double> (b[i]);
    }
    return 10.0 * std::log10 (energyB / energyA);
}

float peakDifference (const std::vector<float>& a, const std::vector<float>& b)
{
    float peak = 0.0f;
    for (std::size_t i = 0; i < a.size(); ++i)
        peak = std::max (peak, std::abs (a[i] - b[i]));
    return peak;
}
} // namespace

TEST_CASE ("Demo session", "[cli][program][demo]")
{
    const TemporaryFolder work, cache;

    SECTION ("comes out whole, in place and quieter, and untouched at Focus 0")
    {
        const auto out = work.child ("one");
        const auto result = runTessivar (
            processDemo (out, words ("--method standard --focus Floor=0 --fine HH=1 --threads 1 --json")),
            cache.folder);
        REQUIRE (result.exitCode == 0);
        const auto document = json::parse (result.out);
        REQUIRE (document["tracks"].size() == 7);

        for (const auto& track : document["tracks"])
        {
            const auto name = track["name"].get<std::string>();
            INFO (name);
            const auto source = decode (juce::File (track["source"].get<std::string>()));
            const auto processed = decode (juce::File (track["file"].get<std::string>()));
            CHECK (juce::File (track["file"].get<std::string>()).getFileName().toStdString()
                   == name + "_Processed.wav");
            CHECK (processed.sampleRate == 44100.0);
            CHECK (processed.bitsPerSample == 24);
            CHECK (processed.numChannels == 1);
            REQUIRE (processed.samples.size() == source.samples.size());

            std::vector<float> removed (source.samples.size());
            std::transform (source.samples.begin(),
                            source.samples.end(),
                            processed.samples.begin(),
                            removed.begin(),
                            std::minus<>());
            const auto end = source.samples.size();
            const bool isTouched = name != "Floor" && name != "HH";
            CHECK (track["levelChangeDb"].get<double>()
                   == Approx (levelChange (source.samples, processed.samples, 0, end)).margin (0.01));
            if (isTouched)
                CHECK (track["removedDb"].get<double>()
                       == Approx (levelChange (source.samples, removed, 0, end)).margin (0.01));
            else
                CHECK (track["removedDb"].get<double>() == -200.0);

            if (! isTouched)
                CHECK (peakDifference (source.samples, processed.samples) <= 1.0e-6f); // -120 dB
            else
                CHECK (peakDifference (source.samples, processed.samples) > 1.0e-3f);

            // Eight seconds pass before the first fill: until then a rack tom's track is leakage alone. Its
            // first stroke has to keep its level.
            if (name.starts_with ("Rack"))
            {
                const std::size_t stroke = name == "Rack Tom 1" ? 353564 : 365085;
                CHECK (levelChange (source.samples, processed.samples, 0, stroke - 2000) < -6.0);
                CHECK (std::abs (levelChange (source.samples, processed.samples, stroke, stroke + 8820))
                       < 1.0);
            }
        }

        SECTION ("with the same bytes for any number of threads")
        {
            const auto again = work.child ("two");
            const auto second = runTessivar (
                processDemo (again,
                             words ("--method standard --focus Floor=0 --fine HH=1 --threads 2 --quiet")),
                cache.folder);
            CHECK (second.exitCode == 0);
            CHECK (second.out.empty());
            CHECK (second.diagnostics.empty());
            for (const auto& file : out.findChildFiles (juce::File::findFiles, false))
                CHECK (file.hasIdenticalContentTo (again.getChildFile (file.getFileName())));
        }
    }

    SECTION ("loses more leakage and less of the drum by the refined method, at the focus it suggests")
    {
        const auto out = work.child ("refined");
        const auto result = runTessivar (processDemo (out, { "--json" }), cache.folder);
        REQUIRE (result.exitCode == 0);
        const auto document = json::parse (result.out);
        CHECK (document["settings"]["method"] == "refined");

        for (const auto& warning : document["warnings"])
            CHECK (warning["code"] == 8); // short, but not too short to learn from

        for (const auto& track : document["tracks"])
        {
            const auto name = track["name"].get<std::string>();
            INFO (name);
            CHECK (track["focus"] == track["suggestedFocus"]);
            CHECK (track["focus"].get<double>() >= 1.0);
            CHECK (track["leakageDb"].get<double>() < 0.0);
            CHECK (track["agreementDb"].get<double>() > 6.0);
            const auto source = decode (juce::File (track["source"].get<std::string>()));
            const auto processed = decode (juce::File (track["file"].get<std::string>()));

            // Leakage alone until the first stroke, which has to keep its level.
            if (name == "Rack Tom 1")
            {
                const std::size_t stroke = 353564;
                CHECK (levelChange (source.samples, processed.samples, 0, stroke - 2000) < -15.0);
                CHECK (std::abs (levelChange (source.samples, processed.samples, stroke, stroke + 8820))
                       < 0.2);
            }
        }
    }

    SECTION ("an interrupted run ends with 130 and leaves nothing behind")
    {
        const auto out = work.child ("stopped");
        const auto result = runTessivar (processDemo (out, {}), cache.folder, "Analyzing: ");
        CHECK (result.exitCode == 130);
        CHECK_FALSE (out.exists());
        CHECK (cache.child ("tessivar/tmp")
                   .findChildFiles (juce::File::findFilesAndDirectories, true)
                   .isEmpty());
    }

    SECTION ("is written as 24-bit WAV by the command demo, sample for sample")
    {
        const auto out = work.child ("demo");
        const auto result = runTessivar ({ "demo", out.getFullPathName().toStdString() }, cache.folder);
        REQUIRE (result.exitCode == 0);
        CHECK (out.getChildFile ("LICENSE").existsAsFile());
        for (const auto& source : demoFolder.findChildFiles (juce::File::findFiles, false, "*.flac"))
        {
            const auto copy = decode (out.getChildFile (source.getFileNameWithoutExtension() + ".wav"));
            CHECK (copy.bitsPerSample == 24);
            CHECK (copy.samples == decode (source).samples);
        }

        CHECK (runTessivar ({ "demo", out.getFullPathName().toStdString() }, cache.folder).exitCode == 4);
    }
}
