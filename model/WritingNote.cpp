#include "model/WritingNote.h"

#include <unistd.h>

namespace tessivar
{

namespace
{
constexpr auto noteSuffix = ".writing";

juce::File freeNoteIn (const juce::File& notes)
{
    const auto random = juce::String::toHexString (juce::Random::getSystemRandom().nextInt64());
    return notes.getChildFile (juce::String (::getpid()) + "-" + random + noteSuffix);
}
} // namespace

WritingNote::WritingNote (const juce::File& notes, const juce::File& folder)
    : note (freeNoteIn (notes)), lock (FileLock::waitFor (note, 0))
{
    if (lock)
        note.appendText (folder.getFullPathName());
}

WritingNote::~WritingNote()
{
    if (lock)
        note.deleteFile();
}

void WritingNote::sweep (const juce::File& notes)
{
    for (const auto& file :
         notes.findChildFiles (juce::File::findFiles, false, juce::String ("*") + noteSuffix))
    {
        const auto lock = FileLock::take (file);

        if (! lock)
            continue;

        if (const auto folder = file.loadFileAsString(); juce::File::isAbsolutePath (folder))
            sweepUnfinished (juce::File (folder));

        file.deleteFile();
    }
}

} // namespace tessivar
