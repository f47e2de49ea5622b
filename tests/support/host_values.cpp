#include "tests/support/host_values.h"

#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tessel::test {

namespace {

std::vector<std::string> Split(const std::string &line) {
    std::vector<std::string> cells;
    std::stringstream ss(line);
    std::string cell;
    while (std::getline(ss, cell, ',')) {
        if (cell.size() >= 2 && cell.front() == '"') cell = cell.substr(1, cell.size() - 2);
        cells.push_back(cell);
    }
    return cells;
}

}  // namespace

std::vector<double> ReadCsvColumn(const std::string &path, const std::string &name) {
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot open " + path);
    std::string line;
    std::getline(in, line);
    std::vector<std::string> header = Split(line);
    size_t col = 0;
    while (col < header.size() && header[col] != name) ++col;
    if (col == header.size()) throw std::runtime_error("no column " + name + " in " + path);
    std::vector<double> out;
    while (std::getline(in, line)) {
        std::vector<std::string> cells = Split(line);
        out.push_back(col < cells.size() && !cells[col].empty() ? std::stod(cells[col]) : std::nan(""));
    }
    return out;
}

std::vector<double> GrowthRates(const std::vector<double> &x) {
    std::vector<double> g;
    for (size_t t = 1; t < x.size(); ++t) g.push_back(100.0 * std::log(x[t] / x[t - 1]));
    return g;
}

}  // namespace tessel::test
