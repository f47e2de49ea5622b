#include "cli/series_options.h"

#include <cmath>
#include <map>

#include "cli/commands.h"
#include "cli/csv_table.h"

namespace tessel::cli {

namespace {

std::string RowLabel(const CsvTable &table, size_t row) {
    int year = table.Find("year"), quarter = table.Find("quarter"), month = table.Find("month");
    if (year >= 0 && (quarter >= 0 || month >= 0)) {
        double y = table.columns[year][row];
        double p = table.columns[quarter >= 0 ? quarter : month][row];
        if (!std::isnan(y) && !std::isnan(p)) {
            char buf[32];
            std::snprintf(buf, sizeof buf, quarter >= 0 ? "%.0fQ%.0f" : "%.0fM%02.0f", y, p);
            return buf;
        }
    }
    return std::to_string(row + 1);
}

}  // namespace

const char *TransformName(Transform t) {
    switch (t) {
    case Transform::kLevel: return "level";
    case Transform::kDiff: return "first difference";
    default: return "100 x log difference";
    }
}

void AddSeriesOptions(CLI::App &sub, SeriesOptions &o) {
    o.path = DefaultDataPath();
    sub.add_option("--data", o.path, "CSV file with a header row")->capture_default_str();
    sub.add_option("--column", o.column, "the column to use")->capture_default_str();
    const std::map<std::string, Transform> transforms = {
        {"level", Transform::kLevel}, {"diff", Transform::kDiff}, {"growth", Transform::kGrowth}};
    sub.add_option("--transform", o.transform, "level, diff or growth (100 x log difference)")
        ->transform(CLI::CheckedTransformer(transforms, CLI::ignore_case))
        ->capture_default_str();
    sub.add_flag("!--no-demean", o.demean, "keep the series' mean instead of subtracting it");
}

Series LoadSeries(const SeriesOptions &o) {
    CsvTable table = ReadCsv(o.path);
    const std::vector<double> &x = table.Numeric(o.path, o.column);
    const int col = table.Find(o.column);
    Series s;
    const size_t first = o.transform == Transform::kLevel ? 0 : 1;
    for (size_t row = 0; row < x.size(); ++row) {
        if (std::isnan(x[row]))
            throw InputError(o.path + ", line " + std::to_string(row + 2) + ", column " + std::to_string(col + 1) +
                             ": missing value in \"" + o.column + "\"");
        if (row < first) continue;
        double v = x[row];
        if (o.transform == Transform::kDiff) v = x[row] - x[row - 1];
        if (o.transform == Transform::kGrowth) {
            if (x[row] <= 0.0 || x[row - 1] <= 0.0)
                throw InputError(o.path + ", line " + std::to_string(row + 2) + ", column " + std::to_string(col + 1) +
                                 ": growth rates need positive values");
            v = 100.0 * std::log(x[row] / x[row - 1]);
        }
        s.values.push_back(v);
        s.labels.push_back(RowLabel(table, row));
    }
    if (s.values.empty()) throw InputError(o.path + ": no observations in \"" + o.column + "\"");
    if (o.demean) {
        double mean = 0.0;
        for (double v : s.values) mean += v;
        mean /= static_cast<double>(s.values.size());
        for (double &v : s.values) v -= mean;
    }
    return s;
}

std::string DefaultDataPath() {
#ifdef TESSEL_EXAMPLES_DIR
    return std::string(TESSEL_EXAMPLES_DIR) + "/macrodata.csv";
#else
    return "examples/macrodata.csv";
#endif
}

}  // namespace tessel::cli
