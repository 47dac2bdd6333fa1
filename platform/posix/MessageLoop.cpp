#include "platform/MessageLoop.h"

#include <juce_events/juce_events.h>

#include <fcntl.h>
#include <unistd.h>

namespace tessivar
{

MessageLoopWaker::MessageLoopWaker()
{
    if (::pipe2 (ends.data(), O_CLOEXEC) == 0)
        juce::LinuxEventLoop::registerFdCallback (ends[0], [] (int) {});
}

MessageLoopWaker::~MessageLoopWaker()
{
    if (ends[0] < 0)
        return;

    juce::LinuxEventLoop::unregisterFdCallback (ends[0]);

    for (const auto end : ends)
        ::close (end);
}

void MessageLoopWaker::wake()
{
    const unsigned char byte = 1;

    if (ends[1] >= 0) [[maybe_unused]]
        const auto ignored = ::write (ends[1], &byte, 1);
}

} // namespace tessivar
