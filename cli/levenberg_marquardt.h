// Levenberg-Marquardt minimisation of a residual sum of squares with numerical derivatives, for
// models evaluated by a callback (one Algebra run per trial point).
#ifndef TESSEL_CLI_LEVENBERG_MARQUARDT_H
#define TESSEL_CLI_LEVENBERG_MARQUARDT_H

#include <functional>
#include <string>
#include <vector>

namespace tessel::cli {

// Fills the fitted values at `theta`; false when the model cannot be evaluated there (missing values).
using FittedFunction = std::function<bool(const std::vector<double> &theta, std::vector<double> &fitted)>;

struct LmResult {
    std::vector<double> theta, std_errors;  // standard errors from s^2 (J'J)^-1; NaN when J'J is singular
    double rss = 0.0, sigma = 0.0;
    int iterations = 0, evaluations = 0;
    bool converged = false;
    std::string reason;  // why it stopped
};

struct LmOptions {
    int max_iterations = 500;
    double parameter_tolerance = 1e-10;  // relative change of every parameter
    double rss_tolerance = 1e-14;        // relative decrease of the RSS
    double gradient_tolerance = 1e-8;    // scaled gradient at the optimum
};

// Minimises sum (actual - fitted(theta))^2 from theta0; fitted(theta0) must succeed.
LmResult LevenbergMarquardt(const FittedFunction &fitted, const std::vector<double> &actual,
                            std::vector<double> theta0, const LmOptions &options = {});

// Solves the symmetric positive definite system A x = b (A k x k, row-major) by Cholesky;
// false when A is not positive definite.
bool CholeskySolve(std::vector<double> A, std::vector<double> &b, size_t k);

}  // namespace tessel::cli

#endif
