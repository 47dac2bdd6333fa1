#pragma once

#include "engine/refinement/RefinementPasses.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tessivar::refinement
{

/** Below 600 Hz leakage reaches a microphone over longer than the taps of LeakagePaths last: drums that ring
    along, and the room. Two steps find it, on the low band of masked drums Z_j and remainders X'_i.

    This one puts D_i = (1 - g)^2 X'_i in the place of X'_i, g being the gains of a layer for which the mask
    stands, times the supported effect: what the gains would take, and little of what they take half. Hits of
    the own drum are kept, so they are not in D_i.

    Two transforms of 64 samples for each frame of the method. */
[[nodiscard]] bool takeLowBand (RefinementRun& run,
                                const FittedModel& model,
                                const Masks& masks,
                                const std::vector<std::optional<LogRatioPlane>>& logRatios,
                                LowSignals& low,
                                ProgressRange progress);

/** Puts in the place of D_i what the drums of the other microphones give in it, which is to be subtracted
    from X'_i as a whole, from under the own drum too. Nothing is left where a take is too short to tell.

    On frames eight times as long as the method's, one tap a bin (a multiplicative transfer function: Avargel,
    Cohen 2007), by least squares over all frames in which microphone i is not muted:

        D_i (f, t) ~ sum over j other than i of H_ij (f) Z_j (f, t)

    Twins, and pairs that the model calls 50 dB down, get no path. Sums run over fixed parts of the take, so
    results do not depend on the number of workers.

    For M microphones and as many drums 20 M^2 flops for each of 224 bins and each long frame, of which there
    is one to eight of the method's: a thirtieth of the subtraction. Two low-band signals a track,
    8 bytes for every sample of 1.4 kHz, and eight sums of 16 bytes for every bin and pair. */
[[nodiscard]] bool predictLowLeakage (RefinementRun& run,
                                      const BinGains& gains,
                                      const SilentFrames& silent,
                                      LowSignals& low,
                                      ProgressRange progress);

/** Bytes that low-band signals and sums take. */
[[nodiscard]] std::uint64_t lowPathBytes (const SpectrumShape& shape, std::size_t numTracks);

} // namespace tessivar::refinement
