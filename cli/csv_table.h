// A numeric data table read from a CSV file with a header row. Cells are separated by commas or
// semicolons (whichever the header uses); empty cells and "." are missing values.
#ifndef TESSEL_CLI_CSV_TABLE_H
#define TESSEL_CLI_CSV_TABLE_H

#include <stdexcept>
#include <string>
#include <vector>

namespace tessel::cli {

// A problem with the user's input: one message, exit status 2.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct CsvTable {
    std::vector<std::string> names;
    std::vector<std::vector<double>> columns;  // one vector per name, all of equal length; NaN if missing
    // The raw cells of each column that holds text (dates, labels); empty for numeric columns.
    std::vector<std::vector<std::string>> text;
    // For a column with text, where its first non-numeric cell is ("file, line L, column C: ...").
    std::vector<std::string> first_text_cell;

    size_t rows() const { return columns.empty() ? 0 : columns[0].size(); }
    // Index of the named column, or -1.
    int Find(const std::string &name) const;
    // The named column's numbers; throws InputError when there is no such column or it holds text.
    const std::vector<double> &Numeric(const std::string &path, const std::string &name) const;
};

// Reads `path`; only the columns a job uses need to be numeric. Throws InputError naming the file,
// line and column when the file cannot be read or a row has the wrong number of cells.
CsvTable ReadCsv(const std::string &path);

}  // namespace tessel::cli

#endif
