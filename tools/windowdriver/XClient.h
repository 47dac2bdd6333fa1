#pragma once

#include <juce_graphics/juce_graphics.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tessivar::test
{

/** A user at a screen: looks at windows, moves the mouse, types, and drags files out of a file manager. It
    has a connection of its own to the X server and knows nothing of the program it drives.
*/
class XClient
{
public:
    using Window = unsigned long;

    explicit XClient (const std::string& displayName);
    ~XClient();

    [[nodiscard]] bool isConnected() const;

    /** Whether a window manager is at work. */
    [[nodiscard]] bool hasWindowManager() const;

    /** The managed windows, oldest first. */
    [[nodiscard]] std::vector<Window> windows() const;
    [[nodiscard]] std::string titleOf (Window window) const;

    /** The content of a window on the screen. */
    [[nodiscard]] juce::Rectangle<int> boundsOf (Window window) const;

    /** In front, with the focus. */
    void bringToFront (Window window) const;

    /** As the close button in the frame does. */
    void askToClose (Window window) const;

    /** "ctrl+shift+x", "Return", "a", "alt+Up": names of the X key symbols. */
    void key (const std::string& combination) const;

    /** Printable ASCII. */
    void type (const std::string& text) const;

    /** On the screen. */
    void moveTo (juce::Point<int> position) const;
    void press (int button = 1) const;
    void release (int button = 1) const;
    void click (juce::Point<int> position, int button = 1) const;
    void drag (juce::Point<int> from, juce::Point<int> to, int steps = 10) const;

    /** What a window shows; black where it is off the screen. Invalid when it can't be read. */
    [[nodiscard]] juce::Image picture (Window window) const;

    /** Carries files over a window and lets them go at a place on the screen (XDND).
        @return  whether the window took the drop within the time
    */
    [[nodiscard]] bool
    drop (Window window, juce::Point<int> position, const juce::StringArray& paths, int timeoutMs = 10000);

    /** How long the window's program takes to answer a message, in milliseconds; nothing when it takes longer
        than this. The message is a drag of something that no window takes: it changes nothing.
    */
    [[nodiscard]] std::optional<double> heartbeat (Window window, int timeoutMs = 5000);

private:
    struct Connection;
    std::unique_ptr<Connection> x;

    JUCE_DECLARE_NON_COPYABLE (XClient)
};

} // namespace tessivar::test
