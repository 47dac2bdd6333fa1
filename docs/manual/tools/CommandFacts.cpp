#include "docs/manual/tools/ManualFacts.h"

#include "app/Commands.h"
#include "app/KeySheet.h"

#include <algorithm>
#include <map>
#include <string>

namespace tessivar
{

namespace
{
using Json = nlohmann::ordered_json;

Json itemsOf (const juce::PopupMenu& menu)
{
    auto items = Json::array();
    juce::PopupMenu::MenuItemIterator each (menu);

    while (each.next())
    {
        const auto& item = each.getItem();

        if (! item.isSeparator)
            items.push_back ({ { "text", item.text.toStdString() }, { "id", item.itemID } });
    }

    return items;
}
} // namespace

nlohmann::ordered_json commandFacts()
{
    Commands table;
    Json menus = Json::object(), commands = Json::object(), windowKeys = Json::object();
    std::map<int, std::string> menuOf;

    for (int i = 0; i < table.getMenuBarNames().size(); ++i)
    {
        const auto name = table.getMenuBarNames()[i];
        menus[name.toStdString()] = itemsOf (table.getMenuForIndex (i, name));

        for (const auto& item : menus[name.toStdString()])
            menuOf[item["id"].get<int>()] = name.toStdString();
    }

    for (const auto& entry : allVerbs())
    {
        for (const auto& key : entry.windowKeys)
            windowKeys[entry.id].push_back (keyText (key).toStdString());

        if (! isServed (entry))
            continue;

        // Of a pair the menu's command comes first.
        if (const auto menu = menuOf.find (entry.number); menu != menuOf.end())
            commands[entry.id] = { { "text", entry.name.toStdString() },
                                   { "menu", menu->second },
                                   { "keys", Json::array() } };

        const auto key = keyText (entry.commandKey).toStdString();

        if (entry.commandKey.isValid() && commands.contains (entry.id)
            && std::ranges::find (commands[entry.id]["keys"], Json (key)) == commands[entry.id]["keys"].end())
            commands[entry.id]["keys"].push_back (key);
    }

    return { { "menus", menus }, { "commands", commands }, { "windowKeys", windowKeys } };
}

} // namespace tessivar
