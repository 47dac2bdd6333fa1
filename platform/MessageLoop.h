#pragma once

#include <array>

namespace tessivar
{

/** Makes the toolkit's message loop look up, also when no message can be posted any more. */
class MessageLoopWaker
{
public:
    /** Message thread, as for the destructor. */
    MessageLoopWaker();
    ~MessageLoopWaker();

    void wake();

    MessageLoopWaker (const MessageLoopWaker&) = delete;
    MessageLoopWaker& operator= (const MessageLoopWaker&) = delete;

private:
    std::array<int, 2> ends{ -1, -1 }; // of what the loop watches
};

} // namespace tessivar
