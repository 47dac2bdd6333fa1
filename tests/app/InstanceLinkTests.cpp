#include "app/FileChooser.h"
#include "app/InstanceLink.h"
#include "model/DiskNames.h"
#include "tests/support/EngineFixtures.h"

#include <catch2/catch.hpp>

#include <mutex>

#include <sys/stat.h>

using namespace tessivar;

TEST_CASE ("InstanceLink", "[app][instance]")
{
    const test::TemporaryFolder owner;
    const juce::File folder{ juce::String (owner.name()) };
    std::mutex lock;
    std::vector<juce::StringArray> received;
    const auto receive = [&] (const juce::StringArray& paths)
    {
        const std::lock_guard guard (lock);
        received.push_back (paths);
    };

    SECTION ("hands files over, odd names and all, to the one that listens first")
    {
        InstanceLink first (folder), second (folder);
        CHECK_FALSE (second.handOver ({ "/takes/a.dls" }));
        REQUIRE (first.listen (receive));
        CHECK_FALSE (second.listen (receive));

        const juce::StringArray paths{ juce::String::fromUTF8 ("/t/Tr\xc3\xb6mmel \"1\":2.dls"),
                                       "/t/two\nlines.wav",
                                       pathOfBytes ("/t/Caf\xe9") };
        CHECK (second.handOver (paths));
        CHECK (second.handOver ({}));
        const std::lock_guard guard (lock);
        REQUIRE (received.size() == 2);
        CHECK (received[0] == paths);
        CHECK (received[1].isEmpty());
    }

    SECTION ("listens where nobody else of the system can write, and again after one that has gone")
    {
        {
            InstanceLink first (folder);
            REQUIRE (first.listen (receive));
            struct stat info = {};
            REQUIRE (::stat (folder.getChildFile ("window.socket").getFullPathName().toRawUTF8(), &info)
                     == 0);
            CHECK ((info.st_mode & 0777) == 0600);
        }

        folder.getChildFile ("window.socket").replaceWithText ("left behind");
        InstanceLink next (folder);
        CHECK_FALSE (next.handOver ({}));
        CHECK (next.listen (receive));
    }
}

TEST_CASE ("File choosers", "[app][chooser]")
{
    FileChooserRequest request;
    request.title = "Select files to import...";
    request.wildcard = "*.wav;*.aiff";
    request.kind = FileChooserRequest::Kind::openFiles;
    request.startFolder = juce::File ("/takes/one");

    SECTION ("are asked for both cases of an extension, several files, and the folder with its end")
    {
        const auto arguments = zenityArguments (request);
        CHECK (arguments[0] == "zenity");
        CHECK (arguments.contains ("--title=Select files to import..."));
        CHECK (arguments.contains ("--file-filter=*.wav;*.aiff | *.wav *.WAV *.aiff *.AIFF"));
        CHECK (arguments.contains ("--filename=/takes/one/"));
        CHECK (arguments.contains ("--separator=\x1f"));
        CHECK (kdialogArguments (request).contains ("--separate-output"));
    }

    SECTION ("of folders filter nothing, and of a file to save name it")
    {
        request.kind = FileChooserRequest::Kind::chooseFolders;
        CHECK (zenityArguments (request).contains ("--directory"));
        CHECK (zenityArguments (request).joinIntoString (" ").contains ("--file-filter") == false);
        request.kind = FileChooserRequest::Kind::saveFile;
        request.suggestedName = "Take 3.dls";
        CHECK (zenityArguments (request).contains ("--filename=/takes/one/Take 3.dls"));
        CHECK (zenityArguments (request).contains ("--save"));
    }
}
