#include "model/groupfile/TessivarAudioFormat.h"

#include "model/AudioIntake.h"
#include "model/groupfile/GroupTables.h"
#include "model/groupfile/TessivarFormatReader.h"

#include <memory>

namespace tessivar
{

TessivarAudioFormat::TessivarAudioFormat() : AudioFormat ("DLS", ".dls") {}

bool TessivarAudioFormat::isMarked (juce::InputStream& stream)
{
    GroupFileTrailer::Bytes bytes{};
    constexpr auto size = static_cast<int> (GroupFileTrailer::encodedSize);
    return stream.getTotalLength() >= size && stream.setPosition (stream.getTotalLength() - size)
           && stream.read (bytes.data(), size) == size && GroupFileTrailer::decode (bytes).isMarked();
}

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
