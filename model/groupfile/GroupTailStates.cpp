#include "model/groupfile/GroupTail.h"

#include "model/BleedMapText.h"
#include "model/LittleEndian.h"
#include "model/SourcePath.h"
#include "model/groupfile/PropertyList.h"
#include "platform/DiskNames.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "terms/MixStrip.h"
#include "terms/SampleRates.h"
#include "terms/TrackFindings.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace tessivar
{

namespace
{
using Properties = juce::StringPairArray;

namespace key
{
constexpr auto name = "name", foreignText = "foreignText", method = "method",
               analysisMethod = "analysis.method", analysisSeed = "analysis.seed",
               analysisTracks = "analysis.numTracks", analysisBleed = "analysis.bleed", excluded = "excluded",
               knobsTouched = "knobsTouched", typeUnknown = "typeUnknown", sourcePath = sourcePathProperty,
               channel = "channel", numSourceChannels = "numSourceChannels", bitsPerSample = "bitsPerSample",
               floatingPoint = "floatingPoint", sourceChunks = "sourceChunks",
               analysedType = "analysed.drumType", analysedExcluded = "analysed.excluded",
               focusMatch = "findings.focusMatchDb", bestFocus = "findings.bestFocusUpTo",
               leakage = "findings.leakageDb", maskedEnergy = "findings.maskedEnergyDb",
               suggestedFocus = "findings.suggestedFocus", benefit = "findings.benefit",
               numHits = "findings.numHits", confidence = "findings.confidence",
               sharedDrum = "findings.sharedDrum", bleedPlace = "findings.bleedPlace",
               soundsLike = "findings.soundsLike", fader = "kit.faderDb", solo = "kit.solo",
               mute = "kit.mute";
} // namespace key

juce::String textOf (bool value)
{
    return value ? "1" : "0";
}

template <typename Values>
juce::String listOf (const Values& values)
{
    juce::StringArray texts;

    for (const auto value : values)
        texts.add (tessivar::textOf (static_cast<double> (value)));

    return texts.joinIntoString (" ");
}

/** Nothing unless the text holds exactly as many numbers. */
template <typename Values>
void parseList (const juce::String& text, Values& values)
{
    const auto texts = juce::StringArray::fromTokens (text, " ", {});

    if (static_cast<std::size_t> (texts.size()) != values.size())
        return;

    auto parsed = values;

    for (std::size_t i = 0; i < parsed.size(); ++i)
    {
        const auto number = doubleOf (texts[static_cast<int> (i)]);

        // Outside of it a conversion to int has no result.
        if (! number || (std::is_integral_v<typename Values::value_type> && ! (std::abs (*number) <= 1.0e6)))
            return;

        parsed[i] = static_cast<typename Values::value_type> (*number);
    }

    values = parsed;
}

/** Properties of a file, of which what is known is taken out. */
class PropertiesLeft
{
public:
    explicit PropertiesLeft (const Properties& properties) : left (properties) {}

    [[nodiscard]] bool has (const char* name) const { return left.containsKey (name); }

    [[nodiscard]] const juce::String& peek (const char* name) const { return left[name]; }

    juce::String take (const char* name)
    {
        const auto value = left[name];
        left.remove (juce::StringRef (name));
        return value;
    }

    /** The number when there is one within the limits, else the default. */
    int takeInt (const char* name, int low, int high, int otherwise)
    {
        const auto number = unsignedOf (take (name));
        return number && *number >= static_cast<std::uint64_t> (low)
                       && *number <= static_cast<std::uint64_t> (high)
                   ? static_cast<int> (*number)
                   : otherwise;
    }

    void takePrefixed (const juce::String& prefix)
    {
        for (int i = left.size(); --i >= 0;)
            if (left.getAllKeys()[i].startsWith (prefix))
                left.remove (i);
    }

    [[nodiscard]] const Properties& rest() const { return left; }

private:
    Properties left;
};

void addFindings (const TrackFindings& findings, Properties& properties)
{
    if (findings.soundsLike)
        properties.set (key::soundsLike, drumTypeKey (*findings.soundsLike));

    if (TrackFindings rest = findings; rest.soundsLike.reset(), rest == TrackFindings{})
        return;

    properties.set (key::focusMatch, listOf (findings.focusMatchDb));
    properties.set (key::bestFocus, listOf (findings.bestFocusUpTo));
    properties.set (key::leakage, tessivar::textOf (findings.leakageDb));
    properties.set (key::maskedEnergy, tessivar::textOf (findings.maskedEnergyDb));

    if (const auto& benefit = findings.benefit; benefit != BenefitEvidence{})
        properties.set (key::benefit,
                        listOf (std::array{
                            benefit.subtractionAgreement, benefit.outputAgreement, benefit.subtractedDb }));

    if (findings.numHits)
        properties.set (key::numHits, juce::String (*findings.numHits));

    if (findings.confidence)
        properties.set (key::confidence, tessivar::textOf (*findings.confidence));

    if (findings.suggestedFocus)
        properties.set (key::suggestedFocus, tessivar::textOf (*findings.suggestedFocus));

    if (findings.sharedDrum > 0)
        properties.set (key::sharedDrum, juce::String (findings.sharedDrum));

    if (findings.bleedPlace)
        properties.set (key::bleedPlace, tessivar::textOf (std::uint64_t{ *findings.bleedPlace }));
}

TrackFindings takeFindings (PropertiesLeft& properties)
{
    TrackFindings findings;
    parseList (properties.take (key::focusMatch), findings.focusMatchDb);
    parseList (properties.take (key::bestFocus), findings.bestFocusUpTo);
    findings.leakageDb = doubleOf (properties.take (key::leakage)).value_or (0.0);
    findings.maskedEnergyDb = doubleOf (properties.take (key::maskedEnergy)).value_or (0.0);
    std::array benefit{ 0.0, 0.0, BenefitEvidence::nothingDb };
    parseList (properties.take (key::benefit), benefit);
    findings.benefit = { benefit[0], benefit[1], benefit[2] };

    if (const auto hits = properties.takeInt (key::numHits, 0, std::numeric_limits<int>::max(), -1);
        hits >= 0)
        findings.numHits = hits;

    findings.confidence = doubleOf (properties.take (key::confidence));
    findings.suggestedFocus = doubleOf (properties.take (key::suggestedFocus));
    findings.sharedDrum = properties.takeInt (key::sharedDrum, 1, 1 << 20, 0);

    if (const auto type = parseDrumType (properties.take (key::soundsLike).toStdString());
        type && isRenderedType (*type))
        findings.soundsLike = type;

    if (const auto place = properties.takeInt (key::bleedPlace, 0, 1 << 20, -1); place >= 0)
        findings.bleedPlace = static_cast<std::size_t> (place);

    return findings;
}

void addStrip (const MixStrip& strip, Properties& properties)
{
    if (strip == MixStrip{})
        return;

    properties.set (key::fader, tessivar::textOf (static_cast<double> (strip.faderDb)));
    properties.set (key::solo, textOf (strip.solo));
    properties.set (key::mute, textOf (strip.mute));
}

MixStrip takeStrip (PropertiesLeft& properties)
{
    MixStrip strip;
    const auto faderDb = doubleOf (properties.take (key::fader)).value_or (0.0);
    strip.faderDb = static_cast<float> (std::clamp (faderDb, -1000.0, 1000.0));
    strip.solo = properties.take (key::solo) == "1";
    strip.mute = properties.take (key::mute) == "1";
    return strip.sanitised();
}

/** Bits of a track's word that have a meaning here. The rest stays as it came. */
constexpr std::uint32_t knownWordBits = 0x1ffff;

std::uint32_t wordFor (const TrackState& track)
{
    if (track.unknownProperties.containsKey (tailKey::foreignRecord))
        return track.fileWord;

    const auto within = [] (int value) { return static_cast<std::uint32_t> (std::clamp (value, 0, 255)); };
    return (track.fileWord & ~knownWordBits) | within (track.sourceInfo.channel)
           | within (track.sourceInfo.numChannels) << 8 | (track.excluded ? 1u << 16 : 0u);
}

TailTrack tailTrackFor (const TrackState& track)
{
    TailTrack result;
    result.record = track.record;
    result.word = wordFor (track);
    result.name = track.name;
    result.metadata = track.sourceInfo.metadata;

    auto& properties = result.properties;
    properties.set (key::excluded, textOf (track.excluded));
    properties.set (key::knobsTouched, textOf (track.knobsTouched));

    if (track.typeUnknown)
        properties.set (key::typeUnknown, textOf (true));

    properties.set (key::sourcePath, track.sourceInfo.file.getFullPathName());
    properties.set (key::channel, juce::String (track.sourceInfo.channel));
    properties.set (key::numSourceChannels, juce::String (track.sourceInfo.numChannels));
    properties.set (key::bitsPerSample, juce::String (track.sourceInfo.bitsPerSample));
    properties.set (key::floatingPoint, textOf (track.sourceInfo.isFloatingPoint));

    if (track.analysedAs)
    {
        properties.set (key::analysedType,
                        tessivar::textOf (std::uint64_t{ drumTypeCode (track.analysedAs->drumType) }));
        properties.set (key::analysedExcluded, textOf (track.analysedAs->excluded));
    }

    addFindings (track.findings, properties);
    addStrip (track.strip, properties);

    if (track.sourceInfo.chunks != nullptr)
        properties.set (key::sourceChunks, track.sourceInfo.chunks->toText());

    auto unknown = track.unknownProperties;

    // The path from another system goes with the first file that the track has here.
    if (track.sourceInfo.file != juce::File())
        unknown.remove (juce::StringRef (key::sourcePath));

    properties.addArray (unknown);
    return result;
}

/** For files that don't tell: whether the knobs stand where no program leaves them by itself. */
bool seemsTouched (const TrackState& track)
{
    const auto a = track.record.knobs (KnobSetting::a);
    const auto suggested = static_cast<float> (track.findings.suggestedFocus.value_or (startKnobsA.focus));
    return track.record.knobs (KnobSetting::b) != startKnobsB
           || (a != startKnobsA && a != KnobValues{ suggested, startKnobsA.fine });
}

TrackState trackStateFrom (const TailTrack& track, double sampleRate, bool isOurs)
{
    TrackState state;
    state.record = track.record;
    state.name = track.name;
    state.sourceInfo.metadata = track.metadata;
    state.fileWord = track.word;
    state.sourceInfo.sampleRate = sampleRate;

    PropertiesLeft properties (track.properties);
    state.excluded = properties.take (key::excluded) == "1";
    state.typeUnknown = properties.take (key::typeUnknown) == "1" && state.drumType() == DrumType::other;

    // Left among the unknown: that of another system.
    if (const auto path = properties.peek (key::sourcePath);
        path.isEmpty() || juce::File::isAbsolutePath (path))
        state.sourceInfo.file = juce::File (properties.take (key::sourcePath));

    state.sourceInfo.numChannels = properties.takeInt (key::numSourceChannels, 1, 64, 1);
    state.sourceInfo.channel = properties.takeInt (key::channel, 0, state.sourceInfo.numChannels - 1, 0);
    // What is in the file is what is known of the depth of another program's tracks.
    state.sourceInfo.bitsPerSample = properties.takeInt (key::bitsPerSample, 1, 64, 32);
    state.sourceInfo.isFloatingPoint = isOurs ? properties.take (key::floatingPoint) == "1" : true;

    const auto type = unsignedOf (properties.take (key::analysedType));
    const auto wasExcluded = properties.take (key::analysedExcluded) == "1";

    if (type && *type <= 0xffffffffu)
        if (const auto drumType = drumTypeFromCode (static_cast<std::uint32_t> (*type)))
            state.analysedAs = AnalysisInput{ *drumType, wasExcluded };

    state.findings = takeFindings (properties);
    state.strip = takeStrip (properties);
    state.knobsTouched = properties.has (key::knobsTouched) ? properties.take (key::knobsTouched) == "1"
                                                            : seemsTouched (state);

    if (properties.has (key::sourceChunks))
        if (auto chunks = SourceChunks::fromText (properties.take (key::sourceChunks)))
            state.sourceInfo.chunks = std::make_shared<const SourceChunks> (std::move (*chunks));

    // Where things lie in the file is not the track's.
    for (const auto* place :
         { tailKey::sumsOffset, tailKey::sumsLength, tailKey::sumsCrc, tailKey::recordCrc })
        properties.take (place);

    properties.takePrefixed (tailKey::recoveryPrefix);
    state.unknownProperties = properties.rest();

    if (! isOurs)
        state.unknownProperties.set (tailKey::foreignRecord, "1");

    return state;
}

/** A supported sample rate, in Hz, among the bytes of a record that the format leaves to the writer. The
    field at 56, where this program puts it, comes first.
*/
std::optional<double> sampleRateInRecord (const TrackRecord::Bytes& record)
{
    struct OpenBytes
    {
        std::size_t start, size;
    };

    for (const auto& [start, size] :
         { OpenBytes{ 56, 12 }, { 8, 8 }, { 32, 16 }, { 100, 4 }, { 108, 8 }, { 120, 16 } })
        for (auto i = start; i + 4 <= start + size; i += 4)
        {
            const auto* const bytes = &record[i];
            const auto wide =
                i + 8 <= start + size ? std::bit_cast<double> (littleEndian::readU64 (bytes)) : 0.0;

            for (const auto rate : { wide,
                                     static_cast<double> (littleEndian::readF32 (bytes)),
                                     static_cast<double> (littleEndian::readU32 (bytes)) })
                if (isSupportedSampleRate (rate))
                    return rate;
        }

    return std::nullopt;
}

double sampleRateOf (const FoundTail& found, PropertiesLeft& properties, juce::StringArray& notes)
{
    if (const auto rate = doubleOf (properties.take (tailKey::sampleRate));
        rate && isSupportedSampleRate (*rate))
        return *rate;

    for (const auto& track : found.tail.tracks)
        if (const auto rate = sampleRateInRecord (track.record.bytes()))
            return *rate;

    if (! found.tail.tracks.empty())
        notes.add ("the file does not tell its sample rate; 44100 Hz is assumed");

    return 44100.0;
}

/** Whether the text of another program's file can serve as a name. */
bool isPlainName (const juce::String& text)
{
    constexpr auto longestName = 120;
    auto isPrintable =
        text.trim().isNotEmpty() && text.length() <= longestName && ! text.startsWith ("base64:");

    for (const auto character : text)
        isPrintable = isPrintable && character >= 32 && character != 127;

    return isPrintable;
}

/** Renderings by another program count as an analysis of the tracks as they are; the user may ask for
    another.
*/
void assumeAnalysis (GroupState& state)
{
    const auto isProcessed = [] (const TrackState& track) { return track.record.isProcessed(); };

    if (std::ranges::none_of (state.tracks, isProcessed))
        return;

    state.analysis =
        GroupState::Analysis{ AnalysisMethod::standard, 1, static_cast<int> (state.tracks.size()) };

    for (auto& track : state.tracks)
        track.analysedAs = track.analysisInput();
}

std::optional<GroupState::Analysis> takeAnalysis (PropertiesLeft& properties)
{
    const auto method = parseAnalysisMethod (properties.take (key::analysisMethod).toRawUTF8());
    const auto seed = unsignedOf (properties.take (key::analysisSeed));
    const auto numTracks = properties.takeInt (key::analysisTracks, 0, 1 << 20, 0);
    auto bleed = bleedMapFromText (properties.take (key::analysisBleed));

    if (! method || ! seed)
        return std::nullopt;

    return GroupState::Analysis{
        *method, *seed, numTracks, bleed ? std::make_shared<const BleedMap> (*std::move (bleed)) : nullptr
    };
}
} // namespace

GroupTail groupTailFor (const GroupState& state)
{
    GroupTail tail;
    auto& properties = tail.properties;

    if (state.foreignText.isNotEmpty())
    {
        tail.text = bytesForAnyText (state.foreignText);
        properties.set (key::foreignText, "1");
    }
    else
    {
        const auto cut =
            shortenedToBytes (state.name, static_cast<std::size_t> (groupFileFormat::maxTextBytes));
        const auto characters = bytesOfText (cut);
        tail.text.assign (characters.begin(), characters.end());
    }

    properties.set (key::name, state.name);
    properties.set (tailKey::sampleRate, tessivar::textOf (state.sampleRate()));
    properties.set (key::method, analysisMethodKey (state.method));

    if (state.analysis)
    {
        properties.set (key::analysisMethod, analysisMethodKey (state.analysis->method));
        properties.set (key::analysisSeed, tessivar::textOf (state.analysis->seed));
        properties.set (key::analysisTracks, juce::String (state.analysis->numTracks));

        if (state.analysis->bleed != nullptr)
            properties.set (key::analysisBleed, toText (*state.analysis->bleed));
    }

    properties.addArray (state.unknownProperties);

    for (const auto& track : state.tracks)
        tail.tracks.push_back (tailTrackFor (track));

    return tail;
}

GroupState groupStateFrom (const FoundTail& found, const juce::String& fallbackName, juce::StringArray& notes)
{
    GroupState state;
    PropertiesLeft properties (found.tail.properties);
    const auto text = textForAnyBytes (found.tail.text);
    const auto hasName = properties.has (key::name);
    state.name = properties.take (key::name);

    if (! found.isOurs || properties.take (key::foreignText) == "1")
        state.foreignText = text;

    if (! hasName)
        state.name = isPlainName (text) ? text : fallbackName;

    const auto sampleRate = sampleRateOf (found, properties, notes);
    state.method =
        parseAnalysisMethod (properties.take (key::method).toRawUTF8()).value_or (AnalysisMethod::standard);
    state.analysis = takeAnalysis (properties);
    properties.takePrefixed (tailKey::recoveryPrefix);
    state.unknownProperties = properties.rest();

    for (const auto& track : found.tail.tracks)
        state.tracks.push_back (trackStateFrom (track, sampleRate, found.isOurs));

    if (! found.isOurs)
        assumeAnalysis (state);

    return state;
}

} // namespace tessivar
