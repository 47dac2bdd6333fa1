#include "model/settings/Settings.h"
#include "model/settings/SettingsStore.h"
#include "platform/Process.h"
#include "tests/model/AudioFileBuilders.h"
#include "tests/support/ForkedProcess.h"
#include "tests/support/WhicheverCallFails.h"

#include <catch2/catch.hpp>

#if ! JUCE_WINDOWS
    #include <sys/stat.h>
#endif

using namespace tessivar;
using namespace tessivar::test;

namespace
{
struct SettingsFixture
{
    WorkFolder owner;
    UserFolders folders = UserFolders::below (owner.file ("home"));
    juce::File file = folders.settingsFile();

    void writeFile (const juce::String& text) const
    {
        REQUIRE (file.create().wasOk());
        REQUIRE (file.replaceWithText (text));
    }

    /** What a copy of the program that starts next finds. */
    [[nodiscard]] SettingsValues stored() const
    {
        SettingsValues values;
        juce::MemoryBlock content;

        if (file.exists())
        {
            REQUIRE (file.loadFileAsData (content));
            const auto parsed = parseSettings (content.getData(), content.getSize(), values);
            INFO (parsed.getErrorMessage());
            REQUIRE (parsed.wasOk());
        }

        return values;
    }

    [[nodiscard]] int numFilesIn (const juce::File& folder) const
    {
        return folder.getNumberOfChildFiles (juce::File::findFiles);
    }
};

SettingsValues parsed (const juce::String& text)
{
    SettingsValues values;
    const auto result = parseSettings (text.toRawUTF8(), text.getNumBytesAsUTF8(), values);
    INFO (result.getErrorMessage());
    REQUIRE (result.wasOk());
    return values;
}

/** Values that need every kind of escape, and a key in two spellings. */
SettingsValues difficultValues()
{
    return { { "kick", "kick; \"a;b\", it's" },
             { "Kick", juce::String::fromUTF8 ("\xc3\xa4 \xf0\x9f\xa5\x81 <&>") },
             { "RecentFiles", "/a b/1.dls\n\n/c\t\r.dls\n" },
             { "empty", "" } };
}

} // namespace

