#pragma once

#include "model/Abbreviations.h"

namespace tessivar
{

/** The abbreviation lists of the seven named types while they are edited; that of overheads stays as it is.
    The program classifies by the edited lists only after save(); reset() shows the built-in ones and
    registers them.
*/
class AbbreviationsState
{
public:
    AbbreviationsState (AbbreviationTable& tableToEdit, SettingsStore& settingsToUse);

    void select (DrumType type) { chosen = type; }
    [[nodiscard]] DrumType selected() const { return chosen; }

    /** The list of the selected type. */
    [[nodiscard]] juce::String text() const { return texts.at (chosen); }
    void edit (const juce::String& newText) { texts[chosen] = newText; }

    /** Whether a list differs from what the settings hold. */
    [[nodiscard]] bool hasChanges() const;

    /** Puts every edited list in the place of the stored one, writes all eight and loads them again. On
        failure the lists hold for this run and the result says that they can't be written.
    */
    [[nodiscard]] juce::Result save();

    void reset();

    /** Throws away what was not saved. */
    void reload();

    /** Whether the selected list holds an empty entry, as a separator at its end makes one. */
    [[nodiscard]] bool hasEmptyEntry() const;

    /** What else there is to know about the selected list, a sentence each. */
    [[nodiscard]] juce::StringArray hints() const;

    /** Whether the next start will bring back the built-in lists in place of these. */
    [[nodiscard]] bool willBeLost() const;

    struct Trial
    {
        DrumType type = DrumType::other;
        juce::String why;
    };

    /** What a file of this name would be, were the lists saved now. */
    [[nodiscard]] Trial tryName (const juce::String& fileName) const;

private:
    AbbreviationTable& table;
    SettingsStore& settings;
    std::map<DrumType, juce::String> texts; // of the types with a name
    DrumType chosen = DrumType::kick;

    void takeLists();
};

} // namespace tessivar
