#pragma once

#include "model/SettingsStore.h"
#include "terms/DrumType.h"

#include <map>

namespace tessivar
{

/** Where the list comes from that an abbreviation stands in. */
enum class ListSource
{
    builtIn, // also when settings or a file hold the very list that is built in
    settings,
    file // named on the command line
};

/** What a file name tells about its track. */
struct TrackClassification
{
    DrumType drumType = DrumType::other; // also the type whose list has the abbreviation
    bool matched = false;      // false: nothing in the name is known, and Other is no more than the fallback
    juce::String abbreviation; // what matched; may be empty although something did, see AbbreviationTable
    ListSource source = ListSource::builtIn;
};

/** Orders strings by plain character codes: upper-case letters before lower-case ones, a string before any
    longer one that begins with it.
*/
struct ByCharacterCodes
{
    bool operator() (const juce::String& a, const juce::String& b) const { return a.compare (b) < 0; }
};

/** The abbreviations that tell a track's drum type from its file name.

    Eight list texts, one for each type, as the user typed them, and one ordered table of all abbreviations in
    them. A list is split at commas and semicolons, except inside " or ' quotes, and each piece is trimmed. A
    piece that is already in the table keeps its type. An empty piece, as a stray separator leaves one, is the
    abbreviation that occurs in every name. What is once in the table stays there, also when its list is
    replaced.

    Not synchronised: lists are changed and files classified on one thread at a time.
*/
class AbbreviationTable
{
public:
    using Table = std::map<juce::String, DrumType, ByCharacterCodes>;

    /** Splits the list and puts its pieces into the table. The stored list text of the type is left as it is.
    */
    void registerList (const juce::String& list, DrumType type, ListSource source = ListSource::settings);

    /** Reads the eight lists and registers them. False, and nothing is changed, when settings is null or
        holds no list of kicks.
    */
    bool load (const juce::PropertySet* settings, ListSource source = ListSource::settings);

    /** Sets the eight built-in lists and registers them. */
    void setDefaults();

    /** Writes the eight lists and saves the settings. False when settings is null or can't be saved. */
    bool save (SettingsStore* settings) const;

    /** What the program does when it starts: loads the lists, or takes the built-in ones and writes them. */
    void loadOrSetDefaults (SettingsStore* settings);

    /** The type for a file path. The file name alone counts, with its extension, upper and lower case alike:
        the first abbreviation in the table's order that occurs anywhere in it decides.
    */
    [[nodiscard]] TrackClassification classify (const juce::String& path) const;

    /** The raw text of a type's list. */
    [[nodiscard]] juce::String list (DrumType type) const;

    /** Replaces the raw text. It counts from the next load() of saved settings on. */
    void setList (DrumType type, const juce::String& text);

    [[nodiscard]] const Table& table() const { return abbreviations; }

    static juce::String defaultList (DrumType type);

private:
    std::map<DrumType, juce::String> lists;
    Table abbreviations;
    std::map<juce::String, ListSource> sources; // of the abbreviations
};

/** The table of the process, behind the functions below. It starts out empty. */
AbbreviationTable& processAbbreviations();

void registerAbbreviations (const juce::String& list, DrumType type);
bool loadAbbreviations (const juce::PropertySet* settings);
void setDefaultAbbreviations();

/** The lists that a start of the program works with: those of the user, and as long as no folder was chosen the
    built-in ones besides.
*/
void loadAbbreviationsAtStart (const juce::PropertySet& settings);
bool saveAbbreviations (SettingsStore* settings);
TrackClassification classifyTrackFile (const juce::String& path);

/** The raw list texts, by type. */
std::map<DrumType, juce::String> abbreviationLists();
const AbbreviationTable::Table& abbreviationTable();

} // namespace tessivar
