#include "platform/AtomicFile.h"
#include "platform/BrokenReplacement.h"
#include "platform/DiskNames.h"
#include "platform/FileLock.h"

#include "tests/support/WhicheverCallFails.h"
#include "tests/support/WorkFolder.h"

#include <catch2/catch.hpp>

#if ! JUCE_WINDOWS
    #include <sys/stat.h>
    #include <sys/wait.h>
    #include <unistd.h>
#endif

using namespace tessivar;
using namespace tessivar::test;

namespace
{
/** More than three buffers, with a header that is filled in at the end. */
juce::MemoryBlock contentToWrite()
{
    juce::MemoryBlock content (600001, true); // more than two buffers

    for (std::size_t i = 0; i < content.getSize(); ++i)
        content[i] = static_cast<char> (i * 31);

    return content;
}

juce::Result writeContent (const juce::File& target, FileSystemCalls& calls)
{
    const auto content = contentToWrite();
    AtomicFile file (target, calls);

    if (const auto opened = file.open (content.getSize()); opened.failed())
        return opened;

    file.writeRepeatedByte (0, 8);
    file.write (&content[8], content.getSize() - 8);
    file.setPosition (0);
    file.write (content.getData(), 8);
    return file.commit();
}

bool holds (const juce::File& file, const juce::MemoryBlock& content)
{
    juce::MemoryBlock found;
    return file.loadFileAsData (found) && found == content;
}

#if ! JUCE_WINDOWS
int permissionsOf (const juce::File& file)
{
    struct stat info = {};
    REQUIRE (::stat (file.getFullPathName().toRawUTF8(), &info) == 0);
    return static_cast<int> (info.st_mode & 07777);
}
#endif
} // namespace

