#include "platform/windows/Access.h"

#include <memory>
#include <vector>

#include <aclapi.h>
#include <sddl.h>

namespace tessivar::windows
{

namespace
{
struct FreeLocally
{
    void operator() (void* memory) const { ::LocalFree (memory); }
};

template <typename Type>
using Local = std::unique_ptr<Type, FreeLocally>;

/** What the token of a process says of its user, or of whom its new files belong to. */
std::vector<std::uint8_t> tokenInformation (TOKEN_INFORMATION_CLASS kind,
                                            HANDLE process = ::GetCurrentProcess())
{
    HANDLE token = nullptr;

    if (! ::OpenProcessToken (process, TOKEN_QUERY, &token))
        return {};

    const OwnedHandle owned (token);
    DWORD size = 0;
    ::GetTokenInformation (token, kind, nullptr, 0, &size);
    std::vector<std::uint8_t> bytes (size);

    // What it tells points into these bytes: they may move, but not be copied.
    if (! ::GetTokenInformation (token, kind, bytes.data(), size, &size))
        bytes.clear();

    return bytes;
}

PSID userIn (const std::vector<std::uint8_t>& information)
{
    return information.empty() ? nullptr : reinterpret_cast<const TOKEN_USER*> (information.data())->User.Sid;
}

const std::vector<std::uint8_t>& user()
{
    static const auto information = tokenInformation (TokenUser);
    return information;
}

/** Of an administrator it may be the group of all of them. */
const std::vector<std::uint8_t>& ownerOfNewFiles()
{
    static const auto information = tokenInformation (TokenOwner);
    return information;
}

bool isUserOrOwner (PSID owner)
{
    const auto* const newFiles = ownerOfNewFiles().empty()
                                     ? nullptr
                                     : reinterpret_cast<const TOKEN_OWNER*> (ownerOfNewFiles().data())->Owner;
    const auto isSame = [owner] (PSID other) { return other != nullptr && ::EqualSid (owner, other) != 0; };
    return isSame (userIn (user())) || isSame (const_cast<PSID> (newFiles));
}

Local<void> makeDescriptor()
{
    wchar_t* name = nullptr;

    if (userIn (user()) == nullptr || ! ::ConvertSidToStringSidW (userIn (user()), &name))
        return {};

    const Local<wchar_t> owned (name);
    // Protected from what the folder above hands down; in a folder, for its files and folders too.
    const std::wstring who = name;
    const auto text = L"O:" + who + L"D:P(A;OICI;FA;;;" + who + L")(A;OICI;FA;;;SY)";
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ::ConvertStringSecurityDescriptorToSecurityDescriptorW (
        text.c_str(), SDDL_REVISION_1, &descriptor, nullptr);
    return Local<void> (descriptor);
}

/** Nothing where there are none. */
Local<void> descriptorOf (HANDLE file, PSID& owner)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    owner = nullptr;

    if (::GetSecurityInfo (
            file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr, nullptr, &descriptor)
        != ERROR_SUCCESS)
        owner = nullptr;

    return Local<void> (descriptor);
}

bool saysNothing (DWORD error)
{
    return error == ERROR_ACCESS_DENIED || error == ERROR_NOT_SUPPORTED || error == ERROR_INVALID_FUNCTION
           || error == ERROR_INVALID_PARAMETER || error == ERROR_CALL_NOT_IMPLEMENTED;
}
} // namespace

SECURITY_ATTRIBUTES* forTheUserAlone()
{
    static const auto descriptor = makeDescriptor();
    static SECURITY_ATTRIBUTES attributes{ sizeof (attributes), descriptor.get(), FALSE };
    return &attributes;
}

bool belongsToUser (HANDLE object)
{
    PSID owner = nullptr;
    const auto descriptor = descriptorOf (object, owner);
    return owner == nullptr ? descriptor != nullptr
                            : isUserOrOwner (owner) || ::IsWellKnownSid (owner, WinWorldSid) != 0;
}

bool isPipeOfUser (HANDLE pipe)
{
    ULONG id = 0;

    if (! ::GetNamedPipeServerProcessId (pipe, &id))
        return false;

    const OwnedHandle process (::OpenProcess (PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    const auto owner = process ? tokenInformation (TokenUser, process.get()) : std::vector<std::uint8_t>();
    return ! owner.empty() && isUserOrOwner (userIn (owner));
}

void closeToOthers (const juce::File& folder)
{
    BOOL isPresent = FALSE, isDefault = FALSE;
    PACL list = nullptr;
    auto* const descriptor = forTheUserAlone()->lpSecurityDescriptor;
    auto path = widePath (folder);

    if (descriptor != nullptr && ::GetSecurityDescriptorDacl (descriptor, &isPresent, &list, &isDefault)
        && isPresent)
        ::SetNamedSecurityInfoW (path.data(),
                                 SE_FILE_OBJECT,
                                 DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                                 nullptr,
                                 nullptr,
                                 list,
                                 nullptr);
}

SystemError copyAccess (const juce::File& from, HANDLE to)
{
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR found = nullptr;
    const auto path = widePath (from);

    if (::GetNamedSecurityInfoW (
            path.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list, nullptr, &found)
        != ERROR_SUCCESS)
        return {};

    const Local<void> owned (found);
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    ::GetSecurityDescriptorControl (found, &control, &revision);
    const auto inheritance = (control & SE_DACL_PROTECTED) != 0 ? PROTECTED_DACL_SECURITY_INFORMATION
                                                                : UNPROTECTED_DACL_SECURITY_INFORMATION;
    const auto error = ::SetSecurityInfo (
        to, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION | inheritance, nullptr, nullptr, list, nullptr);
    return error == ERROR_SUCCESS || saysNothing (error) ? SystemError()
                                                         : SystemError (static_cast<int> (error));
}

} // namespace tessivar::windows
