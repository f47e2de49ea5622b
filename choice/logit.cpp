#include "choice/logit.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

namespace tessel {

void LogitProbabilities(const double *theta, int J, const double *x, int kx, const double *z, int nz,
                        const double *offset, double *P) {
    const double *gamma = theta + static_cast<long>(J - 1) * kx;
    // Shift by the largest utility, starting from 0: the reference alternative's utility without
    // offsets. exp then cannot overflow.
    double M = 0.0;
    for (int j = 0; j < J; ++j) {
        double s = offset ? offset[j] : 0.0;
        if (j >= 1) {
            const double *beta = theta + static_cast<long>(j - 1) * kx;
            for (int i = 0; i < kx; ++i) s += x[i] * beta[i];
        }
        for (int m = 0; m < nz; ++m) s += z[m * J + j] * gamma[m];
        P[j] = s;
        M = std::max(M, s);
    }
    double S = 0.0;
    for (int j = 0; j < J; ++j) {
        P[j] = std::exp(P[j] - M);
        S += P[j];
    }
    const double inv = 1.0 / S;
    for (int j = 0; j < J; ++j) P[j] = std::clamp(P[j] * inv, kProbabilityFloor, 1.0);
}

void LogitScoreChoice(double *g, int c, const double *P, int J, const double *x, int kx, const double *z,
                      int nz, double w) {
    for (int j = 1; j < J; ++j) {
        const double r = ((j == c ? 1.0 : 0.0) - P[j]) * w;
        double *gj = g + static_cast<long>(j - 1) * kx;
        for (int i = 0; i < kx; ++i) gj[i] += r * x[i];
    }
    double *gz = g + static_cast<long>(J - 1) * kx;
    for (int m = 0; m < nz; ++m) {
        const double *zm = z + m * J;
        double zbar = 0.0;
        for (int j = 0; j < J; ++j) zbar += P[j] * zm[j];
        gz[m] += w * (zm[c] - zbar);
    }
}

void LogitScoreGrouped(double *g, const double *y, double T, const double *P, int J, const double *x, int kx,
                       const double *z, int nz, double w) {
    for (int j = 1; j < J; ++j) {
        const double r = (y[j] - T * P[j]) * w;
        double *gj = g + static_cast<long>(j - 1) * kx;
        for (int i = 0; i < kx; ++i) gj[i] += r * x[i];
    }
    double *gz = g + static_cast<long>(J - 1) * kx;
    for (int m = 0; m < nz; ++m) {
        const double *zm = z + m * J;
        double s = 0.0;
        for (int j = 0; j < J; ++j) s += (y[j] - T * P[j]) * zm[j];
        gz[m] += w * s;
    }
}

void LogitInformation(double *const *info, const double *__restrict P, int J, const double *__restrict x, int kx,
                      double *__restrict z, int nz, double v) {
    // X block: v P_j (delta_jl - P_l) x x' for alternatives j, l >= 1.
    for (int j = 1; j < J; ++j) {
        const int rj = (j - 1) * kx;
        for (int i = 0; i < kx; ++i) {
            double *row = info[rj + i];
            const double xi = x[i];
            for (int l = 1; l < j; ++l) {
                const double f = v * P[j] * P[l] * xi;
                double *__restrict cell = row + (l - 1) * kx;
                for (int i2 = 0; i2 < kx; ++i2) cell[i2] -= f * x[i2];
            }
            const double f = v * P[j] * (1.0 - P[j]) * xi;
            double *__restrict cell = row + rj;
            for (int i2 = 0; i2 <= i; ++i2) cell[i2] += f * x[i2];
        }
    }
    // Z rows, on Z centred at its probability-weighted mean.
    const int rz = (J - 1) * kx;
    for (int m = 0; m < nz; ++m) {
        double *zm = z + m * J;
        double zbar = 0.0;
        for (int j = 0; j < J; ++j) zbar += P[j] * zm[j];
        for (int j = 0; j < J; ++j) zm[j] -= zbar;
        double *row = info[rz + m];
        for (int l = 1; l < J; ++l) {
            const double f = v * P[l] * zm[l];
            double *__restrict cell = row + (l - 1) * kx;
            for (int i2 = 0; i2 < kx; ++i2) cell[i2] += f * x[i2];
        }
        for (int m2 = 0; m2 <= m; ++m2) {
            const double *zm2 = z + m2 * J;
            double s = 0.0;
            for (int j = 0; j < J; ++j) s += P[j] * zm2[j] * zm[j];
            row[rz + m2] += v * s;
        }
    }
}

namespace {

// The per-observation pass shared by the two forms; `grouped` selects how y is read.
bool LogitPass(bool grouped, int n, const double *theta, double *loglik, const LikOutputs &out,
               const LogitData &d) {
    const int J = d.J, kx = d.kx, nz = d.kz / d.J;
    std::vector<double> P, counts, work_grad;
    try {
        P.resize(J);
        if (grouped) counts.resize(J);
    } catch (const std::bad_alloc &) {
        return false;
    }
    ZeroDerivatives(out, n);
    bool want_outer = out.outer != nullptr;
    if (want_outer) {
        try {
            work_grad.resize(n);
        } catch (const std::bad_alloc &) {
            want_outer = false;  // the outer product is dropped, the rest goes ahead
        }
    }

    double L = 0.0;
    for (int i = 0; i < d.N; ++i) {
        const double *x = kx > 0 ? d.X[i] : nullptr;
        double *z = nz > 0 ? d.Z[i] : nullptr;
        const double w = d.w ? d.w[i] : 1.0;
        LogitProbabilities(theta, J, x, kx, z, nz, d.offset ? d.offset[i] : nullptr, P.data());
        double li = 0.0, T = 0.0;
        int c = 0;
        if (grouped) {
            std::copy(d.y[i], d.y[i] + J, counts.begin());
            for (int j = 0; j < J; ++j) T += counts[j];
            for (int j = 0; j < J; ++j) li += std::log(P[j]) * counts[j] * w;
        } else {
            c = static_cast<int>(d.y[i][0]);
            li = std::log(P[c]) * w;
        }
        L += li;
        if (out.grad) {
            if (grouped) LogitScoreGrouped(out.grad, counts.data(), T, P.data(), J, x, kx, z, nz, w);
            else LogitScoreChoice(out.grad, c, P.data(), J, x, kx, z, nz, w);
        }
        if (want_outer) {
            std::fill(work_grad.begin(), work_grad.end(), 0.0);
            if (grouped) LogitScoreGrouped(work_grad.data(), counts.data(), T, P.data(), J, x, kx, z, nz, w);
            else LogitScoreChoice(work_grad.data(), c, P.data(), J, x, kx, z, nz, w);
            AddOuterProduct(out.outer, work_grad.data(), n);
        }
        if (out.info) LogitInformation(out.info, P.data(), J, x, kx, z, nz, grouped ? w * T : w);
        if (out.prob) std::copy(P.begin(), P.end(), out.prob[i]);
        if (out.contrib) out.contrib[i] = li;
    }
    if (out.info) MirrorLower(out.info, n);
    *loglik = L;
    return true;
}

}  // namespace

bool LogitLikChoice(int n, const double *theta, double *loglik, const LikOutputs &out, const LogitData &d) {
    return LogitPass(false, n, theta, loglik, out, d);
}

bool LogitLikGrouped(int n, const double *theta, double *loglik, const LikOutputs &out, const LogitData &d) {
    return LogitPass(true, n, theta, loglik, out, d);
}

void LogitMarginalEffects(const double *theta, const double *P, int kx, int J, int kz, double *const *result) {
    for (int i = 0; i < kx; ++i) {
        double bbar = 0.0;  // probability-weighted mean coefficient of x_i
        for (int l = 1; l < J; ++l) bbar += theta[(l - 1) * kx + i] * P[l];
        for (int j = 0; j < J; ++j) {
            const double b = j >= 1 ? theta[(j - 1) * kx + i] : 0.0;
            result[i][j] = (b - bbar) * P[j];
        }
    }
    const int nz = J > 0 ? kz / J : 0;
    const double *gamma = theta + (J - 1) * kx;
    for (int m = 0; m < nz; ++m)
        for (int j = 0; j < J; ++j) result[kx + m][j] = P[j] * gamma[m] * (1.0 - P[j]);
}

}  // namespace tessel
