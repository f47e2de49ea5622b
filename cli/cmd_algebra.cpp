// tessel algebra: runs an Algebra program over a CSV data set through the module's bridge, prints a
// summary of the variables the program created and writes all variables to a CSV file on request.
#include <cmath>
#include <cstdio>
#include <fstream>

#include "cli/algebra_session.h"
#include "cli/commands.h"
#include "cli/csv_table.h"
#include "cli/module_loader.h"

namespace tessel::cli {

namespace {

struct AlgebraOptions {
    AlgebraDataOptions data;
    std::string output;
};

struct ColumnSummary {
    size_t observed = 0, missing = 0;
    double mean = NAN, sd = NAN, first = NAN, last = NAN;
};

ColumnSummary Summarise(const std::vector<double> &x) {
    ColumnSummary s;
    double sum = 0.0;
    for (double v : x) {
        if (std::isnan(v)) {
            ++s.missing;
            continue;
        }
        if (s.observed == 0) s.first = v;
        s.last = v;
        ++s.observed;
        sum += v;
    }
    if (s.observed == 0) return s;
    s.mean = sum / static_cast<double>(s.observed);
    double ss = 0.0;
    for (double v : x)
        if (!std::isnan(v)) ss += (v - s.mean) * (v - s.mean);
    if (s.observed > 1) s.sd = std::sqrt(ss / static_cast<double>(s.observed - 1));
    return s;
}

std::string Cell(double v) {
    if (std::isnan(v)) return ".";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.6g", v);
    return buf;
}

void WriteCsv(const std::string &path, const std::vector<std::string> &names,
              const std::vector<std::vector<double>> &columns, size_t T) {
    std::ofstream out(path);
    if (!out) throw InputError(path + ": cannot write the file");
    for (size_t j = 0; j < names.size(); ++j) out << (j ? "," : "") << names[j];
    out << '\n';
    char buf[32];
    for (size_t t = 0; t < T; ++t) {
        for (size_t j = 0; j < columns.size(); ++j) {
            if (j) out << ',';
            if (!std::isnan(columns[j][t])) {
                std::snprintf(buf, sizeof buf, "%.17g", columns[j][t]);
                out << buf;
            }
        }
        out << '\n';
    }
}

int RunAlgebra(const CommonOptions &common, const AlgebraOptions &o) {
    const std::string code = LoadAlgebraCode(o.data);
    const AlgebraData data = LoadAlgebraData(o.data);
    Module module(common.module_path);
    if (!module.ok()) throw InputError(module.error());

    AlgebraSession session(module, data, code, false);
    const int last = static_cast<int>(data.T) - 1;
    session.Run({}, 0, last);
    std::vector<std::string> added_names;
    std::vector<std::vector<double>> added;
    session.AddedData(added_names, added);

    std::printf("%s: %zu observations, %zu variables, frequency %d, starting %d(%d)\n", data.path.c_str(), data.T,
                data.names.size(), data.frequency, data.start_year, data.start_period);
    std::printf("The program created %zu variable%s.\n", added_names.size(), added_names.size() == 1 ? "" : "s");
    if (!added_names.empty()) {
        std::printf("\n%-16s %6s %8s %13s %13s %13s %13s\n", "variable", "obs", "missing", "mean", "std.dev",
                    "first", "last");
        for (size_t j = 0; j < added_names.size(); ++j) {
            ColumnSummary s = Summarise(added[j]);
            std::printf("%-16s %6zu %8zu %13s %13s %13s %13s\n", added_names[j].c_str(), s.observed, s.missing,
                        Cell(s.mean).c_str(), Cell(s.sd).c_str(), Cell(s.first).c_str(), Cell(s.last).c_str());
        }
    }
    if (!o.output.empty()) {
        std::vector<std::string> names;
        std::vector<std::vector<double>> columns;
        for (const std::string &name : data.names) {
            std::optional<std::vector<double>> column = session.Variable(name, 0, last);
            if (!column) continue;  // deleted by the program
            names.push_back(name);
            columns.push_back(std::move(*column));
        }
        names.insert(names.end(), added_names.begin(), added_names.end());
        columns.insert(columns.end(), added.begin(), added.end());
        WriteCsv(o.output, names, columns, data.T);
        std::printf("\nWrote %zu variables to %s\n", names.size(), o.output.c_str());
    }
    return 0;
}

}  // namespace

Command AddAlgebraCommand(CLI::App &app, const CommonOptions &common) {
    CLI::App *sub = app.add_subcommand("algebra", "run an Algebra program over a CSV data set");
    auto o = std::make_shared<AlgebraOptions>();
    AddAlgebraDataOptions(*sub, o->data);
    sub->add_option("--output", o->output, "write every variable to this CSV file");
    return {sub, [&common, o] { return RunAlgebra(common, *o); }};
}

}  // namespace tessel::cli
