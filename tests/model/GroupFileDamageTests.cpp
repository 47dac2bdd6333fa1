#include "model/groupfile/GroupFileVerification.h"
#include "model/groupfile/TessivarFormatReader.h"
#include "tests/model/GroupFileFaultRuns.h"
#include "tests/support/FileFaults.h"

#include <catch2/catch.hpp>

#include <iostream>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
GroupState knobsTurned (GroupState group)
{
    group.tracks[0].record.setKnobs (KnobSetting::a, { 4.5f, 1.0f });
    group.tracks[1].name = "Other name";
    return group;
}

/** Bytes of a file, and what they open as. */
struct Opened
{
    bool isOpen = false;
    LoadedGroup group;

    [[nodiscard]] bool isReported() const { return group.damaged || group.recovered; }
};

Opened opened (const TemporaryFolder& folder, const Bytes& bytes)
{
    Opened result;
    const auto file = folder.write ("damaged.dls", bytes);
    result.isOpen = openGroupFile (file, result.group).wasOk();
    const TessivarFormatReader reader (streamOn (bytes).release());
    juce::ignoreUnused (reader.isValid());
    return result;
}

int entriesOf (const TemporaryFolder& folder)
{
    return folder.file ("").getNumberOfChildFiles (juce::File::findFilesAndDirectories);
}

/** System calls of which every one from a given number on fails, as when a disk is pulled out. */
class PulledDisk final : public FileSystemCalls
{
public:
    explicit PulledDisk (int firstToFail) : callsLeft (firstToFail - 1) {}

    [[nodiscard]] bool isPulled() const { return callsLeft < 0; }

    int open (const char* path, int flags, mode_t mode) override
    {
        return fails() ? -1 : FileSystemCalls::open (path, flags, mode);
    }
    ssize_t pwrite (int descriptor, const void* data, std::size_t numBytes, std::int64_t offset) override
    {
        return fails() ? -1 : FileSystemCalls::pwrite (descriptor, data, numBytes, offset);
    }
    int fallocate (int descriptor, int mode, std::int64_t offset, std::int64_t length) override
    {
        return fails() ? -1 : FileSystemCalls::fallocate (descriptor, mode, offset, length);
    }
    int ftruncate (int descriptor, std::int64_t length) override
    {
        return fails() ? -1 : FileSystemCalls::ftruncate (descriptor, length);
    }
    int fdatasync (int descriptor) override { return fails() ? -1 : FileSystemCalls::fdatasync (descriptor); }

private:
    bool fails()
    {
        errno = EIO;
        return --callsLeft < 0;
    }

    int callsLeft;
};

/** A save of one kind, over a file that holds smallGroup(). */
struct SaveToDisturb
{
    SaveKind kind;

    [[nodiscard]] GroupState wanted (const GroupState& old) const
    {
        auto group = knobsTurned (old);

        if (kind != SaveKind::tail)
            group.tracks[2] = trackWith ("New", DrumType::tomHigh, 20000, true, 8);

        return group;
    }

    [[nodiscard]] SaveRequest
    request (const LoadedGroup& old, const juce::File& file, FileSystemCalls& calls) const
    {
        auto result = requestFor (wanted (old.state), file, old.file);
        result.savingDiskSpace = kind == SaveKind::inPlace;
        result.spareBytes = kind == SaveKind::inPlace ? 1ull << 60 : 0;
        result.calls = &calls;
        return result;
    }
};
} // namespace

