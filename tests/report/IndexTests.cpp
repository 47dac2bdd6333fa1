#include "platform/FileLock.h"
#include "report/IndexPage.h"
#include "tests/support/WorkFolder.h"

#include <catch2/catch.hpp>
#include <nlohmann/json.hpp>

using namespace tessivar;
using namespace tessivar::test;

using Catch::Contains;
using nlohmann::json;

TEST_CASE ("The sessions of a batch", "[report][index]")
{
    const WorkFolder work;
    const auto put = [&] (const char* name, const std::string& text)
    { REQUIRE (work.file (name).replaceWithText (text, false, false, "\n")); };
    const auto document = [] (const char* status)
    {
        return json{
            { "program", "tessivar-cli" },
            { "settings", json::object() },
            { "status", status },
            { "seconds", { { "total", 65.0 } } },
            { "tracks", { { { "sampleRate", 48000.0 }, { "lengthInSamples", 480000 } } } },
            { "errors", { "Snare.wav: no room" } },
            { "refused", { { { "file", "x.mp3" }, { "reason", "x.mp3: no audio" } } } }
        }.dump();
    };
    const auto report = [] (const json& doubts)
    {
        const json data{ { "meanRemovedDb", -3.25 },
                         { "short", true },
                         { "tracks", { { { "name", "Snare" }, { "doubts", doubts } } } } };
        return "<script id=\"tessivar-report\">" + data.dump() + "</script>";
    };

    put ("Take 10.json", document ("done"));
    put ("Take 10.html", report (json::array()));
    put ("Take 2.json", document ("done"));
    put ("Take 2.html", report ({ "unsure" }));
    put ("A&B #1%.json", document ("no word of ours"));
    put ("A&B #1%.html", report ({ "unsure" })); // of an earlier run
    put ("Stopped.json", document ("interrupted"));
    put ("Killed.json", {});
    put ("Killed.log", "begun");
    put ("Running.json", {});
    put ("Running.log", "begun");
    put ("Waiting.json", {});
    put ("Broken.json", "{");
    put ("Other.json", R"({"program": "another"})");
    const auto lock = FileLock::take (work.file ("Running.log"));
    REQUIRE (lock);

    const auto sessions = batchSessionsIn (work.folder);
    juce::StringArray told;

    for (const auto& session : sessions)
        told.add (session.name + " " + stateWord (session.state));

    CHECK (told
           == juce::StringArray{ "Killed killed",
                                 "A&B #1% failed",
                                 "Stopped stopped",
                                 "Running running",
                                 "Waiting waiting",
                                 "Take 2 done", // which wants a listener
                                 "Take 10 done" });
    CHECK (sessions[1].reasons == juce::StringArray{ "Snare.wav: no room", "x.mp3: no audio" });
    CHECK_FALSE (sessions[1].hasReport);
    CHECK (sessions[5].seconds == 10.0);
    CHECK (sessions[5].removedDb == -3.25);
    CHECK (sessions[6].advice.empty());

    juce::MemoryOutputStream output;
    writeIndexPage (output, "Songs & more", sessions);
    const auto page = output.toString().toStdString();
    CHECK_THAT (page, Contains ("Songs &amp; more - Tessivar batch"));
    CHECK_THAT (page, Contains (">A&amp;B #1%<"));
    CHECK_THAT (page, Contains ("href=\"./A%26B%20%231%25.json\""));
    CHECK_THAT (page, Contains ("href=\"./Take%202.html\""));
    CHECK_THAT (page, Contains ("still running: 2 sessions to go"));
    CHECK_THAT (page, Contains ("1 session has tracks that need an ear"));
    CHECK_THAT (page, Contains ("unsure: Snare") && Contains ("<p>short</p>"));
}
