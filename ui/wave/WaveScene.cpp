#include "ui/wave/WaveScene.h"

#include "ui/wave/WaveGestures.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tessivar
{

namespace
{

/** One wheel notch, as the toolkit reports it. */
constexpr double wheelNotch = 50.0 / 256.0;
constexpr double snapReach = 4.0; // px

} // namespace

double WaveScene::samplesPerColumn (double pixelScale) const noexcept
{
    return view.visibleLength() * view.sampleRate() / (view.plotWidth() * pixelScale);
}

std::int64_t WaveScene::firstColumn (double pixelScale) const noexcept
{
    return static_cast<std::int64_t> (
        std::llround (view.viewStart() * view.sampleRate() / samplesPerColumn (pixelScale)));
}

const std::vector<double>& WaveScene::strongHits()
{
    const auto& track = content.track();
    if (! hitsAreKnown && track.source != nullptr)
    {
        hits = findStrongHits (*track.source, track.energies.get(), content.weights(), track.sampleRate);
        // Search again next time while the track is still being read.
        hitsAreKnown = track.source->isComplete();
    }
    return hits;
}

std::int64_t WaveScene::reductionStep() const
{
    constexpr auto block = ChannelEnergyPyramid::baseBlock;
    return block
           * std::max<std::int64_t> (1, std::llround (ReductionCurve::usualStep * view.sampleRate() / block));
}

const ReductionCurve& WaveScene::reduction()
{
    if (! std::exchange (reductionIsKnown, true))
        curve = content.isAnalysed()
                    ? content.track().energies->reduction (content.weights(), reductionStep())
                    : ReductionCurve();
    return curve;
}

void WavePart::mouseWheelMove (const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel)
{
    if (applyWaveWheel (scene.view,
                        zoomAnchor (event),
                        static_cast<double> (wheel.deltaX) / wheelNotch,
                        static_cast<double> (wheel.deltaY) / wheelNotch,
                        { event.mods.isShiftDown(), event.mods.isCommandDown() }))
        onViewChanged();
}

double WavePart::timeAt (const juce::MouseEvent& event) const
{
    return scene.view.clampedTime (scene.view.timeForX (static_cast<double> (event.position.x)));
}

double WavePart::snapped (double seconds, const juce::MouseEvent& event) const
{
    return event.mods.isAltDown() ? seconds : scene.view.snapped (seconds, scene.strongHits(), snapReach);
}

} // namespace tessivar