TEST_CASE ("Damaged group files", "[model][groupfile]")
{
    TemporaryFolder folder;
    const auto file = folder.file ("take.dls");
    const auto old = smallGroup (40);
    const auto changed = knobsTurned (old);
    auto current = saved (old, file);
    const auto oldBytes = bytesOf (file);
    const auto oldTail = current.file->tailStart();
    current = saved (knobsTurned (current.state), file, current.file);
    REQUIRE (current.kind == SaveKind::tail);
    const auto bytes = bytesOf (file);

    SECTION ("cut anywhere are refused, or open as the save before and say so")
    {
        for (std::size_t size = 0; size < bytes.size(); ++size)
        {
            const auto result =
                opened (folder, { bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t> (size) });
            INFO (size);
            REQUIRE (result.isOpen == (size >= oldBytes.size()));

            if (size >= oldBytes.size())
            {
                REQUIRE (isSameGroup (result.group.state, old));
                REQUIRE (result.group.recovered == (size > oldBytes.size()));
                REQUIRE_FALSE (result.group.damaged);
            }
        }
    }

    SECTION ("with a wrong byte in the last tail open as the save before")
    {
        for (auto place = oldBytes.size(); place < bytes.size(); ++place)
            for (const auto flip : { 0xff, 0x01 })
            {
                auto damaged = bytes;
                damaged[place] = static_cast<std::uint8_t> (damaged[place] ^ flip);
                const auto result = opened (folder, damaged);
                INFO (place);
                REQUIRE (result.isOpen);
                REQUIRE (result.group.recovered);
                REQUIRE (isSameGroup (result.group.state, old));
            }
    }

    SECTION ("with a wrong byte in the only tail are refused, or say that they are damaged")
    {
        auto numOpened = 0;

        for (std::size_t place = oldTail; place < oldBytes.size(); ++place)
            for (const auto flip : { 0xff, 0x01 })
            {
                auto damaged = oldBytes;
                damaged[place] = static_cast<std::uint8_t> (damaged[place] ^ flip);
                const auto result = opened (folder, damaged);
                INFO (place);
                REQUIRE (result.isOpen == result.isReported());
                numOpened += result.isOpen ? 1 : 0;
            }

        // Only the number of tracks and what the checksum covers can't be done without.
        CHECK (numOpened > static_cast<int> (oldBytes.size() - oldTail) * 3 / 2);
    }

    SECTION ("are found behind zeros and other things that an interrupted save leaves")
    {
        Bytes other (5000, 0x5a);

        for (const auto& behind :
             { Bytes (1, 0), Bytes (32, 0), Bytes (70000, 0), other, text ("RAVISSET") + f32 (1.5f) })
        {
            const auto result = opened (folder, bytes + behind);
            REQUIRE (result.isOpen);
            CHECK (result.group.recovered);
            CHECK (result.group.notes.joinIntoString ("").contains ("recovered from an interrupted save"));
            CHECK (isSameGroup (result.group.state, changed));
        }

        // What was recovered is saved behind, and is found at once then.
        const auto longer = folder.write ("longer.dls", bytes + other);
        auto group = loaded (longer);
        CHECK (saved (group.state, longer, group.file).kind == SaveKind::tail);
        group = {};
        CHECK_FALSE (loaded (longer).recovered);
    }

    SECTION ("are old, new or recovered whatever parts of a tail reached the disk before the power went")
    {
        juce::Random random (1);

        for (auto image = 0; image < 2000; ++image)
        {
            // Sectors of what was appended, without its trailer, reach the disk in any order; the trailer comes later.
            constexpr std::size_t sector = 128;
            auto cut = bytes;
            const auto isTrailerThere = image % 10 == 0;

            for (auto place = oldBytes.size(); place < bytes.size() && ! isTrailerThere; place += sector)
                if (random.nextBool())
                    std::fill_n (cut.begin() + static_cast<std::ptrdiff_t> (place),
                                 std::min (sector, bytes.size() - place),
                                 std::uint8_t{});

            if (! isTrailerThere)
                std::fill (cut.end() - 24, cut.end(), std::uint8_t{});

            const auto result = opened (folder, cut);
            REQUIRE (result.isOpen);
            REQUIRE (isSameGroup (result.group.state, isTrailerThere ? changed : old));
        }
    }

    SECTION ("are verified down to the block of audio")
    {
        GroupVerification verification;
        REQUIRE (verifyGroupFile (file, verification).wasOk());
        CHECK ((verification.isIntact() && verification.numTracks == 3));

        auto damaged = bytes;
        damaged[70] ^= 4;
        REQUIRE (verifyGroupFile (folder.write ("damaged.dls", damaged), verification).wasOk());
        CHECK (verification.damage.size() == 1);
        CHECK (verification.damage[0].startsWith (
            "track 1 \"Kick in\": 1 of 1 blocks of its audio are damaged"));
        CHECK (verification.readable == juce::StringArray ("Other name", "Room"));

        // A copy has sums that fit it, so that who makes it has to tell.
        const auto copied = saved (loaded (folder.file ("damaged.dls")).state, folder.file ("copy.dls"));
        CHECK (copied.notes
               == juce::StringArray ("damaged.dls: the audio of track \"Kick in\" was damaged there"));
        CHECK (saved (loaded (file).state, folder.file ("second.dls")).notes.isEmpty());

        damaged = bytes;
        damaged[oldTail - 1] ^= 4; // a sum of the last track
        REQUIRE (verifyGroupFile (folder.write ("damaged.dls", damaged), verification).wasOk());
        CHECK (verification.damage
               == juce::StringArray ("track 3 \"Room\": the sums of its audio are damaged"));

        damaged = bytes;
        damaged[damaged.size() - 24 - 100] ^= 4; // a record
        REQUIRE (verifyGroupFile (folder.write ("damaged.dls", damaged), verification).wasOk());
        CHECK (verification.damage[0].contains ("the one before it"));

        // A save that was only begun has cost nothing.
        damaged = bytes;
        damaged.resize (damaged.size() + 40, 7);
        REQUIRE (verifyGroupFile (folder.write ("begun.dls", damaged), verification).wasOk());
        CHECK ((verification.isIntact() && verification.wasInterrupted));

        const JobControl stop{ [] { return true; }, {} };
        CHECK (verifyGroupFile (file, verification, stop).getErrorMessage() == "stopped");
    }
}

