#include "cli/ProgressDisplay.h"

#include "cli/TerminalText.h"

#include <algorithm>
#include <cmath>
#include <ostream>

namespace tessivar
{

namespace
{
constexpr int barWidth = 30;
constexpr double secondsBetweenDrawings = 0.1;
// Before this, estimates of the time left jump too much to be useful.
constexpr double secondsBeforeEstimate = 1.0;
constexpr double fractionBeforeEstimate = 0.02;
} // namespace

ProgressDisplay::ProgressDisplay (std::ostream& outputToUse,
                                  Style styleToUse,
                                  std::function<double()> clockSeconds)
    : output (outputToUse), style (styleToUse), clock (std::move (clockSeconds))
{
}

ProgressDisplay::~ProgressDisplay()
{
    finish();
}

void ProgressDisplay::beginStage (const std::string& name, double costFrom)
{
    finish();
    stage = name;
    costStart = costFrom;
    costStarted = false;
    lastTenth = -1;
    lastDrawTime = -1.0e9;
    setProgress (0.0);
}

void ProgressDisplay::setProgress (double fraction)
{
    if (style == Style::none || stage.empty())
        return;

    fraction = std::clamp (fraction, 0.0, 1.0);
    if (! costStarted && fraction >= costStart)
    {
        costStarted = true;
        costStartTime = clock();
    }

    if (style == Style::lines)
    {
        // 0.3 may arrive as 0.299999.
        const auto tenth = static_cast<int> (std::floor (fraction * 10.0 + 1.0e-6));
        if (tenth > lastTenth)
            output << stage << ": " << tenth * 10 << " %" << std::endl;
        lastTenth = std::max (lastTenth, tenth);
    }
    else if (clock() - lastDrawTime >= secondsBetweenDrawings || fraction >= 1.0)
    {
        draw (fraction);
    }
}

void ProgressDisplay::draw (double fraction)
{
    const auto now = clock();
    const auto filled = static_cast<int> (std::lround (fraction * barWidth));
    std::string line = stage + std::string (stage.size() < 11 ? 11 - stage.size() : 0, ' ') + " [";
    line += std::string (static_cast<std::size_t> (filled), '#');
    line += std::string (static_cast<std::size_t> (barWidth - filled), '.') + "] ";
    line += juce::String (static_cast<int> (fraction * 100.0)).paddedLeft (' ', 3).toStdString() + " %";

    const auto done = fraction - costStart;
    if (costStarted && done >= fractionBeforeEstimate && fraction < 1.0
        && now - costStartTime >= secondsBeforeEstimate)
        line +=
            "  " + formatSeconds ((now - costStartTime) / done * (1.0 - fraction)).toStdString() + " left";

    // Back to the first column; the rest of a longer line is wiped.
    output << '\r' << line << "\x1b[K" << std::flush;
    lastDrawTime = now;
    lineIsDrawn = true;
}

void ProgressDisplay::clear()
{
    if (lineIsDrawn)
        output << "\r\x1b[K" << std::flush;
    lineIsDrawn = false;
}

void ProgressDisplay::finish()
{
    clear();
    stage.clear();
}

} // namespace tessivar
