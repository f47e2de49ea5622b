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
    std::vector<std::vector<double>> columns;  // one vector per name, all of equal length
    // Raw text of the columns that are kept as text (see ReadCsv's text_columns), by column index.
    std::vector<std::vector<std::string>> text;

    size_t rows() const { return columns.empty() ? 0 : columns[0].size(); }
    // Index of the named column, or -1.
    int Find(const std::string &name) const;
};

// Reads `path`. Columns named in `text_columns` are kept as text (and read as NaN); every other
// cell must be a number, empty or ".". Throws InputError naming the file, line and column.
CsvTable ReadCsv(const std::string &path, const std::vector<std::string> &text_columns = {});

}  // namespace tessel::cli

#endif
