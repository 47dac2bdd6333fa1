#include "model/Track.h"

#include <atomic>
#include <utility>

namespace tessivar
{

namespace
{
std::uint32_t nextNumber()
{
    static std::atomic<std::uint32_t> last{ 0 };
    return ++last;
}
} // namespace

Track::Track (TrackState initialState) : data (std::move (initialState))
{
    data.id = nextNumber();
    samplesChanged();
    lookForSourceFile();
}

void Track::samplesChanged()
{
    data.contentId = nextNumber();
}

bool Track::lookForSourceFile()
{
    const auto before = std::exchange (sourceFileThere, data.sourceInfo.file.existsAsFile());
    return before != sourceFileThere;
}

} // namespace tessivar
