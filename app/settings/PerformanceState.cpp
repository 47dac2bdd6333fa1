#include "app/settings/PerformanceState.h"

#include "model/ForeignText.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <utility>
#include <vector>

namespace tessivar
{

namespace
{
constexpr std::int64_t smallestTest = 64 << 20; // bytes; a smaller one tells nothing
constexpr int bytesPerFrame = 28;               // seven channels of a rendered track

/** Whole MB a second, thousands parted by commas. */
juce::String speedText (double bytesPerSecond)
{
    auto digits = juce::String (static_cast<juce::int64> (std::llround (bytesPerSecond / 1.0e6)));

    for (int end = digits.length() - 3; end > 0; end -= 3)
        digits = digits.substring (0, end) + "," + digits.substring (end);

    return digits + " MB/s";
}

/** "2 s", "2.7 s" */
juce::String secondsText (double seconds)
{
    const auto tenths = juce::roundToInt (seconds * 10.0);
    return (tenths % 10 == 0 ? juce::String (tenths / 10) : juce::String (tenths / 10.0, 1)) + " s";
}

/** A speed or a length as it may stand in a settings file. */
double positive (const juce::var& value)
{
    const auto number = static_cast<double> (value);
    return std::isfinite (number) ? std::max (0.0, number) : 0.0;
}
} // namespace

ChoiceList<int> threadChoices (int numCores, int chosen)
{
    std::vector<int> counts (static_cast<std::size_t> (numCores) + 1);
    std::iota (counts.begin(), counts.end(), 0);
    const auto words = [numCores] (int count)
    {
        const auto automatic =
            "Automatic (" + juce::String (numCores) + (numCores == 1 ? " core)" : " cores)");
        return count == 0 ? automatic : juce::String (count) + (count == 1 ? " thread" : " threads");
    };

    // From a machine with more cores: as many as there are.
    return choicesOf (std::move (counts), std::clamp (chosen, 0, numCores), words);
}

ChoiceList<double> readAheadChoices (double chosen)
{
    std::set<double> lengths{ 1.0, 2.0, 3.0, 5.0, 10.0, 20.0, 30.0, chosen };
    return choicesOf (std::vector (lengths.begin(), lengths.end()), chosen, secondsText);
}

ChoiceList<int> pieceChoices (int chosen)
{
    std::set<int> sizes{ 8192, 16384, 32768, 65536, chosen };
    const auto words = [] (int frames) {
        return juce::String (frames) + " frames (" + juce::String (frames * bytesPerFrame / 1.0e6, 1)
               + " MB)";
    };
    return choicesOf (std::vector (sizes.begin(), sizes.end()), chosen, words);
}

int interfaceSizeIndex (int percent)
{
    const auto found = std::find (interfaceSizes.begin(), interfaceSizes.end(), percent);
    return found != interfaceSizes.end() ? static_cast<int> (found - interfaceSizes.begin()) : 0;
}

std::optional<std::int64_t> benchmarkFileBytes (std::optional<std::uint64_t> freeBytes)
{
    const auto usual = DiskBenchmark::Options{}.fileBytes;
    const auto bytes =
        freeBytes ? static_cast<std::int64_t> (std::min (*freeBytes / 4, std::uint64_t (usual))) : usual;
    return bytes >= smallestTest ? std::make_optional (bytes) : std::nullopt;
}

BenchmarkSummary BenchmarkSummary::of (const DiskBenchmark& result, const juce::File& folder, juce::Time when)
{
    BenchmarkSummary summary;
    summary.folder = shownText (folder.getFullPathName());
    summary.when = when;
    summary.readBytesPerSecond = result.sequentialBytesPerSecond;
    summary.writeBytesPerSecond = result.writeBytesPerSecond;

    for (const auto& streams : result.streams)
        summary.streamsBytesPerSecond = std::max (summary.streamsBytesPerSecond, streams.bytesPerSecond);

    summary.neededBytesPerSecond = result.neededBytesPerSecond;
    summary.keepsUp = result.keepsUp;

    // To the tenth of a second, as it is shown.
    summary.proposal = result.proposal;
    summary.proposal.seconds = std::ceil (result.proposal.seconds * 10.0 - 1.0e-6) / 10.0;
    summary.proposal = summary.proposal.sanitised();
    return summary;
}

juce::String BenchmarkSummary::toText() const
{
    auto object = std::make_unique<juce::DynamicObject>();
    object->setProperty ("folder", folder);
    object->setProperty ("when", when.toMilliseconds());
    object->setProperty ("read", readBytesPerSecond);
    object->setProperty ("write", writeBytesPerSecond);
    object->setProperty ("streams", streamsBytesPerSecond);
    object->setProperty ("needed", neededBytesPerSecond);
    object->setProperty ("keepsUp", keepsUp);
    object->setProperty ("seconds", proposal.seconds);
    object->setProperty ("frames", proposal.framesPerRead);
    return juce::JSON::toString (juce::var (object.release()), true);
}

std::optional<BenchmarkSummary> BenchmarkSummary::fromText (const juce::String& text)
{
    juce::var parsed;

    if (juce::JSON::parse (text, parsed).failed() || parsed.getDynamicObject() == nullptr
        || ! parsed["folder"].isString() || positive (parsed["read"]) <= 0.0)
        return {};

    BenchmarkSummary summary;
    summary.folder = parsed["folder"].toString();
    summary.when = juce::Time (static_cast<juce::int64> (parsed["when"]));
    summary.readBytesPerSecond = positive (parsed["read"]);
    summary.writeBytesPerSecond = positive (parsed["write"]);
    summary.streamsBytesPerSecond = positive (parsed["streams"]);
    summary.neededBytesPerSecond = positive (parsed["needed"]);
    summary.keepsUp = static_cast<bool> (parsed["keepsUp"]);
    summary.proposal.seconds = positive (parsed["seconds"]);
    summary.proposal.framesPerRead = static_cast<int> (parsed["frames"]);
    summary.proposal = summary.proposal.sanitised();
    return summary;
}

juce::String BenchmarkSummary::headline() const
{
    return "Read " + speedText (readBytesPerSecond) + juce::String::fromUTF8 (" \xc2\xb7 ") + "Write "
           + speedText (writeBytesPerSecond);
}

juce::String BenchmarkSummary::verdict (juce::Time now) const
{
    const auto day = when.formatted ("%Y-%m-%d");
    const auto tested = " Tested " + (day == now.formatted ("%Y-%m-%d") ? juce::String ("today") : day) + ", "
                        + when.formatted ("%H:%M") + ".";

    if (keepsUp)
        return folder + " is fast enough for any group." + tested;

    return folder + " reads 24 tracks at " + speedText (streamsBytesPerSecond) + "; they need "
           + speedText (neededBytesPerSecond) + "." + tested;
}

juce::String BenchmarkSummary::proposalText (const ReadAheadSettings& current) const
{
    if (juce::approximatelyEqual (proposal.seconds, current.seconds)
        && proposal.framesPerRead == current.framesPerRead)
        return {};

    return "Proposed: " + secondsText (proposal.seconds) + " in pieces of "
           + juce::String (proposal.framesPerRead) + " frames.";
}

} // namespace tessivar
