#include "app/LastSession.h"

#include "app/AppSettings.h"
#include "tests/support/SystemPaths.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("The last session in the settings", "[app][session]")
{
    juce::PropertySet settings;
    LastSession session;
    session.files = { juce::File ("/takes/a \"b\".dls"), juce::File ("/takes/c.dls") };
    session.selectedFile = 1;
    session.leadTrack = 3;
    session.chosenTracks = { 2, 3 };
    session.position = 12.5;
    session.viewStart = 10.25;
    session.horizontalZoom = 0.5;
    session.verticalZoom = 1.2;
    session.selection = juce::Range<double> (11.0, 13.0);
    session.loops = session.showsSpectrum = true;
    session.showsKept = false;
    session.save (settings);
    const auto saved = settings.getValue (appSettingsKeys::lastSession);

    SECTION ("comes back whole")
    {
        const auto loaded = LastSession::load (settings);
        REQUIRE (loaded.has_value());
        CHECK (loaded->files == session.files);
        CHECK (loaded->selectedFile == 1);
        CHECK (loaded->leadTrack == 3);
        CHECK (loaded->chosenTracks == session.chosenTracks);
        CHECK (loaded->position == 12.5);
        CHECK (loaded->viewStart == 10.25);
        CHECK (loaded->horizontalZoom == 0.5);
        CHECK (loaded->verticalZoom == 1.2);
        CHECK (loaded->selection == session.selection);
        CHECK (loaded->loops);
        CHECK (loaded->showsSpectrum);
        CHECK_FALSE (loaded->showsKept);
        CHECK (loaded->showsRemoved);
    }

    SECTION ("stays when a run ends with nothing open")
    {
        LastSession().save (settings);
        CHECK (settings.getValue (appSettingsKeys::lastSession) == saved);
    }

    SECTION ("is none, or one within its limits, whatever stands there")
    {
        for (const auto* text :
             { "", "{", "[]", "{\"files\":3}", "{\"files\":[\"relative.dls\"]}", "{\"files\":[{}]}" })
        {
            INFO (text);
            settings.setValue (appSettingsKeys::lastSession, text);
            CHECK_FALSE (LastSession::load (settings).has_value());
        }

        settings.setValue (appSettingsKeys::lastSession,
                           R"({"files":[)" + juce::JSON::toString (systemPath ("/a.dls"))
                               + R"(],"selectedFile":"x","leadTrack":1e99,"chosenTracks":[null],
                               "position":-1,"horizontalZoom":7,"verticalZoom":[],"selectionStart":5,
                               "selectionEnd":1,"showsKept":7})");
        const auto loaded = LastSession::load (settings);
        REQUIRE (loaded.has_value());
        CHECK (loaded->selectedFile == -1);
        CHECK (loaded->chosenTracks == std::vector<int>{ -1 });
        CHECK (loaded->position == 0.0);
        CHECK (loaded->horizontalZoom == WaveViewState::maxHorizontalZoom);
        CHECK (loaded->verticalZoom == 1.0);
        CHECK (loaded->showsKept);
        CHECK_FALSE (loaded->selection.has_value());
    }
}
