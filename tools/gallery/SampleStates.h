#pragma once

#include "ui/browser/BrowserState.h"
#include "ui/dock/DockState.h"

namespace tessivar::test
{

/** A Group of eight tracks with waves, as the gallery and the tests show it. */
BrowserState browserSample (bool analysed);
DockState dockSample();

} // namespace tessivar::test
