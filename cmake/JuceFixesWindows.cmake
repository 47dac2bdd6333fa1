# Faults of JUCE 7 on Windows that its users can't reach from outside; mended as cmake/JuceFixes.cmake tells.

# Names of files are any units of UTF-16 there: a surrogate without its other half was joined with whatever
# stood behind it. They are carried as platform/DiskNames tells.
tessivar_mend_juce_file(juce_core text/juce_String.cpp
    [=[namespace juce
{

JUCE_BEGIN_IGNORE_WARNINGS_MSVC (4514 4996)]=]
    [=[#include "platform/DiskNames.h"

#include <cwchar>

namespace juce
{

static std::u16string_view unitsOf (const wchar_t* text, size_t maximum)
{
    return { reinterpret_cast<const char16_t*> (text), text != nullptr ? wcsnlen (text, maximum) : 0 };
}

JUCE_BEGIN_IGNORE_WARNINGS_MSVC (4514 4996)]=]
    [=[String::String (const wchar_t* const t)      : text (StringHolderUtils::createFromCharPointer (castToCharPointer_wchar_t (t))) {}]=]
    [=[String::String (const wchar_t* const t)      : String (tessivar::pathOfUtf16 (unitsOf (t, 0x7fffffff))) {}]=]
    [=[String::String (const wchar_t* t, size_t maxChars)      : text (StringHolderUtils::createFromCharPointer (castToCharPointer_wchar_t (t), maxChars)) {}]=]
    [=[String::String (const wchar_t* t, size_t maxChars)      : String (tessivar::pathOfUtf16 (unitsOf (t, maxChars))) {}]=]
    [=[    return StringEncodingConverter<CharPointerType, CharPointer_wchar_t>::convert (*this).getAddress();]=]
    [=[    // Behind the text itself, as the conversions above do.
    const auto units = tessivar::utf16OfPath (*this);
    const auto start = (text.sizeInBytes() + 3) & ~3u;
    const_cast<String*> (this)->preallocateBytes (start + (units.size() + 1) * sizeof (wchar_t));
    auto* const wide = addBytesToPointer (text.getAddress(), start);
    memcpy (wide, units.c_str(), (units.size() + 1) * sizeof (wchar_t));
    return reinterpret_cast<const wchar_t*> (wide);]=])

# Paths of more than 260 units were refused, where the system's owner has not allowed them to all programs.
# And a file that was written could not be opened for writing, renamed or removed meanwhile by anybody.
tessivar_mend_juce_file(juce_core native/juce_win32_Files.cpp
    [=[namespace juce
{

#ifndef INVALID_FILE_ATTRIBUTES]=]
    [=[#include "platform/DiskNames.h"

namespace juce
{

static std::wstring longPath (const wchar_t* path)
{
    const auto units = tessivar::longPath ({ reinterpret_cast<const char16_t*> (path), wcslen (path) });
    return { units.begin(), units.end() };
}

#undef CopyFile
#undef CreateDirectory
#undef CreateFile
#undef DeleteFile
#undef FindFirstFile
#undef GetFileAttributes
#undef GetFileAttributesEx
#undef MoveFile
#undef RemoveDirectory
#undef ReplaceFile
#undef SetFileAttributes
#define CopyFile(a, b, fails)                 ::CopyFileW (longPath (a).c_str(), longPath (b).c_str(), fails)
#define CreateDirectory(path, security)       ::CreateDirectoryW (longPath (path).c_str(), security)
#define CreateFile(path, ...)                 ::CreateFileW (longPath (path).c_str(), __VA_ARGS__)
#define DeleteFile(path)                      ::DeleteFileW (longPath (path).c_str())
#define FindFirstFile(path, data)             ::FindFirstFileW (longPath (path).c_str(), data)
#define GetFileAttributes(path)               ::GetFileAttributesW (longPath (path).c_str())
#define GetFileAttributesEx(path, kind, data) ::GetFileAttributesExW (longPath (path).c_str(), kind, data)
#define MoveFile(from, to)                    ::MoveFileW (longPath (from).c_str(), longPath (to).c_str())
#define RemoveDirectory(path)                 ::RemoveDirectoryW (longPath (path).c_str())
#define ReplaceFile(a, b, ...) ::ReplaceFileW (longPath (a).c_str(), longPath (b).c_str(), __VA_ARGS__)
#define SetFileAttributes(path, attributes)   ::SetFileAttributesW (longPath (path).c_str(), attributes)

#ifndef INVALID_FILE_ATTRIBUTES]=]
    [=[    auto h = CreateFile (file.getFullPathName().toWideCharPointer(),
                         GENERIC_WRITE, FILE_SHARE_READ, nullptr,]=]
    [=[    auto h = CreateFile (file.getFullPathName().toWideCharPointer(),
                         GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,]=])

# Outlines made of cubic curves, as those of .otf fonts are, came out angular or not at all: all are asked for
# as such, and drawn.
tessivar_mend_juce_file(juce_graphics native/juce_win32_Fonts.cpp
    [=[        auto bufSize = (int) GetGlyphOutline (dc, (UINT) glyphNumber, GGO_NATIVE | GGO_GLYPH_INDEX,]=]
    [=[        auto bufSize = (int) GetGlyphOutline (dc, (UINT) glyphNumber, GGO_BEZIER | GGO_GLYPH_INDEX,]=]
    [=[            GetGlyphOutline (dc, (UINT) glyphNumber, GGO_NATIVE | GGO_GLYPH_INDEX, &gm,]=]
    [=[            GetGlyphOutline (dc, (UINT) glyphNumber, GGO_BEZIER | GGO_GLYPH_INDEX, &gm,]=]
    [=[                    curve = (const TTPOLYCURVE*) &(curve->apfx [curve->cpfx]);]=]
    [=[                    else if (curve->wType == TT_PRIM_CSPLINE)
                    {
                        for (int i = 0; i + 2 < curve->cpfx; i += 3)
                            glyphPath.cubicTo (scaleX * curve->apfx[i].x.value,
                                               scaleY * curve->apfx[i].y.value,
                                               scaleX * curve->apfx[i + 1].x.value,
                                               scaleY * curve->apfx[i + 1].y.value,
                                               scaleX * curve->apfx[i + 2].x.value,
                                               scaleY * curve->apfx[i + 2].y.value);
                    }

                    curve = (const TTPOLYCURVE*) &(curve->apfx [curve->cpfx]);]=])

# The system's own type of that name is the one that libjpeg's headers use there.
tessivar_mend_juce_file(juce_graphics image_formats/juce_JPEGLoader.cpp
    [=[   #if ! (JUCE_WINDOWS && (JUCE_MSVC || JUCE_CLANG))]=]
    [=[   #if ! JUCE_WINDOWS]=])

# Where the pace of the screen is unknown, as in a remote session, nothing was painted after the first time;
# and while the screen slept, one processor asked for it without end. What handling an event threw ended the
# program.
tessivar_mend_juce_file(juce_gui_basics native/juce_win32_Windowing.cpp
    [=[            if (output->WaitForVBlank() == S_OK)
                triggerAsyncUpdate();
            else
                Thread::sleep (1);]=]
    [=[            const auto start = Time::getMillisecondCounterHiRes();

            if (output->WaitForVBlank() != S_OK || Time::getMillisecondCounterHiRes() - start < 1.0)
                Thread::sleep (1000 / 60);

            triggerAsyncUpdate();]=]
    [=[            return peer->peerWindowProc (h, message, wParam, lParam);]=]
    [=[
            JUCE_TRY
            {
                return peer->peerWindowProc (h, message, wParam, lParam);
            }
            JUCE_CATCH_EXCEPTION

            return 0;]=])

# What a message throws is caught before it reaches the system, which lets nothing through: where messages are
# delivered, and in a window's own procedure.
set_property(SOURCE ${JUCE_MODULES_DIR}/juce_events/juce_events.cpp
        ${CMAKE_BINARY_DIR}/juce-mended/juce_gui_basics/juce_gui_basics.cpp
    APPEND PROPERTY COMPILE_DEFINITIONS JUCE_CATCH_UNHANDLED_EXCEPTIONS=1)