TEST_CASE ("Group files whose saving fails", "[model][groupfile]")
{
    for (const auto kind : { SaveKind::whole, SaveKind::tail, SaveKind::inPlace })
        for (const auto error : { ENOSPC, EIO, FaultyCalls::shortWrite })
        {
            auto call = 1;

            for (;; ++call)
            {
                INFO ("kind " << static_cast<int> (kind) << ", error " << error << ", call " << call);
                TemporaryFolder folder;
                const auto file = folder.file ("take.dls");
                saved (smallGroup(), file);
                const auto before = bytesOf (file);
                auto old = loaded (file);
                const SaveToDisturb save{ kind };
                FaultyCalls calls (call, error);
                SavedGroup result;
                const auto saving = saveGroup (save.request (old, file, calls), result);
                REQUIRE (entriesOf (folder) == 1);

                if (saving.wasOk())
                {
                    REQUIRE (result.kind == kind);
                    REQUIRE (isSameGroup (loaded (file).state, save.wanted (old.state)));
                }
                else
                {
                    REQUIRE (saving.getErrorMessage().contains (file.getFullPathName()));

                    if (calls.failedAfterRename())
                        REQUIRE (isSameGroup (loaded (file).state, save.wanted (smallGroup())));
                    else
                        REQUIRE (bytesOf (file) == before);
                }

                if (! calls.reachedTheFault())
                    break;

                // Only what loses nothing may go unreported: a short write, room not given back, a folder not closed.
                if (saving.wasOk() && error != FaultyCalls::shortWrite)
                    REQUIRE (
                        (kind == SaveKind::whole ? calls.failedAfterRename() : ! result.notes.isEmpty()));
            }

            REQUIRE (call > 4);
            std::cout << "saving, kind " << static_cast<int> (kind) << ", error " << error << ": " << call - 1
                      << " calls failed, none cost the old file\n";
        }
}

TEST_CASE ("A group file on a disk that is pulled out", "[model][groupfile]")
{
    for (const auto kind : { SaveKind::tail, SaveKind::inPlace })
        for (auto call = 1;; ++call)
        {
            INFO ("kind " << static_cast<int> (kind) << ", call " << call);
            TemporaryFolder folder;
            const auto file = folder.file ("take.dls");
            saved (smallGroup(), file);
            auto old = loaded (file);
            const SaveToDisturb save{ kind };
            PulledDisk disk (call);
            SavedGroup result;
            const auto saving = saveGroup (save.request (old, file, disk), result);
            const auto found = loaded (file);

            // Not even cutting the file back works any more: what was appended is no save until its trailer is there.
            if (saving.failed() && ! isSameGroup (found.state, save.wanted (old.state)))
                REQUIRE (isSameGroup (found.state, smallGroup()));
            else
                REQUIRE (isSameGroup (found.state, save.wanted (old.state)));

            if (! disk.isPulled())
                break;
        }
}

TEST_CASE ("Group files whose saving is killed, and small disks", "[model][groupfile]")
{
    TemporaryFolder folder;
    auto& random = juce::Random::getSystemRandom();
    const auto kills = killSaves (folder.file (""), 20, random);
    CHECK (kills.lost == 0);
    CHECK (kills.leftovers == 0);
    const auto disks = saveOnSmallDisks (folder.file (""), 64);
    CHECK (disks.lost == 0);
    CHECK (disks.unnamed == 0);
}
