#include "report/TrackFigures.h"

#include "report/ReportTexts.h"
#include "terms/Mathematics.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tessivar
{

namespace
{
constexpr std::size_t numColours = 28; // about 2.6 dB apart: more can't be told apart, and take more room
constexpr PngColour background{ 0x0b, 0x0e, 0x11 }, ember{ 0xff, 0x8a, 0x57 };

struct DrumColours
{
    DrumType type;
    PngColour onDark, onLight;
};

/** As the window has them, and darker ones for paper. */
constexpr DrumColours drumColours[]{
    { DrumType::kick, { 0x78, 0xae, 0xff }, { 0x2f, 0x6f, 0xd0 } },
    { DrumType::snare, { 0xf2, 0xd0, 0x6b }, { 0x9a, 0x74, 0x0a } },
    { DrumType::hiHat, { 0x62, 0xe0, 0xcc }, { 0x0d, 0x8a, 0x79 } },
    { DrumType::tomHigh, { 0xc3, 0xa3, 0xff }, { 0x7d, 0x52, 0xcf } },
    { DrumType::tomLow, { 0xf5, 0x93, 0xcd }, { 0xbd, 0x40, 0x86 } },
    { DrumType::tomFloor, { 0x9c, 0xdb, 0x6e }, { 0x48, 0x8a, 0x1d } },
    { DrumType::oh, { 0xae, 0xb8, 0xc2 }, { 0x5f, 0x6b, 0x76 } },
    { DrumType::other, { 0xae, 0xb8, 0xc2 }, { 0x5f, 0x6b, 0x76 } },
};

const DrumColours& coloursOf (DrumType type)
{
    return *std::ranges::find (drumColours, type, &DrumColours::type);
}

juce::String percent (double fraction)
{
    return juce::String (100.0 * fraction, 2) + "%";
}

/** A shape between two heights for each column, in units of the picture. */
template <typename Top, typename Bottom>
juce::String shapePath (std::size_t numColumns, const Top& top, const Bottom& bottom)
{
    juce::MemoryOutputStream path;
    auto last = static_cast<int> (top (0));
    path << "M0 " << last;

    const auto lineTo = [&] (int step, int height)
    {
        path << "l" << step << (height < last ? "" : " ") << height - last;
        last = height;
    };

    for (std::size_t column = 1; column < numColumns; ++column)
        lineTo (1, static_cast<int> (top (column)));

    for (auto column = numColumns; column-- > 0;)
        lineTo (column + 1 == numColumns ? 0 : -1, static_cast<int> (bottom (column)));

    path << "z";
    return path.toString();
}

/** Writes the rows of a figure: a label beside a plot. */
class Rows
{
public:
    Rows (Html& htmlToWrite, const PictureAxis& axisToUse) : page (htmlToWrite), axis (axisToUse) {}

    template <typename Plot>
    void add (const juce::String& label, const char* plotClass, const Plot& plot)
    {
        const auto row = page.element ("div", { { "class", juce::String ("row ") + plotClass + "-row" } });
        page.leaf ("div", label, { { "class", "label" } });
        const auto box = page.element ("div", { { "class", juce::String ("plot ") + plotClass } });
        plot();
    }

    /** A drawing as wide as the axis, height units high. */
    template <typename Draw>
    void addDrawing (const juce::String& label,
                     const char* plotClass,
                     int height,
                     const juce::String& alternative,
                     const Draw& draw)
    {
        add (label,
             plotClass,
             [&]
             {
                 const auto drawing = page.element (
                     "svg",
                     { { "viewBox", "0 0 " + juce::String (axis.numColumns) + " " + juce::String (height) },
                       { "preserveAspectRatio", "none" },
                       { "role", "img" },
                       { "aria-label", alternative } });
                 draw();
             });
    }

    /** Marks of the time axis, below the rows. */
    void addTimes()
    {
        constexpr std::array steps{ 0.1,  0.2,  0.5,  1.0,   2.0,   5.0,   10.0,
                                    20.0, 30.0, 60.0, 120.0, 300.0, 600.0, 1800.0 };
        constexpr double mostMarks = 8.0;
        const auto length = axis.seconds();
        const auto* const step =
            std::ranges::find_if (steps, [length] (double each) { return length / each <= mostMarks; });
        const auto stepSeconds = step != steps.end() ? *step : 3600.0;

        add ("",
             "times",
             [&]
             {
                 for (auto mark = 0; mark * stepSeconds <= 0.97 * length; ++mark)
                     page.leaf ("span",
                                timeText (mark * stepSeconds, stepSeconds < 1.0),
                                { { "style", "left:" + percent (mark * stepSeconds / length) } });
             });
    }

private:
    Html& page;
    const PictureAxis& axis;
};

/** Where a frequency stands in a spectrogram, as a part of its height from the top. */
double heightOf (double frequency, const SpectrumColumns& bands)
{
    auto low = 0.0, high = static_cast<double> (SpectrumColumns::numBands - 1);

    for (int i = 0; i < 30; ++i)
        (bands.frequencyOf ((low + high) / 2.0) < frequency ? low : high) = (low + high) / 2.0;

    return 1.0 - (low + 0.5) / static_cast<double> (SpectrumColumns::numBands);
}

/** Hz of the band that is loudest in the mean over the take. */
double loudestFrequency (const SignalPicture& signal, const PictureAxis& axis, const SpectrumColumns& bands)
{
    std::array<double, SpectrumColumns::numBands> powers{};

    for (std::size_t column = 0; column < axis.numColumns; ++column)
        for (std::size_t band = 0; band < powers.size(); ++band)
            powers[band] += math::power (
                10.0,
                static_cast<double> (SignalPicture::levelOf (signal.levels[column * powers.size() + band]))
                    / 10.0);

    return bands.frequencyOf (static_cast<double> (std::ranges::max_element (powers) - powers.begin()));
}

juce::String frequencyText (double frequency)
{
    return frequency < 1000.0 ? juce::String (static_cast<int> (std::lround (frequency / 10.0)) * 10) + " Hz"
                              : juce::String (frequency / 1000.0, 1) + " kHz";
}

/** Everything of one track's figure. */
class TrackFigure
{
public:
    TrackFigure (Html& html,
                 const TrackState& trackToShow,
                 const TrackFacts& factsToShow,
                 const TrackMeasurement& measurement,
                 const PictureAxis& axisToUse)
        : page (html), track (trackToShow), facts (factsToShow), measured (measurement), axis (axisToUse),
          rows (page, axis), bands (axis.sampleRate)
    {
    }

    void write()
    {
        const auto figure = page.element (
            "figure", { { "style", juce::String ("--drum:var(--") + drumTypeKey (track.drumType()) + ")" } });
        writeWaveform();

        if (facts.isProcessed)
            writeReduction();

        writeSpectrogram ("Source", measured.source, drumHue());

        if (facts.isProcessed)
        {
            writeSpectrogram ("Processed", measured.processed, drumHue());
            writeSpectrogram ("Removed", measured.removed, ember);
        }

        rows.addTimes();

        if (! facts.isProcessed)
            page.leaf ("figcaption", "The track passes through unchanged.");
    }

private:
    [[nodiscard]] PngColour drumHue() const { return coloursOf (track.drumType()).onDark; }

    void writeWaveform()
    {
        constexpr int half = 100;
        const auto peak = std::max (measured.source.peak, 1.0e-6f);
        const auto shape = [&] (const SignalPicture& signal)
        {
            const auto height = [peak] (float sample) {
                return std::lround (static_cast<float> (half)
                                    * (1.0f - std::clamp (sample / peak, -1.0f, 1.0f)));
            };
            return shapePath (
                axis.numColumns,
                [&] (std::size_t column) { return height (signal.extremes[column].high); },
                [&] (std::size_t column) { return height (signal.extremes[column].low); });
        };
        const auto alternative =
            "Waveform of " + facts.name + ": peak " + levelText (gainToDb (measured.source.peak)) + " dBFS"
            + (facts.isProcessed ? ", of whose energy " + shareText (facts.removedShare) + " is removed"
                                 : juce::String())
            + ".";

        rows.addDrawing (
            "Waveform",
            "wave",
            2 * half,
            alternative,
            [&]
            {
                if (facts.isProcessed)
                    page.empty ("path", { { "class", "gone" }, { "d", shape (measured.source) } });

                page.empty ("path",
                            { { "class", facts.isProcessed ? "kept" : "plain" },
                              { "d", shape (facts.isProcessed ? measured.processed : measured.source) } });
            });

        juce::String marks;

        for (const auto hit : measured.hits)
            marks << "M" << juce::String (hit / axis.seconds() * static_cast<double> (axis.numColumns), 1)
                  << " 0v10";

        if (marks.isNotEmpty())
            rows.addDrawing (
                countText (measured.hits.size(), "hit"),
                "hits",
                10,
                juce::String (measured.hits.size()) + " hits, from " + timeText (measured.hits.front())
                    + " to " + timeText (measured.hits.back()) + ".",
                [&] {
                    page.empty ("path", { { "d", marks }, { "vector-effect", "non-scaling-stroke" } });
                });
    }

    void writeReduction()
    {
        constexpr int height = 60; // a unit for each decibel
        const auto stepsPerColumn =
            axis.seconds() / static_cast<double> (axis.numColumns) / ReductionCurve::usualStep;
        const auto reduction = [&] (std::size_t column)
        {
            const auto first = static_cast<std::size_t> (static_cast<double> (column) * stepsPerColumn);
            const auto end =
                static_cast<std::size_t> (std::ceil (static_cast<double> (column + 1) * stepsPerColumn));
            return std::lround (measured.reduction.over (first, end).meanDb);
        };
        const auto whole = measured.reduction.whole();
        rows.addDrawing ("Reduction",
                         "reduction",
                         height,
                         "Reduction over time: " + juce::String (whole.meanDb, 1) + " dB in the mean, "
                             + juce::String (whole.maximumDb, 1) + " dB at most.",
                         [&]
                         {
                             page.empty ("path",
                                         { { "class", "grid" },
                                           { "d", "M0 20h960M0 40h960" },
                                           { "vector-effect", "non-scaling-stroke" } });
                             page.empty (
                                 "path",
                                 { { "class", "less" },
                                   { "d",
                                     shapePath (
                                         axis.numColumns, [] (std::size_t) { return 0; }, reduction) } });
                         });
    }

    void writeSpectrogram (const char* label, const SignalPicture& signal, PngColour hue)
    {
        const auto top = SignalPicture::levelOf (*std::ranges::max_element (measured.source.levels));
        const auto pixels = spectrogramPixels (signal, axis, top, numColours);
        const auto picture =
            encodePng (axis.numColumns, SpectrumColumns::numBands, pixels, colourRamp (hue, numColours));
        const auto isEmpty = std::ranges::none_of (pixels, [] (auto pixel) { return pixel > 0; });
        const auto alternative =
            juce::String ("Spectrogram, ") + juce::String (label).toLowerCase() + " of " + facts.name
            + (isEmpty ? juce::String (": nothing.")
                       : ": loudest around " + frequencyText (loudestFrequency (signal, axis, bands)) + ".");

        rows.add (label,
                  "spectrum",
                  [&]
                  {
                      page.withData ("img", { { "alt", alternative } }, "src", "image/png", picture);

                      for (const auto frequency : { 100.0, 1000.0, 5000.0 })
                          page.leaf ("span",
                                     frequency < 1000.0
                                         ? juce::String (static_cast<int> (frequency))
                                         : juce::String (static_cast<int> (frequency / 1000.0)) + "k",
                                     { { "style", "top:" + percent (heightOf (frequency, bands)) },
                                       { "aria-hidden", "true" } });
                  });
    }

    Html& page;
    const TrackState& track;
    const TrackFacts& facts;
    const TrackMeasurement& measured;
    const PictureAxis& axis;
    Rows rows;
    const SpectrumColumns bands;
};

juce::String hexText (PngColour colour)
{
    juce::String text ("#");

    for (const auto part : colour)
        text << juce::String::toHexString (static_cast<int> (part)).paddedLeft ('0', 2);

    return text;
}
} // namespace

std::vector<std::uint8_t>
spectrogramPixels (const SignalPicture& signal, const PictureAxis& axis, float topDb, std::size_t colours)
{
    std::vector<std::uint8_t> pixels (axis.numColumns * SpectrumColumns::numBands);
    const auto scale = static_cast<float> (colours) / spectrogramRangeDb;
    const auto highest = static_cast<float> (colours - 1);

    for (std::size_t column = 0; column < axis.numColumns; ++column)
        for (std::size_t band = 0; band < SpectrumColumns::numBands; ++band)
        {
            const auto level =
                SignalPicture::levelOf (signal.levels[column * SpectrumColumns::numBands + band]);
            const auto index = std::clamp ((level - topDb + spectrogramRangeDb) * scale, 0.0f, highest);
            pixels[(SpectrumColumns::numBands - 1 - band) * axis.numColumns + column] =
                static_cast<std::uint8_t> (index);
        }

    return pixels;
}

std::vector<PngColour> colourRamp (PngColour hue, std::size_t colours)
{
    constexpr PngColour light{ 0xfc, 0xfa, 0xf4 };
    constexpr double hueAt = 0.72;
    std::vector<PngColour> ramp (colours);

    for (std::size_t i = 0; i < colours; ++i)
    {
        const auto place = static_cast<double> (i) / static_cast<double> (colours - 1);
        const auto isDark = place < hueAt;
        const auto& from = isDark ? background : hue;
        const auto& to = isDark ? hue : light;
        const auto way = isDark ? place / hueAt : (place - hueAt) / (1.0 - hueAt);

        for (std::size_t part = 0; part < from.size(); ++part)
            ramp[i][part] =
                static_cast<std::uint8_t> (std::lround (from[part] + way * (to[part] - from[part])));
    }

    return ramp;
}

juce::String drumColourVariables (bool onDark)
{
    juce::String variables;

    for (const auto& each : drumColours)
        variables << "--" << drumTypeKey (each.type) << ":" << hexText (onDark ? each.onDark : each.onLight)
                  << ";";

    return variables;
}

void writeTrackFigure (Html& page,
                       const TrackState& track,
                       const TrackFacts& facts,
                       const TrackMeasurement& measured,
                       const PictureAxis& axis)
{
    TrackFigure (page, track, facts, measured, axis).write();
}

} // namespace tessivar
