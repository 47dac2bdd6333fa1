#pragma once

#include "ui/bleed/BleedState.h"
#include "ui/browser/BrowserState.h"
#include "ui/dock/DockState.h"

namespace tessivar::test
{

/** A Group of eight tracks with waves, as the gallery and the tests show it. */
BrowserState browserSample (bool analysed);
DockState dockSample();

/** A bleed map of so many drums, at most 24, the last two of which are one; none: a Group without a map. */
BleedState bleedSample (std::size_t numDrums);

} // namespace tessivar::test
