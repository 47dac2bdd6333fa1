#include "model/recovery/RecoveryEntry.h"
#include "model/recovery/RecoveryList.h"
#include "platform/DiskNames.h"
#include "platform/Process.h"
#include "tests/model/GroupFileBuilders.h"
#include "tests/model/RecoveryFixtures.h"
#include "tests/support/WhicheverCallFails.h"

#include <chrono>
#include <thread>

#if ! JUCE_WINDOWS
    #include <sys/stat.h>
#endif

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("RecoveryEntry", "[model][recovery]")
{
    const RecoveryFixture fixture;
    const auto store = fixture.store();
    auto state = groupWithAudio (*store);
    // A name that is no text.
    const juce::File groupFile (pathOfBytes ("/groups/\xe4 1.dls"));
    const auto entry = noted (state, groupFile);
    const auto bytes = encodeRecoveryEntry (entry);

    SECTION ("holds everything of a Group but its audio, and where that lies")
    {
        RecoveryEntry read;
        const auto decoded = decodeRecoveryEntry (bytes, read);
        INFO (decoded.getErrorMessage());
        REQUIRE (decoded.wasOk());
        CHECK (haveSameValues (read.state, state));
        CHECK (read.groupFile == groupFile);
        CHECK (read.writtenAt == entry.writtenAt);
        CHECK (read.boot == currentBoot());
        CHECK (read.audio == entry.audio);
        CHECK (read.state.unknownProperties.size() == 0);
        CHECK (bytes.size() < 4096);

        const auto& kick = read.audio[0];
        CHECK (kick.rendered->numChannels == 7);
        CHECK (kick.rendered->identity.size == framesOfTracks * 7 * sizeof (float));
        CHECK (kick.source->file == kick.rendered->file);
        CHECK (kick.source->channel == 6);
        CHECK (kick.components->identity.size == 4000);
        CHECK (read.audio[1].source->channel == AudioPlace::allChannels);
        CHECK (read.audio[1].rendered->numChannels == channelLayout::numRendered);
    }

    SECTION ("is refused when it is cut anywhere")
    {
        RecoveryEntry read;

        for (std::size_t length = 0; length < bytes.size(); ++length)
            REQUIRE (decodeRecoveryEntry (std::span (bytes).first (length), read).failed());

        CHECK (read.audio.empty());
    }

    SECTION ("with any bit flipped is refused or means the same")
    {
        auto damaged = bytes;
        auto numAccepted = 0;

        for (std::size_t i = 0; i < bytes.size(); ++i)
        {
            for (int bit = 0; bit < 8; ++bit)
            {
                damaged[i] = static_cast<std::uint8_t> (bytes[i] ^ (1 << bit));
                RecoveryEntry read;

                if (decodeRecoveryEntry (damaged, read).wasOk())
                {
                    ++numAccepted;
                    REQUIRE (encodeRecoveryEntry (read) == bytes);
                }
            }

            damaged[i] = bytes[i];
        }

        // Of the mark and the version in the trailer, which the sum does not cover.
        CHECK (numAccepted <= 8 * 12);
    }

    SECTION ("says of a file whether the audio still lies in it")
    {
        const FileIdentity noted{ 1000, 5, 1, 2 };
        CHECK (noted.isStillIn (noted));
        CHECK (noted.isStillIn ({ 1200, 9, 1, 2 }));       // saved again, at its end
        CHECK (noted.isStillIn ({ 1000, 5, 3, 4 }));       // copied
        CHECK_FALSE (noted.isStillIn ({ 999, 9, 1, 2 }));  // cut
        CHECK_FALSE (noted.isStillIn ({ 1000, 6, 1, 3 })); // replaced
        CHECK_FALSE (FileIdentity::of (fixture.temporary).has_value());
    }
}

TEST_CASE ("RecoverySession", "[model][recovery]")
{
    const RecoveryFixture fixture;
    const auto store = fixture.store();
    auto state = groupWithAudio (*store);
    const auto before = noted (state, {});
    state.name = "renamed";
    const auto after = noted (state, {});

    const auto nameIn = [] (const juce::File& file)
    {
        juce::MemoryBlock content;
        REQUIRE (file.loadFileAsData (content));
        RecoveryEntry read;
        REQUIRE (decodeRecoveryEntry (
                     { static_cast<const std::uint8_t*> (content.getData()), content.getSize() }, read)
                     .wasOk());
        return read.state.name;
    };

    SECTION ("whichever call fails, the entry before or the new one is there and the error is told")
    {
        whicheverCallFails (8,
                            [&] (FaultyCalls& faulty)
                            {
                                const auto session = fixture.session();
                                REQUIRE (session->write (1, before).wasOk());
                                std::shared_ptr<RecoverySession> second;
                                REQUIRE (RecoverySession::open (fixture.entries, second, faulty).wasOk());
                                const auto file = second->entryFile (1);
                                REQUIRE (session->entryFile (1).copyFileTo (file));
                                const auto written = second->write (1, after);
                                const auto name = nameIn (file);
                                REQUIRE ((name == before.state.name || name == "renamed"));
                                REQUIRE ((written.failed() || name == "renamed"));
                                REQUIRE (fixture.numFiles (fixture.entries, ".*") == 0);

                                if (faulty.reachedTheFault() && faulty.kind != FaultyCalls::shortWrite
                                    && written.wasOk())
                                    REQUIRE (faulty.failedAfterRename());

                                REQUIRE (session->remove (1).wasOk());
                                REQUIRE (second->remove (1).wasOk());
                            });
    }

#if ! JUCE_WINDOWS
    SECTION (
        "killed at any moment leaves the entry before or the new one, and nothing else after the next start")
    {
        for (int kill = 0; kill < 20; ++kill)
        {
            ForkedProcess child (
                [&]
                {
                    const auto session = fixture.session();

                    for (auto failed = false; ! failed;)
                        for (const auto* entry : { &before, &after })
                            failed = failed || session->write (1, *entry).failed();

                    return 1;
                });
            std::this_thread::sleep_for (std::chrono::microseconds (20000 + 1700 * kill));
            REQUIRE (child.kill());

            const auto list = RecoveryList::scan (fixture.entries);
            REQUIRE (list.problems().isEmpty());
            REQUIRE (fixture.numFiles (fixture.entries, ".*") == 0);

            if (list.offers().empty())
                continue;

            REQUIRE (list.offers().size() == 1);
            const auto name = list.offers()[0].entry.state.name;
            REQUIRE ((name == before.state.name || name == "renamed"));
            REQUIRE (RecoveryList::discard (list.offers()[0]).wasOk());
        }
    }
#endif

    SECTION ("leaves its folder clean when it leaves no entry")
    {
        auto session = fixture.session();
#if ! JUCE_WINDOWS
        struct stat info = {};
        REQUIRE (::stat (fixture.entries.getFullPathName().toRawUTF8(), &info) == 0);
        CHECK ((info.st_mode & 0777) == 0700);
#endif
        REQUIRE (session->write (3, before).wasOk());
        REQUIRE (session->remove (3).wasOk());
        CHECK (session->remove (3).wasOk());
        session.reset();
        CHECK (fixture.numFiles (fixture.entries) == 0);
    }
}
