#include "playback/SoundLibraryMessages.h"

#include <juce_core/juce_core.h>

#include <alsa/asoundlib.h>

namespace tessivar
{

namespace
{
void ignoreAlsa (const char*, int, const char*, int, const char*, ...) {}
void ignoreJack (const char*) {}
} // namespace

void silenceSoundLibraries()
{
    snd_lib_error_set_handler (ignoreAlsa);

    using SetHandler = void (*) (void (*) (const char*));

    // Optional. Stays open, because the handlers are part of the library's own state.
    static juce::DynamicLibrary jack ("libjack.so.0");

    for (const auto* name : { "jack_set_error_function", "jack_set_info_function" })
        if (auto* function = jack.getFunction (name))
            reinterpret_cast<SetHandler> (function) (ignoreJack);
}

} // namespace tessivar
