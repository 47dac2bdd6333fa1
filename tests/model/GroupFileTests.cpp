#include "model/BleedMapText.h"
#include "model/LittleEndian.h"
#include "model/groupfile/GroupFileVerification.h"
#include "model/groupfile/GroupTail.h"
#include "platform/FileStatus.h"
#include "tests/model/GroupFileBuilders.h"
#include "tests/support/ForkedProcess.h"
#include "tools/filefaults/FileFaults.h"

#include <catch2/catch.hpp>

#include <chrono>
#include <filesystem>

#if ! JUCE_WINDOWS
    #include <unistd.h>
#endif

using namespace tessivar;
using namespace tessivar::test;

namespace
{
GroupVerification verified (const juce::File& file)
{
    GroupVerification result;
    const auto verification = verifyGroupFile (file, result);
    INFO (verification.reason);
    REQUIRE (verification.isOk());
    return result;
}

std::int64_t bytesOnDisk (const juce::File& file)
{
    const auto status = statusOf (file);
    REQUIRE (status.has_value());
    return static_cast<std::int64_t> (status->bytesOnDisk);
}

/** Large enough that what is not needed any more makes a save write the file anew. */
GroupState largeGroup (int seed)
{
    GroupState group;
    group.name = "Large";
    group.tracks = { trackWith ("Kick", DrumType::kick, 300000, true, seed),
                     trackWith ("Snare", DrumType::snare, 300000, false, seed + 1) };
    return group;
}
} // namespace

