#include "app/settings/PerformanceState.h"

#include "model/ForeignText.h"

#include <algorithm>
#include <cmath>

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

bool isSameDay (juce::Time a, juce::Time b)
{
    return a.getYear() == b.getYear() && a.getDayOfYear() == b.getDayOfYear();
}

/** A speed or a length as it may stand in a settings file. */
double positive (const juce::var& value)
{
    const auto number = static_cast<double> (value);
    return std::isfinite (number) ? std::max (0.0, number) : 0.0;
}

template <typename Value, typename Words>
ChoiceList<Value> listOf (std::vector<Value> values, Value chosen, const Words& words)
{
    ChoiceList<Value> result;

    if (std::find (values.begin(), values.end(), chosen) == values.end())
        values.insert (std::upper_bound (values.begin(), values.end(), chosen), chosen);

    result.values = std::move (values);

    for (const auto value : result.values)
        result.texts.add (words (value));

    result.selected = static_cast<int> (std::find (result.values.begin(), result.values.end(), chosen)
                                        - result.values.begin());
    return result;
}
} // namespace

ChoiceList<int> threadChoices (int numCores, int chosen)
{
    ChoiceList<int> result;
    result.values.push_back (0);
    result.texts.add ("Automatic (" + juce::String (numCores) + (numCores == 1 ? " core)" : " cores)"));

    for (int threads = 1; threads <= numCores; ++threads)
    {
        result.values.push_back (threads);
        result.texts.add (threads == 1 ? "1 thread" : juce::String (threads) + " threads");
    }

    // From a machine with more cores: as many as there are.
    result.selected = std::clamp (chosen, 0, numCores);
    return result;
}

ChoiceList<double> readAheadChoices (double chosen)
{
    return listOf<double> ({ 1.0, 2.0, 3.0, 5.0, 10.0, 20.0, 30.0 }, chosen, secondsText);
}

ChoiceList<int> pieceChoices (int chosen)
{
    const auto words = [] (int frames) {
        return juce::String (frames) + " frames (" + juce::String (frames * bytesPerFrame / 1.0e6, 1)
               + " MB)";
    };
    return listOf<int> ({ 8192, 16384, 32768, 65536 }, chosen, words);
}

int interfaceSizeIndex (int percent)
{
    const auto found = std::find (interfaceSizes.begin(), interfaceSizes.end(), percent);
    return found != interfaceSizes.end() ? static_cast<int> (found - interfaceSizes.begin()) : 0;
}

std::optional<std::int64_t> benchmarkFileBytes (std::optional<std::uint64_t> freeBytes)
{
    const auto usual = DiskBenchmark::Options{}.fileBytes;

    if (! freeBytes)
        return usual;

    const auto quarter =
        static_cast<std::int64_t> (std::min (*freeBytes / 4, static_cast<std::uint64_t> (usual)));
    return quarter >= smallestTest ? std::make_optional (quarter) : std::nullopt;
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
    const auto day = isSameDay (when, now) ? juce::String ("today") : when.formatted ("%Y-%m-%d");
    const auto tested = " Tested " + day + ", " + when.formatted ("%H:%M") + ".";

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
