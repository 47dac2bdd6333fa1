#include "report/Passages.h"

#include "model/Outcomes.h"
#include "report/ReportTexts.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <algorithm>
#include <functional>
#include <memory>

namespace tessivar
{

namespace
{
/** The first column of so many in a row that hold the most energy. */
std::size_t fullestStretch (const std::vector<double>& energies, std::size_t numColumns)
{
    auto sum = 0.0, best = -1.0;
    std::size_t first = 0;

    for (std::size_t column = 0; column < energies.size(); ++column)
    {
        sum += energies[column] - (column >= numColumns ? energies[column - numColumns] : 0.0);

        if (column + 1 >= numColumns && sum > best)
        {
            best = sum;
            first = column + 1 - numColumns;
        }
    }

    return first;
}

/** Writes 16-bit FLAC; the stream gets the rest when the writer goes. */
void encodeFlac (std::span<const float> samples, double sampleRate, juce::MemoryBlock& block)
{
    constexpr int bits = 16, quality = 5;
    auto stream = std::make_unique<juce::MemoryOutputStream> (block, false);
    const std::unique_ptr<juce::AudioFormatWriter> writer (
        juce::FlacAudioFormat().createWriterFor (stream.get(), sampleRate, 1, bits, {}, quality));

    if (writer == nullptr)
        return;

    stream.release(); // the writer's
    const float* const channels[]{ samples.data() };
    writer->writeFromFloatArrays (channels, 1, static_cast<int> (samples.size()));
}
} // namespace

std::vector<Passage> passagesOf (const TrackMeasurement& measured, const PictureAxis& axis)
{
    const auto length =
        std::min (measured.lengthInSamples, static_cast<std::int64_t> (passageSeconds * axis.sampleRate));
    const auto numColumns =
        std::max<std::size_t> (1, axis.columnAt (std::min (length, axis.lengthInSamples - 1)));
    const auto startOf = [&] (const std::vector<double>& energies)
    {
        return std::min (axis.firstSampleOf (fullestStretch (energies, numColumns)),
                         measured.lengthInSamples - length);
    };
    const auto loudest = startOf (measured.processed.energies),
               doubtful = startOf (measured.removed.energies);
    std::vector<Passage> passages{ { "Most kept", loudest, length }, { "Most removed", doubtful, length } };

    if (measured.removed.energy <= 0.0)
        passages = { { "Loudest", loudest, length } };
    else if (std::abs (loudest - doubtful) < length / 4)
        passages = { { "Most kept and most removed", doubtful, length } };

    std::ranges::sort (passages, {}, &Passage::start);
    return passages;
}

Outcome writePassages (Html& page,
                       const TrackState& track,
                       const TrackFacts& facts,
                       const TrackExport* written,
                       const TrackMeasurement& measured,
                       const PictureAxis& axis)
{
    const auto signals = signalsOf (track, written);
    const auto listen = page.element ("div", { { "class", "listen" } });

    for (const auto& passage : passagesOf (measured, axis))
    {
        const auto length = static_cast<std::size_t> (passage.length);
        std::vector<float> source (length), processed (length), removed (length);

        if (const auto read = signals->read (passage.start, source, processed); read.failed())
            return outcomeOf (read);

        std::transform (source.begin(), source.end(), processed.begin(), removed.begin(), std::minus<>());
        const auto when = timeText (static_cast<double> (passage.start) / axis.sampleRate)
                          + juce::String::charToString (0x2013)
                          + timeText (static_cast<double> (passage.start + passage.length) / axis.sampleRate);
        const auto group = page.element ("fieldset");
        page.leaf ("legend", juce::String (passage.title) + ", " + when);

        const auto player = [&] (const char* label, std::span<const float> samples)
        {
            juce::MemoryBlock audio;
            encodeFlac (samples, axis.sampleRate, audio);
            const auto line = page.element ("div", { { "class", "player" } });
            page.leaf ("span", label);
            page.withData ("audio",
                           { { "controls", "controls" },
                             { "preload", "none" },
                             { "aria-label", juce::String (label) + " of " + facts.name + ", " + when } },
                           "src",
                           "audio/flac",
                           { static_cast<const std::byte*> (audio.getData()), audio.getSize() });
        };
        player ("Source", source);

        if (facts.isProcessed)
        {
            player ("Processed", processed);
            player ("Removed", removed);
        }
    }

    return Outcome::ok();
}

} // namespace tessivar
