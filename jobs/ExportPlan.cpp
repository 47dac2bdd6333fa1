#include "jobs/ExportPlan.h"

#include "model/SourcePath.h"
#include "platform/DiskNames.h"
#include "platform/Folders.h"
#include "terms/ChannelLayout.h"

#include <set>

namespace tessivar
{

namespace
{
constexpr std::size_t longestFileName = 255; // bytes

juce::String joinedName (const juce::String& base, const juce::String& ending)
{
    return shortenedToBytes (base, longestFileName - ending.getNumBytesAsUTF8()) + ending;
}

/** A file by its bare name: getChildFile() would take a name that begins with "~" for somebody's home folder.
*/
juce::File fileIn (const juce::File& folder, const juce::String& name)
{
    return juce::File (juce::File::addTrailingSeparator (folder.getFullPathName()) + name);
}

/** A name that every file system accepts and no file browser hides. */
juce::String safeFileName (const juce::String& name)
{
    juce::String printable;

    for (auto text = name.getCharPointer(); ! text.isEmpty();)
        if (const auto character = text.getAndAdvance(); character >= 0x20 && character != 0x7f)
            printable += character;

    const auto safe = juce::File::createLegalFileName (printable).trimCharactersAtStart (". ").trimEnd();
    return safe.isNotEmpty() ? safe : juce::String ("Track");
}

/** Group files by other programs don't say where a track came from; those of another system say it in their
    own way.
*/
juce::String baseName (const TrackState& track)
{
    const auto ofSource = sourceNameOf (track).upToLastOccurrenceOf (".", false, false);

    if (track.sourceInfo.file != juce::File() && ofSource.isNotEmpty())
        return ofSource;

    return portableFileName (safeFileName (ofSource.isNotEmpty() ? ofSource : track.name));
}

juce::String channelSuffix (const TrackState& track)
{
    return track.sourceInfo.numChannels <= 1 ? "" : track.sourceInfo.channel == 0 ? "_L" : "_R";
}

bool hasOutput (const TrackState& track, PlannedFor when)
{
    return when == PlannedFor::tracksOnceAnalysed ? track.takesPart() : track.hasProcessedOutput();
}

/** What follows the track's name in that of its file. */
juce::String endingOf (const TrackState& track, PlannedFor when)
{
    return channelSuffix (track) + (hasOutput (track, when) ? "_Processed" : "");
}

/** Names that differ by more than case: to many file systems "kick" and "Kick" are the same. */
class UniqueNames
{
public:
    juce::String claim (const juce::String& base, const juce::String& suffix, const juce::String& extension)
    {
        for (int number = 1;; ++number)
        {
            const auto numbered = number == 1 ? suffix : suffix + "_" + juce::String (number);
            auto name = possibleFileName (joinedName (base, numbered + extension));

            if (taken.insert (name.toLowerCase()).second)
                return name;
        }
    }

private:
    std::set<juce::String> taken;
};
} // namespace

ExportFileType exportFileTypeFor (const juce::String& extension)
{
    const auto bare = extension.trimCharactersAtStart (".");
    const auto isAiff = bare.equalsIgnoreCase ("aiff") || bare.equalsIgnoreCase ("aif");
    return isAiff ? ExportFileType::aiff : ExportFileType::wav;
}

ExportSampleFormat
exportSampleFormatFor (int bitsPerSample, bool isFloatingPoint, ExportFileType type, ExportDepth depth)
{
    if (depth == ExportDepth::float32 && type == ExportFileType::wav)
        return { 32, true, {} };

    if (depth == ExportDepth::float32)
    {
        auto integer = exportSampleFormatFor (bitsPerSample, isFloatingPoint, type);
        integer.note =
            "AIFF can't hold 32-bit float: written as " + juce::String (integer.bitsPerSample) + " bit.";
        return integer;
    }

    ExportSampleFormat format;
    const auto source = juce::String (bitsPerSample) + "-bit " + (isFloatingPoint ? "float" : "integer");

    if (bitsPerSample >= 32)
    {
        format.isFloatingPoint = type == ExportFileType::wav;
        format.bitsPerSample = format.isFloatingPoint ? 32 : 24;

        if (! format.isFloatingPoint)
            format.note = "The source is " + source + ", which AIFF can't hold: written as 24 bit.";
        else if (bitsPerSample > 32 || ! isFloatingPoint)
            format.note = "The source is " + source + ": written as 32-bit float.";

        return format;
    }

    format.bitsPerSample = bitsPerSample <= 8 ? 8 : bitsPerSample <= 16 ? 16 : 24;

    if (format.bitsPerSample != bitsPerSample)
        format.note = "The source is " + juce::String (bitsPerSample) + " bit: written as "
                      + juce::String (format.bitsPerSample) + " bit.";

    return format;
}

juce::String exportFileName (const TrackState& track, const juce::String& extension)
{
    return joinedName (baseName (track), endingOf (track, PlannedFor::tracksAsTheyAre) + extension);
}

std::vector<PlannedFile>
planExport (std::span<const TrackState> tracks, const ExportOptions& options, PlannedFor when)
{
    UniqueNames names;
    std::vector<PlannedFile> files;

    for (const auto& track : tracks)
    {
        const auto ending = endingOf (track, when);
        const auto ownName = baseName (track) + ending + options.extension;
        const auto name = names.claim (baseName (track), ending, options.extension);
        juce::String note;

        if (ownName.getNumBytesAsUTF8() > longestFileName)
            note = "Name shortened: it would have had more than 255 bytes.";
        else if (name != ownName)
            note = "Numbered: another track has the name " + ownName + ".";

        files.push_back ({ fileIn (options.folder, name), note });
    }

    return files;
}

std::vector<juce::File>
planComponents (std::span<const TrackState> tracks, const ExportOptions& options, PlannedFor when)
{
    UniqueNames names;
    std::vector<juce::File> files;

    for (const auto& track : tracks)
    {
        if (when == PlannedFor::tracksOnceAnalysed ? ! track.takesPart() : track.components == nullptr)
            continue;

        for (int slot = 0; slot < channelLayout::numComponents; ++slot)
        {
            const auto ending =
                channelSuffix (track) + "_Component" + juce::String (slot + 1).paddedLeft ('0', 2);
            files.push_back (fileIn (options.folder, names.claim (baseName (track), ending, ".wav")));
        }
    }

    return files;
}

} // namespace tessivar
