#include "model/ImportWarnings.h"
#include "model/settings/RecentFiles.h"
#include "model/settings/Settings.h"
#include "model/settings/UserFolders.h"
#include "tests/model/AudioFileBuilders.h"
#include "tests/support/SystemPaths.h"
#include "tools/filefaults/FileFaults.h"

#include <catch2/catch.hpp>

#if ! JUCE_WINDOWS
    #include <sys/stat.h>
#endif

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("Settings", "[model][settings]")
{
    juce::PropertySet settings;

    SECTION ("the first run is the one before FirstTime is TRUE")
    {
        settings.setValue ("FirstTime", "yes");
        CHECK (isFirstRun (settings));
        CHECK (settings.getValue ("FirstTime") == "TRUE");
        CHECK_FALSE (isFirstRun (settings));
    }

    SECTION ("only two kinds of warning can be silenced, by any text under their key")
    {
        suppressWarnings (&settings, { 7, 10, 3, -1, 12 });
        CHECK (settings.getValue ("ShowLongTracksWarning") == "FALSE");
        CHECK (settings.getAllProperties().size() == 1);
        CHECK (suppressedWarnings (&settings) == std::vector<int>{ 10 });

        settings.setValue ("ShowShortTracksWarning", "whatever");
        CHECK (suppressedWarnings (&settings) == std::vector<int>{ 8, 10 });
        settings.setValue ("ShowLongTracksWarning", "");
        CHECK (suppressedWarnings (&settings) == std::vector<int>{ 8 });

        CHECK (shouldShowWarning (nullptr, 8));
        CHECK (suppressedWarnings (nullptr).empty());
        suppressWarning (nullptr, 8);
    }

    SECTION ("a default export folder loses its key, a default folder for temporary files keeps it")
    {
        FolderSettings chosen;
        chosen.temporaryFiles = systemFile ("/big/tmp");
        chosen.exportFolder = systemFile ("/mix");
        CHECK_FALSE (hasFolderSettings (settings));
        chosen.save (settings);
        CHECK (settings.getValue ("tempFileLocation") == systemPath ("/big/tmp"));
        CHECK (settings.getValue ("exportPath") == systemPath ("/mix"));

        FolderSettings{}.save (settings);
        CHECK_FALSE (settings.containsKey ("exportPath"));
        CHECK (settings.getValue ("tempFileLocation") == systemPath ("/big/tmp"));
        CHECK (hasFolderSettings (settings));

        const auto loaded = FolderSettings::load (settings);
        CHECK (loaded.temporaryFiles == systemFile ("/big/tmp"));
        CHECK_FALSE (loaded.exportFolder.has_value());

        settings.setValue ("exportPath", "relative");
        CHECK_FALSE (FolderSettings::load (settings).exportFolder.has_value());
    }
}

