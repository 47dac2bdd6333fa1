#include "ui/transport/TransportState.h"

#include <catch2/catch.hpp>

using namespace tessivar;

TEST_CASE ("TransportState", "[ui][transport]")
{
    SECTION ("reads typed times and refuses what is none")
    {
        CHECK (parseTime ("0:48.375") == Approx (48.375));
        CHECK (parseTime (" 1:02:03 ") == Approx (3723.0));
        CHECK (parseTime ("48,5") == Approx (48.5));
        CHECK (parseTime ("90") == Approx (90.0));
        for (const auto* text :
             { "", ":", "1:", ":5", "1:60", "1.5:10", "1:2:3:4", "-3", "1e5", ".", "1.2.3", "0:-1" })
        {
            CAPTURE (text);
            CHECK_FALSE (parseTime (text).has_value());
        }
    }

    SECTION ("turns the volume's position into decibels and back")
    {
        CHECK (volumeDbForPosition (1.0) == Approx (6.0206f));
        CHECK (volumeDbForPosition (positionForVolumeDb (0.0f)) == Approx (0.0f).margin (1.0e-4));
        CHECK (volumeDbForPosition (positionForVolumeDb (-40.0f)) == Approx (-40.0f));
        CHECK (volumeDbForPosition (0.0) == volumeOffDb);
        CHECK (positionForVolumeDb (volumeOffDb) == 0.0);
        CHECK (positionForVolumeDb (100.0f) == 1.0);
        CHECK (volumeText (-4.2f)
               == juce::String::fromUTF8 ("\xe2\x88\x92"
                                          "4.2 dB"));
        CHECK (volumeText (-0.01f) == "0.0 dB");
        CHECK (volumeText (1.0f) == "+1.0 dB");
        CHECK (volumeText (-200.0f) == "Off");
    }

    SECTION ("holds a peak for two seconds and then lets it fall to the level")
    {
        OutputLevel level;
        level.update (-6.0f, 0.02);
        level.update (-30.0f, 1.9);
        CHECK (level.peakDb == -6.0f);
        level.update (-20.0f, 0.2);
        CHECK (level.peakDb == -20.0f);
        CHECK (OutputLevel::fractionFor (-30.0f) == Approx (0.5f));
        CHECK (OutputLevel::fractionFor (3.0f) == 1.0f);
        CHECK (OutputLevel::fractionFor (-90.0f) == 0.0f);
    }

    SECTION ("shows a notice for four seconds and says once that it went")
    {
        NoticeState notice{ "8 files exported", {}, false, NoticeState::secondsShown };
        CHECK_FALSE (notice.tick (3.9));
        CHECK (notice.isVisible());
        CHECK (notice.tick (0.2));
        CHECK_FALSE (notice.tick (0.2));
    }
}