TEST_CASE ("A Group in a file", "[model][groupfile]")
{
    WorkFolder folder;
    const auto file = folder.file ("take.dls");
    const auto copy = folder.file ("copy.dls");
    const auto group = smallGroup();

    SECTION ("comes back as it was, and saved again gives the same bytes")
    {
        const auto first = saved (group, file);
        CHECK (first.kind == SaveKind::whole);
        CHECK (static_cast<juce::int64> (first.bytesWritten) == file.getSize());
        CHECK (isSameGroup (first.state, group));

        const auto again = loaded (file);
        CHECK (isSameGroup (again.state, group));
        CHECK_FALSE ((again.recovered || again.damaged));
        CHECK (again.state.tracks[1].fileWord == (0xabc00000u | 1u << 8));

        saved (again.state, copy);
        CHECK (bytesOf (copy) == bytesOf (file));
        CHECK (verified (file).isIntact());
        CHECK (verified (file).readable.size() == 3);
        CHECK (verified (file).bytesChecked == 4u * (7 * 300 + 317 + 295));
    }

    SECTION ("of a version that does not tell counts knobs as touched that stand elsewhere than at the start")
    {
        auto old = group;
        old.tracks[0].record.setKnobs (KnobSetting::b, startKnobsB);
        old.tracks[0].record.setKnobs (KnobSetting::a, { 2.7f, 0.0f }); // what was suggested
        old.tracks[2].record.setKnobs (KnobSetting::b, { 1.0f, 0.0f });
        old.tracks.push_back (old.tracks[1]);
        old.tracks[3].record.setKnobs (KnobSetting::a, { 3.0f, 0.0f });

        FoundTail found;
        found.isOurs = true;
        found.tail = groupTailFor (old);

        for (auto& track : found.tail.tracks)
            track.properties.remove (juce::StringRef ("knobsTouched"));

        juce::StringArray notes;
        const auto read = groupStateFrom (found, {}, notes);
        std::vector<bool> touched;

        for (const auto& track : read.tracks)
            touched.push_back (track.knobsTouched);

        CHECK (touched == std::vector<bool>{ false, false, true, true });
    }

    SECTION ("with levels that can't be takes the nearest, or 0 dB")
    {
        FoundTail found;
        found.isOurs = true;

        for (const auto* level : { "1e300", "-1e300", "nan", "loud", "-12.5" })
        {
            found.tail.tracks.push_back (groupTailFor (group).tracks[0]);
            found.tail.tracks.back().properties.set ("kit.faderDb", level);
        }

        juce::StringArray notes;
        std::vector<float> levels;

        for (const auto& track : groupStateFrom (found, {}, notes).tracks)
            levels.push_back (track.strip.faderDb);

        CHECK (levels == std::vector{ 6.0f, -60.0f, 0.0f, 0.0f, -12.5f });
    }

    SECTION ("is read without its bleed map when that is none")
    {
        FoundTail found;
        found.isOurs = true;
        const auto read = [&] (const juce::String& bleed)
        {
            found.tail = groupTailFor (group);
            found.tail.properties.set ("analysis.bleed", bleed);
            found.tail.tracks[0].properties.set ("findings.bleedPlace", "2");
            juce::StringArray notes;
            const auto state = groupStateFrom (found, {}, notes);
            REQUIRE (state.analysis);
            CHECK_FALSE (state.bleedPlaceOf (state.tracks[0])); // past the map's end, or without one
            return state.analysis->bleed != nullptr;
        };

        const auto whole = toText (*group.analysis->bleed);
        auto values =
            std::vector (group.analysis->bleed->values().begin(), group.analysis->bleed->values().end());
        CHECK (read (whole));
        CHECK_FALSE (read ("1" + whole.fromFirstOccurrenceOf (":", true, false)));
        CHECK_FALSE (read ("-2" + whole.fromFirstOccurrenceOf (":", true, false)));
        CHECK_FALSE (read (whole.dropLastCharacters (8)));
        CHECK_FALSE (read ("2:!"));

        for (const auto bad : { -1.0f, std::nanf (""), std::numeric_limits<float>::infinity() })
        {
            values[0] = bad;
            CHECK_FALSE (
                read ("2:" + juce::Base64::toBase64 (values.data(), values.size() * sizeof (float))));
        }
    }

    SECTION ("without tracks, and one with the most there can be, too")
    {
        GroupState none;
        none.name = "Nothing yet";
        saved (none, file);
        CHECK (loaded (file).state.name == "Nothing yet");
        CHECK (loaded (file).state.tracks.empty());

        GroupState many;

        while (many.tracks.size() < 254)
            many.tracks.push_back (
                trackWith (juce::String (many.tracks.size()), DrumType::snare, 3, false, 1));

        saved (many, file);
        CHECK (isSameGroup (loaded (file).state, many));

        many.tracks.push_back (many.tracks.front());
        CHECK_THROWS_WITH (saved (many, file), Catch::Contains ("at most 254 tracks, not 255"));
        CHECK (loaded (file).state.tracks.size() == 254);
    }

    SECTION ("keeps one copy of audio that tracks share")
    {
        auto shared = group;
        shared.tracks.push_back (shared.tracks[0]);
        saved (shared, file);
        saved (loaded (file).state, copy);
        CHECK (isSameGroup (loaded (file).state, shared));
        CHECK (bytesOf (copy) == bytesOf (file));
        saved (group, copy);
        CHECK (file.getSize() - copy.getSize() < 7 * 300 * 4);
    }

    SECTION ("cuts what its format has no room for at a character")
    {
        auto wordy = group;
        wordy.name = juce::String::repeatedString (juce::CharPointer_UTF8 ("\xc3\xbc"), 5000);
        wordy.tracks[0].name = "x" + wordy.name;
        saved (wordy, file);
        const auto again = loaded (file);
        CHECK (again.state.name == wordy.name);
        CHECK (again.state.tracks[0].name == wordy.tracks[0].name.substring (0, 4096));
    }

    SECTION ("is refused with the reason, and nothing is left behind")
    {
        std::static_pointer_cast<MemorySamples> (group.tracks[1].source)->fails = true;
        CHECK_THROWS_WITH (saved (group, file), "samples: no longer there");
        CHECK (folder.numEntries() == 0);

        auto request = requestFor (smallGroup(), file);
        request.spareBytes = 1ull << 60;
        SavedGroup result;
        const auto refused = saveGroup (request, result);
        CHECK (refused.end == Outcome::End::noRoom);
        CHECK (juce::String (refused.reason)
                   .contains (juce::String (request.spareBytes + static_cast<std::uint64_t> (3 * 4096))
                                  .substring (0, 14)));

        request.spareBytes = 0;
        auto asked = 0;
        CHECK (saveGroup (request, result, { [&] { return ++asked == 3; }, {} }).wasStopped());
        CHECK (folder.numEntries() == 0);
    }
}

