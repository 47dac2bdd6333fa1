#pragma once

#include "benchmarks/Figures.h"

#include <string>
#include <vector>

namespace tessivar::benchmarks
{

struct Table
{
    std::string id; // names its place in a document
    std::string title;
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> notes;

    [[nodiscard]] std::string asText() const;
    [[nodiscard]] std::string asMarkdown() const;
};

/** What one benchmark found: tables for people, and figures with every round for programs. */
struct Findings
{
    std::vector<Table> tables;
    Figures figures;
    std::vector<std::string> failures; // results that should agree but don't

    /** Says below a table, and in the figures, how many rounds counted although they were disturbed. */
    void noteDisturbed (Table& table, const Case& subject, int numDisturbed, int numRounds);
};

/** Puts tables into a Markdown file, each between its lines "<!-- benchmark: ID -->" and "<!-- end -->";
    tables without such lines are left out. Returns the error, or an empty text; on an error the file is
    unchanged. */
[[nodiscard]] std::string updateDocument (const std::string& path, const std::vector<Table>& tables);

} // namespace tessivar::benchmarks
