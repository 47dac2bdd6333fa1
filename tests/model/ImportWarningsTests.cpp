#include "model/ImportWarnings.h"

#include <catch2/catch.hpp>

using namespace tessivar;

TEST_CASE ("ImportWarnings", "[model][warnings]")
{
    ImportWarnings warnings;
    std::vector<ImportWarnings::Warning> shown;
    const auto record = [&] (const ImportWarnings::Warning& warning)
    {
        shown.push_back (warning);
        return false;
    };

    SECTION ("shows one message per code, the lower code first, and is empty afterwards")
    {
        warnings.add ("b.wav", 9);
        warnings.add ("c.wav", 1);
        warnings.add ("a.wav", 1);
        warnings.add ("c.wav", 1);
        warnings.show (record);

        REQUIRE (shown.size() == 2);
        CHECK (shown[0].code == 1);
        CHECK (shown[0].message
               == "The following files have a samplerate which is different from the first track you added "
                  "in the "
                  "group.");
        CHECK (shown[0].entries == juce::StringArray{ "c.wav", "a.wav" });
        CHECK (shown[1].code == 9);
        CHECK (warnings.isEmpty());
    }

    SECTION ("tells the reasons beside the entries, of two files of one name both")
    {
        warnings.add ("a.wav", 3, "no header");
        warnings.add ("b.wav", 3);
        warnings.add ("a.wav", 3, "4 channels");
        warnings.add ("a.wav", 3, "no header");
        warnings.show (record);

        REQUIRE (shown.size() == 1);
        CHECK (shown[0].entries == juce::StringArray{ "a.wav", "b.wav" });
        CHECK (shown[0].reasons == juce::StringArray{ "no header\n4 channels", {} });
    }

    SECTION ("never shows a silenced code again, and drops its entries")
    {
        warnings.add ("a.wav (1.00secs)", 8);
        warnings.add ("b.wav (601.00secs)", 10);
        warnings.show ([] (const auto& warning) { return warning.code == 8; });
        warnings.add ("a.wav (1.00secs)", 8);
        warnings.add ("b.wav (601.00secs)", 10);
        warnings.show (record);

        REQUIRE (shown.size() == 1);
        CHECK (shown[0].code == 10);
        CHECK (warnings.isEmpty());
    }

    SECTION ("lets only the advice on durations be silenced, whatever the answer is")
    {
        for (int code = 0; code < ImportWarnings::numCodes; ++code)
            warnings.add ("a.wav", code);
        warnings.show ([] (const auto&) { return true; });
        for (int code = 0; code < ImportWarnings::numCodes; ++code)
            CHECK (warnings.isSilenced (code) == (code == 8 || code == 10));
    }

    SECTION ("keeps what is added while it shows for the next time")
    {
        warnings.add ("a.wav", 2);
        warnings.show (
            [&] (const auto&)
            {
                warnings.add ("b.wav", 3);
                return false;
            });
        CHECK (warnings.entries (3) == juce::StringArray{ "b.wav" });
    }

    SECTION ("has a text for codes that mean nothing")
    {
        CHECK (warningMessage (12) == "Unclassified error occured.");
        CHECK (warningMessage (2) == warningMessage (4));
        CHECK (warningMessage (3) == warningMessage (5));
    }
}
