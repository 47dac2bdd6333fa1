#pragma once

#include <juce_graphics/juce_graphics.h>

#include <memory>
#include <optional>
#include <string>

namespace tessivar::test
{

/** A window of another program that takes files (XDND 5), on a connection and a thread of its own: it shares
    no code with the toolkit that it tests.
*/
class XDropTarget
{
public:
    XDropTarget (const std::string& displayName, juce::Rectangle<int> bounds);
    ~XDropTarget();

    [[nodiscard]] bool isConnected() const;

    /** The list that was dropped (text/uri-list), once; nothing until there is one. */
    [[nodiscard]] std::optional<std::string> takeDropped() const;

    /** How often something was carried into the window, and out of it again. */
    [[nodiscard]] int numEntered() const;
    [[nodiscard]] int numLeft() const;

private:
    struct Connection;
    std::unique_ptr<Connection> x;

    JUCE_DECLARE_NON_COPYABLE (XDropTarget)
};

} // namespace tessivar::test