TEST_CASE ("Saving what was changed", "[model][groupfile]")
{
    WorkFolder folder;
    const auto file = folder.file ("take.dls");
    const auto first = saved (smallGroup(), file);
    const auto before = bytesOf (file);
    auto changed = first.state;
    changed.tracks[0].record.setKnobs (KnobSetting::a, { 5.0f, 0.5f });
    changed.tracks[1].name = "Snare top";
    std::swap (changed.tracks[1], changed.tracks[2]);

    SECTION ("of knobs and names appends a tail, and no change nothing")
    {
        const auto second = saved (changed, file, first.file);
        CHECK (second.kind == SaveKind::tail);
        CHECK (second.file == first.file);
        const auto after = bytesOf (file);
        CHECK (after.size() == before.size() + second.bytesWritten);
        CHECK (std::equal (before.begin(), before.end(), after.begin()));
        CHECK (isSameGroup (loaded (file).state, changed));
        CHECK (verified (file).isIntact());
        CHECK (verified (file).bytesChecked == 4u * (7 * 300 + 317 + 295));

        CHECK (saved (second.state, file, second.file).bytesWritten == 0);
        CHECK (bytesOf (file) == after);
    }

    SECTION ("goes to a new file when the old one is gone, and appends to one that was only touched")
    {
        const auto path = std::filesystem::path (file.getFullPathName().toStdString());
        std::filesystem::last_write_time (path,
                                          std::filesystem::last_write_time (path) + std::chrono::hours (1));
        const auto second = saved (changed, file, first.file);
        CHECK (second.kind == SaveKind::tail);
        REQUIRE (file.deleteFile());

        if (openFilesLoseTheirNames (folder.folder))
        {
            CHECK (saved (changed, file, second.file).kind == SaveKind::whole);
            CHECK (isSameGroup (loaded (file).state, changed));
        }
    }

    SECTION ("replaces what others made of the file only on request")
    {
        const auto link = folder.file ("link.dls");
        auto target = file;

        SECTION ("when it grew")
        {
            file.appendText ("more");
        }
        SECTION ("when another saved into it, at the same size")
        {
            auto theirs = before;
            theirs[theirs.size() - 60] ^= 1;
            juce::FileOutputStream stream (file);
            REQUIRE (stream.write (theirs.data(), theirs.size()));
        }
        SECTION ("when another took its place")
        {
            const auto other = folder.write ("other.dls", before);
            REQUIRE_FALSE (FileSystemCalls::system().rename (other, file, true).failed());

#if ! JUCE_WINDOWS
            SECTION ("also by another name")
            {
                REQUIRE (file.createSymbolicLink (link, false));
                target = link;
            }
#endif
        }

        const auto theirs = bytesOf (file);
        auto request = requestFor (changed, target, first.file);
        const auto question = questionBeforeSaving (request);
        CHECK (question.about == SaveQuestion::About::changedFile);
        CHECK (question.reason.startsWith (target.getFullPathName()));
        SavedGroup second;
        CHECK_FALSE (saveGroup (request, second).isOk());
        CHECK (bytesOf (file) == theirs);

        request.replacesChanged = true;
        CHECK (questionBeforeSaving (request).about == SaveQuestion::About::nothing);
        REQUIRE (saveGroup (request, second).isOk());
        CHECK (second.kind == SaveKind::whole);
        CHECK (isSameGroup (loaded (file).state, changed));
        CHECK (questionBeforeSaving (requestFor (changed, file, second.file)).about
               == SaveQuestion::About::nothing);
    }

    SECTION ("goes to a new file when audio is new")
    {
        changed.tracks[0] = trackWith ("Kick", DrumType::kick, 400, true, 9);
        const auto second = saved (changed, file, first.file);
        CHECK (second.kind == SaveKind::whole);
        CHECK (isSameGroup (second.state, changed));
        // The samples of the old file stay readable for those who still hold them.
        CHECK (savedSamplesOf (first.state.tracks[0]) == savedSamplesOf (smallGroup().tracks[0]));
    }

    SECTION ("under another name leaves the old file alone")
    {
        const auto second = saved (changed, folder.file ("other.dls"), first.file);
        CHECK (second.kind == SaveKind::whole);
        CHECK (bytesOf (file) == before);
    }
}

