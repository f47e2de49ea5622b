// One data column chosen on the command line, transformed and labelled by its dates.
#ifndef TESSEL_CLI_SERIES_OPTIONS_H
#define TESSEL_CLI_SERIES_OPTIONS_H

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace tessel::cli {

enum class Transform { kLevel, kDiff, kGrowth };

struct SeriesOptions {
    std::string path;
    std::string column = "realgdp";
    Transform transform = Transform::kGrowth;
    bool demean = true;
};

struct Series {
    std::vector<double> values;
    std::vector<std::string> labels;  // "1959Q2", "1960M01" or the row number
};

void AddSeriesOptions(CLI::App &sub, SeriesOptions &o);
const char *TransformName(Transform t);
// Reads and transforms the column; a missing or unusable value is an InputError naming its line.
Series LoadSeries(const SeriesOptions &o);

}  // namespace tessel::cli

#endif
