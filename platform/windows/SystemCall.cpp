#include "platform/windows/SystemCall.h"

namespace tessivar::windows
{

std::wstring wideText (const juce::String& text)
{
    const auto units = utf16OfPath (text);
    return { units.begin(), units.end() };
}

juce::String textOfWide (std::wstring_view text)
{
    return pathOfUtf16 (std::u16string (text.begin(), text.end()));
}

std::wstring widePath (const juce::File& file)
{
    const auto units = longPath (utf16OfPath (file.getFullPathName()));
    return { units.begin(), units.end() };
}

bool isLink (HANDLE file)
{
    FILE_ATTRIBUTE_TAG_INFO info = {};
    return ::GetFileInformationByHandleEx (file, FileAttributeTagInfo, &info, sizeof (info)) != 0
           && (info.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0
           && (info.ReparseTag == IO_REPARSE_TAG_SYMLINK || info.ReparseTag == IO_REPARSE_TAG_MOUNT_POINT);
}

} // namespace tessivar::windows
