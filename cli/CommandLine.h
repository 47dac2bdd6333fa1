#pragma once

#include "cli/CommandTable.h"

#include <map>
#include <string>
#include <vector>

namespace tessivar
{

/** A command line, parsed by the command table; values are not checked yet. */
struct Invocation
{
    const CommandSpec* command = nullptr;
    std::vector<std::string> operands;
    std::map<std::string, std::vector<std::string>, std::less<>>
        values; // by option name; flags have an empty list

    [[nodiscard]] bool has (std::string_view option) const { return values.find (option) != values.end(); }

    /** The values in the order in which they were given; empty when the option is absent. */
    [[nodiscard]] const std::vector<std::string>& all (std::string_view option) const;

    /** The value of an option that is given once, or null. */
    [[nodiscard]] const std::string* one (std::string_view option) const;
};

/** What a command line asks for. */
struct CommandLineResult
{
    enum class Kind
    {
        run,  // invocation says what
        help, // of invocation.command, or of the program when that is null
        version,
        error
    };

    Kind kind = Kind::error;
    Invocation invocation;
    std::string error; // one line, without the program's name
};

/** @param arguments  without the program's name */
[[nodiscard]] CommandLineResult parseCommandLine (const std::vector<std::string>& arguments);

} // namespace tessivar
