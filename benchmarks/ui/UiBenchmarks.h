#pragma once

#include <string>
#include <vector>

namespace tessivar
{

/** Processor time of this thread in milliseconds: other work on the machine does not count. */
double threadMilliseconds();

/** Prints the median, the 95th percentile and the worst of some times in milliseconds. */
void printTimes (const std::string& name, std::vector<double> times);

/** An open progress dialog in front of the window's areas: repaints of parts of it, at 100 and 200 %. */
void measureProgressDialog();

/** The wave viewer with 24 tracks of 20 minutes, in windows of four sizes. */
void measureWaveViewer();

} // namespace tessivar
