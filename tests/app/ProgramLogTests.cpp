#include "tests/support/EngineFixtures.h"
#include "tests/support/ForkedProcess.h"

#include "app/about/Diagnostics.h"
#include "app/system/ProgramLog.h"

#include <catch2/catch.hpp>

#include <csignal>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("The program's log", "[app][log]")
{
    const TemporaryFolder temporary;
    const juce::File folder (juce::String (temporary.name()) + "/log");

    SECTION ("keeps its limit, and the last lines go on over the change of files")
    {
        constexpr int limit = 10000;
        ProgramLog log (folder, limit);

        for (int i = 0; i < 1000; ++i)
            log.logMessage ("line\nnumber " + juce::String (i));

        CHECK (log.currentFile().getSize() + log.previousFile().getSize() <= limit);
        CHECK (log.previousFile().getSize() > limit / 4);
        const auto lines = log.lastLines (150);
        REQUIRE (lines.size() == 150);

        for (int i = 0; i < 150; ++i)
            CHECK (lines[i].endsWith ("line number " + juce::String (850 + i)));
    }

    SECTION ("is silent where it can't be written")
    {
        folder.replaceWithText ("in the way");
        ProgramLog log (folder);
        log.logMessage ("x");
        CHECK (log.lastLines (10).isEmpty());
    }

    SECTION ("tells of a crash, which still ends the process by its signal")
    {
        ProgramLog log (folder);
        ForkedProcess child (
            [&]
            {
                log.noteCrashes();
#if JUCE_WINDOWS
                *static_cast<volatile int*> (nullptr) = 0;
#else
                std::raise (SIGSEGV);
#endif
                return 0;
            });
#if JUCE_WINDOWS
        CHECK (child.wait() == static_cast<int> (0xc0000005));
        CHECK (log.currentFile().loadFileAsString().contains ("crashed: exception c0000005"));
#else
        CHECK (child.wait() == 256 + SIGSEGV);
        CHECK (log.currentFile().loadFileAsString().contains ("crashed: signal 11"));
#endif
    }
}

TEST_CASE ("Diagnostics hide names of files and folders", "[app][diagnostics]")
{
    CHECK (withoutPaths ("Loading /home/anna/My Take.dls") == "Loading (path)");
    CHECK (withoutPaths ("State: /home/anna/.local/state: writable, 3/4 free")
           == "State: (path): writable, 3/4 free");
    CHECK (withoutPaths (R"(Loading C:\Users\anna\My Take.dls)") == "Loading (path)");
    CHECK (withoutPaths (R"("\\studio\takes\one": read-only, 1 bytes free)")
           == "\"(path): read-only, 1 bytes free");
    CHECK (withoutPaths ("'/a' and '/b c'").containsNonWhitespaceChars());
    CHECK_FALSE (withoutPaths ("'/secret' and '/b secret'").contains ("secret"));
    CHECK (withoutPaths ("48 kHz, A/B") == "48 kHz, A/B");

    const TemporaryFolder temporary;
    const juce::File secret (juce::String (temporary.name()) + "/secret session");
    TessivarWorkspace workspace (UserFolders::below (secret));
    DiagnosticsRequest request{ .workspace = workspace,
                                .resourceFolder = secret,
                                .soundDevice = "No audio device",
                                .soundTypes = { "JACK" },
                                .screen = "1920 x 1080",
                                .logLines = { "Loading " + secret.getFullPathName() + "/Take.dls" } };
    CHECK_FALSE (diagnosticsText (request).contains ("secret"));
    CHECK (diagnosticsText (request).contains ("Sound: No audio device"));
    request.withPaths = true;
    CHECK (diagnosticsText (request).contains (secret.getFullPathName() + "/Take.dls"));
}
