#include "cli/Arguments.h"
#include "cli/ProgressDisplay.h"
#include "cli/TerminalText.h"
#include "tools/commanddriver/ProgramRunner.h"

#include <catch2/catch.hpp>

#include <sstream>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("Text for a terminal", "[cli]")
{
    SECTION ("nothing in a name reaches the terminal as a command")
    {
        const auto text =
            juce::String::fromUTF8 ("a\x1b[2J\nb\r\t\x7f\xc2\x9b\xe2\x80\xae\xc3\xa9\xe9\xbc\x93");
        CHECK (printable (text)
               == juce::String::fromUTF8 ("a\\x1b[2J\\nb\\r\\t\\x7f\\x9b\\u202e\xc3\xa9\xe9\xbc\x93"));
        CHECK (shellQuoted ("Bob's SD=snare") == "\"Bob's SD=snare\"");
        CHECK (shellQuoted ("Bob's $SD=snare") == "'Bob'\\''s $SD=snare'");
    }

    SECTION ("columns line up by characters, not by bytes")
    {
        CHECK (formatTable ({ { "A", "B" }, { juce::String::fromUTF8 ("ä"), "1" }, { "long", "22" } })
               == "A     B\n----  --\n\xc3\xa4     1\nlong  22\n");
    }

    SECTION ("numbers round into the next unit, never beyond their digits")
    {
        CHECK (formatBytes (999) == "999 bytes");
        CHECK (formatBytes (999499) == "999 kB");
        CHECK (formatBytes (999500) == "1.00 MB");
        CHECK (formatBytes (18446744073709551615u) == "18.4 EB");
        CHECK (formatSeconds (59.94) == "59.9 s");
        CHECK (formatSeconds (59.96) == "1:00");
        CHECK (formatSeconds (3599.7) == "1:00:00");
        CHECK (formatDb (-0.04) == "0.0");
        CHECK (formatDb (-12.34) == "-12.3");
    }
}

TEST_CASE ("Progress display", "[cli]")
{
    std::ostringstream output;
    double now = 0.0;
    const auto clock = [&now] { return now; };

    SECTION ("writes a line for each tenth, once")
    {
        ProgressDisplay display (output, ProgressDisplay::Style::lines, clock);
        display.beginStage ("Reading");
        for (int i = 0; i <= 1000; ++i)
            display.setProgress (i / 1000.0);
        display.finish();
        std::string expected;
        for (int percent = 0; percent <= 100; percent += 10)
            expected += "Reading: " + std::to_string (percent) + " %\n";
        CHECK (output.str() == expected);
    }

    SECTION ("reckons the time left from where the work costs time, and leaves a clean line")
    {
        ProgressDisplay display (output, ProgressDisplay::Style::bar, clock);
        display.beginStage ("Analyzing", 0.1);
        now = 50.0;
        display.setProgress (0.1);
        now = 60.0;
        display.setProgress (0.4); // 10 s for 0.3, so 20 s for the other 0.6
        CHECK_THAT (output.str(), Catch::Contains (" 40 %  20.0 s left"));
        display.finish();
        CHECK_THAT (output.str(), Catch::EndsWith ("\r\x1b[K"));
    }

    SECTION ("says nothing when told so")
    {
        ProgressDisplay display (output, ProgressDisplay::Style::none, clock);
        display.beginStage ("Reading");
        display.setProgress (1.0);
        display.finish();
        CHECK (output.str().empty());
    }
}

TEST_CASE ("Input files", "[cli]")
{
    const TemporaryFolder temporary;
    for (const auto* name : { "Tom 10.wav", "Tom 2.WAV", "kick.aiff", "notes.txt", ".hidden.wav", "~x.flac" })
        temporary.child (name).create();
    temporary.child ("sub.wav").createDirectory();
    const auto folder = temporary.path();

    SECTION ("a folder is its audio files in the order of a file browser")
    {
        const auto inputs = collectInputFiles ({ folder });
        juce::StringArray names;
        for (const auto& file : inputs.files)
            names.add (file.getFileName());
        CHECK (inputs.bad.empty());
        CHECK (names == juce::StringArray{ "~x.flac", "kick.aiff", "Tom 2.WAV", "Tom 10.wav" });
    }

    SECTION ("files keep their order, whatever they are called, and come once")
    {
        const auto inputs = collectInputFiles ({ folder + "/notes.txt", folder + "/~x.flac", folder });
        REQUIRE (inputs.files.size() == 5);
        CHECK (inputs.files[0].getFileName() == "notes.txt");
        CHECK (inputs.files[1].getFileName() == "~x.flac");
    }

    SECTION ("what leads to nothing is told")
    {
        temporary.child ("empty").createDirectory();
        const auto inputs = collectInputFiles ({ folder + "/empty", "" });
        CHECK (inputs.files.empty());
        REQUIRE (inputs.bad.size() == 2);
        CHECK_THAT (inputs.bad[0].reason.toStdString(), Catch::Contains (temporary.path ("empty") + ": "));
    }
}
