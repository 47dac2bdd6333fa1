#include "model/groupfile/TessivarAudioFormat.h"

#include "model/AudioIntake.h"
#include "model/groupfile/TessivarFormatReader.h"

#include <memory>

namespace tessivar
{

TessivarAudioFormat::TessivarAudioFormat() : AudioFormat ("DLS", ".dls") {}

juce::Array<int> TessivarAudioFormat::getPossibleSampleRates()
{
    return { supportedSampleRates.data(), static_cast<int> (supportedSampleRates.size()) };
}

juce::AudioFormatReader* TessivarAudioFormat::createReaderFor (juce::InputStream* stream,
                                                               bool deleteStreamIfOpeningFails)
{
    auto reader = std::make_unique<TessivarFormatReader> (stream);

    if (reader->isValid() && reader->numTracks() > 0)
        return reader.release();

    if (! deleteStreamIfOpeningFails)
        reader->input = nullptr;

    return nullptr;
}

juce::AudioFormatWriter* TessivarAudioFormat::createWriterFor (
    juce::OutputStream*, double, unsigned int, int, const juce::StringPairArray&, int)
{
    return nullptr;
}

} // namespace tessivar
