#pragma once

#include <span>
#include <string_view>

namespace tessivar
{

/** What a shell can complete a value to. */
enum class ValueKind
{
    none,          // a flag: takes no value
    text,          // anything
    folder,        // the name of a folder
    file,          // the name of a file
    drumType,      // NAME=TYPE
    audioFormat,   // wav or aiff
    sampleDepth,   // source or float
    analysisMethod // standard or refined
};

/** One option of a command. */
struct OptionSpec
{
    std::string_view name{};  // with its dashes
    std::string_view value{}; // placeholder in texts; empty for a flag
    ValueKind kind = ValueKind::none;
    bool repeatable = false;
    bool required = false;
    std::string_view help{}; // whole sentences

    [[nodiscard]] bool isFlag() const { return kind == ValueKind::none; }
    [[nodiscard]] bool isPath() const { return kind == ValueKind::folder || kind == ValueKind::file; }
};

/** What follows the options of a command. */
enum class OperandKind
{
    none,
    audioFilesAndFolders,
    audioFiles,
    groupFiles,
    folder,
    text
};

struct CommandSpec
{
    std::string_view name{};
    OperandKind operandKind = OperandKind::none;
    std::string_view operand{};     // as in the usage line; one ending in "..." may be given several times
    std::string_view summary{};     // one line
    std::string_view description{}; // paragraphs, separated by newlines
    std::span<const OptionSpec> options{};

    [[nodiscard]] bool takesSeveralOperands() const { return operand.ends_with ("..."); }
};

/** One exit code of the program. */
struct ExitCodeSpec
{
    int code = 0;
    const char* word = ""; // in JSON
    std::string_view meaning{};
};

/** The commands, in the order in which they are listed. Parsing, help, man page and completion are made from
    it.
*/
[[nodiscard]] std::span<const CommandSpec> commandTable();

/** Options that every command has, and the program itself. */
[[nodiscard]] std::span<const OptionSpec> commonOptions();

/** Options of the program without a command. */
[[nodiscard]] std::span<const OptionSpec> programOptions();

[[nodiscard]] std::span<const ExitCodeSpec> exitCodeTable();

/** The command with this name, or null. */
[[nodiscard]] const CommandSpec* findCommand (std::string_view name);

/** The option of a command with this name, or null. */
[[nodiscard]] const OptionSpec* findOption (const CommandSpec& command, std::string_view name);

namespace exitCode
{
inline constexpr int done = 0, someFailed = 1, usage = 2, inputRefused = 3, outputFailed = 4,
                     analysisFailed = 5, interruptedSave = 6, internalError = 70, interrupted = 130;
}

inline constexpr std::string_view programName = "tessivar-cli";
inline constexpr std::string_view programSummary = "turn leakage down in multitrack drum recordings";

} // namespace tessivar
