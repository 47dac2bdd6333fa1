#pragma once

#include "engine/AnalysisSettings.h"
#include "engine/numerics/AlignedBuffer.h"
#include "terms/DrumType.h"
#include "terms/WorkControl.h"

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace tessivar
{

/** The six read-only arrays of one sample rate. Plain little-endian float32 files without a header. */
struct AnalysisData
{
    RateParameters rate;
    AlignedBuffer tomHighTemplate; // the templates: rate.templateLength samples, full scale 1.0
    AlignedBuffer tomLowTemplate;
    AlignedBuffer tomFloorTemplate;
    AlignedBuffer window;        // rate.frameLength weights, for analysis and for synthesis
    AlignedBuffer interpolation; // rate.numBins() fractional mel band positions in [0, 79)
    AlignedBuffer melFilterBank; // 80 x rate.numBins(), column-major: weight of bin f in band m at m + 80 * f

    /** The template of a tom type; empty for any other type. */
    [[nodiscard]] std::span<const float> templateFor (DrumType drumType) const;
};

/** One data file: its name below the resource folder and the number of floats it holds. */
struct DataFileEntry
{
    std::string name;
    std::size_t numFloats = 0;
};

/** What a text in UTF-8 names, whatever letters the system's language has. */
[[nodiscard]] std::filesystem::path pathOf (const std::string& utf8);

/** The files of one rate in loading order: high, low and floor template, window, interpolation vector, mel
    filter bank. */
[[nodiscard]] std::vector<DataFileEntry> dataFilesFor (const RateParameters& rate);

/** The files of all five rates, each once: rates share window files. */
[[nodiscard]] std::vector<DataFileEntry> allDataFiles();

/** Fills dest with the floats of a file. Tolerant by design: a short or missing file is filled up with zeros,
    a longer one is cut, and only a line in the log tells. Without a log, the line goes to standard output. */
void readDataFile (const std::string& path, std::span<float> dest, const DiagnosticLog& log);

/** Loads the six arrays of a rate from the folder that holds resources01 to resources03.

    Progress is set to k/140 before file k = 1..6, as single-precision fractions. Returns false as soon as a
    stop is requested between two files; data is then incomplete.
*/
[[nodiscard]] bool loadAnalysisData (const std::string& resourceFolder,
                                     const RateParameters& rate,
                                     AnalysisData& data,
                                     const WorkControl& control,
                                     const DiagnosticLog& log = {});

} // namespace tessivar
