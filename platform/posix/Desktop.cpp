#include "platform/Desktop.h"

#include "platform/DiskNames.h"
#include "platform/Folders.h"
#include "platform/Process.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string_view>

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

constexpr juce::uint32 answerTimeMs = 500;

/** The value behind "key=" in a file of sections and lines; nothing when it is not there. */
std::optional<juce::String> valueIn (const juce::File& file, const juce::String& key)
{
    if (! file.existsAsFile())
        return std::nullopt;

    for (const auto& line : juce::StringArray::fromLines (file.loadFileAsString()))
        if (line.upToFirstOccurrenceOf ("=", false, false).trim() == key && line.containsChar ('='))
            return line.fromFirstOccurrenceOf ("=", false, false).trim();

    return std::nullopt;
}

/** What GNOME and its kin say; nothing where they are not at home. */
std::optional<bool> gnomeReducesMotion()
{
    const auto begun = juce::Time::getMillisecondCounter();
    const auto isInTime = [begun]
    {
        juce::Thread::sleep (5);
        return juce::Time::getMillisecondCounter() - begun < answerTimeMs;
    };
    const auto output = outputOfProgram (
        { "gsettings", "get", "org.gnome.desktop.interface", "enable-animations" }, isInTime);
    const auto answer = juce::String (output.value_or (std::string())).trim();
    return answer == "false" ? std::optional (true) : answer == "true" ? std::optional (false) : std::nullopt;
}

/** What GTK's settings.ini (gtk-enable-animations) or kdeglobals (AnimationDurationFactor) say. */
std::optional<bool> filesReduceMotion (const juce::File& configFolder)
{
    std::optional<bool> result;

    for (const auto* version : { "gtk-3.0", "gtk-4.0" })
        if (const auto value = valueIn (configFolder.getChildFile (version).getChildFile ("settings.ini"),
                                        "gtk-enable-animations"))
            result = result.value_or (false) || *value == "0" || value->equalsIgnoreCase ("false");

    if (const auto factor = valueIn (configFolder.getChildFile ("kdeglobals"), "AnimationDurationFactor"))
        result = result.value_or (false) || factor->getDoubleValue() <= 0.0;

    return result;
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

juce::String nameInDrag (const juce::File& file)
{
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    juce::String uri ("file://");

    for (const auto character : bytesOfPath (file.getFullPathName()))
        if (plain.find (character) != std::string_view::npos)
            uri += character;
        else
            uri << "%"
                << juce::String::toHexString (static_cast<unsigned char> (character))
                       .paddedLeft ('0', 2)
                       .toUpperCase();

    return uri;
}

juce::String whyNoWindow()
{
    return environmentVariable ("DISPLAY").isEmpty()
               ? "there is no X server to show a window on (DISPLAY is not set)"
               : juce::String();
}

void darkenFrame (void*) {} // window managers have a theme of the user's

std::optional<bool> desktopReducesMotion()
{
    const auto fromFiles = filesReduceMotion (KnownFolders::ofUser().configuration);
    return fromFiles ? fromFiles : gnomeReducesMotion();
}

} // namespace tessivar
