#pragma once

namespace tessivar
{

/** Keeps the system's sound libraries from writing to the standard error stream: without a sound card ALSA,
    and without a server libjack, have some fifteen lines to say about every look for devices. Before the
    first look; once is enough.
*/
void silenceSoundLibraries();

} // namespace tessivar
