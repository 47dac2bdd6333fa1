#include "tools/windowdriver/VirtualScreen.h"

#include <array>
#include <cstdlib>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace tessivar::test
{

juce::StringArray VirtualScreen::missingPrograms()
{
    juce::StringArray missing;

    for (const auto* name : { "Xvfb", "openbox" })
        if (! programInPath (name))
            missing.add (name);

    return missing;
}

VirtualScreen::VirtualScreen (const std::string& size)
{
    std::array<int, 2> ends{ -1, -1 };

    if (::pipe2 (ends.data(), O_CLOEXEC) != 0)
        return;

    // The server looks for a free number by itself and says which one it took.
    ChildProgram::Start start;
    start.program = programInPath ("Xvfb").value_or ("");
    start.arguments = { "-displayfd", std::to_string (ends[1]), "-screen", "0", size + "x24", "-nolisten",
                        "tcp" };
    start.inheritedDescriptor = ends[1];
    server = std::make_unique<ChildProgram> (start);
    ::close (ends[1]);

    std::string number;
    char character = 0;
    pollfd entry{ ends[0], POLLIN, 0 };

    while (::poll (&entry, 1, 20000) == 1 && ::read (ends[0], &character, 1) == 1 && character != '\n')
        number.push_back (character);

    ::close (ends[0]);

    if (number.empty())
        return;

    displayName = ":" + number;
    ChildProgram::Start manager;
    manager.program = programInPath ("openbox").value_or ("");
    manager.arguments = { "--sm-disable" };
    manager.environment = { { "DISPLAY", displayName } };
    windowManager = std::make_unique<ChildProgram> (manager);
}

std::optional<std::string> programInPath (const std::string& name)
{
    const auto* path = std::getenv ("PATH");
    std::istringstream folders (path != nullptr ? path : "");
    std::string folder;

    while (std::getline (folders, folder, ':'))
        if (const auto file = folder + "/" + name; ::access (file.c_str(), X_OK) == 0)
            return file;

    return std::nullopt;
}

} // namespace tessivar::test
