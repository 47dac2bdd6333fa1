#include "cli/TypeLists.h"

#include "cli/Arguments.h"
#include "model/Abbreviations.h"
#include "model/settings/SettingsMerge.h"
#include "model/settings/SettingsStore.h"
#include "model/settings/UserFolders.h"
#include "terms/DrumType.h"

#include <optional>

namespace tessivar
{

namespace
{
juce::Result parseLists (const juce::MemoryBlock& content, SettingsValues& lists)
{
    if (parseSettings (content.getData(), content.getSize(), lists).wasOk())
        return juce::Result::ok();

    if (content.getSize() > maxSettingsFileSize
        || ! juce::CharPointer_UTF8::isValidString (static_cast<const char*> (content.getData()),
                                                    static_cast<int> (content.getSize())))
        return juce::Result::fail ("it is neither a settings file nor a text of lists");

    const auto lines = juce::StringArray::fromLines (content.toString());

    for (int i = 0; i < lines.size(); ++i)
    {
        const auto line = lines[i].trim();

        if (line.isEmpty() || line.startsWithChar ('#'))
            continue;

        const auto type = parseDrumType (line.upToFirstOccurrenceOf ("=", false, false).trim().toRawUTF8());

        if (! line.containsChar ('=') || ! type)
            return juce::Result::fail ("line " + juce::String (i + 1)
                                       + ": TYPE = LIST is expected, TYPE being " + drumTypeWords());

        lists[drumTypeKey (*type)] = line.fromFirstOccurrenceOf ("=", false, false).trim();
    }

    return juce::Result::ok();
}

juce::Result loadTypesFile (const std::string& argument)
{
    juce::File file;
    std::optional<juce::MemoryBlock> content;

    if (const auto named = fileFromArgument (argument, file); named.failed())
        return named;

    if (const auto read = readSettingsFile (file, content); read.failed())
        return read;

    SettingsValues values;
    auto outcome = content ? parseLists (*content, values) : juce::Result::fail ("there is no such file");
    auto namesAny = false;
    juce::PropertySet lists;

    for (const auto type : drumTypeRegistrationOrder)
    {
        const auto found = values.find (drumTypeKey (type));
        namesAny = namesAny || found != values.end();
        lists.setValue (drumTypeKey (type),
                        found != values.end() ? found->second : AbbreviationTable::defaultList (type));
    }

    if (outcome.wasOk() && ! namesAny)
        outcome = juce::Result::fail ("it holds no list");

    if (outcome.failed())
        return juce::Result::fail (file.getFullPathName() + ": " + outcome.getErrorMessage());

    processAbbreviations().load (&lists, ListSource::file);
    return outcome;
}
} // namespace

juce::Result loadTypeLists (const std::string* typesFile, const CommandContext& context)
{
    if (typesFile != nullptr)
    {
        const auto outcome = loadTypesFile (*typesFile);
        return outcome.wasOk() ? outcome : juce::Result::fail ("--types: " + outcome.getErrorMessage());
    }

    const auto file = UserFolders::ofUser().settingsFile();
    std::optional<juce::MemoryBlock> content;
    SettingsValues values;
    auto outcome = readSettingsFile (file, content);

    if (outcome.wasOk() && content && parseSettings (content->getData(), content->getSize(), values).failed())
        outcome = juce::Result::fail (file.getFullPathName() + ": damaged");

    if (outcome.failed())
        context.tellError (outcome.getErrorMessage() + "; the built-in lists of abbreviations are used");

    juce::PropertySet settings;

    for (const auto& [key, value] : values)
        settings.setValue (key, value);

    loadAbbreviationsAtStart (settings);
    return juce::Result::ok();
}

} // namespace tessivar