TEST_CASE ("Settings file", "[model][settings]")
{
    const SettingsFixture fixture;

    SECTION ("of version 0.1.0 keeps every byte but the changed value's")
    {
        const auto before = juce::File (TESSIVAR_EARLIER_DIR "/0.1.0/tessivar.config").loadFileAsString();
        fixture.writeFile (before);
        SettingsStore store (fixture.folders);
        CHECK (store.getValue ("kick") == "kick; kik; subkick");
        store.setValue ("volume", "-6.0");
        CHECK (store.save().wasOk());
        CHECK (fixture.file.loadFileAsString()
               == before.replace ("\"volume\" val=\"0.0\"", "\"volume\" val=\"-6.0\""));
    }

    SECTION ("is understood by the properties file of the framework, and the other way round")
    {
        const auto values = difficultValues();
        CHECK (parsed (encodeSettings (values)) == values);

        juce::PropertiesFile::Options options;
        options.millisecondsBeforeSaving = -1;
        fixture.writeFile (encodeSettings (values));

        {
            juce::PropertiesFile theirs (fixture.file, options);
            REQUIRE (theirs.isValidFile());
            CHECK (theirs.getAllProperties().size() == 4);

            for (const auto& [key, value] : values)
                CHECK (theirs.getValue (key) == value);

            theirs.setValue ("more", "1");
            const juce::XmlElement state ("STATE");
            theirs.setValue ("xml", &state);
            REQUIRE (theirs.save());
        }

        auto expected = values;
        expected["more"] = "1";
        expected["xml"] = "<STATE/>";
        CHECK (fixture.stored() == expected);
    }

    SECTION ("holds the other values when one comes from a file name that is no text")
    {
        for (const auto* bytes : { "\xe4.wav", "\xff\xfe", "a\xf7\xbf\xbf\xbf", "\xed\xbb\xbf", "\xf0\x9f" })
        {
            const auto values = parsed (
                encodeSettings ({ { "a", juce::String (juce::CharPointer_UTF8 (bytes)) }, { "b", "kept" } }));
            CHECK (values.size() == 2);
            CHECK (values.at ("b") == "kept");
        }
    }

    SECTION ("may have been edited by hand")
    {
        CHECK (parsed ("<PROPERTIES/>").empty());
        CHECK (parsed ({}).empty());
        CHECK (parsed ("\n<!-- > --> <PROPERTIES >\n<VALUE val='x' name = 'a' extra=\"1\"></VALUE >"
                       "<VALUE name='b' val='&#65;&#x42;&lt;'/><!-- VALUE --></PROPERTIES\n>\n")
               == SettingsValues{ { "a", "x" }, { "b", "AB<" } });
    }

    SECTION ("is refused when it is cut or is something else, and never believed in part")
    {
        const auto whole = encodeSettings (difficultValues()).trimEnd();
        const auto* const bytes = whole.toRawUTF8();
        const auto length = whole.getNumBytesAsUTF8();
        SettingsValues values{ { "before", "kept" } };

        for (std::size_t cut = 1; cut < length; ++cut)
            REQUIRE (parseSettings (bytes, cut, values).failed());

        for (const auto* text : { "<PROPERTIES><VALUE name=\"a\" val=\"&#x\"/></PROPERTIES>",
                                  "<PROPERTIES><VALUE name=\"a\" val=\"&#x110000;\"/></PROPERTIES>",
                                  "<PROPERTIES><VALUE name=\"a\" val=\"&#0;\"/></PROPERTIES>",
                                  "<PROPERTIES><VALUE name=\"a\" val=\"\xff\"/></PROPERTIES>",
                                  "<!DOCTYPE a [<!ENTITY b \"&b;\">]><PROPERTIES>&b;</PROPERTIES>",
                                  "<PROPERTIES></PROPERTIES><PROPERTIES/>",
                                  "<SETTINGS/>",
                                  "PK\x03\x04" })
            CHECK (parseSettings (text, std::strlen (text), values).failed());

        CHECK (values == SettingsValues{ { "before", "kept" } });

        // A nesting that takes up the stack, and a file that takes up the memory.
        const auto deep = juce::String::repeatedString ("<a>", 100000);
        CHECK (parseSettings (deep.toRawUTF8(), deep.getNumBytesAsUTF8(), values).failed());
        const juce::MemoryBlock blank (maxSettingsFileSize + 1, true);
        CHECK (parseSettings (blank.getData(), blank.getSize(), values).failed());
    }

    SECTION ("with any byte flipped gives values or nothing")
    {
        const auto whole = encodeSettings (difficultValues());
        std::string bytes (whole.toRawUTF8(), whole.getNumBytesAsUTF8());
        auto numRefused = 0;

        for (auto& byte : bytes)
        {
            for (int bit = 0; bit < 8; ++bit)
            {
                const auto kept = std::exchange (byte, static_cast<char> (byte ^ (1 << bit)));
                SettingsValues values;
                numRefused += parseSettings (bytes.data(), bytes.size(), values).failed() ? 1 : 0;
                REQUIRE (values.size() <= 4);
                byte = kept;
            }
        }

        CHECK (numRefused > static_cast<int> (bytes.size()));
    }
}

