#pragma once

#include <nlohmann/json.hpp>
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
    nlohmann::ordered_json figures;
    std::vector<std::string> failures; // results that should agree but don't
};

/** Puts tables into a Markdown file, each between its lines "<!-- benchmark: ID -->" and "<!-- end -->";
    tables without such lines are left out. Returns the error, or an empty text; on an error the file is
    unchanged. */
[[nodiscard]] std::string updateDocument (const std::string& path, const std::vector<Table>& tables);

} // namespace tessivar::benchmarks
