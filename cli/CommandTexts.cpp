#include "cli/CommandTexts.h"

#include "terms/DrumType.h"

#include <iomanip>
#include <sstream>
#include <vector>

namespace tessivar
{

namespace
{
constexpr std::size_t helpWidth = 80;

std::vector<std::string> paragraphsOf (std::string_view text)
{
    std::vector<std::string> paragraphs;
    std::istringstream lines{ std::string (text) };
    for (std::string line; std::getline (lines, line);)
        paragraphs.push_back (line);
    return paragraphs;
}

/** Text wrapped to helpWidth columns, every line indented. */
std::string wrapped (std::string_view text, std::size_t indent)
{
    std::string result, line;
    const auto flush = [&]
    {
        if (! line.empty())
            result.append (indent, ' ').append (line).append ("\n");
        line.clear();
    };

    while (! text.empty())
    {
        const auto end = text.find (' ');
        const auto word = text.substr (0, end);
        if (! line.empty() && indent + line.size() + 1 + word.size() > helpWidth)
            flush();
        if (! line.empty())
            line += ' ';
        line += word;
        text.remove_prefix (end == std::string_view::npos ? text.size() : end + 1);
    }
    flush();
    return result;
}

std::string optionHead (const OptionSpec& option)
{
    std::string head (option.name);
    if (! option.isFlag())
        head.append (" ").append (option.value);
    return head;
}

/** The help of an option, with what its table entry implies. */
std::string optionHelp (const OptionSpec& option)
{
    std::string help (option.help);
    if (option.required)
        help += " Required.";
    if (option.repeatable)
        help += " May be given several times.";
    return help;
}

void addOptions (std::ostream& text, std::span<const OptionSpec> options)
{
    for (const auto& option : options)
        text << "  " << optionHead (option) << "\n" << wrapped (optionHelp (option), 6);
}

std::string usageOf (const CommandSpec& command)
{
    std::string usage (command.name);
    if (! command.operand.empty())
        usage.append (" ").append (command.operand);
    for (const auto& option : command.options)
        if (option.required)
            usage.append (" ").append (optionHead (option));
    return usage + " [OPTION...]";
}

/** Text escaped for troff: backslashes, minus signs. */
std::string troff (std::string_view text)
{
    std::string result;
    for (const auto character : text)
    {
        if (character == '\\')
            result += "\\e";
        else if (character == '-')
            result += "\\-";
        else
            result += character;
    }
    // At the start of a line a dot or an apostrophe begins a troff request.
    if (! result.empty() && (result.front() == '.' || result.front() == '\''))
        result.insert (0, "\\&");
    return result;
}

void addTroffOptions (std::ostream& page, std::span<const OptionSpec> options)
{
    for (const auto& option : options)
    {
        page << ".TP\n.B " << troff (option.name);
        if (! option.isFlag())
            page << " \\fI" << troff (option.value) << "\\fR";
        page << "\n" << troff (optionHelp (option)) << "\n";
    }
}

std::string optionNames (std::span<const OptionSpec> options)
{
    std::string names;
    for (const auto& option : options)
        names.append (option.name).append (" ");
    return names.append (commonOptions().front().name);
}

/** The shell command that fills COMPREPLY for a value of this kind. */
std::string completionFor (ValueKind kind)
{
    switch (kind)
    {
        case ValueKind::folder:
            return "_tessivar_cli_files folders";
        case ValueKind::file:
            return "_tessivar_cli_files all";
        case ValueKind::drumType:
            return "_tessivar_cli_drum_type";
        case ValueKind::analysisMethod:
            return "mapfile -t COMPREPLY < <(compgen -W 'standard refined' -- \"$cur\")";
        case ValueKind::audioFormat:
            return "mapfile -t COMPREPLY < <(compgen -W 'wav aiff' -- \"$cur\")";
        case ValueKind::sampleDepth:
            return "mapfile -t COMPREPLY < <(compgen -W 'source float' -- \"$cur\")";
        case ValueKind::none:
        case ValueKind::text:
            break;
    }
    return ":";
}

std::string completionFor (OperandKind kind)
{
    switch (kind)
    {
        case OperandKind::audioFilesAndFolders:
        case OperandKind::audioFiles:
            return "_tessivar_cli_files audio";
        case OperandKind::groupFiles:
            return "_tessivar_cli_files groups";
        case OperandKind::folder:
            return "_tessivar_cli_files folders";
        case OperandKind::none:
        case OperandKind::text:
            break;
    }
    return ":";
}
} // namespace

std::string helpText (const CommandSpec* command)
{
    std::ostringstream text;

    if (command == nullptr)
    {
        text << programName << ": " << programSummary << "\n\nUsage:\n";
        for (const auto& each : commandTable())
            text << "  " << programName << " " << usageOf (each) << "\n" << wrapped (each.summary, 6);
        text << "\nOptions:\n";
        addOptions (text, programOptions());
        addOptions (text, commonOptions());
        text << "\nExit codes:\n";
        for (const auto& each : exitCodeTable())
            text << "  " << std::left << std::setw (5) << each.code << each.meaning << "\n";
        text << "\n" << programName << " COMMAND --help tells the options of a command.\n";
        return text.str();
    }

    text << "Usage: " << programName << " " << usageOf (*command) << "\n";
    for (const auto& paragraph : paragraphsOf (command->description))
        text << "\n" << wrapped (paragraph, 0);
    text << "\nOptions:\n";
    addOptions (text, command->options);
    addOptions (text, commonOptions());
    return text.str();
}

std::string manPage (std::string_view version)
{
    std::ostringstream page;
    const auto name = troff (programName);
    page << ".TH TESSIVAR\\-CLI 1 \"\" \"Tessivar " << troff (version) << "\" \"User Commands\"\n"
         << ".SH NAME\n"
         << name << " \\- " << troff (programSummary) << "\n.SH SYNOPSIS\n.nf\n";
    for (const auto& command : commandTable())
        page << "\\fB" << name << "\\fR " << troff (usageOf (command)) << "\n";
    page << ".fi\n.SH DESCRIPTION\n"
         << "Takes the close microphones of one drum performance apart together and writes each track with "
            "the "
            "other drums turned down.\n";

    for (const auto& command : commandTable())
    {
        page << ".SH COMMAND: " << troff (command.name) << "\n";
        for (const auto& paragraph : paragraphsOf (command.description))
            page << ".PP\n" << troff (paragraph) << "\n";
        addTroffOptions (page, command.options);
    }

    page << ".SH OPTIONS\n";
    addTroffOptions (page, programOptions());
    addTroffOptions (page, commonOptions());

    page << ".SH EXIT STATUS\n";
    for (const auto& each : exitCodeTable())
        page << ".TP\n.B " << each.code << "\n" << troff (each.meaning) << "\n";

    page << ".SH EXAMPLES\n.PP\nProcess a folder, with the snare stronger than the rest:\n.PP\n.nf\n"
         << name << " process Session \\-\\-out Processed \\-\\-type 'SD*=snare' \\-\\-focus 'SD*=4'\n.fi\n";
    return page.str();
}

std::string bashCompletion()
{
    std::ostringstream script;
    script << "# bash completion for " << programName << "\n\n";

    // Candidates are read line by line, so that names with spaces and wildcards survive.
    script << R"sh(_tessivar_cli_files ()
{
    local candidate
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -d -- "$cur")
    [[ $1 == folders ]] && return
    [[ $1 == all ]] && { mapfile -t COMPREPLY < <(compgen -f -- "$cur"); return; }
    while IFS= read -r candidate; do
        case "${candidate,,}" in
            *.dls) COMPREPLY+=("$candidate") ;;
            *.wav | *.aiff | *.aif | *.caf | *.flac | *.ogg)
                [[ $1 == groups ]] || COMPREPLY+=("$candidate")
                ;;
        esac
    done < <(compgen -f -- "$cur")
}

