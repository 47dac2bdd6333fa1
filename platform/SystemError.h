#pragma once

#include <juce_core/juce_core.h>

namespace tessivar
{

/** What the operating system answered: nothing, or why it refused. Programs decide by the kind; the text, in
    the system's own words, is for the user.
*/
class SystemError
{
public:
    enum class Kind
    {
        none,
        notFound,
        notAFolder, // a part of the path is a file
        isFolder,
        alreadyExists,
        notPermitted,
        inUse,    // somebody else holds the lock
        noRoom,   // the disk is full, or the user's share of it
        tooLarge, // for the file system, or for a limit of this process
        notSupported,
        failed // anything else, a broken disk for instance
    };

    SystemError() = default;
    SystemError (Kind kind);
    explicit SystemError (int systemNumber) : number (systemNumber) {}

    [[nodiscard]] bool failed() const { return number != 0; }
    [[nodiscard]] Kind kind() const;
    [[nodiscard]] juce::String text() const;

private:
    int number = 0; // 0: none
};

} // namespace tessivar