TEST_CASE ("RecentFiles", "[model][settings]")
{
    RecentFiles recent;
    const WorkFolder folder;

    SECTION ("is newest first, without repetition, and ends at its limit")
    {
        for (int i = 1; i <= 12; ++i)
            recent.add (systemFile ("/take " + juce::String (i)));

        recent.add (systemFile ("/take 5"));
        juce::StringArray expected;

        for (const auto number : { 5, 12, 11, 10, 9, 8, 7, 6, 4, 3 })
            expected.add (systemPath ("/take " + juce::String (number)));

        CHECK (recent.paths() == expected);
        recent.setLimit (0);
        CHECK (recent.toString() == systemPath ("/take 5"));
        recent.add (juce::File ("/two\nlines"));
        recent.add (juce::File());
        CHECK (recent.toString() == systemPath ("/take 5"));
    }

    SECTION ("comes back from a text, blank lines included, the first ten of eleven")
    {
        recent.restoreFrom ("a\n\n b \n");
        CHECK (recent.paths() == juce::StringArray{ "a", "", " b ", "" });
        CHECK (recent.toString() == "a\n\n b \n");
        recent.restoreFrom ("1\n2\n3\n4\n5\n6\n7\n8\n9\n10\n11");
        CHECK (recent.paths().size() == 10);
        CHECK (recent.paths()[9] == "10");
        CHECK (recent.menuEntries ({}).empty());
    }

    SECTION ("offers what exists and is not open, under its place in the list")
    {
        const auto open = folder.write ("open.dls", {});
        const auto closed = folder.write ("closed.dls", {});
        recent.restoreFrom ("\nrelative.dls\n" + open.getFullPathName() + "\n"
                            + folder.file ("gone.dls").getFullPathName() + "\n" + closed.getFullPathName());
        const auto entries = recent.menuEntries ({ open });
        REQUIRE (entries.size() == 1);
        CHECK (entries[0].index == 4);
        CHECK (entries[0].file == closed);
    }

    SECTION ("is carried over to what another copy of the program made of the list")
    {
        recent.restoreFrom (systemPath ("/a") + "\n/b");
        recent.add (systemFile ("/mine"));
        recent.remove (systemFile ("/a"));
        RecentFiles theirs;
        theirs.restoreFrom ("/theirs\n" + systemPath ("/a") + "\n/b");
        recent.replayOn (theirs);
        CHECK (theirs.paths() == juce::StringArray{ systemPath ("/mine"), "/theirs", "/b" });
    }
}

#if ! JUCE_WINDOWS
TEST_CASE ("UserFolders", "[model][settings]")
{
    const juce::File home ("/home/me");

    SECTION ("follow the desktop's variables where these hold absolute paths")
    {
        const auto folders = UserFolders::in (KnownFolders::from (
            [] (const char* variable)
            {
                const juce::String name (variable);
                return juce::String (name == "XDG_CONFIG_HOME"  ? "/conf"
                                     : name == "XDG_STATE_HOME" ? "relative"
                                                                : "");
            },
            home));
        CHECK (folders.settingsFile().getFullPathName() == "/conf/Tessivar/tessivar.config");
        CHECK (folders.state.getFullPathName() == "/home/me/.local/state/tessivar");
        CHECK (folders.cache.getFullPathName() == "/home/me/.cache/tessivar");
        CHECK_FALSE (folders.settingsLock().isAChildOf (folders.settings));
    }

    SECTION ("temporary files go to the chosen folder, else the shared one, else the user's own")
    {
        using Reason = TemporaryFolderChoice::Reason;
        const WorkFolder folder;
        const auto folders = UserFolders::below (home);
        const auto shared = folder.file ("opt/Tessivar");
        CHECK (chooseTemporaryFolder (juce::File ("/gone"), folders, shared).folder == juce::File ("/gone"));

        const auto free = chooseTemporaryFolder ({}, folders, shared);
        CHECK (free.folder == shared);
        CHECK (free.reason == Reason::sharedByAllUsers);

        REQUIRE (shared.getParentDirectory().createDirectory().wasOk());
        REQUIRE (::chmod (shared.getParentDirectory().getFullPathName().toRawUTF8(), 0555) == 0);
        const WithoutPrivileges nobody;
        const auto refused = chooseTemporaryFolder ({}, folders, shared);
        CHECK (refused.folder == juce::File ("/home/me/.cache/tessivar/tmp"));
        CHECK (refused.reason == Reason::sharedNotWritable);
    }
}
#else
TEST_CASE ("UserFolders", "[model][settings]")
{
    const auto folders = UserFolders::in (KnownFolders::from (
        [] (const char* variable)
        {
            const juce::String name (variable);
            return juce::String (name == "APPDATA" ? "C:\\conf" : name == "LOCALAPPDATA" ? "relative" : "");
        },
        juce::File ("C:\\Users\\me")));
    CHECK (folders.settingsFile().getFullPathName() == "C:\\conf\\Tessivar\\tessivar.config");
    CHECK (folders.state.getFullPathName() == "C:\\Users\\me\\AppData\\Local\\tessivar");
    CHECK_FALSE (folders.settingsLock().isAChildOf (folders.settings));
    CHECK_FALSE (UserFolders::ofUser().documents == juce::File());
}
#endif
