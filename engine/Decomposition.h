#pragma once

#include "engine/AnalysisSettings.h"
#include "engine/numerics/MatrixView.h"
#include "engine/numerics/WorkerPool.h"
#include "terms/WorkControl.h"

namespace tessivar
{

struct DecompositionSettings
{
    int numIterations = method::numIterations;
    float continuityWeight = method::continuityWeight; // lambda, >= 0
};

/** Factorises a stacked mel power spectrogram v into bases w and activations h, v ~ w h.

    Multiplicative updates that lower the Itakura-Saito divergence, with a temporal-continuity term in the
    update of h. Single precision with gradual underflow, column-major:
      v  melRows x frames        power, >= 0, read only
      w  melRows x 10            starting values in, bases out; each column then sums to 1, or 0 when it died
      h  10 x frames             starting values in, activations out; needs frames >= 2
    The caller owns all three. Scratch: 16 floats a frame, 60 floats a row and worker, 60 floats a row; a
    padded copy of v unless melRows is a multiple of 16. The result is the same bit by bit for any number of
    workers and every SIMD target.

    control.setProgress gets i / iterations after iteration i; a stop is seen within one tile of 128 frames.
    Returns true when all iterations ran, false as soon as control.shouldStop() says so: w and h must then be
    thrown away. No other failure: every divisor is floored at 1e-24.

    Source: Fevotte, Bertin, Durrieu 2009 (the divergence); Fevotte 2011 (smooth Itakura-Saito NMF).
*/
[[nodiscard]] bool decompose (MatrixView<const float> v,
                              MatrixView<float> w,
                              MatrixView<float> h,
                              const DecompositionSettings& settings,
                              WorkerPool& pool,
                              const WorkControl& control);

} // namespace tessivar