TEST_CASE ("Room that a group file does not need any more", "[model][groupfile]")
{
    WorkFolder folder;
    const auto file = folder.file ("take.dls");
    auto first = saved (largeGroup (1), file);
    const auto sizeBefore = file.getSize();

    SECTION ("makes the next save a new file when it is much, and fits")
    {
        auto fewer = first.state;
        fewer.tracks.pop_back();
        auto request = requestFor (fewer, file, first.file);
        SavedGroup result;

        SECTION ("of course only when it fits")
        {
            request.spareBytes = 1ull << 60;
            REQUIRE (saveGroup (request, result).isOk());
            CHECK (result.kind == SaveKind::tail);
        }
        SECTION ("and is")
        {
            REQUIRE (saveGroup (request, result).isOk());
            CHECK (result.kind == SaveKind::whole);
            CHECK (file.getSize() < sizeBefore - 1000000);
        }

        CHECK (isSameGroup (loaded (file).state, fewer));
    }

    SECTION ("is given back when there is no room for a second file")
    {
        auto rendered = first.state;
        rendered.tracks[0] = trackWith ("Kick", DrumType::kick, 300000, true, 5);
        auto request = requestFor (rendered, file, first.file);
        request.spareBytes = 1ull << 60;
        const auto onDisk = bytesOnDisk (file);
        SavedGroup result;

        // Only when the user has agreed to it.
        CHECK (questionBeforeSaving (request).about == SaveQuestion::About::inPlace);
        CHECK (saveGroup (request, result).end == Outcome::End::noRoom);
        request.savingDiskSpace = true;
        CHECK (questionBeforeSaving (request).about == SaveQuestion::About::nothing);
        REQUIRE (saveGroup (request, result).isOk());
        CHECK (result.kind == SaveKind::inPlace);
        const auto canGiveBack = roomCanBeGivenBack (folder.folder);
        CHECK (result.notes.isEmpty() == canGiveBack);
        CHECK (isSameGroup (loaded (file).state, rendered));
        CHECK (verified (file).isIntact());

        // The old rendering is still held by first.
        CHECK (savedSamplesOf (first.state.tracks[0]) == numberedSamples (300000, 7, 1));
        CHECK (bytesOnDisk (file) > onDisk + 7000000);

        // Nobody holds it any more: the next time its room goes, and so do older tails.
        request = {};
        result = {};
        first = {};
        rendered = {};
        auto reopened = loaded (file);
        REQUIRE_FALSE (reopened.file->isReadOnly());
        auto next = reopened.state;
        next.tracks[1] = trackWith ("Snare", DrumType::snare, 300000, false, 7);
        auto second = requestFor (next, file, reopened.file);
        second.savingDiskSpace = true;
        second.spareBytes = 1ull << 60;
        REQUIRE (saveGroup (second, result).isOk());
        CHECK (result.kind == SaveKind::inPlace);
        CHECK (isSameGroup (loaded (file).state, next));
        CHECK (verified (file).isIntact());
        CHECK ((bytesOnDisk (file) < onDisk + 4 * 300000 + 100000 || ! canGiveBack));
    }
}

TEST_CASE ("Who may save to a group file", "[model][groupfile]")
{
    WorkFolder folder;
    const auto file = folder.file ("take.dls");
    saved (smallGroup(), file);
    auto first = loaded (file);
    REQUIRE_FALSE (first.file->isReadOnly());

    SECTION ("is who opened it first, until it is closed")
    {
        auto second = loaded (file);
        CHECK (second.file->isReadOnly());
#if JUCE_WINDOWS
        CHECK (second.file->why() == "open in another window"); // whose, the system doesn't tell
#else
        CHECK (second.file->why() == "open in another window of this program");
#endif
        CHECK (second.notes.size() == 1);
        CHECK_THROWS_WITH (saved (second.state, file, second.file),
                           Catch::Contains ("open in another window"));
        CHECK_THROWS_WITH (saved (smallGroup(), file), Catch::Contains ("open in another window"));

        first = {};
        second = loaded (file);
        CHECK_FALSE (second.file->isReadOnly());
    }

#if ! JUCE_WINDOWS
    SECTION ("is told the process that has it")
    {
        first = {};
        int ready[2] = {}, done[2] = {};
        REQUIRE ((::pipe (ready) == 0 && ::pipe (done) == 0));
        char c = 0;
        ForkedProcess child (
            [&]
            {
                const auto held = loaded (file);
                ::close (done[1]);
                return ::write (ready[1], &c, 1) == 1 && ::read (done[0], &c, 1) == 0 ? 0 : 1;
            });
        REQUIRE (::read (ready[0], &c, 1) == 1);
        CHECK (loaded (file).file->why()
               == "open in another window (process " + juce::String (child.pid()) + ")");
        ::close (done[1]);
        CHECK (child.wait() == 0);
        CHECK_FALSE (loaded (file).file->isReadOnly());
    }
#endif

    SECTION ("keeps the lock over a new file")
    {
        auto request = requestFor (first.state, file, first.file);
        request.compact = true;
        SavedGroup result;
        REQUIRE (saveGroup (request, result).isOk());
        CHECK (result.kind == SaveKind::whole);
        CHECK (result.file->path() == file);
        CHECK_FALSE (result.file->isReadOnly());
        CHECK (loaded (file).file->isReadOnly());
    }
}