TEST_CASE ("SettingsStore", "[model][settings]")
{
    const SettingsFixture fixture;

    SECTION ("saves by itself a while after a change")
    {
        const juce::ScopedJuceInitialiser_GUI messages;
        SettingsStore store (fixture.folders, 5);
        store.setValue ("key", "value");
        const auto giveUp = juce::Time::getMillisecondCounter() + 5000;

        while (store.needsToBeSaved() && juce::Time::getMillisecondCounter() < giveUp)
            juce::MessageManager::getInstance()->runDispatchLoopUntil (5);

        CHECK (fixture.stored().at ("key") == "value");
        CHECK (SettingsStore::defaultSaveDelay == 3000);
    }

    SECTION ("leaves to another copy of the program what that one set or removed")
    {
        fixture.writeFile (encodeSettings ({ { "a", "0" }, { "b", "0" }, { "c", "0" }, { "d", "0" } }));
        SettingsStore first (fixture.folders), second (fixture.folders);
        first.setValue ("a", "1");
        first.removeValue ("b");
        second.setValue ("c", "2");
        second.removeValue ("d");
        second.setValue ("e", "2");
        REQUIRE (first.save().wasOk());
        REQUIRE (second.save().wasOk());
        const SettingsValues both{ { "a", "1" }, { "c", "2" }, { "e", "2" } };
        CHECK (fixture.stored() == both);

        // Each learns of the other's changes when it saves.
        CHECK (second.getValue ("a") == "1");
        CHECK_FALSE (second.containsKey ("b"));
        CHECK (first.getValue ("c") == "0");
        REQUIRE (first.save().wasOk());
        CHECK (first.getValue ("e") == "2");
        CHECK (fixture.stored() == both);

        // A file that was thrown away is written again as a whole.
        REQUIRE (fixture.file.deleteFile());
        REQUIRE (first.save().wasOk());
        CHECK (fixture.stored() == both);
    }

    SECTION ("loses no key when two processes change settings 200 times")
    {
        constexpr int changes = 100;
        const auto work = [&] (const juce::String& name)
        {
            for (int i = 0; i < changes; ++i)
            {
                SettingsStore store (fixture.folders);
                store.setValue (name + juce::String (i), juce::String (i));
                store.removeValue (name + juce::String (i - 10));

                if (store.wasDamaged() || store.save().failed())
                    return 1;
            }

            return 0;
        };

        ForkedProcess one ([&] { return work ("one"); }), two ([&] { return work ("two"); });
        CHECK (one.wait() == 0);
        CHECK (two.wait() == 0);

        SettingsValues expected;

        for (const auto* name : { "one", "two" })
            for (int i = changes - 10; i < changes; ++i)
                expected[name + juce::String (i)] = juce::String (i);

        CHECK (fixture.stored() == expected);
        CHECK (fixture.numFilesIn (fixture.folders.settings) == 1);
    }

    SECTION ("whichever call fails, the old file or the new one is there, the error is told and the change "
             "is kept")
    {
        const SettingsValues before{ { "old", "value" } }, after{ { "new", "value" }, { "old", "value" } };

        const auto isDamaged = GENERATE (false, true);
        const auto text = isDamaged ? juce::String ("rubbish") : encodeSettings (before);
        const auto kept = fixture.folders.damagedSettings();
        whicheverCallFails (
            4,
            [&] (FaultyCalls& calls)
            {
                INFO ("damaged: " << isDamaged);
                kept.deleteRecursively();
                fixture.writeFile (text);
                SettingsStore store (fixture.folders, 3000, calls);
                store.setValue ("new", "value");

                if (isDamaged)
                    store.setValue ("old", "value");

                const auto result = store.save();
                REQUIRE (fixture.numFilesIn (fixture.folders.settings) == 1);

                // What was there is there, or lies aside.
                if (result.failed() && fixture.file.loadFileAsString() == text)
                    REQUIRE (store.needsToBeSaved());
                else
                    REQUIRE (fixture.stored() == after);

                if (isDamaged && fixture.file.loadFileAsString() != text)
                    REQUIRE (kept.findChildFiles (juce::File::findFiles, false)[0].loadFileAsString()
                             == text);

                if (result.failed())
                {
                    REQUIRE (juce::File::isAbsolutePath (result.getErrorMessage()));
                    REQUIRE (store.needsToBeSaved());
                    calls.end();
                    REQUIRE (store.save().wasOk());
                    REQUIRE (fixture.stored() == after);
                }
            });
    }

    SECTION ("starts empty with a file that is none, and puts that aside before it writes over it")
    {
        const auto kept = fixture.folders.damagedSettings();
        const auto rubbish = encodeSettings (difficultValues()).substring (0, 100);
        fixture.writeFile (rubbish);
        const SettingsStore early (fixture.folders); // as for the size of the window, before anything else
        SettingsStore store (fixture.folders);
        CHECK (store.wasDamaged());
        CHECK (store.getAllProperties().size() == 0);
        CHECK (fixture.numFilesIn (kept) == 1);
        store.setValue ("key", "value");
        REQUIRE (store.save().wasOk());
        CHECK (fixture.stored() == SettingsValues{ { "key", "value" } });
        REQUIRE (fixture.numFilesIn (kept) == 1);
        CHECK (kept.findChildFiles (juce::File::findFiles, false)[0].loadFileAsString() == rubbish);

        // Also while the program runs; and not more of them than a few.
        for (int i = 0; i < 12; ++i)
        {
            fixture.writeFile ("rubbish " + juce::String (i));
            REQUIRE (store.save().wasOk());
            CHECK (fixture.stored() == SettingsValues{ { "key", "value" } });
        }

        CHECK (fixture.numFilesIn (kept) == 10);
    }

    SECTION ("works without a file that it can read or write")
    {
        REQUIRE (fixture.file.createDirectory().wasOk());
        SettingsStore store (fixture.folders);
        CHECK (isFirstRun (store));
        CHECK_FALSE (isFirstRun (store));
        CHECK (store.save().getErrorMessage().startsWith (fixture.file.getFullPathName()));
#if ! JUCE_WINDOWS
        REQUIRE (fixture.file.deleteFile());
        REQUIRE (::mkfifo (fixture.file.getFullPathName().toRawUTF8(), 0600) == 0);
        CHECK (store.save().failed());
#endif
        REQUIRE (fixture.file.deleteFile());
        CHECK (store.save().wasOk());
    }
}

