#pragma once

#include "model/TrackRecord.h"

#include <optional>

namespace tessivar
{

/** Whether a rate, in Hz, is one that can be analysed. */
[[nodiscard]] bool isSupportedSampleRate (double rate);

/** A supported sample rate, in Hz, that stands as a number (f64, f32 or i32) in those bytes of a record that the format leaves
    to the writer; nothing when there is none. The field at 56, where this program puts it, is looked at first.
*/
[[nodiscard]] std::optional<double> sampleRateInRecord (const TrackRecord::Bytes& record);

} // namespace tessivar
