// tessel nls: non-linear least squares for a model written in Algebra. The program sets start values
// for its parameters &0, &1, ... and creates the variables `actual` and `fitted`; Levenberg-Marquardt
// minimises the residual sum of squares with one run of the program per trial point.
#include <cmath>
#include <cstdio>

#include "cli/algebra_session.h"
#include "cli/commands.h"
#include "cli/csv_table.h"
#include "cli/levenberg_marquardt.h"
#include "cli/module_loader.h"

namespace tessel::cli {

namespace {

struct NlsOptions {
    AlgebraDataOptions data;
    std::optional<int> first, last;
};

std::string ObsLabel(const AlgebraData &d, int t) {
    const int index = d.start_period - 1 + t;
    if (d.frequency == 1) return std::to_string(d.start_year + t);
    return std::to_string(d.start_year + index / d.frequency) + "(" + std::to_string(index % d.frequency + 1) + ")";
}

// Runs the model at theta and fetches actual and fitted over the whole data set.
void Evaluate(const AlgebraSession &s, const std::vector<double> &theta, int T, std::vector<double> &actual,
              std::vector<double> &fitted) {
    s.Run(theta, 0, T - 1);
    std::optional<std::vector<double>> a = s.Variable("actual", 0, T - 1), f = s.Variable("fitted", 0, T - 1);
    if (!a || !f) throw ModuleError("the model must create the variables actual and fitted");
    actual = std::move(*a);
    fitted = std::move(*f);
}

int RunNls(const CommonOptions &common, const NlsOptions &o) {
    const std::string code = LoadAlgebraCode(o.data);
    const AlgebraData data = LoadAlgebraData(o.data);
    Module module(common.module_path);
    if (!module.ok()) throw InputError(module.error());
    AlgebraSession session(module, data, code, true);
    const int T = static_cast<int>(data.T);
    const std::vector<double> &start = session.start_values();

    std::vector<double> actual, fitted;
    Evaluate(session, start, T, actual, fitted);
    auto present = [&](int t) { return !std::isnan(actual[t]) && !std::isnan(fitted[t]); };
    // Default sample: from the first to the last observation where the model is defined at the start values.
    int first = 0, last = T - 1;
    while (first < T && !present(first)) ++first;
    while (last >= first && !present(last)) --last;
    if (o.first) first = *o.first;
    if (o.last) last = *o.last;
    if (first < 0 || last >= T || first > last)
        throw InputError("the sample " + std::to_string(first) + ".." + std::to_string(last) +
                         " is not within the data's observations 0.." + std::to_string(T - 1));
    for (int t = first; t <= last; ++t)
        if (!present(t))
            throw ModuleError(std::string(std::isnan(actual[t]) ? "actual" : "fitted") + " is missing at observation " +
                              std::to_string(t) + " (" + ObsLabel(data, t) + ") of the sample at the start values");

    const std::vector<double> y(actual.begin() + first, actual.begin() + last + 1);
    auto model = [&](const std::vector<double> &theta, std::vector<double> &f) {
        std::vector<double> a, all;
        Evaluate(session, theta, T, a, all);
        for (int t = first; t <= last; ++t) {
            if (std::isnan(all[t])) return false;
            f[t - first] = all[t];
        }
        return true;
    };
    LmResult r = LevenbergMarquardt(model, y, start);

    const int n = last - first + 1, k = static_cast<int>(start.size());
    std::printf("Non-linear least squares on %s, %d observations %s to %s\n\n", data.path.c_str(), n,
                ObsLabel(data, first).c_str(), ObsLabel(data, last).c_str());
    std::printf("%-10s %15s %15s %15s %10s\n", "parameter", "start", "estimate", "std.error", "t-value");
    for (int i = 0; i < k; ++i)
        std::printf("&%-9d %15.8g %15.8g %15.8g %10.3f\n", session.parameter_numbers()[i], start[i], r.theta[i],
                    r.std_errors[i], r.theta[i] / r.std_errors[i]);
    std::printf("\nRSS %.10g   sigma %.8g   observations %d   parameters %d\n", r.rss, r.sigma, n, k);
    std::printf("iterations %d   model evaluations %d\n%s\n", r.iterations, r.evaluations, r.reason.c_str());
    if (!r.converged) {
        std::printf("The estimation did NOT converge: the estimates above are not a minimum.\n");
        return 1;
    }
    return 0;
}

}  // namespace

Command AddNlsCommand(CLI::App &app, const CommonOptions &common) {
    CLI::App *sub = app.add_subcommand("nls", "non-linear least squares for a model written in Algebra");
    auto o = std::make_shared<NlsOptions>();
    AddAlgebraDataOptions(*sub, o->data);
    sub->add_option("--first", o->first, "first observation of the sample, counted from 0");
    sub->add_option("--last", o->last, "last observation of the sample, counted from 0");
    return {sub, [&common, o] { return RunNls(common, *o); }};
}

}  // namespace tessel::cli
