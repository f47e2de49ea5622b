// tessel garch: GARCH(1,1) and EGARCH(1,1) conditional variance paths of one column of a CSV file,
// through FnGarchVar and FnEgarchVar.
#include <cmath>
#include <cstdio>
#include <numbers>

#include "cli/commands.h"
#include "cli/csv_table.h"
#include "cli/module_loader.h"
#include "cli/series_options.h"
#include "velawin/velawin.h"

namespace tessel::cli {

namespace {

struct GarchOptions {
    SeriesOptions series;
    double omega = NAN, alpha = 0.15, beta = 0.75, delta = 0.0;
    double e_omega = NAN, e_a = 0.2, e_b = 0.9, e_theta = -0.1, e_gamma = 1.0;
    int rows = 12;
};

// Runs one export whose last two arguments receive T x 1 results; throws with the runtime's message.
void CallWithTwoResults(const Module &module, const char *name, VelaValue *args, VelaValue &first,
                        VelaValue &second) {
    args[9] = VelawinRef(&first);
    args[10] = VelawinRef(&second);
    VelaValue rtn{};
    if (!module.Call(name, &rtn, args, 11)) throw std::runtime_error(std::string(name) + ": " + VelawinLastError());
    if (rtn.type != VELA_INT || rtn.ival != 1) throw std::runtime_error(std::string(name) + ": out of memory");
}

double GaussianLogLik(const double *u, const double *h, size_t T) {
    double ll = 0.0;
    for (size_t t = 0; t < T; ++t) ll += -0.5 * (std::log(2.0 * std::numbers::pi) + std::log(h[t]) + u[t] * u[t] / h[t]);
    return ll;
}

int RunGarch(const CommonOptions &common, const GarchOptions &o) {
    Series s = LoadSeries(o.series);
    const size_t T = s.values.size();
    double s2 = 0.0;
    for (double v : s.values) s2 += v * v;
    s2 /= static_cast<double>(T);
    const double omega = std::isnan(o.omega) ? (1.0 - o.alpha - o.beta) * s2 : o.omega;
    const double e_omega = std::isnan(o.e_omega) ? (1.0 - o.e_b) * std::log(s2) : o.e_omega;

    Module module(common.module_path);
    if (!module.ok()) throw InputError(module.error());
    const int n = static_cast<int>(T);

    // GARCH(1,1): theta in ARMA form, theta[1] = alpha + beta, theta[2] = beta.
    const double theta[3] = {0.0, o.alpha + o.beta, o.beta};
    std::vector<double> c(T, omega), ce(T, e_omega);
    VelaValue g[11] = {VelawinMatrix(n, 1, s.values.data()), VelawinMatrix(n, 1, c.data()), VelawinMatrix(3, 1, theta),
                       VelawinInt(1), VelawinInt(1), VelawinInt(0), VelawinDouble(0.0), VelawinDouble(0.0),
                       VelawinDouble(o.delta)};
    VelaValue h{}, u{};
    CallWithTwoResults(module, "FnGarchVar", g, h, u);

    const double a = o.e_a, b = o.e_b;
    VelaValue e[11] = {VelawinMatrix(n, 1, s.values.data()), VelawinMatrix(n, 1, ce.data()), VelawinDouble(o.e_theta),
                       VelawinDouble(o.e_gamma), VelawinDouble(std::sqrt(2.0 / std::numbers::pi)),
                       VelawinMatrix(1, 1, &a), VelawinMatrix(1, 1, &b), VelawinInt(0), VelawinDouble(0.0)};
    VelaValue l{}, ue{};
    CallWithTwoResults(module, "FnEgarchVar", e, l, ue);

    std::vector<double> el(T);
    for (size_t t = 0; t < T; ++t) el[t] = std::exp(l.data.mat[t][0]);
    std::printf("%s: %zu observations of %s (%s), mean square %.6g\n", o.series.path.c_str(), T, o.series.column.c_str(),
                TransformName(o.series.transform), s2);
    std::printf("GARCH(1,1):  omega %.6g  alpha %.6g  beta %.6g  delta %.6g   log-likelihood %.6f\n", omega, o.alpha,
                o.beta, o.delta, GaussianLogLik(u.data.mat[0], h.data.mat[0], T));
    std::printf("EGARCH(1,1): omega %.6g  a %.6g  b %.6g  theta %.6g  gamma %.6g   log-likelihood %.6f\n", e_omega, a,
                b, o.e_theta, o.e_gamma, GaussianLogLik(ue.data.mat[0], el.data(), T));
    std::printf("\n%-10s %12s %14s %14s %14s\n", "obs", "y", "GARCH h", "EGARCH log h", "EGARCH h");
    const size_t shown = o.rows <= 0 || static_cast<size_t>(o.rows) >= T ? T : static_cast<size_t>(o.rows);
    for (size_t i = 0; i < shown; ++i) {
        size_t t = T - shown + i;
        std::printf("%-10s %12.6g %14.6g %14.6g %14.6g\n", s.labels[t].c_str(), s.values[t], h.data.mat[t][0],
                    l.data.mat[t][0], el[t]);
    }
    for (VelaValue *v : {&h, &u, &l, &ue}) VelaFreeByValue(v);
    for (VelaValue &v : g) VelaFreeByValue(&v);
    for (VelaValue &v : e) VelaFreeByValue(&v);
    return 0;
}

}  // namespace

Command AddGarchCommand(CLI::App &app, const CommonOptions &common) {
    CLI::App *sub = app.add_subcommand("garch", "GARCH(1,1) and EGARCH(1,1) variance paths of a data column");
    auto o = std::make_shared<GarchOptions>();
    AddSeriesOptions(*sub, o->series);
    sub->add_option("--omega", o->omega, "GARCH intercept (default (1 - alpha - beta) times the mean square)");
    sub->add_option("--alpha", o->alpha, "GARCH coefficient of the lagged squared residual")->capture_default_str();
    sub->add_option("--beta", o->beta, "GARCH coefficient of the lagged variance")->capture_default_str();
    sub->add_option("--delta", o->delta, "threshold coefficient on negative residuals")->capture_default_str();
    sub->add_option("--egarch-omega", o->e_omega, "EGARCH intercept (default (1 - b) times the log mean square)");
    sub->add_option("--egarch-a", o->e_a, "EGARCH coefficient of the lagged news term")->capture_default_str();
    sub->add_option("--egarch-b", o->e_b, "EGARCH coefficient of the lagged log variance")->capture_default_str();
    sub->add_option("--egarch-theta", o->e_theta, "EGARCH sign coefficient")->capture_default_str();
    sub->add_option("--egarch-gamma", o->e_gamma, "EGARCH size coefficient")->capture_default_str();
    sub->add_option("--rows", o->rows, "number of final observations to print (0 for all)")->capture_default_str();
    return {sub, [&common, o] { return RunGarch(common, *o); }};
}

}  // namespace tessel::cli
