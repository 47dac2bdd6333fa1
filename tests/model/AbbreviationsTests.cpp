#include "model/Abbreviations.h"
#include "terms/DrumType.h"
#include "tests/model/AudioFileBuilders.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("AbbreviationTable", "[model][drumtypes]")
{
    AbbreviationTable table;

    SECTION ("classifies by the built-in lists")
    {
        table.setDefaults();

        struct Example
        {
            const char* path;
            DrumType type;
            const char* abbreviation;
        };
        const auto example = GENERATE (Example{ "Kick_01.wav", DrumType::kick, "kick" },
                                       Example{ "SNR top.aif", DrumType::snare, "sn" },
                                       Example{ "HH.wav", DrumType::hiHat, "hh" },
                                       Example{ "Floor Tom.wav", DrumType::tomFloor, "floor" },
                                       Example{ "High Tom.wav", DrumType::tomHigh, "high" },
                                       Example{ "Tom 3.wav", DrumType::tomLow, "tom" },
                                       Example{ "Tom1.wav", DrumType::tomLow, "tom" },
                                       Example{ "T3.wav", DrumType::tomHigh, "T3" },
                                       Example{ "Beat2.wav", DrumType::tomLow, "T2" },
                                       Example{ "OH L.wav", DrumType::oh, "oh" },
                                       Example{ "john.wav", DrumType::oh, "oh" },
                                       Example{ "hhkick.wav", DrumType::hiHat, "hh" },
                                       Example{ "Ride.wav", DrumType::other, "ride" },
                                       Example{ "Room.wav", DrumType::other, "" },
                                       // Folders don't count, the extension does.
                                       Example{ "/kick/snare/Room.wav", DrumType::other, "" },
                                       Example{ "/mixes/Room.kick", DrumType::kick, "kick" });
        INFO (example.path);
        const auto found = table.classify (example.path);
        CHECK (found.drumType == example.type);
        CHECK (found.abbreviation == example.abbreviation);
        CHECK (found.matched == (*example.abbreviation != 0));
    }

    SECTION ("tests abbreviations in the order of their character codes")
    {
        table.setDefaults();
        juce::StringArray keys;
        for (const auto& entry : table.table())
            keys.add (entry.first);
        CHECK (keys.joinIntoString ("|")
               == "T1|T2|T3|bass|bass_drm|bass_drum|bassdrum|bd|cymbal|floor|flr|hat|hh|high|kck|kick|kik|"
                  "low|oh|"
                  "ride|sn|snare|snr|tom|tom 1|tom 2|tom 3|tom1|tom2|tom3|tom_1|tom_2|tom_3");
    }

    SECTION ("splits lists at commas and semicolons, but not in quotes")
    {
        table.registerList (" kick ,bass drum; 'a;b' ;\"c,d\"", DrumType::kick);
        juce::StringArray keys;
        for (const auto& entry : table.table())
            keys.add (entry.first);
        CHECK (keys == juce::StringArray{ "\"c,d\"", "'a;b'", "bass drum", "kick" });
        table.registerList ({}, DrumType::snare);
        CHECK (table.table().size() == 4);
    }

    SECTION ("lets a stray separator decide every file")
    {
        table.registerList ("kick;", DrumType::kick);
        table.registerList ("snare", DrumType::snare);
        const auto found = table.classify ("snare.wav");
        CHECK (found.drumType == DrumType::kick);
        CHECK (found.matched);
        CHECK (found.abbreviation.isEmpty());
    }

    SECTION ("leaves an abbreviation with the type that had it first")
    {
        table.registerList ("sub", DrumType::kick);
        table.registerList ("sub; rim", DrumType::snare);
        CHECK (table.classify ("sub.wav").drumType == DrumType::kick);
        CHECK (table.classify ("rim.wav").drumType == DrumType::snare);
    }
}

TEST_CASE ("Names that tell no type are alike by their first word", "[model][drumtypes]")
{
    for (const auto* name : { "SD Top", "sd_bot 2", "03 SD", "SD2" })
        CHECK (stemOfName (name) == "sd");

    for (const auto* name : { "Audio 1", "07", "Track_03", "" })
        CHECK (stemOfName (name).isEmpty());
}

TEST_CASE ("AbbreviationTable in settings", "[model][drumtypes]")
{
    const WorkFolder folder;
    const auto folders = UserFolders::below (folder.file ("home"));

    SECTION ("finds what was edited and saved at the next start")
    {
        {
            SettingsStore settings (folders);
            AbbreviationTable first;
            first.setDefaults();
            first.setList (DrumType::snare, "clack; it's; \"a;b\"");
            CHECK (first.save (&settings));
        }

        SettingsStore settings (folders);
        AbbreviationTable next;
        CHECK (next.load (&settings));
        CHECK (next.list (DrumType::snare) == "clack; it's; \"a;b\"");
        CHECK (next.list (DrumType::tomLow) == "low; tom2; tom_2; tom 2; tom; T2");
        CHECK (next.classify ("clack.wav").drumType == DrumType::snare);
        CHECK (next.classify ("snare.wav").drumType == DrumType::other);
    }

    SECTION ("takes a missing list for an empty one, but needs that of the kick")
    {
        juce::PropertySet settings;
        settings.setValue ("snare", "sn");
        AbbreviationTable table;
        CHECK_FALSE (table.load (&settings));
        CHECK (table.table().empty());

        settings.setValue ("kick", "bd");
        CHECK (table.load (&settings));
        CHECK (table.table().size() == 2);
    }

    SECTION ("works without settings")
    {
        AbbreviationTable table;
        CHECK_FALSE (table.load (nullptr));
        CHECK_FALSE (table.save (nullptr));
    }
}

TEST_CASE ("DrumType", "[model][drumtypes]")
{
    SECTION ("is told by the words that stand for it, in any case")
    {
        for (const auto type : drumTypeRegistrationOrder)
        {
            CHECK (parseDrumType (juce::String (drumTypeKey (type)).toUpperCase().toRawUTF8()) == type);
            CHECK (drumTypeFromCode (drumTypeCode (type)) == type);
        }
        CHECK_FALSE (parseDrumType ("High Tom").has_value());
        CHECK_FALSE (parseDrumType ({}).has_value());
        CHECK_FALSE (drumTypeFromCode (3).has_value());
        CHECK_FALSE (drumTypeFromCode (0).has_value());
    }

    SECTION ("is offered by name, except overheads")
    {
        juce::StringArray names;
        for (const auto type : drumTypeChooserOrder)
            names.add (drumTypeDisplayName (type));
        CHECK (names.joinIntoString (",") == "Kick,Snare,HiHat,High Tom,Low Tom,Floor Tom,Other");
        CHECK_FALSE (canBeChosen (DrumType::oh));
    }
}
