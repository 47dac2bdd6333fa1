#pragma once

#include <juce_core/juce_core.h>

#include <functional>
#include <memory>

namespace tessivar
{

/** Hands files from a second start of the program to the copy that is running already, over a channel that no
    other user can open.
*/
class InstanceLink
{
public:
    class Server;

    /** Takes the paths that another start was given, which may be none: it then only wants the window to come
        up. Called on the link's own thread.
    */
    using Receiver = std::function<void (const juce::StringArray& paths)>;

    /** @param folder  for what the channel needs on disk; made when missing, with access for the user alone
    */
    explicit InstanceLink (const juce::File& folder);
    ~InstanceLink();

    /** Gives the paths to a running instance. False when none runs, or when it has not answered after
        timeoutMs.
    */
    [[nodiscard]] bool handOver (const juce::StringArray& paths, int timeoutMs = 1000) const;

    /** Listens from now on. False when another instance does, or no channel can be made; the program then
        runs all the same, on its own.
    */
    [[nodiscard]] bool listen (const Receiver& receiver);

private:
    const juce::File folder;
    std::unique_ptr<Server> server; // as long as it listens

    JUCE_DECLARE_NON_COPYABLE (InstanceLink)
};

} // namespace tessivar
