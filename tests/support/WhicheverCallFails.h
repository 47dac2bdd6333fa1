#pragma once

#include "tools/filefaults/FileFaults.h"

#include <catch2/catch.hpp>

namespace tessivar::test
{

/** Repeats a test with calls of which the first fails, then the second and so on: once and for good, in each
    way that calls fail, until no call is left; these are more than leastCalls.
*/
template <typename Test>
void whicheverCallFails (int leastCalls, Test&& test)
{
    for (const auto error : { SystemError::Kind::noRoom, SystemError::Kind::failed, FaultyCalls::shortWrite })
        for (const auto duration : { Fault::once, Fault::lasting })
            for (int call = 1;; ++call)
            {
                INFO ("call " << call << ", error " << SystemError (error).text().toStdString()
                              << (duration == Fault::lasting ? " and all after it" : ""));
                FaultyCalls calls (call, error, duration);
                test (calls);

                if (! calls.reachedTheFault())
                {
                    REQUIRE (call > leastCalls);
                    break;
                }
            }
}

} // namespace tessivar::test
