#include "playback/SoundLibraryMessages.h"

namespace tessivar
{

// The sound systems of Windows are silent.
void silenceSoundLibraries() {}

} // namespace tessivar
