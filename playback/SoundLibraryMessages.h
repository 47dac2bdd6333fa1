#pragma once

namespace tessivar
{

/** Keeps the system's sound libraries from writing to standard error: ALSA without a sound card and libjack
    without a server print some fifteen lines for every look for devices. Call once, before the first look.
*/
void silenceSoundLibraries();

} // namespace tessivar
