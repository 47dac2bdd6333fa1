#pragma once

#include <memory>

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
    struct Way;
    std::unique_ptr<Way> way;
};

} // namespace tessivar
