#include "platform/MessageLoop.h"

#include <juce_events/juce_events.h>

#include <array>

#include <fcntl.h>
#include <unistd.h>

namespace tessivar
{

struct MessageLoopWaker::Way
{
    std::array<int, 2> ends{ -1, -1 }; // of a pipe that the loop watches
};

MessageLoopWaker::MessageLoopWaker() : way (std::make_unique<Way>())
{
    if (::pipe2 (way->ends.data(), O_CLOEXEC) == 0)
        juce::LinuxEventLoop::registerFdCallback (way->ends[0], [] (int) {});
}

MessageLoopWaker::~MessageLoopWaker()
{
    if (way->ends[0] < 0)
        return;

    juce::LinuxEventLoop::unregisterFdCallback (way->ends[0]);

    for (const auto end : way->ends)
        ::close (end);
}

void MessageLoopWaker::wake()
{
    const unsigned char byte = 1;

    if (way->ends[1] >= 0) [[maybe_unused]]
        const auto ignored = ::write (way->ends[1], &byte, 1);
}

} // namespace tessivar
