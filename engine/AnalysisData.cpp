#include "engine/AnalysisData.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>

namespace tessivar
{

static_assert (std::endian::native == std::endian::little, "the data files hold little-endian floats");

std::filesystem::path pathOf (const std::string& utf8)
{
    return std::u8string (utf8.begin(), utf8.end());
}

std::span<const float> AnalysisData::templateFor (DrumType drumType) const
{
    if (drumType == DrumType::tomHigh)
        return tomHighTemplate.span();

    if (drumType == DrumType::tomLow)
        return tomLowTemplate.span();

    if (drumType == DrumType::tomFloor)
        return tomFloorTemplate.span();

    return {};
}

std::vector<DataFileEntry> dataFilesFor (const RateParameters& rate)
{
    const auto hertz = std::to_string (rate.sampleRate);
    const auto frame = std::to_string (rate.frameLength);
    const auto templateFloats = static_cast<std::size_t> (rate.templateLength);
    const auto bins = static_cast<std::size_t> (rate.numBins());

    return { { "resources01/Htom_" + hertz + ".dat", templateFloats },
             { "resources01/Ltom_" + hertz + ".dat", templateFloats },
             { "resources01/Floor_" + hertz + ".dat", templateFloats },
             { "resources02/sinebell_" + frame + "_" + std::to_string (rate.hop) + ".dat",
               static_cast<std::size_t> (rate.frameLength) },
             { "resources03/interpVector_" + hertz + "_" + frame + ".dat", bins },
             { "resources03/melFilterBank_" + hertz + "_" + frame + ".dat", method::numMelBands * bins } };
}

std::vector<DataFileEntry> allDataFiles()
{
    std::vector<DataFileEntry> result;

    for (const auto& rate : supportedRates)
        for (auto& entry : dataFilesFor (rate))
            if (std::none_of (
                    result.begin(), result.end(), [&] (const auto& e) { return e.name == entry.name; }))
                result.push_back (std::move (entry));

    return result;
}

void readDataFile (const std::string& path, std::span<float> dest, const DiagnosticLog& log)
{
    std::vector<char> bytes;
    std::ifstream file (pathOf (path), std::ios::binary);
    auto isRead = file.is_open();

    if (isRead)
    {
        // No more than is used: a longer file is cut anyway.
        bytes.resize (dest.size_bytes());
        file.read (bytes.data(), static_cast<std::streamsize> (bytes.size()));
        isRead = ! file.bad(); // opening a folder succeeds, reading it fails
        bytes.resize (isRead ? static_cast<std::size_t> (file.gcount()) : 0);
    }

    // Deliberately the number asked for, not what the file holds.
    const auto line = isRead ? "Read " + std::to_string (dest.size_bytes()) + " bytes from " + path + "\n"
                             : "Some data from " + path + " didn't fit.\n";

    if (log)
        log (line, isRead);
    else
        std::cout << line << std::flush;

    std::fill (dest.begin(), dest.end(), 0.0f);

    if (! bytes.empty())
        std::memcpy (dest.data(), bytes.data(), bytes.size());
}

bool loadAnalysisData (const std::string& resourceFolder,
                       const RateParameters& rate,
                       AnalysisData& data,
                       const WorkControl& control,
                       const DiagnosticLog& log)
{
    data.rate = rate;
    AlignedBuffer* const arrays[]{ &data.tomHighTemplate, &data.tomLowTemplate, &data.tomFloorTemplate,
                                   &data.window,          &data.interpolation,  &data.melFilterBank };
    const auto files = dataFilesFor (rate);

    for (std::size_t i = 0; i < files.size(); ++i)
    {
        control.progress (static_cast<double> (static_cast<float> (i + 1) / 140.0f));
        *arrays[i] = AlignedBuffer (files[i].numFloats);
        readDataFile (resourceFolder + "/" + files[i].name, arrays[i]->span(), log);

        if (control.stopRequested())
            return false;
    }

    control.progress (static_cast<double> (7.0f / 140.0f));
    return true;
}

} // namespace tessivar
