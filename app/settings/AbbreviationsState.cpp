#include "app/settings/AbbreviationsState.h"

#include "model/settings/Settings.h"

#include <algorithm>

namespace tessivar
{

namespace
{
juce::String quoted (const juce::String& entry)
{
    return juce::String::fromUTF8 ("\xe2\x80\x9c") + entry + juce::String::fromUTF8 ("\xe2\x80\x9d");
}

/** The entries of one list, split as the program splits it. */
AbbreviationTable::Table entriesOf (const juce::String& list, DrumType type)
{
    AbbreviationTable split;
    split.registerList (list, type);
    return split.table();
}

juce::String nameOf (DrumType type)
{
    return canBeChosen (type) ? drumTypeDisplayName (type) : "overheads";
}
} // namespace

AbbreviationsState::AbbreviationsState (AbbreviationTable& tableToEdit, SettingsStore& settingsToUse)
    : table (tableToEdit), settings (settingsToUse)
{
    takeLists();
}

void AbbreviationsState::takeLists()
{
    for (const auto type : drumTypeChooserOrder)
        texts[type] = table.list (type);
}

bool AbbreviationsState::hasChanges() const
{
    return std::any_of (texts.begin(),
                        texts.end(),
                        [this] (const auto& each)
                        { return settings.getValue (drumTypeKey (each.first)) != each.second; });
}

juce::Result AbbreviationsState::save()
{
    for (const auto& [type, text] : texts)
        table.setList (type, text);

    const auto wasWritten = table.save (&settings);
    table.load (&settings);
    takeLists();
    return wasWritten ? juce::Result::ok()
                      : juce::Result::fail ("The lists hold for now, but can't be written to "
                                            + settings.file().getFullPathName() + ".");
}

void AbbreviationsState::reset()
{
    table.setDefaults();
    takeLists();
}

void AbbreviationsState::reload()
{
    table.load (&settings);
    takeLists();
}

bool AbbreviationsState::hasEmptyEntry() const
{
    return entriesOf (text(), chosen).count ({}) > 0;
}

juce::StringArray AbbreviationsState::hints() const
{
    const auto entries = entriesOf (text(), chosen);
    juce::StringArray result;

    for (const auto& [entry, type] : entries)
        if (const auto known = table.table().find (entry);
            entry.isNotEmpty() && known != table.table().end() && known->second != chosen)
            result.add (quoted (entry) + " stays with " + nameOf (known->second) + ".");

    for (const auto& [entry, type] : table.table())
        if (type == chosen && entries.count (entry) == 0)
            result.addIfNotAlreadyThere ("A removed entry keeps working until the next start.");

    return result;
}

bool AbbreviationsState::willBeLost() const
{
    return ! hasFolderSettings (settings)
           && std::any_of (texts.begin(),
                           texts.end(),
                           [] (const auto& each)
                           { return each.second != AbbreviationTable::defaultList (each.first); });
}

AbbreviationsState::Trial AbbreviationsState::tryName (const juce::String& fileName) const
{
    auto preview = table;

    for (const auto type : drumTypeRegistrationOrder)
        if (const auto edited = texts.find (type); edited != texts.end())
            preview.registerList (edited->second, type);

    const auto found = preview.classify (fileName);

    if (! found.matched)
        return { found.drumType, "No entry occurs in the name, so it is Other." };

    const auto entry =
        found.abbreviation.isEmpty() ? juce::String ("an empty entry") : quoted (found.abbreviation);
    const auto why = "Decided by " + entry + ".";
    return { found.drumType,
             found.drumType == DrumType::oh ? why + " Overheads are passed through as is." : why };
}

} // namespace tessivar
