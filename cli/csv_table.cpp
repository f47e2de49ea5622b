#include "cli/csv_table.h"

#include <cmath>
#include <cstdlib>
#include <fstream>

namespace tessel::cli {

namespace {

std::string Trim(const std::string &s) {
    size_t b = s.find_first_not_of(" \t\r");
    if (b == std::string::npos) return "";
    size_t e = s.find_last_not_of(" \t\r");
    return s.substr(b, e - b + 1);
}

std::string Unquote(const std::string &s) {
    if (s.size() >= 2 && s.front() == '"' && s.back() == '"') return s.substr(1, s.size() - 2);
    return s;
}

std::vector<std::string> SplitCells(const std::string &line, char sep) {
    std::vector<std::string> cells;
    std::string cell;
    bool quoted = false;
    for (char ch : line) {
        if (ch == '"') quoted = !quoted;
        if (ch == sep && !quoted) {
            cells.push_back(Unquote(Trim(cell)));
            cell.clear();
        } else {
            cell += ch;
        }
    }
    cells.push_back(Unquote(Trim(cell)));
    return cells;
}

std::string Where(const std::string &path, size_t line, size_t column) {
    return path + ", line " + std::to_string(line) + ", column " + std::to_string(column);
}

}  // namespace

int CsvTable::Find(const std::string &name) const {
    for (size_t i = 0; i < names.size(); ++i)
        if (names[i] == name) return static_cast<int>(i);
    return -1;
}

const std::vector<double> &CsvTable::Numeric(const std::string &path, const std::string &name) const {
    int c = Find(name);
    if (c < 0) throw InputError(path + ", line 1: no column named \"" + name + "\"");
    if (!first_text_cell[c].empty()) throw InputError(first_text_cell[c]);
    return columns[c];
}

CsvTable ReadCsv(const std::string &path) {
    std::ifstream in(path);
    if (!in) throw InputError(path + ": cannot open the file");
    std::string line;
    if (!std::getline(in, line)) throw InputError(path + ", line 1: the file is empty");
    const char sep = line.find(';') != std::string::npos && line.find(',') == std::string::npos ? ';' : ',';

    CsvTable table;
    table.names = SplitCells(line, sep);
    for (size_t c = 0; c < table.names.size(); ++c)
        if (table.names[c].empty()) throw InputError(Where(path, 1, c + 1) + ": empty column name");
    const size_t ncol = table.names.size();
    table.columns.resize(ncol);
    table.text.resize(ncol);
    table.first_text_cell.resize(ncol);
    std::vector<std::vector<std::string>> cells_seen(ncol);  // raw cells, kept until a column proves numeric

    size_t lineno = 1;
    while (std::getline(in, line)) {
        ++lineno;
        if (Trim(line).empty()) continue;
        std::vector<std::string> cells = SplitCells(line, sep);
        if (cells.size() != ncol)
            throw InputError(Where(path, lineno, std::min(cells.size(), ncol) + 1) + ": expected " +
                             std::to_string(ncol) + " cells, found " + std::to_string(cells.size()));
        for (size_t c = 0; c < ncol; ++c) {
            const std::string &cell = cells[c];
            double value = std::nan("");
            if (!cell.empty() && cell != ".") {
                char *end = nullptr;
                value = std::strtod(cell.c_str(), &end);
                if (end == cell.c_str() || *end != '\0') {
                    value = std::nan("");
                    if (table.first_text_cell[c].empty())
                        table.first_text_cell[c] = Where(path, lineno, c + 1) + ": \"" + cell + "\" is not a number";
                }
            }
            table.columns[c].push_back(value);
            cells_seen[c].push_back(cell);
        }
    }
    for (size_t c = 0; c < ncol; ++c)
        if (!table.first_text_cell[c].empty()) table.text[c] = std::move(cells_seen[c]);
    return table;
}

}  // namespace tessel::cli
