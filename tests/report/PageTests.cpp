#include "report/ReportJob.h"
#include "tests/report/ReportFixtures.h"
#include "tests/support/WorkFolder.h"

#include <catch2/catch.hpp>
#include <nlohmann/json.hpp>
#include <png.h>

using namespace tessivar;
using namespace tessivar::test;

using Catch::Contains;
using nlohmann::json;

namespace
{
/** What the page holds, read by the parsers of a browser's kind and of XML. */
json parsed (const juce::File& page)
{
    juce::ChildProcess check;
    REQUIRE (check.start ({ "python3", TESSIVAR_PAGE_CHECK, page.getFullPathName() }));
    const auto said = check.readAllProcessOutput().toStdString();
    INFO (said);
    REQUIRE (check.getExitCode() == 0);
    return json::parse (said);
}

/** Brightness of every pixel of a picture that stands in a page. */
struct Picture
{
    explicit Picture (const std::string& address)
    {
        juce::MemoryOutputStream bytes;
        REQUIRE (
            juce::Base64::convertFromBase64 (bytes, juce::String (address.substr (address.find (',') + 1))));
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        REQUIRE (png_image_begin_read_from_memory (&image, bytes.getData(), bytes.getDataSize()) != 0);
        image.format = PNG_FORMAT_GRAY;
        width = image.width;
        height = image.height;
        pixels.resize (PNG_IMAGE_SIZE (image));
        REQUIRE (png_image_finish_read (&image, nullptr, pixels.data(), 0, nullptr) != 0);
    }

    [[nodiscard]] int at (double across, double down) const
    {
        return pixels[static_cast<std::size_t> (down * static_cast<double> (height)) * width
                      + static_cast<std::size_t> (across * static_cast<double> (width))];
    }

    std::size_t width = 0, height = 0;
    std::vector<std::uint8_t> pixels;
};
} // namespace

