#include "ui/wave/WaveRaster.h"

#include "ui/Palette.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace tessivar
{

namespace
{

/** Rows [top, bottom) that a column covers, in fractions of a row. */
struct Extent
{
    float top = 0.0f;
    float bottom = 0.0f;
};

/** A run of one colour in one column. */
struct Run
{
    float top = 0.0f;
    float bottom = 0.0f;
    juce::PixelARGB colour;
};

/** The runs of one column, from the top: edge, fill, edge; unused ones are empty. */
using ColumnRuns = std::array<Run, 3>;

/** Writes runs into one column of an RGB image, clipped to rows [firstRow, endRow). */
class ColumnPen
{
public:
    ColumnPen (juce::Image::BitmapData& image, std::size_t x, int firstRowOfBand, int endRowOfBand) noexcept
        : top (image.getPixelPointer (static_cast<int> (x), 0)), lineStride (image.lineStride),
          firstRow (firstRowOfBand), endRow (endRowOfBand)
    {
    }

    void fill (const Run& run) const noexcept
    {
        if (run.top >= run.bottom || run.bottom <= static_cast<float> (firstRow)
            || run.top >= static_cast<float> (endRow))
            return;

        // Far outside the image a float may not fit into an int.
        const auto upper = std::max (run.top, static_cast<float> (firstRow - 1));
        const auto lower = std::min (run.bottom, static_cast<float> (endRow + 1));
        const auto firstWhole = static_cast<int> (std::ceil (upper));
        const auto endWhole = static_cast<int> (std::floor (lower));
        if (firstWhole > endWhole) // within one row
            return blend (endWhole, lower - upper, run.colour);
        blend (firstWhole - 1, static_cast<float> (firstWhole) - upper, run.colour);
        blend (endWhole, lower - static_cast<float> (endWhole), run.colour);

        const auto end = std::min (endWhole, endRow);
        auto y = std::max (firstWhole, firstRow);
        auto* pixel = top + y * lineStride;
        if (run.colour.getAlpha() == 255)
            for (; y < end; ++y, pixel += lineStride)
                reinterpret_cast<juce::PixelRGB*> (pixel)->set (run.colour);
        else
            for (; y < end; ++y, pixel += lineStride)
                reinterpret_cast<juce::PixelRGB*> (pixel)->blend (run.colour);
    }

    /** The same without rows [hidden.top, hidden.bottom), both whole. */
    void fillAround (const Run& run, Extent hidden) const noexcept
    {
        if (hidden.top >= hidden.bottom)
            return fill (run);
        fill ({ run.top, std::min (run.bottom, hidden.top), run.colour });
        fill ({ std::max (run.top, hidden.bottom), run.bottom, run.colour });
    }

private:
    void blend (int y, float coverage, juce::PixelARGB colour) const noexcept
    {
        if (coverage > 0.004f && y >= firstRow && y < endRow)
            reinterpret_cast<juce::PixelRGB*> (top + y * lineStride)
                ->blend (colour, static_cast<juce::uint32> (coverage * 255.0f));
    }

    juce::uint8* top;
    std::ptrdiff_t lineStride;
    int firstRow;
    int endRow;
};

std::vector<Extent> extentsOf (const WaveRasterLayer& layer, WaveRasterScale scale)
{
    std::vector<Extent> extents (layer.columns.size());
    for (std::size_t i = 0; i < extents.size(); ++i)
    {
        auto low = layer.columns[i].low;
        auto high = layer.columns[i].high;
        if (i > 0)
        {
            low = std::min (low, layer.columns[i - 1].high);
            high = std::max (high, layer.columns[i - 1].low);
        }
        auto top = scale.centre - high * scale.unit;
        auto bottom = scale.centre - low * scale.unit;
        // Even the shortest excursion gets a line, so that a curve of single samples stays visible away from
        // the centre.
        const auto missing = 2.0f * layer.thinnest - (bottom - top);
        if (missing > 0.0f)
        {
            top -= missing / 2.0f;
            bottom += missing / 2.0f;
        }
        extents[i] = { top, bottom };
    }
    return extents;
}

/** What remains of a column when `depth` pixels of the shape are eroded on every side: the part inside the
    edge. */
Extent insideOf (const std::vector<Extent>& extents, std::size_t column, int depth)
{
    const auto reach = static_cast<std::size_t> (depth);
    const auto from = column > reach ? column - reach : 0;
    const auto to = std::min (extents.size(), column + reach + 1);
    Extent inside{ extents[column].top + static_cast<float> (depth),
                   extents[column].bottom - static_cast<float> (depth) };
    for (auto i = from; i < to; ++i)
    {
        inside.top = std::max (inside.top, extents[i].top);
        inside.bottom = std::min (inside.bottom, extents[i].bottom);
    }
    return inside;
}

std::vector<ColumnRuns> runsOf (const WaveRasterLayer& layer, const std::vector<Extent>& extents)
{
    const auto fill = layer.fill.getPixelARGB();
    const auto edge = layer.edge.getPixelARGB();
    const auto hasEdge = ! layer.edge.isTransparent() && layer.edgeWidth > 0;

    std::vector<ColumnRuns> runs (extents.size());
    for (std::size_t i = 0; i < runs.size(); ++i)
    {
        const auto whole = extents[i];
        const auto inside = hasEdge ? insideOf (extents, i, layer.edgeWidth) : whole;
        if (inside.top < inside.bottom)
            runs[i] = { { { whole.top, inside.top, edge },
                          { inside.top, inside.bottom, fill },
                          { inside.bottom, whole.bottom, edge } } };
        else
            runs[i][0] = { whole.top, whole.bottom, edge };
    }
    return runs;
}

/** Whole rows of each column that the last layer covers: what lies behind them needn't be drawn. */
std::vector<Extent> hiddenBehind (std::span<const WaveRasterLayer> layers,
                                  const std::vector<std::vector<ColumnRuns>>& runs)
{
    if (layers.size() < 2 || ! layers.back().fill.isOpaque() || ! layers.back().edge.isTransparent())
        return {};
    std::vector<Extent> hidden (runs.back().size());
    for (std::size_t i = 0; i < hidden.size(); ++i)
        hidden[i] = { std::ceil (runs.back()[i][1].top), std::floor (runs.back()[i][1].bottom) };
    return hidden;
}

} // namespace

void fillWaveLayers (juce::Image::BitmapData& pixels,
                     std::span<const WaveRasterLayer> layers,
                     WaveRasterScale scale)
{
    std::vector<std::vector<ColumnRuns>> runs;
    for (const auto& layer : layers)
        runs.push_back (runsOf (layer, extentsOf (layer, scale)));
    const auto hidden = hiddenBehind (layers, runs);

    // Fill in bands of rows that fit the processor's cache, and within a band in tiles whose columns share
    // cache lines: going down whole columns of a large image would evict every line before its neighbour
    // needs it.
    constexpr int bandHeight = 32;
    constexpr std::size_t tileWidth = 64;
    const auto rowBytes = static_cast<std::size_t> (pixels.width * pixels.pixelStride);
    const auto width = static_cast<std::size_t> (pixels.width);

    // Upwards, so that row 0 keeps the background until all other rows have it.
    for (auto band = (pixels.height - 1) / bandHeight * bandHeight; band >= 0; band -= bandHeight)
    {
        const auto bandEnd = std::min (band + bandHeight, pixels.height);
        for (auto row = std::max (band, 1); row < bandEnd; ++row)
            std::memcpy (pixels.getLinePointer (row), pixels.getLinePointer (0), rowBytes);

        for (std::size_t left = 0; left < width; left += tileWidth)
            for (std::size_t l = 0; l < layers.size(); ++l)
                for (auto x = left; x < std::min ({ left + tileWidth, width, runs[l].size() }); ++x)
                {
                    const ColumnPen pen (pixels, x, band, bandEnd);
                    for (const auto& run : runs[l][x])
                        pen.fillAround (run,
                                        l + 1 < layers.size() && x < hidden.size() ? hidden[x] : Extent{});
                }
    }
}

WaveLayerColours WaveLayerColours::forLook (WaveLook look, juce::Colour typeColour) noexcept
{
    switch (look)
    {
        case WaveLook::processed:
            return { palette::emberFill, palette::emberLine, typeColour };
        case WaveLook::bypassed:
            return { juce::Colour (0xffc9d2da), {}, typeColour.withAlpha (0.35f) };
        case WaveLook::removed:
            return { palette::ember, {}, juce::Colour (0xff3a4650) };
        case WaveLook::asIs:
            return { typeColour, {}, {} };
        case WaveLook::excluded:
            return { palette::sourceUnanalysed.withAlpha (0.45f), {}, {} };
        case WaveLook::notAnalysed:
            break;
    }
    return { palette::sourceUnanalysed, {}, {} };
}

} // namespace tessivar
