#include "platform/WritingNote.h"

#include "platform/AtomicFile.h"
#include "platform/Process.h"

namespace tessivar
{

namespace
{
constexpr auto noteSuffix = ".writing";
} // namespace

WritingNote::WritingNote (const juce::File& notes, const juce::File& folder)
    : note (notes.getChildFile (uniqueTag() + noteSuffix)), lock (FileLock::waitFor (note, 0))
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
