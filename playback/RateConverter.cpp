#include "playback/RateConverter.h"

#include <zita-resampler/resampler.h>

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{
// Half the filter's length in samples of the lower rate; the library's maximum.
constexpr unsigned halfFilterLength = 96;
} // namespace

struct RateConverter::Filter
{
    Resampler resampler;
};

RateConverter::RateConverter() = default;
RateConverter::~RateConverter() = default;

bool RateConverter::prepare (double fromRate, double toRate)
{
    filter = std::make_unique<Filter>();
    const auto from = static_cast<unsigned> (std::lround (std::clamp (fromRate, 1.0, 1.0e6)));
    const auto to = static_cast<unsigned> (std::lround (std::clamp (toRate, 1.0, 1.0e6)));

    if (filter->resampler.setup (from, to, 1, halfFilterLength) == 0)
        return true;

    filter.reset();
    return false;
}

RateConverter::Progress
RateConverter::process (const float* input, int numInput, float* output, int numOutput)
{
    if (filter == nullptr)
        return {};

    auto& resampler = filter->resampler;
    resampler.inp_count = static_cast<unsigned> (numInput);
    resampler.inp_data = const_cast<float*> (input); // it only reads
    resampler.out_count = static_cast<unsigned> (numOutput);
    resampler.out_data = output;
    resampler.process();
    return { numInput - static_cast<int> (resampler.inp_count),
             numOutput - static_cast<int> (resampler.out_count) };
}

} // namespace tessivar
