#pragma once

#include "tools/commanddriver/ChildProgram.h"

#include <memory>
#include <optional>
#include <string>

namespace tessivar::test
{

/** A screen without a monitor (Xvfb), with a window manager (openbox), which gives windows the focus. */
class VirtualScreen
{
public:
    /** The programs that are missing for it; empty when all are there. */
    [[nodiscard]] static juce::StringArray missingPrograms();

    explicit VirtualScreen (const std::string& size = "1400x950");

    /** ":7"; empty when it did not start. */
    [[nodiscard]] const std::string& name() const { return displayName; }

private:
    std::string displayName;
    std::unique_ptr<ChildProgram> server, windowManager;

    JUCE_DECLARE_NON_COPYABLE (VirtualScreen)
};

/** A program's path by its name, as the shell finds it; nothing when there is none. */
[[nodiscard]] std::optional<std::string> programInPath (const std::string& name);

} // namespace tessivar::test
