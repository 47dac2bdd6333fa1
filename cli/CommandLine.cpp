#include "cli/CommandLine.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <numeric>

namespace tessivar
{

namespace
{
/** Edit distance between two words. */
std::size_t editDistance (std::string_view a, std::string_view b)
{
    std::vector<std::size_t> row (b.size() + 1);
    std::iota (row.begin(), row.end(), std::size_t{ 0 });

    for (std::size_t i = 0; i < a.size(); ++i)
    {
        auto diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j)
        {
            const auto changed = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min ({ changed, row[j] + 1, diagonal + 1 });
        }
    }
    return row.back();
}

/** ": did you mean X?" for a mistyped word; empty when no candidate is close. */
template <typename Spec>
std::string suggestion (std::string_view word, std::span<const Spec> candidates)
{
    const auto nearest =
        std::min_element (candidates.begin(),
                          candidates.end(),
                          [word] (const Spec& a, const Spec& b)
                          { return editDistance (word, a.name) < editDistance (word, b.name); });
    if (nearest == candidates.end() || editDistance (word, nearest->name) > 2)
        return {};
    return "; did you mean " + std::string (nearest->name) + "?";
}

bool hasEmpty (const std::vector<std::string>& names)
{
    return std::any_of (names.begin(), names.end(), [] (const std::string& name) { return name.empty(); });
}

CommandLineResult failure (std::string error)
{
    CommandLineResult result;
    result.error = std::move (error);
    return result;
}

/** Hides from the parser what it would take for a list, "[a,b]": such an argument is a name like any other.
*/
class HiddenBrackets
{
public:
    [[nodiscard]] std::string hide (const std::string& argument)
    {
        if (! argument.starts_with ('['))
            return argument;
        hidden.push_back (argument);
        return mark + std::to_string (hidden.size() - 1);
    }

    void restore (std::vector<std::string>& arguments) const
    {
        for (auto& argument : arguments)
            if (argument.starts_with (mark))
                argument = hidden[std::stoul (argument.substr (mark.size()))];
    }

private:
    const std::string mark{ "\x01hidden" };
    std::vector<std::string> hidden;
};

/** @param arguments  those after the name of the command */
CommandLineResult parseCommand (const CommandSpec& command, std::vector<std::string> arguments)
{
    CLI::App app;
    app.set_help_flag();

    CommandLineResult result;
    result.invocation.command = &command;

    bool wantsHelp = false;
    app.add_flag (std::string (commonOptions().front().name), wantsHelp);

    // Filled by the parser, which needs stable addresses: a map has them.
    std::map<std::string_view, std::vector<std::string>> values;
    std::map<std::string_view, CLI::Option*> options;
    for (const auto& spec : command.options)
    {
        if (spec.isFlag())
            options[spec.name] = app.add_flag (std::string (spec.name));
        else
            // One value at a time: the words after it are operands.
            options[spec.name] = app.add_option (std::string (spec.name), values[spec.name])
                                     ->expected (1)
                                     ->allow_extra_args (false)
                                     ->multi_option_policy (CLI::MultiOptionPolicy::TakeAll);
    }

    HiddenBrackets brackets;
    for (auto& argument : arguments)
        argument = brackets.hide (argument);

    auto& operands = result.invocation.operands;
    if (! command.operand.empty())
        app.add_option ("operands", operands);

    try
    {
        std::reverse (arguments.begin(), arguments.end());
        app.parse (arguments);
    }
    catch (const CLI::ExtrasError&)
    {
        for (const auto& extra : app.remaining())
        {
            if (! extra.starts_with ("-"))
                return failure ("unexpected \"" + extra + "\"");
            const auto name = extra.substr (0, extra.find ('='));
            return failure (std::string (command.name) + " has no option " + name
                            + suggestion (name, command.options));
        }
        return failure ("unexpected arguments");
    }
    catch (const CLI::ParseError& error)
    {
        return failure (error.what());
    }

    brackets.restore (operands);
    for (auto& [option, given] : values)
        brackets.restore (given);

    if (wantsHelp)
    {
        result.kind = CommandLineResult::Kind::help;
        return result;
    }

    for (const auto& spec : command.options)
    {
        const auto count = options[spec.name]->count();
        if (count == 0 && spec.required)
            return failure (std::string (spec.name) + " " + std::string (spec.value) + " is missing");
        if (count > 1 && ! spec.repeatable && ! spec.isFlag())
            return failure (std::string (spec.name) + " is given more than once");
        if (spec.isPath() && hasEmpty (values[spec.name]))
            return failure (std::string (spec.name) + ": an empty name is given");
        if (count > 0)
            result.invocation.values[std::string (spec.name)] = values[spec.name];
    }

    if (! command.operand.empty() && operands.empty())
        return failure (std::string (command.operand) + " is missing");
    if (! command.takesSeveralOperands() && operands.size() > 1)
        return failure ("unexpected \"" + operands[1] + "\"");
    if (command.operandKind != OperandKind::text && hasEmpty (operands))
        return failure (std::string (command.operand) + ": an empty name is given");

    result.kind = CommandLineResult::Kind::run;
    return result;
}
} // namespace

const std::vector<std::string>& Invocation::all (std::string_view option) const
{
    static const std::vector<std::string> none;
    const auto found = values.find (option);
    return found == values.end() ? none : found->second;
}

const std::string* Invocation::one (std::string_view option) const
{
    const auto& given = all (option);
    return given.empty() ? nullptr : &given.front();
}

CommandLineResult parseCommandLine (const std::vector<std::string>& arguments)
{
    if (arguments.empty())
        return failure ("no command is given");

    const auto& first = arguments.front();
    CommandLineResult result;

    if (first == programOptions().front().name)
    {
        result.kind = CommandLineResult::Kind::version;
        return result;
    }
    if (first == commonOptions().front().name || first == "-h" || first == "help")
    {
        result.kind = CommandLineResult::Kind::help;
        if (arguments.size() > 1)
            result.invocation.command = findCommand (arguments[1]);
        return result;
    }

    if (const auto* command = findCommand (first))
        return parseCommand (*command, { arguments.begin() + 1, arguments.end() });

    return failure ("there is no " + std::string (first.starts_with ("-") ? "option " : "command ") + first
                    + suggestion (first, commandTable()));
}

} // namespace tessivar