TEST_CASE ("A group file by another program", "[model][groupfile]")
{
    WorkFolder folder;
    ForeignFile foreign;
    auto& track = foreign.tracks[0];
    track.name = text ("Kick");
    track.word = 0x89abcdef;
    track.metadata = { { text ("b"), text ("2") }, { text ("a"), text ("1") }, { text ("B"), text ("3") } };

    for (std::size_t i = 0; i < track.record.size(); ++i)
        track.record[i] = static_cast<std::uint8_t> (i + 1);

    // Knobs, selector and type in their ranges.
    for (const auto at : { 68, 72, 76, 96 })
        std::copy_n (f32 (1.0f).begin(), 4, track.record.begin() + at);

    std::copy_n (u32 (2).begin(), 4, track.record.begin() + 104);

    const auto openBytesOf = [] (const TrackState& state)
    {
        Bytes bytes;
        const auto& raw = state.record.bytes();

        for (const auto& [from, to] : { std::pair{ 8, 16 },
                                        std::pair{ 32, 48 },
                                        std::pair{ 56, 68 },
                                        std::pair{ 80, 88 },
                                        std::pair{ 100, 104 },
                                        std::pair{ 108, 116 },
                                        std::pair{ 117, 136 },
                                        std::pair{ 140, 144 } })
            bytes.insert (bytes.end(), raw.begin() + from, raw.begin() + to);

        return bytes;
    };

    SECTION ("keeps what isn't understood through every kind of save")
    {
        const auto file = folder.write ("theirs.dls", foreign.encode());
        const auto copy = folder.file ("copy.dls");
        const auto first = loaded (file);
        CHECK (first.state.name == "Their words");
        CHECK (first.state.foreignText == "Their words");
        CHECK (first.state.tracks[0].sourceInfo.metadata.getAllKeys() == juce::StringArray ("b", "a", "B"));
        CHECK (first.state.tracks[0].sourceInfo.sampleRate == 44100.0);
        CHECK (savedSamplesOf (first.state.tracks[0]) == track.samples);

        auto renamed = first.state;
        renamed.name = "Ours";
        renamed.tracks[0].record.setKnobs (KnobSetting::a, { 2.0f, 0.0f });
        CHECK (saved (renamed, file, first.file).kind == SaveKind::tail);
        CHECK (saved (renamed, copy).kind == SaveKind::whole);

        for (const auto& path : { file, copy })
        {
            const auto again = loaded (path);
            CHECK (again.state.name == "Ours");
            CHECK (again.state.foreignText == "Their words");
            CHECK (again.state.tracks[0].fileWord == 0x89abcdef);
            CHECK (openBytesOf (again.state.tracks[0]) == openBytesOf (first.state.tracks[0]));
            CHECK (again.state.tracks[0].record.knobs (KnobSetting::a).focus == 2.0f);
        }

        saved (loaded (copy).state, folder.file ("third.dls"));
        CHECK (bytesOf (folder.file ("third.dls")) == bytesOf (copy));
    }

    SECTION ("keeps a text that is none")
    {
        foreign.groupText = { 0, 1, 2, 0xff, 0xfe };
        const auto file = folder.write ("theirs.dls", foreign.encode());
        const auto first = loaded (file);
        CHECK (first.state.name == "theirs");
        const auto copy = folder.file ("copy.dls");
        saved (first.state, copy);
        const auto bytes = bytesOf (copy);
        CHECK (std::search (bytes.begin(), bytes.end(), foreign.groupText.begin(), foreign.groupText.end())
               != bytes.end());
    }

    SECTION ("tells its sample rate by whatever number has the look of one")
    {
        const auto rateWith = [&] (int at, const Bytes& number)
        {
            track.record.fill (0);
            std::copy (number.begin(), number.end(), track.record.begin() + at);
            return loaded (folder.write ("theirs.dls", foreign.encode())).state.sampleRate();
        };
        CHECK (rateWith (56, { 0, 0, 0, 0, 0, 0x70, 0xe7, 0x40 }) == 48000.0);
        CHECK (rateWith (108, f32 (96000.0f)) == 96000.0);
        CHECK (rateWith (132, u32 (192000)) == 192000.0);
        CHECK (rateWith (100, u32 (22050)) == 44100.0);
    }

    SECTION ("of version 1.0 has no setting B, and counts as analysed when its tracks are rendered")
    {
        track.version = 1.0f;
        track.isRendered = true;
        track.samples = numberedSamples (5, 7, 1);
        const auto first = loaded (folder.write ("theirs.dls", foreign.encode()));
        const auto& record = first.state.tracks[0].record;
        CHECK (record.knobs (KnobSetting::a) == KnobValues{ 1.0f, 1.0f });
        CHECK (record.knobs (KnobSetting::b) == KnobValues{});
        CHECK (record.selected() == KnobSetting::a);
        CHECK_FALSE (first.state.changedSinceAnalysis());
        CHECK (savedSamplesOf (first.state.tracks[0]) == track.samples);
    }
}
