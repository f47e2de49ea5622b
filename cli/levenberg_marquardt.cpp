#include "cli/levenberg_marquardt.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tessel::cli {

namespace {

double ResidualSS(const std::vector<double> &actual, const std::vector<double> &fitted) {
    double rss = 0.0;
    for (size_t t = 0; t < actual.size(); ++t) rss += (actual[t] - fitted[t]) * (actual[t] - fitted[t]);
    return rss;
}

// Central-difference Jacobian of the fitted values, n x k row-major; false when a trial point fails.
bool Jacobian(const FittedFunction &fitted, const std::vector<double> &theta, size_t n, std::vector<double> &J,
              int &evaluations) {
    const size_t k = theta.size();
    std::vector<double> up(n), down(n), trial = theta;
    J.assign(n * k, 0.0);
    for (size_t i = 0; i < k; ++i) {
        const double h = std::cbrt(std::numeric_limits<double>::epsilon()) * std::max(std::fabs(theta[i]), 1.0);
        trial[i] = theta[i] + h;
        const double hu = trial[i] - theta[i];
        if (!fitted(trial, up)) return false;
        trial[i] = theta[i] - h;
        const double hd = theta[i] - trial[i];
        if (!fitted(trial, down)) return false;
        trial[i] = theta[i];
        evaluations += 2;
        for (size_t t = 0; t < n; ++t) J[t * k + i] = (up[t] - down[t]) / (hu + hd);
    }
    return true;
}

}  // namespace

bool CholeskySolve(std::vector<double> A, std::vector<double> &b, size_t k) {
    for (size_t j = 0; j < k; ++j) {
        double d = A[j * k + j];
        for (size_t p = 0; p < j; ++p) d -= A[j * k + p] * A[j * k + p];
        if (!(d > 0.0)) return false;
        d = std::sqrt(d);
        A[j * k + j] = d;
        for (size_t i = j + 1; i < k; ++i) {
            double s = A[i * k + j];
            for (size_t p = 0; p < j; ++p) s -= A[i * k + p] * A[j * k + p];
            A[i * k + j] = s / d;
        }
    }
    for (size_t i = 0; i < k; ++i) {
        for (size_t p = 0; p < i; ++p) b[i] -= A[i * k + p] * b[p];
        b[i] /= A[i * k + i];
    }
    for (size_t i = k; i-- > 0;) {
        for (size_t p = i + 1; p < k; ++p) b[i] -= A[p * k + i] * b[p];
        b[i] /= A[i * k + i];
    }
    return true;
}

LmResult LevenbergMarquardt(const FittedFunction &fitted, const std::vector<double> &actual,
                            std::vector<double> theta0, const LmOptions &options) {
    const size_t n = actual.size(), k = theta0.size();
    LmResult r;
    r.theta = std::move(theta0);
    std::vector<double> f(n), f_trial(n), J, A(k * k), g(k), step(k), trial(k);
    if (!fitted(r.theta, f)) {
        r.reason = "the model cannot be evaluated at the start values";
        return r;
    }
    r.evaluations = 1;
    r.rss = ResidualSS(actual, f);
    double mu = 1e-3;
    while (!r.converged && r.iterations < options.max_iterations) {
        if (!Jacobian(fitted, r.theta, n, J, r.evaluations)) {
            r.reason = "the model cannot be evaluated near the current parameters";
            break;
        }
        for (size_t i = 0; i < k; ++i) {
            g[i] = 0.0;
            for (size_t t = 0; t < n; ++t) g[i] += J[t * k + i] * (actual[t] - f[t]);
            for (size_t j = 0; j <= i; ++j) {
                double s = 0.0;
                for (size_t t = 0; t < n; ++t) s += J[t * k + i] * J[t * k + j];
                A[i * k + j] = A[j * k + i] = s;
            }
        }
        double scaled_gradient = 0.0;
        for (size_t i = 0; i < k; ++i)
            scaled_gradient = std::max(scaled_gradient, std::fabs(g[i]) * std::max(std::fabs(r.theta[i]), 1.0));
        if (scaled_gradient <= options.gradient_tolerance * std::max(r.rss, 1e-300)) {
            r.converged = true;
            r.reason = "converged: the scaled gradient is zero to tolerance";
            break;
        }
        ++r.iterations;
        bool improved = false;
        while (!improved && mu < 1e16) {
            std::vector<double> M = A;
            for (size_t i = 0; i < k; ++i) M[i * k + i] += mu * std::max(A[i * k + i], 1e-300);
            step = g;
            if (CholeskySolve(M, step, k)) {
                for (size_t i = 0; i < k; ++i) trial[i] = r.theta[i] + step[i];
                ++r.evaluations;
                if (fitted(trial, f_trial)) {
                    const double rss = ResidualSS(actual, f_trial);
                    if (rss < r.rss) {
                        improved = true;
                        double largest_change = 0.0;
                        for (size_t i = 0; i < k; ++i)
                            largest_change = std::max(largest_change, std::fabs(step[i]) / (std::fabs(r.theta[i]) + 1e-8));
                        const double decrease = (r.rss - rss) / std::max(r.rss, 1e-300);
                        r.theta = trial;
                        r.rss = rss;
                        f.swap(f_trial);
                        mu = std::max(mu / 10.0, 1e-12);
                        if (largest_change < options.parameter_tolerance) {
                            r.converged = true;
                            r.reason = "converged: the parameters no longer change";
                        } else if (decrease < options.rss_tolerance) {
                            r.converged = true;
                            r.reason = "converged: the RSS no longer decreases";
                        }
                        break;
                    }
                }
            }
            mu *= 10.0;
        }
        if (!improved) {
            r.reason = "no step reduces the RSS further, but the gradient is not zero";
            break;
        }
    }
    if (!r.converged && r.reason.empty())
        r.reason = "no convergence within " + std::to_string(options.max_iterations) + " iterations";

    // Standard errors from the Gauss-Newton matrix at the final point.
    const double dof = static_cast<double>(n) - static_cast<double>(k);
    r.sigma = dof > 0 ? std::sqrt(r.rss / dof) : NAN;
    r.std_errors.assign(k, NAN);
    if (Jacobian(fitted, r.theta, n, J, r.evaluations)) {
        for (size_t i = 0; i < k; ++i)
            for (size_t j = 0; j < k; ++j) {
                double s = 0.0;
                for (size_t t = 0; t < n; ++t) s += J[t * k + i] * J[t * k + j];
                A[i * k + j] = s;
            }
        for (size_t i = 0; i < k; ++i) {
            std::vector<double> e(k, 0.0);
            e[i] = 1.0;
            if (!CholeskySolve(A, e, k)) break;
            r.std_errors[i] = r.sigma * std::sqrt(e[i]);
        }
    }
    return r;
}

}  // namespace tessel::cli
