#include "platform/Desktop.h"

#include "platform/windows/SystemCall.h"

#include <dwmapi.h>
#include <objbase.h>
#include <shellapi.h>

namespace tessivar
{

namespace
{
bool open (const juce::String& what, const wchar_t* verb)
{
    // Programs that open documents may ask for it.
    const auto isReady = ::CoInitializeEx (nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    const auto name = windows::wideText (what);
    SHELLEXECUTEINFOW info = {};
    info.cbSize = sizeof (info);
    info.fMask = SEE_MASK_NOASYNC | SEE_MASK_FLAG_NO_UI;
    info.lpVerb = verb;
    info.lpFile = name.c_str();
    info.nShow = SW_SHOWNORMAL;
    const auto succeeded = ::ShellExecuteExW (&info) != 0;

    if (SUCCEEDED (isReady))
        ::CoUninitialize();

    return succeeded;
}
} // namespace

bool openExternally (const juce::String& pathOrAddress)
{
    return open (pathOrAddress, nullptr);
}

bool showFolder (const juce::File& folder)
{
    return open (folder.getFullPathName(), L"explore");
}

juce::String nameInDrag (const juce::File& file)
{
    return file.getFullPathName();
}

juce::String whyNoWindow()
{
    return {};
}

void darkenFrame (void* window)
{
    constexpr DWORD darkMode = 20, darkModeBefore2004 = 19; // attributes of a frame
    const BOOL isDark = TRUE;

    for (const auto attribute : { darkMode, darkModeBefore2004 })
        if (SUCCEEDED (
                ::DwmSetWindowAttribute (static_cast<HWND> (window), attribute, &isDark, sizeof (isDark))))
            return;
}

std::optional<bool> desktopReducesMotion()
{
    BOOL isAnimated = TRUE;
    return ::SystemParametersInfoW (SPI_GETCLIENTAREAANIMATION, 0, &isAnimated, 0)
               ? std::make_optional (isAnimated == FALSE)
               : std::nullopt;
}

} // namespace tessivar
