#pragma once

#include "tools/windowdriver/ChildProgram.h"

#include <memory>

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

} // namespace tessivar::test
