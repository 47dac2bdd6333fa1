#include "model/Abbreviations.h"

#include "model/settings/Settings.h"

namespace tessivar
{

void AbbreviationTable::registerList (const juce::String& list, DrumType type, ListSource source)
{
    juce::StringArray pieces;
    pieces.addTokens (list, ",;", "\"'");
    const juce::ScopedLock guard (tableLock);

    for (const auto& piece : pieces)
        if (abbreviations.emplace (piece.trim(), type).second)
            sources[piece.trim()] = list == defaultList (type) ? ListSource::builtIn : source;
}

bool AbbreviationTable::load (const juce::PropertySet* settings, ListSource source)
{
    if (settings == nullptr || ! settings->containsKey (drumTypeKey (DrumType::kick)))
        return false;

    for (const auto type : drumTypeRegistrationOrder)
    {
        lists[type] = settings->getValue (drumTypeKey (type));
        registerList (lists[type], type, source);
    }

    return true;
}

void AbbreviationTable::setDefaults()
{
    for (const auto type : drumTypeRegistrationOrder)
    {
        lists[type] = defaultList (type);
        registerList (lists[type], type);
    }
}

bool AbbreviationTable::save (SettingsStore* settings) const
{
    if (settings == nullptr)
        return false;

    for (const auto type : drumTypeSavingOrder)
        settings->setValue (drumTypeKey (type), list (type));

    return settings->save().wasOk();
}

TrackClassification AbbreviationTable::classify (const juce::String& path) const
{
    const auto separator =
        juce::jmax (path.lastIndexOfChar ('/'), path.lastIndexOfChar (juce::File::getSeparatorChar()));
    const auto fileName = path.substring (separator + 1);
    const juce::ScopedLock guard (tableLock);

    for (const auto& [abbreviation, type] : abbreviations)
        if (fileName.containsIgnoreCase (abbreviation))
            return { type, true, abbreviation, sources.at (abbreviation) };

    return {};
}

juce::String AbbreviationTable::list (DrumType type) const
{
    const auto found = lists.find (type);
    return found != lists.end() ? found->second : juce::String();
}

juce::String AbbreviationTable::defaultList (DrumType type)
{
    switch (type)
    {
        case DrumType::kick:
            return "kick; kik; kck; bd; bass_drum; bass_drm; bassdrum; bass";
        case DrumType::snare:
            return "snare; snr; sn";
        case DrumType::tomFloor:
            return "floor; flr; tom1; tom_1; tom 1; T1";
        case DrumType::tomHigh:
            return "high; tom3; tom_3; tom 3; T3";
        case DrumType::tomLow:
            return "low; tom2; tom_2; tom 2; tom; T2";
        case DrumType::oh:
            return "oh";
        case DrumType::hiHat:
            return "hh; hat";
        case DrumType::other:
            return "ride; cymbal";
    }

    jassertfalse;
    return {};
}

AbbreviationTable& processAbbreviations()
{
    static AbbreviationTable table;
    return table;
}

void registerAbbreviations (const juce::String& list, DrumType type)
{
    processAbbreviations().registerList (list, type);
}

bool loadAbbreviations (const juce::PropertySet* settings)
{
    return processAbbreviations().load (settings);
}

void setDefaultAbbreviations()
{
    processAbbreviations().setDefaults();
}

void loadAbbreviationsAtStart (const juce::PropertySet& settings)
{
    juce::ignoreUnused (loadAbbreviations (&settings));

    if (! hasFolderSettings (settings))
        setDefaultAbbreviations();
}

bool saveAbbreviations (SettingsStore* settings)
{
    return processAbbreviations().save (settings);
}

TrackClassification classifyTrackFile (const juce::String& path)
{
    return processAbbreviations().classify (path);
}

juce::String stemOfName (const juce::String& name)
{
    static const juce::StringArray ofRecorders{ "audio", "ch",   "channel", "in",  "input",   "line",
                                                "mic",   "take", "track",   "trk", "untitled" };
    const auto text = name.toLowerCase();
    auto start = text.getCharPointer();

    // A number in front is the recorder's: "03 SD Top", "1_SD".
    while (! start.isEmpty() && ! start.isLetter())
        ++start;

    auto end = start;

    while (end.isLetter())
        ++end;

    const juce::String stem (start, end);
    return ofRecorders.contains (stem) ? juce::String() : stem;
}

std::map<DrumType, juce::String> abbreviationLists()
{
    std::map<DrumType, juce::String> lists;
    for (const auto type : drumTypeRegistrationOrder)
        lists[type] = processAbbreviations().list (type);

    return lists;
}

const AbbreviationTable::Table& abbreviationTable()
{
    return processAbbreviations().table();
}

} // namespace tessivar
