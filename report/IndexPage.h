#pragma once

#include "report/BatchSessions.h"

#include <juce_core/juce_core.h>

#include <vector>

namespace tessivar
{

/** Writes a page that lists the sessions of a batch, with links to what lies beside it. It needs nothing else
    and asks no network; a script of its own sorts the list, which stands in a sensible order without it.
*/
void writeIndexPage (juce::OutputStream& output,
                     const juce::String& title,
                     const std::vector<BatchSession>& sessions);

} // namespace tessivar