# Where the shell takes "=" for a word of its own, what follows it is completed alone.
_tessivar_cli_drum_type ()
{
    local name=""
    if [[ $cur == ?*=* ]]; then
        name=${cur%=*}=
    elif [[ $cur != "=" && $prev != "=" ]]; then
        return
    fi
    mapfile -t COMPREPLY < <(compgen -P "$name" )sh";
    script << "-W '" << drumTypeWords (" ", " ") << R"sh(' -- "${cur##*=}")
}

_tessivar_cli ()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} command=${COMP_WORDS[1]} option
    COMPREPLY=()

    if ((COMP_CWORD == 1)); then
)sh";
    script << "        mapfile -t COMPREPLY < <(compgen -W '";
    for (const auto& command : commandTable())
        script << command.name << " ";
    script << optionNames (programOptions()) << "' -- \"$cur\")\n        return\n    fi\n\n";

    script
        << R"sh(    # The option that the current word belongs to: before it, or before OPTION = and NAME =.
    option=$prev
    if [[ $cur == "=" || $prev == "=" ]]; then
        local equals=$((COMP_CWORD - 1))
        [[ $cur == "=" ]] && equals=$COMP_CWORD
        option=${COMP_WORDS[equals-1]}
        ((equals >= 4)) && [[ ${COMP_WORDS[equals-2]} == --* ]] && option=${COMP_WORDS[equals-2]}
    fi

    case "$command $option" in
)sh";
    for (const auto& command : commandTable())
        for (const auto& option : command.options)
            if (! option.isFlag())
                script << "        \"" << command.name << " " << option.name << "\")\n            "
                       << completionFor (option.kind) << "\n            return\n            ;;\n";

    script << "    esac\n\n    case \"$command\" in\n";
    for (const auto& command : commandTable())
        script << "        " << command.name << ")\n            if [[ $cur == -* ]]; then\n"
               << "                mapfile -t COMPREPLY < <(compgen -W '" << optionNames (command.options)
               << "' -- \"$cur\")\n            else\n                " << completionFor (command.operandKind)
               << "\n            fi\n            ;;\n";
    script << "    esac\n}\n\ncomplete -F _tessivar_cli " << programName << "\n";
    return script.str();
}

} // namespace tessivar