TEST_CASE ("AtomicFile", "[atomicfile]")
{
    WorkFolder work;
    const auto target = work.file ("take 1.wav");
    const juce::MemoryBlock oldContent ("old", 3);

    SECTION ("whichever call fails, the target is whole, the error is told and nothing else remains")
    {
        const auto hasOld = GENERATE (true, false);
        auto numToldAfterRename = 0;
        whicheverCallFails (
            10,
            [&] (FaultyCalls& calls)
            {
                INFO ("replaces a file: " << hasOld);
                target.deleteFile();

                if (hasOld)
                    REQUIRE (target.replaceWithData (oldContent.getData(), oldContent.getSize()));

                const auto result = writeContent (target, calls);
                REQUIRE (work.numEntries() == (target.exists() ? 1 : 0));

                if (result.wasOk() || calls.failedAfterRename())
                    REQUIRE (holds (target, contentToWrite()));
                else if (hasOld)
                    REQUIRE (holds (target, oldContent));
                else
                    REQUIRE_FALSE (target.exists());

                // A short write is finished.
                if (result.failed())
                    REQUIRE (result.getErrorMessage().startsWith (target.getFullPathName() + " "));
                else if (calls.reachedTheFault())
                    REQUIRE ((calls.kind == FaultyCalls::shortWrite || calls.failedAfterRename()));

                numToldAfterRename += result.failed() && calls.failedAfterRename() ? 1 : 0;
            });
        // That of the folder's flush, for two errors, once and for good.
        REQUIRE (numToldAfterRename == 4);
    }

    SECTION ("is on disk before it has its name, and its name is before the end")
    {
        RecordingCalls calls;
        REQUIRE (writeContent (target, calls).wasOk());
        CHECK (calls.log
               == juce::StringArray ("write", "sync", "rename", "sync " + work.folder.getFileName()));
    }

    SECTION ("gives up without a trace unless it is committed")
    {
        {
            AtomicFile file (target);
            REQUIRE (file.open().wasOk());
            file.writeString ("half");
            REQUIRE (file.finish().wasOk());
            CHECK (file.temporaryFile().existsAsFile());
        }

        CHECK (work.numEntries() == 0);
    }

#if ! JUCE_WINDOWS
    SECTION ("clears away what killed processes left in the folder, but not what a living one is writing")
    {
        AtomicFile living (target);
        REQUIRE (living.open().wasOk());
        const auto child = ::fork();

        if (child == 0)
        {
            AtomicFile file (work.file ("take 2.wav"));
            const auto opened = file.open();
            ::_exit (opened.wasOk() ? 0 : 1); // without a destructor, as a kill would
        }

        int status = -1;
        REQUIRE (::waitpid (child, &status, 0) == child);
        REQUIRE (status == 0);
        CHECK (work.numEntries() == 2);

        // Written from another computer, where the process that is gone here lives; left by a process whose
        // number this one has now; and somebody else's.
        const auto remote = work.folder.getChildFile (".a.tmp-" + juce::String (child) + "-0123abcd"),
                   stale = work.folder.getChildFile (".a.tmp-" + juce::String (::getpid()) + "-0123abcd"),
                   foreign = work.file (".a.tmp-1-backup");
        const auto lock = FileLock::take (remote);
        REQUIRE (lock.has_value());
        REQUIRE (stale.replaceWithText ("x"));
        REQUIRE (
            stale.setLastModificationTime (juce::Time::getCurrentTime() - juce::RelativeTime::hours (1)));
        REQUIRE (foreign.replaceWithText ("x"));

        REQUIRE (writeContent (target, FileSystemCalls::system()).wasOk());
        CHECK (work.numEntries() == 4);
        CHECK (living.temporaryFile().existsAsFile());
        CHECK (remote.existsAsFile());
        CHECK (foreign.existsAsFile());
        CHECK (living.commit().wasOk());
    }
#endif

#if ! JUCE_WINDOWS
    SECTION ("is found at the next start when its process was killed")
    {
        const auto notes = work.file ("notes"), folder = work.file ("session");
        REQUIRE (folder.createDirectory().wasOk());
        const auto child = ::fork();

        if (child == 0)
        {
            const WritingNote note (notes, folder);
            AtomicFile file (folder.getChildFile ("take.dls"));
            const auto opened = file.open();
            ::_exit (opened.wasOk() ? 0 : 1);
        }

        int status = -1;
        REQUIRE (::waitpid (child, &status, 0) == child);
        REQUIRE (status == 0);

        {
            const WritingNote living (notes, folder);
            CHECK (folder.getNumberOfChildFiles (juce::File::findFiles) == 1);
            WritingNote::sweep (notes);
            CHECK (folder.getNumberOfChildFiles (juce::File::findFiles) == 0);
            CHECK (notes.getNumberOfChildFiles (juce::File::findFiles) == 1);
        }

        CHECK (notes.getNumberOfChildFiles (juce::File::findFiles) == 0);
    }
#endif

#if ! JUCE_WINDOWS
    SECTION ("keeps the permissions of the file it replaces and gives new ones those the user wants")
    {
        const auto mask = ::umask (027);
        auto calls = FileSystemCalls::system();
        REQUIRE (writeContent (target, calls).wasOk());
        ::umask (mask);
        CHECK (permissionsOf (target) == 0640);

        ::chmod (target.getFullPathName().toRawUTF8(), 0604);
        REQUIRE (writeContent (target, calls).wasOk());
        CHECK (permissionsOf (target) == 0604);
    }
#endif

#if ! JUCE_WINDOWS
    SECTION ("replaces what a link points to, not the link")
    {
        const auto link = work.file ("link.wav");
        REQUIRE (target.replaceWithText ("old"));
        REQUIRE (target.createSymbolicLink (link, false));
        REQUIRE (writeContent (link, FileSystemCalls::system()).wasOk());
        CHECK (link.isSymbolicLink());
        CHECK (holds (target, contentToWrite()));
    }
#endif

#if JUCE_WINDOWS
    SECTION ("gets its name back when it was moved aside for one that never came")
    {
        const auto separated = work.file ("take 1, final.wav"), own = work.file ("take 1"),
                   copy = work.file ("take 1, final.wav.old-1");
        REQUIRE (own.replaceWithText ("the user's"));
        REQUIRE (copy.replaceWithText ("the user's copy"));
        CHECK_FALSE (undoBrokenReplacement (separated));

        const auto aside = work.file ("take 1, final.wav.tessivar-aside-12-0000abcd");
        REQUIRE (aside.replaceWithText ("the last save"));
        CHECK (undoBrokenReplacement (separated));
        CHECK (separated.loadFileAsString() == "the last save");
        CHECK_FALSE (aside.exists());
        CHECK_FALSE (undoBrokenReplacement (separated));

        // The next save, of a file that is open, clears away what was left, and nothing else.
        REQUIRE (aside.replaceWithText ("left"));
        juce::FileInputStream opened (separated);
        AtomicFile file (separated);
        REQUIRE (file.open().wasOk());
        REQUIRE (file.commit().wasOk());
        CHECK_FALSE (aside.exists());
        CHECK (own.loadFileAsString() == "the user's");
        CHECK (copy.loadFileAsString() == "the user's copy");
    }
#endif

    SECTION ("leaves a file alone that appeared meanwhile")
    {
        AtomicFile file (target);
        REQUIRE (file.open().wasOk());
        REQUIRE (target.replaceWithText ("somebody else's"));
        CHECK (file.commit (AtomicFile::IfTargetExists::fail).failed());
        CHECK (target.loadFileAsString() == "somebody else's");
        CHECK (work.numEntries() == 1);
    }

#if ! JUCE_WINDOWS
    SECTION ("refuses, with the name and the reason, what can't be a target")
    {
        const auto refusal = [] (const juce::File& file)
        {
            const auto result = writeContent (file, FileSystemCalls::system());
            INFO (result.getErrorMessage());
            REQUIRE (result.failed());
            CHECK (result.getErrorMessage().startsWith (file.getFullPathName()));
            return result.getErrorMessage().fromLastOccurrenceOf (": ", false, false);
        };

        CHECK (refusal (work.folder) == "Is a directory");
        CHECK (refusal (work.file ("missing").getChildFile ("a.wav")) == "No such file or directory");
        CHECK (refusal (juce::File ("/dev/null")) == "it is no regular file");
        CHECK (refusal (work.file ("a").getSiblingFile (juce::String::repeatedString ("n", 256)))
               == "File name too long");

        // A folder that can't be written to, and a file that is protected although its folder is not.
        REQUIRE (target.replaceWithText ("old"));
        const auto setMode = [] (const juce::File& file, mode_t mode)
        { REQUIRE (::chmod (file.getFullPathName().toRawUTF8(), mode) == 0); };
        setMode (target, 0444);

        for (const mode_t folderMode : { 0555, 0777 })
        {
            setMode (work.folder, folderMode);
            const WithoutPrivileges nobody;
            CHECK (refusal (target) == "Permission denied");

            if (folderMode == 0555)
                CHECK (refusal (work.file ("new.wav")) == "Permission denied");
        }

        setMode (work.folder, 0755);
        CHECK (target.loadFileAsString() == "old");
        CHECK (work.numEntries() == 1);
    }
#endif

    SECTION ("takes names as long as the file system does, of whole characters")
    {
        const auto longest = work.folder.getChildFile (
            juce::String::repeatedString (juce::String::fromUTF8 ("\xc3\xa4"), 125) + "a.wav");
        REQUIRE (longest.getFileName().getNumBytesAsUTF8() == 255);
        REQUIRE (writeContent (longest, FileSystemCalls::system()).wasOk());
        CHECK (shortenedToBytes (longest.getFileName(), 5) == juce::String::fromUTF8 ("\xc3\xa4\xc3\xa4"));
    }

#if ! JUCE_WINDOWS
    SECTION ("tells on a full disk what is needed and what is free")
    {
        const SmallFileSystem disk (work.file ("disk"), 64);

        if (disk.isMounted)
        {
            const auto full = disk.folder.getChildFile ("full.wav");
            REQUIRE (full.replaceWithText ("old"));

            const auto reserved = writeContent (full, FileSystemCalls::system());
            CHECK (reserved.getErrorMessage().contains ("600001 bytes needed, "));
            CHECK (reserved.getErrorMessage().contains (" bytes free"));

            {
                AtomicFile unreserved (full);
                REQUIRE (unreserved.open().wasOk());
                unreserved.writeRepeatedByte (1, 100000);
                CHECK (unreserved.commit().getErrorMessage().contains ("No space left on device"));
            }

            CHECK (full.loadFileAsString() == "old");
            CHECK (disk.folder.getNumberOfChildFiles (juce::File::findFiles) == 1);
        }
    }
#endif
}

