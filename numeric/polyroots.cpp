#include "numeric/polyroots.h"

#include <cmath>
#include <new>

#include <Eigen/Eigenvalues>

namespace tessel {

int PolyRoots(const double *coef, int degree, double *re, double *im) {
    if (degree < 1 || !coef || !re || !im) return 1;
    const double lead = coef[0];
    if (lead == 0.0 || !std::isfinite(lead)) return 2;
    for (int i = 1; i <= degree; ++i)
        if (!std::isfinite(coef[i])) return 2;
    try {
        // Companion matrix of the monic polynomial: first row -coef[1..]/lead, ones below the diagonal.
        Eigen::MatrixXd C = Eigen::MatrixXd::Zero(degree, degree);
        for (int j = 0; j < degree; ++j) C(0, j) = -coef[j + 1] / lead;
        for (int i = 1; i < degree; ++i) C(i, i - 1) = 1.0;
        Eigen::EigenSolver<Eigen::MatrixXd> solver(C, false);
        if (solver.info() != Eigen::Success) return 3;
        const auto &ev = solver.eigenvalues();
        for (int i = 0; i < degree; ++i) {
            re[i] = ev(i).real();
            im[i] = ev(i).imag();
        }
    } catch (const std::bad_alloc &) {
        return 4;
    }
    return 0;
}

}  // namespace tessel
