#pragma once

#include "model/TrackSamples.h"
#include "model/groupfile/AudioSums.h"
#include "model/groupfile/GroupTables.h"
#include "model/groupfile/RandomAccessBytes.h"
#include "platform/FileSystemCalls.h"

#include <juce_core/juce_core.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace tessivar
{

/** A group file that is open, shared by the samples that lie in it.

    While it is open it is locked against other copies of the program, and against other Groups of this one:
    who comes second may read it, but not save to it. Reads may come from several threads at once; they go to
    the file that was opened, also when another has taken its name since.
*/
class GroupFile final : public RandomAccessBytes
{
public:
    /** Fails, naming the file and the reason, when it isn't there, is no regular file or can't be read. */
    [[nodiscard]] static juce::Result open (const juce::File& path, std::shared_ptr<GroupFile>& file);

    [[nodiscard]] const juce::File& path() const { return name; }

    /** As of opening or of the last save. */
    [[nodiscard]] std::uint64_t sizeInBytes() const override { return size; }
    [[nodiscard]] bool read (std::uint64_t offset, std::span<std::uint8_t> dest) override;

    /** Whether saving to it is refused; why() then tells the user. */
    [[nodiscard]] bool isReadOnly() const { return reasonAgainstWriting.isNotEmpty(); }
    [[nodiscard]] const juce::String& why() const { return reasonAgainstWriting; }

    /** Whether its path still leads to it. */
    [[nodiscard]] bool isStillAt (const juce::File& path) const;

    /** Whether it stands under its path as it was opened or last saved. */
    [[nodiscard]] bool isUnchanged() const;

    /** Whether something else stands in its place, or it was changed, since it was opened or last saved: what
        others put there would be lost with a save to target. Not so when target is another file, or none.
    */
    [[nodiscard]] bool wasChangedAt (const juce::File& target) const;

    /** Bytes that it takes on disk; holes take none. */
    [[nodiscard]] std::uint64_t bytesOnDisk() const;

    /** Error of the last read that failed; empty when none did. */
    [[nodiscard]] juce::String lastError() const;

    /** Fails, naming the file and the first byte, when bytes that are inside could not be had: what was made
        of the rest may be wrong.
    */
    [[nodiscard]] juce::Result readResult() const;

    // For saving.

    [[nodiscard]] FileHandle handle() const { return opened.handle(); }

    /** Says which name the file was given, before it is shared. */
    void setPath (const juce::File& newPath) { name = newPath; }

    /** Where the tail begins that now stands at the end of the file, and where it ends. */
    void setTail (std::uint64_t start, std::uint64_t end);

    /** Notes how the file stands on disk, after it was written to. */
    void noteContent();
    [[nodiscard]] std::uint64_t tailStart() const { return startOfTail; }

    /** Ranges that samples were made for and that are in use. */
    [[nodiscard]] std::vector<AudioRange> rangesInUse() const;

private:
    friend class GroupFileSamples;

    GroupFile (const juce::File& path, OpenFile fileToOwn, std::uint64_t fileSize);
    [[nodiscard]] bool isAsNoted() const;
    [[nodiscard]] std::uint32_t endSumOf (std::uint64_t fileSize) const;
    bool fail (const juce::String& reason);
    bool failAt (std::uint64_t offset, const juce::String& reason);
    void addUser (const AudioRange& range);
    void removeUser (const AudioRange& range);

    juce::File name;
    const OpenFile opened;
    std::atomic<std::uint64_t> size, startOfTail{ 0 };

    /** How the file stood on disk when it was last looked at. */
    struct Content
    {
        std::uint64_t size = 0;    // more than that of the file when what was begun can't be cut off
        std::int64_t modified = 0; // ns since 1970
        std::uint32_t endSum = 0;  // of the last bytes
    };

    juce::String reasonAgainstWriting;

    mutable std::mutex stateLock; // guards error, firstFailure, noted and used
    juce::String error, firstFailure;
    Content noted;
    std::vector<AudioRange> used;

    JUCE_DECLARE_NON_COPYABLE (GroupFile)
};

/** A track's samples in a group file. Samples that are no finite number read as 0. */
class GroupFileSamples final : public TrackSamples
{
public:
    /** The range lies inside the file. */
    GroupFileSamples (std::shared_ptr<GroupFile> file, const AudioRange& range, const SumsPlace& sums);
    ~GroupFileSamples() override;

    [[nodiscard]] int numChannels() const override { return audio.channels; }
    [[nodiscard]] std::int64_t lengthInFrames() const override { return framesOf (audio); }
    [[nodiscard]] bool readFrames (std::int64_t start, std::span<float> dest) override;
    [[nodiscard]] juce::String lastError() const override { return groupFile->lastError(); }
    [[nodiscard]] Location location() const override { return { groupFile->path(), audio.offset }; }

    [[nodiscard]] GroupFile* file() const { return groupFile.get(); }
    [[nodiscard]] const AudioRange& range() const { return audio; }
    [[nodiscard]] const SumsPlace& sums() const { return sumsPlace; }

private:
    const std::shared_ptr<GroupFile> groupFile;
    const AudioRange audio;
    const SumsPlace sumsPlace;

    JUCE_DECLARE_NON_COPYABLE (GroupFileSamples)
};

/** Keeps others from opening the file that a Group is to be saved to, as long as lock is open; it isn't when
    the file isn't there, or is current, the one that the Group has open. Fails, with the name and the reason,
    when somebody else has it open or when current is write-protected.
*/
[[nodiscard]] juce::Result
lockGroupTarget (const juce::File& target, const GroupFile* current, OpenFile& lock);

/** Whether that would work now. */
[[nodiscard]] juce::Result checkGroupTarget (const juce::File& target, const GroupFile* current);

} // namespace tessivar