TEST_CASE ("Names of files", "[disknames]")
{
    SECTION ("of Windows come back unit by unit, surrogates without their other half too")
    {
        const std::u16string half = { u'a', char16_t (0xd83e), char16_t (0xe001), u'b', char16_t (0xdd41) };
        const auto names = { std::u16string (u"Tom \u00e4 \u20ac \U0001f941.wav"),
                             half,
                             half + half,
                             std::u16string (u"\uefa9 \uef80") };

        for (const auto& name : names)
            CHECK (utf16OfPath (pathOfUtf16 (name)) == name);

        CHECK (pathOfUtf16 (u"\U0001f941") == juce::String::fromUTF8 ("\xf0\x9f\xa5\x81"));
        CHECK (juce::CharPointer_UTF8::isValidString (pathOfUtf16 (half).toRawUTF8(), 1000));
    }

    SECTION ("become such as every system can hold")
    {
        for (const auto* name : { "Kick.wav", "console.wav", "com10.wav", ".hidden", "Tom (1) [x].wav" })
            CHECK (portableFileName (name) == name);

        CHECK (portableFileName ("Kick: \"in\"?.wav") == "Kick_ _in__.wav");
        CHECK (portableFileName ("aux.take 2.wav") == "aux_.take 2.wav");
        CHECK (portableFileName ("Com1") == "Com1_");
        CHECK (portableFileName ("end. .") == "end___");
    }

    SECTION ("are told to Windows to be long")
    {
        const std::u16string tail (240, u'n');
        CHECK (longPath (u"C:\\takes") == u"C:\\takes");
        CHECK (longPath (u"C:\\" + tail) == u"\\\\?\\C:\\" + tail);
        CHECK (longPath (u"\\\\host\\share\\" + tail) == u"\\\\?\\UNC\\host\\share\\" + tail);
    }

    SECTION ("of any kind are written, listed, read and removed")
    {
        const WorkFolder work;
        auto deep = work.folder;

        for (int i = 0; i < 8; ++i)
            deep = deep.getChildFile (juce::String::repeatedString ("deep ", 10) + juce::String (i));

        REQUIRE (deep.createDirectory().wasOk());
#if JUCE_WINDOWS
        const auto odd = pathOfUtf16 (u"private \uef80"); // Wine refuses a surrogate without its other half
#else
        const auto odd = pathOfBytes ("half \xd8");
#endif
        for (const auto& name : { juce::String ("take.wav"), odd })
        {
            const auto file = deep.getChildFile (name);
            REQUIRE (file.getFullPathName().length() > 400);
            REQUIRE (replaceFile (file, "content").wasOk());
            CHECK (replaceFile (file, "more").wasOk());
            CHECK (file.loadFileAsString() == "more");
            CHECK (deep.findChildFiles (juce::File::findFiles, false).contains (file));
            CHECK (FileLock::take (file).has_value());
            CHECK (file.deleteFile());
        }
    }
}
