#include "model/groupfile/GroupFileVerification.h"
#include "model/groupfile/TessivarFormatReader.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "terms/WorkControl.h"
#include "tests/support/WhicheverCallFails.h"
#include "tools/filefaults/GroupFileFaultRuns.h"

#include <catch2/catch.hpp>

#include <filesystem>
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

Opened opened (const WorkFolder& folder, const Bytes& bytes)
{
    Opened result;
    const auto file = folder.write ("damaged.dls", bytes);
    result.isOpen = openGroupFile (file, result.group).wasOk();
    const TessivarFormatReader reader (streamOn (bytes).release());
    juce::ignoreUnused (reader.isValid());
    return result;
}

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
    WorkFolder folder;
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

    SECTION ("whose last save the disk keeps back are refused, and don't open as the save before")
    {
        // The file loses its end when its size is known: to the reader, bytes that can't be read.
        std::shared_ptr<GroupFile> shrunk;
        REQUIRE (GroupFile::open (file, shrunk).wasOk());
        std::filesystem::resize_file (file.getFullPathName().toStdString(), oldBytes.size());
        FoundTail found;
        const auto result = findTailOf (*shrunk, found);
        CHECK (result.getErrorMessage().startsWith (file.getFullPathName()
                                                    + ": the file can't be read at byte "));
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
            // Appended sectors, the trailer aside, reach the disk in any order; the trailer comes later.
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
        REQUIRE (verifyGroupFile (file, verification).isOk());
        CHECK ((verification.isIntact() && verification.numTracks == 3));

        auto damaged = bytes;
        damaged[70] ^= 4;
        REQUIRE (verifyGroupFile (folder.write ("damaged.dls", damaged), verification).isOk());
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
        REQUIRE (verifyGroupFile (folder.write ("damaged.dls", damaged), verification).isOk());
        CHECK (verification.damage
               == juce::StringArray ("track 3 \"Room\": the sums of its audio are damaged"));

        // What a disk keeps back is told apart.
        struct BadDisk final : RandomAccessBytes
        {
            explicit BadDisk (const std::vector<std::uint8_t>& content) : bytes (content) {}

            [[nodiscard]] std::uint64_t sizeInBytes() const override { return bytes.sizeInBytes(); }
            [[nodiscard]] bool read (std::uint64_t offset, std::span<std::uint8_t> dest) override
            {
                const auto fails = offset <= badByte && badByte < offset + dest.size();
                return ! fails && bytes.read (offset, dest);
            }

            MemoryBytes bytes;
            std::uint64_t badByte = 0;
        };
        BadDisk disk (bytes);
        std::shared_ptr<GroupFile> whole;
        FoundTail found;
        REQUIRE (GroupFile::open (file, whole).wasOk());
        REQUIRE (findTailOf (*whole, found).wasOk());

        for (const auto& [badByte, text] :
             { std::pair<std::uint64_t, const char*>{ 70, "\"Kick in\": 1 of 1 blocks of its audio can't" },
               { oldTail - 1, "\"Room\": the sums of its audio can't be read" } })
        {
            GroupVerification ofDisk;
            disk.badByte = badByte;
            REQUIRE (verifyAudio (disk, found, ofDisk, {}).isOk());
            REQUIRE (ofDisk.damage.size() == 1);
            CHECK (ofDisk.damage[0].contains (text));
        }

        damaged = bytes;
        damaged[damaged.size() - 24 - 100] ^= 4; // a record
        REQUIRE (verifyGroupFile (folder.write ("damaged.dls", damaged), verification).isOk());
        CHECK (verification.damage[0].contains ("the one before it"));

        // A save that was only begun has cost nothing.
        damaged = bytes;
        damaged.resize (damaged.size() + 40, 7);
        REQUIRE (verifyGroupFile (folder.write ("begun.dls", damaged), verification).isOk());
        CHECK ((verification.isIntact() && verification.wasInterrupted));

        const WorkControl stop{ [] { return true; }, {} };
        CHECK (verifyGroupFile (file, verification, stop).wasStopped());
    }
}

TEST_CASE ("Group files whose saving fails", "[model][groupfile]")
{
    const auto namesGoAtOnce = openFilesLoseTheirNames (WorkFolder().folder);

    for (const auto kind : { SaveKind::whole, SaveKind::tail, SaveKind::inPlace })
        whicheverCallFails (
            4,
            [&] (FaultyCalls& calls)
            {
                INFO ("kind " << static_cast<int> (kind));
                WorkFolder folder;
                const auto file = folder.file ("take.dls");
                saved (smallGroup(), file);
                const auto before = bytesOf (file);
                auto old = loaded (file);
                const SaveToDisturb save{ kind };
                SavedGroup result;
                const auto saving = saveGroup (save.request (old, file, calls), result);
                REQUIRE ((folder.numEntries() == 1 || ! namesGoAtOnce));

                if (saving.isOk())
                {
                    REQUIRE (result.kind == kind);
                    REQUIRE (isSameGroup (loaded (file).state, save.wanted (old.state)));
                }
                else
                {
                    REQUIRE (juce::String (saving.reason).contains (file.getFullPathName()));
                    const auto found = loaded (file).state;

                    // If not even cutting the file back works, what was appended counts as saved once its
                    // trailer is there.
                    if (calls.failedAfterRename())
                        REQUIRE (isSameGroup (found, save.wanted (smallGroup())));
                    else if (kind == SaveKind::whole || ! calls.lasts)
                        REQUIRE (bytesOf (file) == before);
                    else
                        REQUIRE ((isSameGroup (found, smallGroup())
                                  || isSameGroup (found, save.wanted (smallGroup()))));

                    // The disk is there again: the same Group goes into its file, and nobody else is blamed.
                    if (! calls.failedAfterRename())
                    {
                        calls.end();
                        auto again = save.request (old, file, calls);
                        again.spareBytes = 0;
                        REQUIRE (questionBeforeSaving (again).about == SaveQuestion::About::nothing);
                        REQUIRE (saveGroup (again, result).isOk());
                        REQUIRE (isSameGroup (loaded (file).state, save.wanted (smallGroup())));
                    }
                }

                // Only harmless faults may go unreported: a short write, space not released, a folder not
                // closed.
                if (calls.reachedTheFault() && saving.isOk() && calls.kind != FaultyCalls::shortWrite)
                    REQUIRE (
                        (kind == SaveKind::whole ? calls.failedAfterRename() : ! result.notes.isEmpty()));
            });
}

TEST_CASE ("An appended save is on disk before its trailer is written", "[model][groupfile]")
{
    WorkFolder folder;
    const auto file = folder.file ("take.dls");
    const auto first = saved (smallGroup(), file);
    RecordingCalls calls;
    SavedGroup result;
    REQUIRE (saveGroup (SaveToDisturb{ SaveKind::tail }.request (loaded (file), file, calls), result).end
             == Outcome::End::refused);
    CHECK (calls.log.isEmpty()); // first has the lock

    auto request = requestFor (knobsTurned (first.state), file, first.file);
    request.calls = &calls;
    REQUIRE (saveGroup (request, result).isOk());
    CHECK (calls.log == juce::StringArray ("write", "sync", "write", "sync"));
}

TEST_CASE ("Group files whose saving is killed, and small disks", "[model][groupfile]")
{
    WorkFolder folder;
    const auto kills = killSaves (folder.folder, 20);
    CHECK (kills.lost == 0);
    CHECK (kills.leftovers == 0);
    const auto disks = saveOnSmallDisks (folder.folder, 64);
    CHECK (disks.lost == 0);
    CHECK (disks.unnamed == 0);
}
