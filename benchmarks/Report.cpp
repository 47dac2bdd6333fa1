#include "benchmarks/Report.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace tessivar::benchmarks
{

namespace
{
std::vector<std::size_t> columnWidths (const Table& table)
{
    std::vector<std::size_t> widths;

    for (const auto& column : table.columns)
        widths.push_back (column.size());

    for (const auto& row : table.rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max (widths[i], row[i].size());

    return widths;
}

/** The first column holds words and is left-aligned, the others hold figures and are right-aligned. */
std::string padded (const std::string& text, std::size_t width, bool isFirst)
{
    const std::string blanks (width - std::min (width, text.size()), ' ');
    return isFirst ? text + blanks : blanks + text;
}
} // namespace

std::string Table::asText() const
{
    const auto widths = columnWidths (*this);
    std::string text = title + "\n";

    const auto addRow = [&] (const std::vector<std::string>& cells)
    {
        for (std::size_t i = 0; i < cells.size(); ++i)
            text += "  " + padded (cells[i], widths[i], i == 0);

        text += "\n";
    };

    addRow (columns);

    for (const auto& row : rows)
        addRow (row);

    for (const auto& note : notes)
        text += "  " + note + "\n";

    return text;
}

std::string Table::asMarkdown() const
{
    const auto widths = columnWidths (*this);
    std::string text;

    const auto addRow = [&] (const std::vector<std::string>& cells)
    {
        text += "|";

        for (std::size_t i = 0; i < cells.size(); ++i)
            text += " " + padded (cells[i], widths[i], i == 0) + " |";

        text += "\n";
    };

    addRow (columns);
    text += "|";

    for (std::size_t i = 0; i < columns.size(); ++i)
        text += " " + std::string (widths[i] - (i == 0 ? 0 : 1), '-') + (i == 0 ? " |" : ": |");

    text += "\n";

    for (const auto& row : rows)
        addRow (row);

    for (const auto& note : notes)
        text += "\n" + note + "\n";

    return text;
}

void Findings::noteDisturbed (Table& table, const Case& subject, int numDisturbed, int numRounds)
{
    figures.add (subject, "disturbedRounds", "rounds", numDisturbed);

    if (numDisturbed == 0)
        return;

    std::string label;

    for (const auto& [key, value] : subject.items())
        label += (label.empty() ? "" : ", ") + key + " " + value.dump();

    table.notes.push_back (label + (label.empty() ? "" : ": ") + std::to_string (numDisturbed) + " of "
                           + std::to_string (numRounds) + " rounds were disturbed by other programs.");
}

std::string updateDocument (const std::string& path, const std::vector<Table>& tables)
{
    std::ifstream in (path, std::ios::binary);

    if (! in)
        return path + ": cannot be read";

    std::string text ((std::istreambuf_iterator<char> (in)), {});
    in.close();

    for (const auto& table : tables)
    {
        const auto opening = "<!-- benchmark: " + table.id + " -->\n";
        const auto start = text.find (opening);

        if (start == std::string::npos)
            continue;

        const auto first = start + opening.size();
        const auto end = text.find ("<!-- end -->", first);

        if (end == std::string::npos)
            return path + ": no end for the table " + table.id;

        text.replace (first, end - first, "\n" + table.asMarkdown() + "\n");
    }

    std::ofstream out (path, std::ios::binary);
    out << text;
    out.close();
    return out ? std::string() : path + ": cannot be written";
}

} // namespace tessivar::benchmarks
