#include "choice/probit.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "numeric/distributions.h"

namespace tessel {

double ProbitProbabilities(const double *theta, const double *x, int k, double *P0, double *P1) {
    double xb = 0.0;
    for (int j = 0; j < k; ++j) xb += theta[j] * x[j];
    *P1 = NormalCdf(xb);
    *P0 = std::clamp(1.0 - *P1, kProbabilityFloor, 1.0);
    return 0.3989422804014327 * std::exp(-0.5 * xb * xb);
}

void ProbitScore(double *g, int c, double P0, double P1, double phi, const double *x, int k, double w) {
    const double f = (c - P1) * phi * w / (P1 * P0);
    for (int j = 0; j < k; ++j) g[j] += f * x[j];
}

void ProbitInformation(double *const *info, double P0, double P1, double phi, const double *x, int k, double w) {
    const double f = phi * phi * w / (P1 * P0);
    for (int r = 0; r < k; ++r) {
        const double fr = f * x[r];
        double *row = info[r];
        for (int s = 0; s <= r; ++s) row[s] += fr * x[s];
    }
}

void ProbitLik(int n, const double *theta, double *loglik, const LikOutputs &out, const ProbitData &d) {
    ZeroDerivatives(out, n);
    std::vector<double> work_grad;
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
        const double *x = d.X[i];
        const int c = static_cast<int>(d.y[i][0]);
        const double w = d.w ? d.w[i] : 1.0;
        double P0, P1;
        const double phi = ProbitProbabilities(theta, x, d.k, &P0, &P1);
        const double li = std::log(c == 0 ? P0 : P1) * w;
        L += li;
        if (out.grad) ProbitScore(out.grad, c, P0, P1, phi, x, d.k, w);
        if (want_outer) {
            std::fill(work_grad.begin(), work_grad.end(), 0.0);
            ProbitScore(work_grad.data(), c, P0, P1, phi, x, d.k, w);
            AddOuterProduct(out.outer, work_grad.data(), n);
        }
        if (out.info) ProbitInformation(out.info, P0, P1, phi, x, d.k, w);
        if (out.prob) {
            out.prob[i][0] = P0;
            out.prob[i][1] = P1;
        }
        if (out.contrib) out.contrib[i] = li;
    }
    if (out.info) MirrorLower(out.info, n);
    *loglik = L;
}

}  // namespace tessel
