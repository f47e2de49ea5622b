#include "cli/algebra_session.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "cli/commands.h"
#include "cli/csv_table.h"
#include "cli/stdout_capture.h"
#include "velawin/velawin.h"

namespace tessel::cli {

namespace {

// Day number on the Julian-day scale (plus the fraction of a day) of "YYYY-MM-DD" or
// "YYYY-MM-DD HH:MM[:SS]" (a 'T' may separate the time); nullopt when the text is no such date.
std::optional<double> IsoDayNumber(const std::string &text) {
    int y, m, d, hh = 0, mm = 0;
    double ss = 0.0;
    char sep = 0;
    int used = 0;
    if (std::sscanf(text.c_str(), "%d-%d-%d%n", &y, &m, &d, &used) != 3) return std::nullopt;
    std::string rest = text.substr(used);
    if (!rest.empty()) {
        int n = std::sscanf(rest.c_str(), "%c%d:%d:%lf", &sep, &hh, &mm, &ss);
        if (n < 3 || (sep != ' ' && sep != 'T')) return std::nullopt;
    }
    using namespace std::chrono;
    year_month_day ymd{year{y}, month{static_cast<unsigned>(m)}, day{static_cast<unsigned>(d)}};
    if (!ymd.ok() || hh < 0 || hh > 23 || mm < 0 || mm > 59 || ss < 0.0 || ss >= 60.0) return std::nullopt;
    const double days_since_1970 = static_cast<double>(sys_days{ymd}.time_since_epoch().count());
    return days_since_1970 + 2440588.0 + ((hh * 60.0 + mm) * 60.0 + ss) / 86400.0;
}

std::string ReadFile(const std::string &path) {
    std::ifstream in(path);
    if (!in) throw InputError(path + ": cannot open the file");
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::string Trim(const std::string &s) {
    size_t b = s.find_first_not_of(" \n");
    if (b == std::string::npos) return "";
    return s.substr(b, s.find_last_not_of(" \n") - b + 1);
}

// Throws ModuleError with the string the export left in rtn, if any, together with what the module
// reported on standard output during the call (the report already names the message: shown once).
void ThrowIfMessage(VelaValue &rtn, const std::string &report) {
    const std::string reported = Trim(report);
    if (rtn.type != VELA_STRING) {
        if (!reported.empty()) std::fprintf(stderr, "%s\n", reported.c_str());
        return;
    }
    std::string message = VelaValGetString(&rtn);
    VelaFreeByValue(&rtn);
    if (reported.empty()) throw ModuleError(message);
    if (reported.find(message) != std::string::npos) throw ModuleError(reported);
    throw ModuleError(reported + "\n" + message);
}

std::vector<double> MatrixValues(const VelaValue &m) {
    std::vector<double> out;
    if (m.type != VELA_MATRIX) return out;
    for (int i = 0; i < m.ival; ++i)
        for (int j = 0; j < m.cols; ++j) out.push_back(m.data.mat[i][j]);
    return out;
}

}  // namespace

void AddAlgebraDataOptions(CLI::App &sub, AlgebraDataOptions &o) {
    o.path = DefaultDataPath();
    sub.add_option("--data", o.path, "CSV file with a header row (comma or semicolon separated)")->capture_default_str();
    sub.add_option("--code", o.code, "the Algebra program as text");
    sub.add_option("--file", o.code_file, "file holding the Algebra program");
    sub.add_option("--start-year", o.start_year, "year of the first observation (default from a year column, else 1)");
    sub.add_option("--start-period", o.start_period, "period of the first observation (default from a quarter or month column, else 1)");
    sub.add_option("--frequency", o.frequency, "periods per year (default 4 with a quarter column, 12 with a month column, else 1)")
        ->check(CLI::Range(1, 100000));
    sub.add_option("--dates", o.dates_column, "column of ISO dates (YYYY-MM-DD, optionally with a time)");
}

std::string LoadAlgebraCode(const AlgebraDataOptions &o) {
    if (o.code.empty() == o.code_file.empty()) throw InputError("give the Algebra program with --code or with --file (one of them)");
    return o.code_file.empty() ? o.code : ReadFile(o.code_file);
}

AlgebraData LoadAlgebraData(const AlgebraDataOptions &o) {
    CsvTable table = ReadCsv(o.path);
    AlgebraData data;
    data.path = o.path;
    data.T = table.rows();
    if (data.T == 0) throw InputError(o.path + ": no observations");

    std::vector<int> order;  // columns in the order handed over, the dates column first
    std::vector<double> dates;
    if (!o.dates_column.empty()) {
        const int c = table.Find(o.dates_column);
        if (c < 0) throw InputError(o.path + ", line 1: no column named \"" + o.dates_column + "\"");
        for (size_t t = 0; t < data.T; ++t) {
            const std::string cell = table.text[c].empty() ? "" : table.text[c][t];
            std::optional<double> day = IsoDayNumber(cell);
            if (!day)
                throw InputError(o.path + ", line " + std::to_string(t + 2) + ", column " + std::to_string(c + 1) +
                                 ": \"" + cell + "\" is not a date (YYYY-MM-DD)");
            dates.push_back(*day);
        }
        order.push_back(c);
        data.has_dates = true;
    }
    for (size_t c = 0; c < table.names.size(); ++c) {
        if (data.has_dates && static_cast<int>(c) == table.Find(o.dates_column)) continue;
        table.Numeric(o.path, table.names[c]);  // throws at the first cell that is not a number
        order.push_back(static_cast<int>(c));
    }
    for (int c : order) data.names.push_back(table.names[c]);
    data.values.resize(data.T * order.size());
    for (size_t t = 0; t < data.T; ++t)
        for (size_t j = 0; j < order.size(); ++j)
            data.values[t * order.size() + j] = (data.has_dates && j == 0) ? dates[t] : table.columns[order[j]][t];

    const int year = table.Find("year"), quarter = table.Find("quarter"), month = table.Find("month");
    const bool calendar = year >= 0 && (quarter >= 0 || month >= 0) && table.text[year].empty();
    if (calendar) {
        const int period = quarter >= 0 ? quarter : month;
        if (!std::isnan(table.columns[year][0]) && !std::isnan(table.columns[period][0])) {
            data.start_year = static_cast<int>(table.columns[year][0]);
            data.start_period = static_cast<int>(table.columns[period][0]);
        }
        data.frequency = quarter >= 0 ? 4 : 12;
    }
    if (o.start_year) data.start_year = *o.start_year;
    if (o.start_period) data.start_period = *o.start_period;
    if (o.frequency) data.frequency = *o.frequency;
    if (data.start_period < 1 || data.start_period > data.frequency)
        throw InputError("the start period " + std::to_string(data.start_period) + " is not within 1.." +
                         std::to_string(data.frequency));
    return data;
}

AlgebraSession::AlgebraSession(const Module &module, const AlgebraData &data, const std::string &code,
                               bool with_parameters)
    : module_(module) {
    const int k = static_cast<int>(data.names.size());
    VelaValue args[9] = {};
    args[0] = VelawinMatrix(static_cast<int>(data.T), k, data.values.data());
    VelaLibValArrayCalloc(&args[1], k);
    for (int j = 0; j < k; ++j) VelaValSetString(VelaValGetArrayVal(&args[1], j), data.names[j].c_str());
    args[2] = VelawinInt(data.start_year);
    args[3] = VelawinInt(data.start_period);
    args[4] = VelawinInt(data.frequency);
    args[5] = VelawinInt(data.has_dates ? 1 : 0);
    args[6] = VelawinString(code.c_str());
    VelaValue starts{}, numbers{};
    args[7] = VelawinRef(&starts);
    args[8] = VelawinRef(&numbers);
    VelaValue rtn{};
    const bool found = module_.Find("FnInitAlgebraNls") != nullptr;
    StdoutCapture capture;
    const bool ok = found && module_.Call("FnInitAlgebraNls", &rtn, args, with_parameters ? 9 : 7);
    const std::string report = capture.Finish();
    for (int i = 0; i < 7; ++i) VelaFreeByValue(&args[i]);
    if (!found) throw std::runtime_error("the module has no export FnInitAlgebraNls");
    if (!ok) throw std::runtime_error(VelawinLastError());
    start_values_ = MatrixValues(starts);
    for (double n : MatrixValues(numbers)) parameter_numbers_.push_back(static_cast<int>(n));
    VelaFreeByValue(&starts);
    VelaFreeByValue(&numbers);
    ThrowIfMessage(rtn, report);  // a failed initialisation has already released the bridge state
}

AlgebraSession::~AlgebraSession() {
    VelaValue rtn{};
    module_.Call("FnExitAlgebraNls", &rtn, nullptr, 0);
    VelaFreeByValue(&rtn);
}

void AlgebraSession::Run(const std::vector<double> &parameters, int first, int last) const {
    VelaValue args[3] = {VelawinMatrix(static_cast<int>(parameters.size()), parameters.empty() ? 0 : 1, parameters.data()),
                         VelawinInt(first), VelawinInt(last)};
    VelaValue rtn{};
    StdoutCapture capture;
    bool ok = module_.Call("FnRunAlgebraNls", &rtn, args, 3);
    const std::string report = capture.Finish();
    VelaFreeByValue(&args[0]);
    if (!ok) throw std::runtime_error(VelawinLastError());
    ThrowIfMessage(rtn, report);
}

std::optional<std::vector<double>> AlgebraSession::Variable(const std::string &name, int first, int last) const {
    VelaValue args[3] = {VelawinString(name.c_str()), VelawinInt(first), VelawinInt(last)};
    VelaValue rtn{};
    module_.Call("FnGetAlgebraVar", &rtn, args, 3);
    VelaFreeByValue(&args[0]);
    if (rtn.type != VELA_MATRIX) {
        VelaFreeByValue(&rtn);
        return std::nullopt;
    }
    std::vector<double> values = MatrixValues(rtn);
    VelaFreeByValue(&rtn);
    return values;
}

void AlgebraSession::AddedData(std::vector<std::string> &names, std::vector<std::vector<double>> &columns) const {
    VelaValue data{}, labels{};
    VelaValue args[2] = {VelawinRef(&data), VelawinRef(&labels)};
    VelaValue rtn{};
    if (!module_.Call("FnGetAlgebraAddedData", &rtn, args, 2)) throw std::runtime_error(VelawinLastError());
    names.clear();
    columns.clear();
    const int m = data.type == VELA_MATRIX ? data.cols : 0;
    for (int j = 0; j < m; ++j) {
        const char *text = VelaValGetString(VelaValGetArrayVal(&labels, j));
        names.push_back(text ? text : "");
        std::vector<double> column(data.ival);
        for (int t = 0; t < data.ival; ++t) column[t] = data.data.mat[t][j];
        columns.push_back(std::move(column));
    }
    VelaFreeByValue(&data);
    VelaFreeByValue(&labels);
    VelaFreeByValue(&rtn);
}

}  // namespace tessel::cli
