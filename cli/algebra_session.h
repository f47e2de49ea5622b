// One Algebra session through the module's bridge exports: the data and code go in once, the code
// runs any number of times, and the series come back by name.
#ifndef TESSEL_CLI_ALGEBRA_SESSION_H
#define TESSEL_CLI_ALGEBRA_SESSION_H

#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "cli/module_loader.h"

namespace tessel::cli {

// A data set as the bridge takes it: T x k values by row, names, and the sample's calendar.
struct AlgebraData {
    std::string path;
    std::vector<std::string> names;
    std::vector<double> values;  // row-major, T x names.size()
    size_t T = 0;
    int start_year = 1, start_period = 1, frequency = 1;
    bool has_dates = false;  // the first column holds day numbers
};

struct AlgebraDataOptions {
    std::string path;
    std::optional<int> start_year, start_period, frequency;
    std::string dates_column;
    std::string code, code_file;
};

void AddAlgebraDataOptions(CLI::App &sub, AlgebraDataOptions &o);
// Reads the data file and works out the sample; InputError on bad options or data.
AlgebraData LoadAlgebraData(const AlgebraDataOptions &o);
// The Algebra program from --code or --file; InputError when neither or both are given.
std::string LoadAlgebraCode(const AlgebraDataOptions &o);

// A failure the module reported (scan, parse, initialisation or run-time message): exit status 1.
struct ModuleError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class AlgebraSession {
public:
    // Compiles `code` over `data`; with `with_parameters` the code's &n parameters are collected.
    AlgebraSession(const Module &module, const AlgebraData &data, const std::string &code, bool with_parameters);
    ~AlgebraSession();
    AlgebraSession(const AlgebraSession &) = delete;
    AlgebraSession &operator=(const AlgebraSession &) = delete;

    const std::vector<double> &start_values() const { return start_values_; }
    const std::vector<int> &parameter_numbers() const { return parameter_numbers_; }

    // Runs the code over observations first..last with the given parameter values.
    void Run(const std::vector<double> &parameters, int first, int last) const;
    // The named variable over first..last, or nullopt when there is no such variable.
    std::optional<std::vector<double>> Variable(const std::string &name, int first, int last) const;
    // The variables the code created: names and columns.
    void AddedData(std::vector<std::string> &names, std::vector<std::vector<double>> &columns) const;

private:
    const Module &module_;
    std::vector<double> start_values_;
    std::vector<int> parameter_numbers_;
};

}  // namespace tessel::cli

#endif
