#include "app/OpenExternally.h"

#include "model/DiskNames.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tessivar
{

namespace
{
constexpr int waitMs = 2000;

/** Starts a program of the PATH and waits a moment for a failure. */
bool start (const juce::String& program, const juce::String& argument)
{
    const auto name = program.toStdString(), text = bytesOfPath (argument);
    char* const arguments[] = { const_cast<char*> (name.c_str()), const_cast<char*> (text.c_str()), nullptr };
    pid_t process = 0;

    if (::posix_spawnp (&process, name.c_str(), nullptr, nullptr, arguments, environ) != 0)
        return false;

    for (int waited = 0; waited < waitMs; waited += 20)
    {
        int status = 0;

        if (::waitpid (process, &status, WNOHANG) == process)
            return WIFEXITED (status) && WEXITSTATUS (status) == 0;

        juce::Thread::sleep (20);
    }

    return true; // it runs on, as some of them do
}
} // namespace

bool openExternally (const juce::String& pathOrAddress)
{
    return start ("xdg-open", pathOrAddress);
}

bool showFolder (const juce::File& folder)
{
    return openExternally (folder.getFullPathName());
}

} // namespace tessivar
