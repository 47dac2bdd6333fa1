#pragma once

#include "model/settings/SettingsStore.h"
#include "terms/DrumType.h"

#include <map>

namespace tessivar
{

/** Where an abbreviation's list comes from. */
enum class ListSource
{
    builtIn, // also when settings or a file hold an equal list
    settings,
    file // named on the command line
};

/** What a file name tells about its track. */
struct TrackClassification
{
    DrumType drumType = DrumType::other; // the type whose list holds the abbreviation
    bool matched = false;                // false: nothing in the name is known; Other is the fallback
    juce::String abbreviation;           // what matched; may be empty even then, see AbbreviationTable
    ListSource source = ListSource::builtIn;
};

/** The abbreviations that tell a track's drum type from its file name.

    Eight list texts, one for each type, as the user typed them, and one ordered table of all abbreviations in
    them. A list is split at commas and semicolons, except inside " or ' quotes, and each piece is trimmed. A
    piece already in the table keeps its type. A stray separator makes an empty piece, which occurs in every
    name. Entries stay in the table even when their list is replaced.

    Files are read, and so classified, while the user may edit the lists: classify() may be called on any
    thread, the others on the message thread.
*/
class AbbreviationTable
{
public:
    /** In the order of plain character codes: upper-case letters before lower-case ones. */
    using Table = std::map<juce::String, DrumType>;

    /** Splits the list and adds its pieces to the table. The type's list text stays as it is. */
    void registerList (const juce::String& list, DrumType type, ListSource source = ListSource::settings);

    /** Reads the eight lists and registers them. Returns false, unchanged, when settings is null or
        has no list of kicks.
    */
    bool load (const juce::PropertySet* settings, ListSource source = ListSource::settings);

    /** Sets the eight built-in lists and registers them. */
    void setDefaults();

    /** Writes the eight lists and saves the settings. False when settings is null or can't be saved. */
    bool save (SettingsStore* settings) const;

    /** The type for a file path: that of the first abbreviation, in the table's order, that occurs anywhere
        in the file name, extension included, in either case.
    */
    [[nodiscard]] TrackClassification classify (const juce::String& path) const;

    /** A type's list as typed. */
    [[nodiscard]] juce::String list (DrumType type) const;

    /** Replaces a type's list, with effect from the next load() of saved settings. */
    void setList (DrumType type, const juce::String& text) { lists[type] = text; }

    [[nodiscard]] const Table& table() const { return abbreviations; }

    static juce::String defaultList (DrumType type);

private:
    std::map<DrumType, juce::String> lists;
    /** Guards abbreviations and sources against classify(); a copy of the table has its own. */
    struct TableLock : juce::CriticalSection
    {
        TableLock() = default;
        TableLock (const TableLock&) : CriticalSection() {}
    };

    mutable TableLock tableLock;
    Table abbreviations;
    std::map<juce::String, ListSource> sources; // of the abbreviations
};

/** The process' table, behind the functions below; empty at first. */
AbbreviationTable& processAbbreviations();

void registerAbbreviations (const juce::String& list, DrumType type);
bool loadAbbreviations (const juce::PropertySet* settings);
void setDefaultAbbreviations();

/** The lists that a start of the program works with: those of the user, and as long as no folder was chosen
    the built-in ones besides.
*/
void loadAbbreviationsAtStart (const juce::PropertySet& settings);
bool saveAbbreviations (SettingsStore* settings);
TrackClassification classifyTrackFile (const juce::String& path);

/** What names that tell no drum type have in common when they differ in the microphone or a number alone:
    "sd" of "SD Top" and "SD Bot 2". Empty for a word that recorders give every file, such as "Audio 1".
*/
[[nodiscard]] juce::String stemOfName (const juce::String& name);

/** The raw list texts, by type. */
std::map<DrumType, juce::String> abbreviationLists();
const AbbreviationTable::Table& abbreviationTable();

} // namespace tessivar
