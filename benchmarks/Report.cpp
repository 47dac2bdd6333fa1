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

/** The columns' names, the rule and the rows. */
std::string joined (const Table& table,
                    const std::string& before,
                    const std::string& between,
                    const std::string& after,
                    const std::string& rule)
{
    const auto widths = columnWidths (table);
    const auto line = [&] (const std::vector<std::string>& cells)
    {
        auto text = before;

        for (std::size_t i = 0; i < cells.size(); ++i)
            text += (i == 0 ? "" : between) + padded (cells[i], widths[i], i == 0);

        return text + after + "\n";
    };
    auto text = line (table.columns) + rule;

    for (const auto& row : table.rows)
        text += line (row);

    return text;
}
} // namespace

void Table::addRow (std::vector<std::string> label, const std::vector<std::string>& cells)
{
    label.insert (label.end(), cells.begin(), cells.end());
    rows.push_back (std::move (label));
}

std::string Table::asText() const
{
    auto text = title + "\n" + joined (*this, "  ", "  ", "", {});

    for (const auto& note : notes)
        text += "  " + note + "\n";

    return text;
}

std::string Table::asMarkdown() const
{
    const auto widths = columnWidths (*this);
    std::string rule = "|";

    for (std::size_t i = 0; i < widths.size(); ++i)
        rule += " " + std::string (widths[i] - (i == 0 ? 0 : 1), '-') + (i == 0 ? " |" : ": |");

    auto text = joined (*this, "| ", " | ", " |", rule + "\n");

    for (const auto& note : notes)
        text += "\n" + note + "\n";

    return text;
}

void Findings::measure (Table& table,
                        const Case& subject,
                        const RoundPolicy& policy,
                        const std::function<void (Figures&)>& round)
{
    const auto numDisturbed = runRounds (policy, figures, round);
    figures.add (subject, "disturbedRounds", "rounds", numDisturbed);

    if (numDisturbed == 0)
        return;

    std::string label;

    for (const auto& [key, value] : subject.items())
        label += (label.empty() ? "" : ", ") + key + " " + value.dump();

    table.notes.push_back (label + (label.empty() ? "" : ": ") + std::to_string (numDisturbed) + " of "
                           + std::to_string (policy.numRounds) + " rounds were disturbed by other programs.");
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
