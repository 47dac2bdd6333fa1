#pragma once

#include "benchmarks/Measurement.h"

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

    void addRow (std::vector<std::string> label, const std::vector<std::string>& cells);

    [[nodiscard]] std::string asText() const;
    [[nodiscard]] std::string asMarkdown() const;
};

/** What one benchmark found: tables for people, and figures with every round for programs. */
struct Findings
{
    std::vector<Table> tables;
    Figures figures;
    std::vector<std::string> failures; // results that should agree but don't

    /** runRounds(), and says below the table and in the figures how many rounds counted although they were
        disturbed. subject: what is the same in all that is measured. */
    void measure (Table& table,
                  const Case& subject,
                  const RoundPolicy& policy,
                  const std::function<void (Figures&)>& round);
};

/** Puts tables into a Markdown file, each between its lines "<!-- benchmark: ID -->" and "<!-- end -->";
    tables without such lines are left out. Returns the error, or an empty text; on an error the file is
    unchanged. */
[[nodiscard]] std::string updateDocument (const std::string& path, const std::vector<Table>& tables);

} // namespace tessivar::benchmarks
