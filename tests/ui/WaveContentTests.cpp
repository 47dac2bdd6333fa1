#include "ui/wave/WaveContent.h"

#include "tests/ui/WaveSignals.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("WaveColumnBuilder", "[ui][wave]")
{
    WaveNoise noise (3);
    std::vector<float> samples (2000);
    for (auto& sample : samples)
        sample = noise.next();

    // Columns from far below one sample to many, that do not fall on samples, read in pieces and not from the
    // start.
    const auto spacing = GENERATE (0.3, 1.0, 2.7, 41.9);
    const auto firstColumn = static_cast<std::int64_t> (150.0 / spacing);
    WaveColumnBuilder builder (firstColumn, spacing, 40);
    for (std::size_t at = 0; at < samples.size(); at += 77)
        builder.add (static_cast<std::int64_t> (at),
                     { samples.data() + at, std::min<std::size_t> (77, samples.size() - at) });

    for (std::int64_t i = 0; i < 40; ++i)
    {
        const auto range = waveColumnSamples (firstColumn + i, spacing);
        REQUIRE (range.to > range.from);
        const auto from = samples.begin() + range.from,
                   to = samples.begin() + std::min<std::int64_t> (range.to, 2000);
        const auto& column = builder.columns()[static_cast<std::size_t> (i)];
        CHECK (column.low == *std::min_element (from, to));
        CHECK (column.high == *std::max_element (from, to));
    }
}

TEST_CASE ("WaveContent", "[ui][wave]")
{
    WaveContent content;
    content.setTrack (waveTrack (4.0));
    content.setWeights (keepOwnDrum);
    std::vector<EnvelopeColumn> source (100), processed (100);

    const auto answerFor = [] (const WaveEnvelopeRequest& request, float sourceValue, float processedValue)
    {
        WaveExactEnvelope answer{ request.serial, request.firstColumn, {}, {} };
        if (request.wantsSource)
            answer.source.assign (static_cast<std::size_t> (request.numColumns), { 0.0f, sourceValue });
        if (request.wantsProcessed)
            answer.processed.assign (static_cast<std::size_t> (request.numColumns), { 0.0f, processedValue });
        return answer;
    };

    SECTION ("asks for a wider stretch than is seen, inside the track, once")
    {
        const auto request = content.requestFor (50, 10.0, 100);
        REQUIRE (request.has_value());
        CHECK (request->firstColumn == 0);
        CHECK (request->numColumns == 200);
        CHECK (request->wantsSource);
        CHECK (request->wantsProcessed);
        CHECK_FALSE (content.requestFor (60, 10.0, 100).has_value());
        CHECK_FALSE (content.requestFor (100, 10.0, 100).has_value());
        CHECK (content.requestFor (101, 10.0, 100).has_value());
        CHECK (content.requestFor (101, 11.0, 100).has_value());
        // The last columns of the track, seen in a view that reaches past its end.
        const auto last = content.requestFor (19'150, 10.0, 100);
        REQUIRE (last.has_value());
        CHECK (last->firstColumn + last->numColumns == 19'200);
    }

    SECTION ("wide columns need no exact source, and with a pyramid of the processed signal nothing at all")
    {
        const auto request = content.requestFor (0, 900.0, 100);
        REQUIRE (request.has_value());
        CHECK_FALSE (request->wantsSource);
        CHECK (request->wantsProcessed);
        auto whole = std::make_shared<EnvelopePyramid> (4 * 48000);
        whole->append (std::vector<float> (4 * 48000, 0.125f));
        content.setProcessed (whole);
        CHECK_FALSE (content.requestFor (0, 901.0, 100).has_value());
        content.read (0, 901.0, source, processed);
        CHECK (processed[50].high == Approx (0.125f).margin (1e-4));
        content.setWeights ({ 1, 1, 0, 0, 0, 0, 0 });
        CHECK (content.requestFor (0, 901.0, 100).has_value());
    }

    SECTION ("shows an answer, a part of one, and none that is late")
    {
        const auto old = content.requestFor (1000, 10.0, 100);
        const auto request = content.requestFor (1000, 20.0, 100);
        CHECK_FALSE (content.takeExact (answerFor (*old, 0.9f, 0.9f)));

        WaveExactEnvelope part{ request->serial, 1010, { 5, { -0.5f, 0.5f } }, {} };
        CHECK (content.takeExact (part));
        content.read (1000, 20.0, source, processed);
        CHECK (source[10] == EnvelopeColumn{ -0.5f, 0.5f });
        CHECK (source[14] == EnvelopeColumn{ -0.5f, 0.5f });
        CHECK (source[15].high != 0.5f);

        // One column further than was asked for is refused as a whole.
        part.firstColumn = request->firstColumn + request->numColumns - 4;
        CHECK_FALSE (content.takeExact (part));
        content.setTrack (waveTrack (1.0));
        CHECK_FALSE (content.takeExact (answerFor (*request, 0.9f, 0.9f)));
    }

    SECTION ("scrolling keeps what is known; a knob keeps the source and scales it by the estimate")
    {
        const auto first = content.requestFor (2000, 10.0, 100);
        REQUIRE (content.takeExact (answerFor (*first, 0.5f, 0.4f)));
        const auto scrolled = content.requestFor (2060, 10.0, 100);
        REQUIRE (scrolled.has_value());
        content.read (2040, 10.0, source, processed);
        CHECK (source[0].high == 0.5f);
        CHECK (processed[0].high == 0.4f);
        REQUIRE (content.takeExact (answerFor (*scrolled, 0.5f, 0.4f)));

        content.setWeights ({ 0, 0, 0, 0, 0, 1, 0 });
        content.read (2060, 10.0, source, processed);
        CHECK (source[0].high == 0.5f);
        CHECK (processed[0].high < 0.4f);
        const auto turned = content.requestFor (2060, 10.0, 100);
        REQUIRE (turned.has_value());
        CHECK_FALSE (turned->wantsSource);
        CHECK (turned->wantsProcessed);
    }

    SECTION ("a track that is not analysed asks for its source only, and an empty one for nothing")
    {
        auto track = waveTrack (1.0);
        track.energies = nullptr;
        content.setTrack (track);
        const auto request = content.requestFor (0, 10.0, 100);
        REQUIRE (request.has_value());
        CHECK_FALSE (request->wantsProcessed);
        CHECK_FALSE (content.requestFor (0, 900.0, 100).has_value());
        content.setTrack ({});
        CHECK_FALSE (content.requestFor (0, 10.0, 100).has_value());
        content.read (0, 10.0, source, processed);
        CHECK (source[0] == EnvelopeColumn{});
    }
}
