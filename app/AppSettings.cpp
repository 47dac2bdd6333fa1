#include "app/AppSettings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <thread>

namespace tessivar
{

namespace
{
constexpr int maximumThreads = 256;
constexpr std::array scales{ 2.0, 1.5, 1.25, 1.0 };
constexpr double scaleStep = 0.05, smallestScale = 0.75;
constexpr int frameHeight = 32; // of the desktop's title bar, as a guess
} // namespace

int analysisThreads (const juce::PropertySet& settings)
{
    const auto chosen = settings.getIntValue (appSettingsKeys::analysisThreads);
    const auto cores = static_cast<int> (std::thread::hardware_concurrency());
    return std::clamp (chosen > 0 ? chosen : cores, 1, maximumThreads);
}

AnalysisMethod defaultMethod (const juce::PropertySet& settings)
{
    return parseAnalysisMethod (settings.getValue (appSettingsKeys::analysisMethod).toRawUTF8())
        .value_or (usualMethod);
}

AnalysisOptions analysisOptions (AnalysisMethod method, const juce::PropertySet& settings)
{
    AnalysisOptions options;
    options.method = method;
    options.numThreads = analysisThreads (settings);
    return options;
}

ExportFileType exportFileType (const juce::PropertySet& settings)
{
    return exportFileTypeFor (settings.getValue (appSettingsKeys::exportFileType));
}

ExportDepth exportDepth (const juce::PropertySet& settings)
{
    return settings.getValue (appSettingsKeys::exportDepth) == "float" ? ExportDepth::float32
                                                                       : ExportDepth::source;
}

ReadAheadSettings readAheadSettings (const juce::PropertySet& settings)
{
    ReadAheadSettings result;
    result.seconds = settings.getDoubleValue (appSettingsKeys::readAheadSeconds, result.seconds);
    result.framesPerRead = settings.getIntValue (appSettingsKeys::readAheadFrames, result.framesPerRead);
    return result.sanitised();
}

double interfaceScale (const juce::PropertySet& settings, int roomWidth, int roomHeight)
{
    const auto fitting = [=] (int width, int height)
    {
        return std::min (static_cast<double> (roomWidth) / width,
                         static_cast<double> (roomHeight - frameHeight) / height);
    };
    const auto largest = std::max (
        smallestScale,
        std::floor (fitting (windowSizes::leastWidth, windowSizes::leastHeight) / scaleStep + 1.0e-6)
            * scaleStep);
    const auto fromEnvironment =
        juce::SystemStats::getEnvironmentVariable ("TESSIVAR_SCALE", {}).getDoubleValue();

    if (fromEnvironment >= 0.5 && fromEnvironment <= 4.0)
        return std::min (fromEnvironment, largest);

    if (const auto percent = settings.getIntValue (appSettingsKeys::interfaceSize);
        percent >= 100 && percent <= 200)
        return std::min (percent / 100.0, largest);

    for (const auto scale : scales)
        if (fitting (windowSizes::usualWidth, windowSizes::usualHeight) >= scale)
            return scale;

    return std::min (1.0, largest);
}

} // namespace tessivar
