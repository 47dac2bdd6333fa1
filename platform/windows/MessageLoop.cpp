#include "platform/MessageLoop.h"

#include "platform/windows/SystemCall.h"

namespace tessivar
{

struct MessageLoopWaker::Way
{
    const DWORD thread = ::GetCurrentThreadId();
};

MessageLoopWaker::MessageLoopWaker() : way (std::make_unique<Way>()) {}

MessageLoopWaker::~MessageLoopWaker() = default;

void MessageLoopWaker::wake()
{
    ::PostThreadMessageW (way->thread, WM_NULL, 0, 0);
}

} // namespace tessivar
