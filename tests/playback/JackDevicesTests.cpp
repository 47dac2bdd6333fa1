#include "platform/Process.h"
#include "playback/JackDevices.h"

#include <catch2/catch.hpp>

using namespace tessivar;

TEST_CASE ("A JACK server is known by its socket", "[device]")
{
    const auto lists = [] (const juce::String& table)
    { return listsJackServer (listeningSocketsIn (table)); };
    const juce::String head = "Num       RefCount Protocol Flags    Type St Inode Path\n"
                              "000000006a27f246: 00000003 00000000 00000000 0001 03  1664\n"
                              "0000000091186: 00000002 00000000 00010000 0001 01 1143844 /tmp/.X11-unix/X0\n";

    REQUIRE_FALSE (lists (head));
    REQUIRE_FALSE (lists ({}));

    // Both generations of JACK, and a server that has a name.
    REQUIRE (
        lists (head + "000000002b36: 00000002 00000000 00010000 0001 01 99 /dev/shm/jack_default_1000_0\n"));
    REQUIRE (lists (
        head + "000000002b36: 00000002 00000000 00010000 0001 01    99 /dev/shm/jack-1000/studio/jack_0"));

    // The other end of a connection outlives the server.
    REQUIRE_FALSE (
        lists (head + "000000002b36: 00000003 00000000 00000000 0001 03 99 /dev/shm/jack_default_1000_0\n"));
    // A folder of that name proves nothing.
    REQUIRE_FALSE (
        lists (head + "000000002b36: 00000002 00000000 00010000 0001 01 99 /home/me/jack_stuff/socket\n"));
}