TEST_CASE ("The page of a report", "[report][page]")
{
    const WorkFolder work;
    const auto file = work.file ("report.html");

    SECTION ("is one that every parser reads, with pictures of what is heard")
    {
        auto content =
            contentOf (groupOf ({ toneTrack ("Snare"),
                                  trackOf ("OH", std::vector<float> (reportLength, 0.25f), DrumType::oh) }),
                       "/takes/Take.dls");
        content.warnings = {
            { 8, "The group contains tracks of small duration.", { "Snare.wav (10.00secs)" } }
        };
        const auto written = writeReport (content, { .file = file, .withAudio = true, .numThreads = 2 });
        REQUIRE (written == Outcome::ok());

        const auto page = parsed (file);
        CHECK (page["title"] == "Take - Tessivar report");
        CHECK (page["numAudios"] == 4); // source, processed and removed of one track, source of the other
        REQUIRE (page["images"].size() == 4);
        const Picture source (page["images"][0]), processed (page["images"][1]), removed (page["images"][2]);

        // Mel bands from 40 Hz up: 1 kHz lies a little above a quarter of the way, 200 Hz near the bottom.
        for (const auto* picture : { &source, &processed, &removed })
        {
            CHECK ((picture->at (0.55, 0.745) > 100) == (picture != &removed));
            CHECK ((picture->at (0.2, 0.94) > 100) == (picture != &processed));
            CHECK (picture->at (0.4, 0.745) < 20);
            CHECK (picture->at (0.55, 0.2) < 20);
        }

        CHECK_THAT (page["alternatives"][0].get<std::string>(), Contains ("loudest around 1.0 kHz"));
        CHECK_THAT (page["text"].get<std::string>(),
                    Contains ("1 of 2 tracks are processed by the refined method"));
        CHECK_THAT (page["text"].get<std::string>(), Contains ("Code 8: The group contains tracks"));
        CHECK (page["data"]["meanRemovedShare"].get<double>()
               == Approx (0.03125 * 2.0 / (0.03125 * 2.0 + 0.125)).margin (1e-3));
        CHECK (page["data"]["tracks"][0]["doubts"].empty());
        CHECK_THAT (page["text"].get<std::string>(), Contains ("No track needs an ear"));
        CHECK_THAT (page["text"].get<std::string>(), Contains ("The take lasts only 0:10"));
        CHECK (page["data"]["tracks"][1]["removedShare"].is_null());
        CHECK (page["data"]["seed"] == 7);
    }

    SECTION ("takes names for names, whatever is in them")
    {
        const juce::String script ("<script>alert(\"1\")</script>'&</script> -->"),
            control (juce::CharPointer_UTF8 ("Tom\x07\xe2\x80\xae\xef\xbf\xbf"));
        auto content = contentOf (groupOf ({ toneTrack (script), toneTrack (control) }), script);
        content.group.name = script;
        content.refused = { { "x", script } };
        content.notes = { script };
        REQUIRE (writeReport (content, { .file = file }).isOk());

        const auto page = parsed (file);
        CHECK_THAT (page["headings"][0].get<std::string>(), Catch::StartsWith (script.toStdString()));
        CHECK_THAT (page["headings"][1].get<std::string>(), Catch::StartsWith ("Tom\\x07\\u202e\\uffff"));
        CHECK_THAT (page["alternatives"][0].get<std::string>(), Contains (script.toStdString()));
        CHECK (page["data"]["tracks"][0]["name"] == script.toStdString());
        CHECK (page["data"]["name"] == script.toStdString());
    }

    SECTION ("tells which tracks need an ear, and of Groups where there is little to tell")
    {
        auto unsure = toneTrack ("Unsure"), nothing = toneTrack ("Nothing"), clipped = toneTrack ("Clipped"),
             lost = toneTrack ("Lost");
        unsure.findings.confidence = 0.5;
        nothing.findings.suggestedFocus = 0.0;
        nothing.record.setKnobs (KnobSetting::a, {});
        std::vector<float> loud (reportLength);
        addTone (loud, 300.0, 1.0, 2.0, 1.5f);
        clipped = trackOf ("Clipped", loud);
        std::dynamic_pointer_cast<MemorySamples> (lost.rendered)->fails = true;
        auto group = groupOf ({ unsure,
                                nothing,
                                clipped,
                                trackOf ("Silent", std::vector<float> (reportLength)),
                                lost,
                                toneTrack ("Short alone") });
        REQUIRE (writeReport (contentOf (group, {}), { .file = file }).isOk());

        const auto data = parsed (file)["data"];
        CHECK (data["tracks"][0]["doubts"] == json::array ({ "unsure" }));
        CHECK (data["tracks"][1]["doubts"] == json::array ({ "nothingFound" }));
        CHECK (data["tracks"][1]["removedShare"].get<double>() < 1e-12);
        CHECK (data["tracks"][2]["doubts"] == json::array ({ "clipped" }));
        CHECK (data["tracks"][3]["doubts"] == json::array ({ "silent" }));
        CHECK (data["tracks"][4]["doubts"][0] == "unreadable");
        CHECK (data["tracks"][5]["doubts"].empty());
        CHECK (data["numDoubtful"] == 5);

        // Beside a long track a short one is told by name.
        std::vector<float> longer (31 * static_cast<std::size_t> (reportRate));
        addTone (longer, 300.0, 1.0, 30.0, 0.5f);
        group.tracks = { toneTrack ("Short"), processedTrack ("Long", longer, longer) };
        REQUIRE (writeReport (contentOf (group, {}), { .file = file, .overwrite = true }).isOk());
        const auto mixed = parsed (file)["data"];
        CHECK (mixed["short"] == false);
        CHECK (mixed["tracks"][0]["doubts"] == json::array ({ "short" }));
        CHECK (mixed["tracks"][1]["doubts"].empty());

        // A map of what leaks: the first track's drum into the second, and half of it gone at full Focus.
        group.tracks = { toneTrack ("Snare"), toneTrack ("Kick") };
        auto map = std::make_shared<BleedMap> (2);

        for (std::size_t i = 0; i < 2; ++i)
        {
            group.tracks[i].findings.bleedPlace = i;

            for (std::size_t focus = 0; focus < BleedMap::numFocusSteps; ++focus)
                map->power (i, i, 3, focus) = 10.0f;
        }

        map->power (1, 0, 3, 0) = 1.0f;
        map->power (1, 0, 3, 5) = 0.1f;
        group.analysis->bleed = map;
        REQUIRE (writeReport (contentOf (group, {}), { .file = file, .overwrite = true }).isOk());
        const auto minus = juce::String::charToString (0x2212);
        const auto table = parsed (file)["text"].get<std::string>();
        CHECK_THAT (table, Contains (("Kick " + minus + "10.0 0.0").toStdString()));
        CHECK_THAT (table, Contains (("Kick " + minus + "20.0 0.0").toStdString()));

        // No analysis at all, and a single track.
        group.tracks = { trackOf ("Alone", loud) };
        group.analysis.reset();
        REQUIRE (writeReport (contentOf (group, {}), { .file = file, .overwrite = true }).isOk());
        CHECK_THAT (parsed (file)["text"].get<std::string>(),
                    Contains ("No track of this Group is processed"));

        group.tracks.clear();
        CHECK (writeReport (contentOf (group, {}), { .file = file, .overwrite = true }).end
               == Outcome::End::refused);
    }
}
