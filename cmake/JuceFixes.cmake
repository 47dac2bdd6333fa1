# Faults of JUCE 7 that its users can't reach from outside. The one source file of a module that has the fault
# is copied into the build folder, mended there, and found before the original; everything else is compiled
# from where it is installed.

# tessivar_mend_juce_file(<module> <file> <from> <to> [<from> <to>]...) has the module's main source file
# compiled in the build folder, beside a copy of <file> in which every <from> has become its <to>. A <from>
# that is not there exactly once stops the configuration: then this JUCE is another one, and the fault is to
# be looked at anew. Several files of a module can be mended.
function(tessivar_mend_juce_file module file)
    get_target_property(target juce::${module} ALIASED_TARGET)
    get_target_property(sources ${target} INTERFACE_SOURCES)
    set(source "${sources}")
    list(FILTER source INCLUDE REGEX "/${module}\\.cpp$")
    get_property(original GLOBAL PROPERTY original_of_${module})
    if(NOT original)
        get_filename_component(original "${source}" DIRECTORY)
        set_property(GLOBAL PROPERTY original_of_${module} "${original}")
    endif()
    set(source "${original}/${module}.cpp")
    set(folder "${CMAKE_BINARY_DIR}/juce-mended/${module}")
    file(READ "${original}/${file}" text)
    string(REPLACE "\r\n" "\n" text "${text}")

    math(EXPR last_pair "${ARGC} - 2")
    foreach(index RANGE 2 ${last_pair} 2)
        math(EXPR next "${index} + 1")
        set(from "${ARGV${index}}") # one by one: in a list they would part at their semicolons
        set(to "${ARGV${next}}")
        string(FIND "${text}" "${from}" first)
        string(FIND "${text}" "${from}" last REVERSE)

        if(first EQUAL -1 OR NOT first EQUAL last)
            message(FATAL_ERROR "${original}/${file} is not the file that cmake/JuceFixes.cmake mends: ${from}")
        endif()

        string(REPLACE "${from}" "${to}" text "${text}")
    endforeach()

    set(before "")
    if(EXISTS "${folder}/${file}")
        file(READ "${folder}/${file}" before)
    endif()
    if(NOT before STREQUAL text)
        file(WRITE "${folder}/${file}" "${text}")
    endif()
    configure_file("${source}" "${folder}/${module}.cpp" COPYONLY)

    set_property(DIRECTORY "${CMAKE_SOURCE_DIR}" APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${original}/${file}")
    set_property(SOURCE "${folder}/${module}.cpp" PROPERTY COMPILE_OPTIONS "-iquote;${original};-iquote;${PROJECT_SOURCE_DIR}")
    list(TRANSFORM sources REPLACE ".*/${module}\\.cpp$" "${folder}/${module}.cpp")
    set_property(TARGET ${target} PROPERTY INTERFACE_SOURCES "${sources}")
endfunction()

if(WIN32)
    include(cmake/JuceFixesWindows.cmake)
    return()
endif()

# A child process whose output was read had its end of the pipe closed twice: the second time it hit whatever
# file another thread had opened in between. Its pipe was also left open in every other child.
#
# Names of files that are no UTF-8 came in as they were, and strings then read past their end. They are
# carried as platform/DiskNames tells: what comes from the system is turned into text, and overloads for
# JUCE's own pointers to text give it back its bytes.
tessivar_mend_juce_file(juce_core native/juce_posix_SharedCode.h
    [=[namespace juce
{

CriticalSection::CriticalSection() noexcept]=]
    [=[#include "platform/DiskNames.h"

namespace juce
{

static std::string nameOnDisk (CharPointer_UTF8 path)  { return tessivar::bytesOfPath (String (path)); }

static int open (const char* path, int flags, mode_t mode = 0)
{
    return ::open (nameOnDisk (CharPointer_UTF8 (path)).c_str(), flags, mode);
}

static int stat64 (CharPointer_UTF8 path, struct stat64* info)          { return ::stat64 (nameOnDisk (path).c_str(), info); }
static int statfs (CharPointer_UTF8 path, struct statfs* info)          { return ::statfs (nameOnDisk (path).c_str(), info); }
static int access (CharPointer_UTF8 path, int mode)                     { return ::access (nameOnDisk (path).c_str(), mode); }
static int chmod (CharPointer_UTF8 path, mode_t mode)                   { return ::chmod (nameOnDisk (path).c_str(), mode); }
static int utimes (CharPointer_UTF8 path, const struct timeval* times)  { return ::utimes (nameOnDisk (path).c_str(), times); }
static int mkdir (CharPointer_UTF8 path, mode_t mode)                   { return ::mkdir (nameOnDisk (path).c_str(), mode); }
static int rmdir (CharPointer_UTF8 path)                                { return ::rmdir (nameOnDisk (path).c_str()); }
static int remove (CharPointer_UTF8 path)                               { return ::remove (nameOnDisk (path).c_str()); }
static int chdir (CharPointer_UTF8 path)                                { return ::chdir (nameOnDisk (path).c_str()); }
static DIR* opendir (CharPointer_UTF8 path)                             { return ::opendir (nameOnDisk (path).c_str()); }

static int rename (CharPointer_UTF8 from, CharPointer_UTF8 to)
{
    return ::rename (nameOnDisk (from).c_str(), nameOnDisk (to).c_str());
}

CriticalSection::CriticalSection() noexcept]=]
    [=[return File (CharPointer_UTF8 (cwd));]=]
    [=[return File (tessivar::pathOfBytes (cwd != nullptr ? cwd : ""));]=]
    [=[        return String::fromUTF8 (s);]=]
    [=[        return tessivar::pathOfBytes (s);]=]
    [=[if (pipe (pipeHandles) == 0)]=]
    [=[if (pipe2 (pipeHandles, O_CLOEXEC) == 0)]=]
    [=[            fclose (readHandle);

        if (pipeHandle != 0)]=]
    [=[            fclose (readHandle);
        else if (pipeHandle != 0)]=])

tessivar_mend_juce_file(juce_core native/juce_linux_CommonFile.cpp
    [=[readlink (getFullPathName().toRawUTF8(), buffer, bufferSize - 2);]=]
    [=[readlink (nameOnDisk (getFullPathName().toUTF8()).c_str(), buffer, bufferSize - 2);]=]
    [=[return String::fromUTF8 (buffer, jmax (0, numBytes));]=]
    [=[return tessivar::pathOfBytes ({ buffer.get(), (size_t) jmax (0, numBytes) });]=]
    [=[filenameFound = CharPointer_UTF8 (de->d_name);]=]
    [=[filenameFound = tessivar::pathOfBytes (de->d_name);]=])

tessivar_mend_juce_file(juce_core native/juce_linux_Files.cpp
    [=[return File (CharPointer_UTF8 (homeDir));]=]
    [=[return File (tessivar::pathOfBytes (homeDir));]=]
    [=[return File (CharPointer_UTF8 (pw->pw_dir));]=]
    [=[return File (tessivar::pathOfBytes (pw->pw_dir));]=]
    [=[return File (CharPointer_UTF8 (tmpDir));]=]
    [=[return File (tessivar::pathOfBytes (tmpDir));]=])

# The area that the desktop leaves to windows was never asked for; a full screen was a maximised window, so
# nothing came of it in a maximised one; and a window could be drawn smaller than its least size wherever the
# interface is enlarged.
tessivar_mend_juce_file(juce_gui_basics native/x11/juce_linux_XWindowSystem.cpp
    [=[return String::fromUTF8 ((const char*) prop.data, (int) prop.numItems);]=]
    [=[return String::createStringFromData (prop.data, (int) prop.numItems);]=]
    [=[    for (auto& d : displays)
        d.userArea = d.totalArea; // JUCE currently does not support requesting the user area on Linux]=]
    [=[    auto* symbols = X11Symbols::getInstance();
    const auto root = symbols->xRootWindow (display, symbols->xDefaultScreen (display));
    const auto workArea = workAreaHints == None ? Rectangle<int>()
        : getWorkArea (XWindowSystemUtilities::GetXProperty (display, root, workAreaHints, 0, 4, false, XA_CARDINAL));

    for (auto& d : displays)
    {
        d.userArea = d.totalArea.getIntersection (workArea);

        if (d.userArea.isEmpty())
            d.userArea = d.totalArea;
    }]=]
    [=[    ev.xclient.data.l[1] = (long) XWindowSystemUtilities::Atoms::getCreating (display, "_NET_WM_STATE_MAXIMIZED_HORZ");
    ev.xclient.data.l[2] = (long) XWindowSystemUtilities::Atoms::getCreating (display, "_NET_WM_STATE_MAXIMIZED_VERT");]=]
    [=[    ev.xclient.data.l[1] = (long) XWindowSystemUtilities::Atoms::getCreating (display, "_NET_WM_STATE_FULLSCREEN");
    ev.xclient.data.l[2] = 0;]=]
    [=[false, uriList.joinIntoString ("\r\n"), std::move (callback));]=]
    [=[false, uriList.joinIntoString ("\r\n") + "\r\n", std::move (callback));]=]
    [=[            const auto factor       = peer.getPlatformScaleFactor();]=]
    [=[            const auto factor       = peer.getPlatformScaleFactor() * peer.getComponent().getDesktopScaleFactor();]=])

#
# A drag to another program: a target that was left and entered again was not told so, the answer of one was
# taken for another's, one that never says that it is done kept all further drags from starting, the window
# that the drag came from took the files itself, and the last line of the list had no end.
tessivar_mend_juce_file(juce_gui_basics native/x11/juce_linux_X11_DragAndDrop.cpp
    [=[namespace juce
{]=]
    [=[#include "platform/DiskNames.h"

#include <utility>

namespace juce
{]=]
    [=[lines.addLines (dropData.toString());]=]
    [=[lines.addLines (String::createStringFromData (dropData.getData(), (int) dropData.getSize()));]=]
    [=[dragInfo.files.add (URL::removeEscapeChars (escaped));]=]
    [=[dragInfo.files.add (tessivar::pathOfBytes (URL::removeEscapeChars (escaped).toRawUTF8()));]=]
    [=[        if (expectingStatus)
        {]=]
    [=[        if (expectingStatus && (::Window) clientMsg.data.l[0] == targetWindow)
        {]=]
    [=[            sendExternalDragAndDropDrop();
        }]=]
    [=[            sendExternalDragAndDropDrop();
            externalResetDragAndDrop();
        }]=]
    [=[            sendExternalDragAndDropLeave();
            externalResetDragAndDrop();]=]
    [=[            if (targetWindow != None)
                sendExternalDragAndDropLeave();

            externalResetDragAndDrop();]=]
    [=[            canDrop = false;
            silentRect = {};

            if (newTargetWindow == None)
                return;]=]
    [=[            canDrop = false;
            silentRect = {};
            expectingStatus = false;
            targetWindow = None;

            if (newTargetWindow == None)
                return;]=]
    [=[        if (! expectingStatus)
            sendExternalDragAndDropPosition();]=]
    [=[        if (targetWindow != None && ! expectingStatus)
            sendExternalDragAndDropPosition();]=]
    [=[        if (dndCurrentVersion < 3 ||]=]
    [=[        if (dragging || dndCurrentVersion < 3 ||]=]
    [=[        if (completionCallback != nullptr)
            completionCallback();

        dragging = false;]=]
    [=[        dragging = false;
        canDrop = false;
        expectingStatus = false;

        if (auto done = std::exchange (completionCallback, nullptr))
            done();]=]
    [=[        allowedTypes.add (XWindowSystemUtilities]=]
    [=[        allowedTypes.clear();
        allowedTypes.add (XWindowSystemUtilities]=])

# A window's frame timer ran at the display's rate for ever, 100 times a second where none is told. It now
# runs while something is painted, and looks in ten times a second at rest. With it goes a look for events
# that a call in between has already read from the X server: the loop waits for the socket, where they no
# longer are, and so until the next one.
tessivar_mend_juce_file(juce_gui_basics native/juce_linux_Windowing.cpp
    [=[            regionsNeedingRepaint.add (area * peer.currentScaleFactor);]=]
    [=[            regionsNeedingRepaint.add (area * peer.currentScaleFactor);
            peer.wakeFrameTimer();]=]
    [=[        if (repainter != nullptr)
            repainter->dispatchDeferredRepaints();
    }]=]
    [=[        if (repainter != nullptr)
            repainter->dispatchDeferredRepaints();

        if (isFrameTimerAwake && ++framesAtRest > framesPerSecond / 2)
        {
            isFrameTimerAwake = false;
            vBlankManager.startTimerHz (10);
        }

        handleEventsReadAlready();
    }

    void wakeFrameTimer()
    {
        framesAtRest = 0;

        if (std::exchange (isFrameTimerAwake, true))
            return;

        vBlankManager.startTimerHz (framesPerSecond);
    }

    static void handleEventsReadAlready()
    {
        XWindowSystemUtilities::ScopedXLock xLock;
        auto* display = XWindowSystem::getInstance()->getDisplay();
        auto* symbols = X11Symbols::getInstance();

        if (display != nullptr && symbols->xEventsQueued (display, QueuedAlready) > 0)
            MessageManager::callAsync ([descriptor = symbols->xConnectionNumber (display)]
            {
                LinuxEventLoopInternal::invokeEventLoopCallbackForFd (descriptor);
            });
    }

    bool isFrameTimerAwake = false;
    int framesPerSecond = 60, framesAtRest = 0;]=]
    [=[const auto frequencyToUse = newIntFrequencyHz != 0 ? newIntFrequencyHz : 100;]=]
    [=[const auto frequencyToUse = newIntFrequencyHz != 0 ? newIntFrequencyHz : 60;]=]
    [=[            if (vBlankManager.getTimerInterval() != frequencyToUse)
                vBlankManager.startTimerHz (frequencyToUse);]=]
    [=[            if (std::exchange (framesPerSecond, frequencyToUse) != frequencyToUse)
                isFrameTimerAwake = false;

            wakeFrameTimer();]=]
    [=[namespace juce
{]=]
    [=[#include <juce_events/native/juce_linux_EventLoopInternal.h>
#include <utility>

namespace juce
{]=])

# The loop under a dialog looked for messages a thousand times a second. It now sleeps until there is one, and
# looks up often enough for whoever gave it a time to return. It also emptied the list of callbacks that the
# loop above it was still going through.
tessivar_mend_juce_file(juce_events native/juce_linux_Messaging.cpp
    [=[                return false;

            runLoop->sleepUntilNextEvent (2000);]=]
    [=[                return runLoop->sleepUntilNextEvent (20);

            runLoop->sleepUntilNextEvent (2000);]=]
    [=[        callbackStorage.clear();
]=]
    [=[        std::vector<SharedCallback> callbackStorage;
]=])

# What a message throws is caught where messages are delivered, also below a dialog or a job, and told to
# TessivarApplication::unhandledException(). Only this module delivers any.
set_property(SOURCE ${CMAKE_BINARY_DIR}/juce-mended/juce_events/juce_events.cpp
    APPEND PROPERTY COMPILE_DEFINITIONS JUCE_CATCH_UNHANDLED_EXCEPTIONS=1)
