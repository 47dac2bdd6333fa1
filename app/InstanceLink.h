#pragma once

#include "model/FileLock.h"

#include <juce_core/juce_core.h>

#include <functional>
#include <optional>
#include <string>

namespace tessivar
{

/** Hands files from a second start of the program to the window that is open already: over a socket in the user's runtime
    folder, which nobody else can open.
*/
class InstanceLink : private juce::Thread
{
public:
    /** Takes the paths that another start was given, which may be none: it then only wants the window to come up. Called
        on the link's own thread.
    */
    using Receiver = std::function<void (const juce::StringArray& paths)>;

    /** @param folder  for the socket; made when missing, with access for the user alone */
    explicit InstanceLink (const juce::File& folder);
    ~InstanceLink() override;

    /** Gives the paths to a running instance. False when none runs, or when it has not answered after timeoutMs. */
    [[nodiscard]] bool handOver (const juce::StringArray& paths, int timeoutMs = 1000) const;

    /** Listens from now on. False when another instance does, or no socket can be made; the program then runs all the
        same, on its own.
    */
    [[nodiscard]] bool listen (Receiver receiver);

private:
    struct Client;

    void run() override;
    [[nodiscard]] bool serve (Client& client) const;
    void deliver (const std::string& message) const;
    void close();

    const juce::File socketFile, lockFile;
    Receiver receive;
    std::optional<FileLock> lock; // whoever holds it owns the socket's name
    int listening = -1;
    int wakeUp[2] = { -1, -1 }; // a pipe that ends the wait for connections

    JUCE_DECLARE_NON_COPYABLE (InstanceLink)
};

} // namespace tessivar