TEST_CASE ("Settings folder", "[model][settings]")
{
    const SettingsFixture fixture;
    const auto folder = fixture.folders.settings;

    SECTION ("is made, also where a file stands in its place")
    {
        CHECK (tidySettingsFolder (folder) == 0);
        CHECK (folder.isDirectory());
        REQUIRE (folder.deleteFile());
        REQUIRE (folder.replaceWithText ("not a folder"));
        CHECK (tidySettingsFolder (folder) == 1);
        CHECK (folder.isDirectory());
    }

    SECTION ("loses stray files, but no settings, no folders and nothing that is being written")
    {
        ForkedProcess dead ([] { return 0; });
        REQUIRE (dead.wait() == 0);
        const auto temporary = [] (int process)
        { return ".tessivar.config.tmp-" + juce::String (process) + "-0123abcd"; };
        const juce::StringArray kept{
            "tessivar.config", "AudioDeviceSetup.config", "themes/dark.txt", temporary (processId())
        };
        const juce::StringArray stray{ "notes.txt", "noextension",          ".hidden",
                                       "lock",      temporary (dead.pid()), "tessivar.config.bak" };

        for (const auto& name : kept)
            REQUIRE (folder.getChildFile (name).create().wasOk());

        for (const auto& name : stray)
            REQUIRE (folder.getChildFile (name).create().wasOk());

        const auto elsewhere = fixture.owner.file ("elsewhere.txt");
        REQUIRE (elsewhere.create().wasOk());
        const auto hasLink = elsewhere.createSymbolicLink (folder.getChildFile ("link"), false);

        CHECK (tidySettingsFolder (folder) == stray.size() + (hasLink ? 1 : 0));
        CHECK (elsewhere.existsAsFile());

        for (const auto& name : kept)
            CHECK (folder.getChildFile (name).existsAsFile());

        for (const auto& name : stray)
            CHECK_FALSE (folder.getChildFile (name).exists());

        CHECK (tidySettingsFolder (folder) == 0);
    }
}
