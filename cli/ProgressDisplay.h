#pragma once

#include <functional>
#include <iosfwd>
#include <string>

namespace tessivar
{

/** Shows how far a piece of work is: on a terminal as one line that is drawn over and over, with a bar and
    the time left; elsewhere as a plain line every ten percent; or not at all.

    Called by one thread at a time.
*/
class ProgressDisplay
{
public:
    enum class Style
    {
        none,
        lines,
        bar
    };

    /** @param clockSeconds  a monotonic clock */
    ProgressDisplay (std::ostream& output, Style style, std::function<double()> clockSeconds);
    ~ProgressDisplay();

    ProgressDisplay (const ProgressDisplay&) = delete;
    ProgressDisplay& operator= (const ProgressDisplay&) = delete;

    /** Begins a piece of work that runs from 0 to 1; the one before it is over.

        @param costFrom  the time left is reckoned from this fraction on: what lies before is done in no time
    */
    void beginStage (const std::string& name, double costFrom = 0.0);

    void setProgress (double fraction);

    /** Wipes the line, if any; the next progress draws it again. */
    void clear();

    /** Ends the work on a clean line; call it before printing anything else to the terminal. */
    void finish();

private:
    void draw (double fraction);

    std::ostream& output;
    const Style style;
    const std::function<double()> clock;

    std::string stage;
    double costStart = 0.0;
    double costStartTime = 0.0;
    double lastDrawTime = 0.0;
    int lastTenth = -1;
    bool costStarted = false;
    bool lineIsDrawn = false;
};

} // namespace tessivar
