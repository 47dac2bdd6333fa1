#include "platform/Folders.h"

#include "platform/DiskNames.h"
#include "platform/FileStatus.h"
#include "platform/FileSystemCalls.h"
#include "platform/Process.h"
#include "platform/windows/Access.h"
#include "platform/windows/SystemCall.h"

#include <array>
#include <string>

#include <shlobj.h>

namespace tessivar
{

using windows::widePath;

namespace
{
juce::File knownFolder (const KNOWNFOLDERID& id)
{
    wchar_t* path = nullptr;
    const auto succeeded = ::SHGetKnownFolderPath (id, KF_FLAG_DONT_VERIFY, nullptr, &path) == S_OK;
    const auto folder = succeeded ? juce::File (windows::textOfWide (path)) : juce::File();
    ::CoTaskMemFree (path);
    return folder;
}
} // namespace

SystemError makeNewPrivateFolder (const juce::File& folder)
{
    return windows::resultOf (::CreateDirectoryW (widePath (folder).c_str(), windows::forTheUserAlone()));
}

void makePrivate (const juce::File& folder)
{
    windows::closeToOthers (folder);
}

bool canMakeFilesIn (const juce::File& folder)
{
    const auto existing = existingAncestor (folder);
    const windows::OwnedHandle opened (::CreateFileW (widePath (existing).c_str(),
                                                      FILE_ADD_FILE | FILE_TRAVERSE,
                                                      windows::sharedWithAll,
                                                      nullptr,
                                                      OPEN_EXISTING,
                                                      FILE_FLAG_BACKUP_SEMANTICS,
                                                      nullptr));
    return opened && existing.isDirectory();
}

juce::String possibleFileName (const juce::String& name)
{
    return portableFileName (name);
}

void removeFolder (const juce::File& folder)
{
    ::RemoveDirectoryW (widePath (folder).c_str());
}

void removeFiles (const juce::File& folder, const char* last)
{
    if (const auto status = statusOf (folder, Links::keep); ! status || ! status->isFolder())
        return;

    auto& calls = FileSystemCalls::system();

    for (const auto& file : folder.findChildFiles (juce::File::findFiles, false))
        if (file.getFileName() != last)
            calls.remove (file);

    calls.remove (folder.getChildFile (last));
}

std::optional<std::uint64_t> freeBytesOf (const juce::File& folder)
{
    ULARGE_INTEGER free = {};
    return ::GetDiskFreeSpaceExW (widePath (existingAncestor (folder)).c_str(), &free, nullptr, nullptr)
               ? std::make_optional<std::uint64_t> (free.QuadPart)
               : std::nullopt;
}

std::optional<std::uint64_t> largestFileIn (const juce::File& folder)
{
    constexpr std::uint64_t largestOfFat = 0xffffffffu;
    const auto path = widePath (existingAncestor (folder));
    std::wstring root (path.size() + MAX_PATH, 0);
    std::array<wchar_t, MAX_PATH + 1> kind{};

    if (::GetVolumePathNameW (path.c_str(), root.data(), static_cast<DWORD> (root.size()))
        && ::GetVolumeInformationW (
            root.c_str(), nullptr, 0, nullptr, nullptr, nullptr, kind.data(), kind.size())
        && (std::wstring_view (kind.data()) == L"FAT" || std::wstring_view (kind.data()) == L"FAT32"))
        return largestOfFat;

    return std::nullopt;
}

KnownFolders KnownFolders::ofUser()
{
    auto folders = from (environmentVariable, knownFolder (FOLDERID_Profile));
    folders.documents = knownFolder (FOLDERID_Documents);
    return folders;
}

KnownFolders KnownFolders::from (const Environment& environment, const juce::File& home)
{
    // The system sets these variables to the folders that it tells as well.
    const auto base = [&] (const char* variable, const char* fallback)
    {
        const auto value = environment (variable);
        return juce::File::isAbsolutePath (value) ? juce::File (value) : home.getChildFile (fallback);
    };
    const auto local = base ("LOCALAPPDATA", R"(AppData\Local)");

    return { base ("APPDATA", R"(AppData\Roaming)"), local, local, {}, home.getChildFile ("Documents") };
}

} // namespace tessivar
