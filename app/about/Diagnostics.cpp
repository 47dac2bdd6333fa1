#include "app/about/Diagnostics.h"

#include "jobs/SelfTest.h"
#include "model/ForeignText.h"
#include "model/SampleRateText.h"
#include "model/Version.h"
#include "platform/Folders.h"
#include "platform/Memory.h"
#include "terms/AnalysisMethod.h"

namespace tessivar
{

namespace
{
constexpr auto hiddenPath = "(path)";

juce::String systemName()
{
    for (const auto& line : juce::StringArray::fromLines (juce::File ("/etc/os-release").loadFileAsString()))
        if (line.startsWith ("PRETTY_NAME="))
            return line.fromFirstOccurrenceOf ("=", false, false).unquoted();

    return juce::SystemStats::getOperatingSystemName();
}

juce::String groupLine (const Group& group)
{
    juce::String line = juce::String (group.numTracks()) + " tracks";

    if (group.sampleRate() > 0.0)
        line << ", " << sampleRateText (group.sampleRate()) << ", "
             << juce::String (static_cast<double> (group.lengthInSamples()) / group.sampleRate(), 1) << " s";

    line << ", " << analysisMethodKey (group.method()) << " method"
         << (group.isAnalysed() ? ", analyzed" : ", not analyzed")
         << (group.hasUnsavedChanges() ? ", not saved" : ", saved");
    return line;
}

juce::String reasonOf (const TemporaryFolderChoice& choice)
{
    switch (choice.reason)
    {
        case TemporaryFolderChoice::Reason::chosenByUser:
            return "chosen in the settings";
        case TemporaryFolderChoice::Reason::sharedByAllUsers:
            return "default";
        case TemporaryFolderChoice::Reason::sharedNotWritable:
            return "in the cache, because the default folder is not writable";
    }

    return {};
}

/** Path or not, and what can be told without it. */
juce::String folderLine (const char* name, const juce::File& folder)
{
    juce::String line (name);
    line << ": " << shownText (folder.getFullPathName()) << ": ";

    if (! folder.isDirectory())
        return line << "not there";

    line << (folder.hasWriteAccess() ? "writable" : "read-only");
    return line << ", " << describeBytes (static_cast<std::uint64_t> (folder.getBytesFreeOnVolume()))
                << " free";
}
} // namespace

juce::String withoutPaths (const juce::String& line)
{
    // As Linux writes them, or Windows: with a drive, or a computer of the network.
    const auto isPath = [] (juce::juce_wchar first, juce::juce_wchar second, juce::juce_wchar third)
    {
        const auto hasDrive = juce::CharacterFunctions::isLetter (first) && second == ':';
        return first == '/' || (first == '\\' && second == '\\')
               || (hasDrive && (third == '\\' || third == '/'));
    };
    juce::String result;
    auto rest = line;

    for (;;)
    {
        // A path begins after a blank, a quote or at the start: "48000/s" and "A/B" are none.
        int start = -1;

        for (int i = 0; i + 1 < rest.length() && start < 0; ++i)
            if (isPath (rest[i], rest[i + 1], rest[i + 2])
                && (i == 0 || juce::String (" \"'(=\t").containsChar (rest[i - 1])))
                start = i;

        if (start < 0)
            return result + rest;

        result << rest.substring (0, start) << hiddenPath;
        const auto end = rest.indexOf (start, ": ");

        if (end < 0)
            return result;

        rest = rest.substring (end);
    }
}

juce::String diagnosticsText (const DiagnosticsRequest& request)
{
    const auto& workspace = request.workspace;
    juce::StringArray lines;
    lines.add ("Tessivar " + juce::String (programVersion()) + " (rev. " + juce::String (programRevision())
               + ")");
    lines.add ("System: " + systemName() + ", "
               + juce::SystemStats::getEnvironmentVariable ("XDG_CURRENT_DESKTOP", "no desktop"));
    lines.add ("Processor: " + juce::SystemStats::getCpuModel() + ", "
               + juce::String (juce::SystemStats::getNumCpus()) + " threads, kernels for " + kernelsInUse());
    lines.add ("Memory: " + juce::String (juce::SystemStats::getMemorySizeInMegabytes()) + " MB"
               + (freeMemory() ? ", " + describeBytes (*freeMemory()) + " free" : juce::String()));
    lines.add ("Screen: " + request.screen);
    lines.add ("Sound: " + request.soundDevice + " (of " + request.soundTypes.joinIntoString (", ") + ")");

    const auto data = checkDataFiles (request.resourceFolder);
    lines.add ("Analysis data: " + (data.wasOk() ? juce::String ("complete") : data.getErrorMessage()));

    const auto& folders = workspace.folders();
    const auto temporary = workspace.temporaryFolder();
    lines.add (folderLine ("Settings", folders.settings));
    lines.add (folderLine ("State", folders.state));
    lines.add (folderLine ("Temporary files", temporary.folder) + " (" + reasonOf (temporary) + ")");
    lines.add ("Open Groups: " + juce::String (workspace.numGroups()));

    for (const auto& group : workspace.allGroups())
        lines.add ("  " + groupLine (*group));

    lines.add ("Last lines of the log:");

    for (const auto& line : request.logLines)
        lines.add ("  " + line);

    if (! request.withPaths)
        for (auto& line : lines)
            line = withoutPaths (line);

    return lines.joinIntoString ("\n") + "\n";
}

} // namespace tessivar
