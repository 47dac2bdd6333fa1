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

std::wstring commandLine (const juce::StringArray& arguments)
{
    std::wstring line;

    for (const auto& argument : arguments)
    {
        std::size_t numBackslashes = 0;
        line += line.empty() ? L"\"" : L" \"";

        for (const auto unit : wideText (argument))
        {
            // Backslashes count double in front of a quote, and as they are elsewhere.
            if (unit == L'"')
                line.append (numBackslashes + 1, L'\\');

            numBackslashes = unit == L'\\' ? numBackslashes + 1 : 0;
            line += unit;
        }

        line.append (numBackslashes, L'\\');
        line += L'"';
    }

    return line;
}

bool isLink (HANDLE file)
{
    FILE_ATTRIBUTE_TAG_INFO info = {};
    return ::GetFileInformationByHandleEx (file, FileAttributeTagInfo, &info, sizeof (info)) != 0
           && (info.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0
           && (info.ReparseTag == IO_REPARSE_TAG_SYMLINK || info.ReparseTag == IO_REPARSE_TAG_MOUNT_POINT);
}

} // namespace tessivar::windows
