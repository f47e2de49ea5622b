#include "switching/ms_filter.h"

#include <limits>
#include <memory>
#include <new>

namespace tessel {

namespace {

// pred[i] = sum over j of P[i][j] x[j]: the one-step prediction of the probabilities x.
template <int Pc>
inline void PredictAbt(const double *const *P, const double *x, double *pred, int p_rt) {
    const int p = Pc ? Pc : p_rt;
    for (int i = 0; i < p; ++i) {
        const double *row = P[i];
        double s = 0.0;
        int j = 0;
        for (; j + 4 <= p; j += 4) s += row[j] * x[j] + row[j + 1] * x[j + 1] + row[j + 2] * x[j + 2] + row[j + 3] * x[j + 3];
        for (; j < p; ++j) s += row[j] * x[j];
        pred[i] = s;
    }
}

// One observation: products of prediction and density (negatives count as zero), their sum as
// the likelihood, then the next prediction. The next prediction is formed from the unnormalised
// products and scaled by the reciprocal of the sum, so that the division runs alongside the
// matrix product. There is deliberately no guard on the sum: a zero sum gives non-finite
// probabilities from there on.
template <int Pc>
inline void FilterStep(const double *e, const double *const *P, int p_rt, double *pred, double *post,
                       double *lik, double *filt) {
    const int p = Pc ? Pc : p_rt;
    double s = 0.0;
    for (int j = 0; j < p; ++j) {
        double f = pred[j] * e[j];
        if (f < 0.0) f = 0.0;
        post[j] = f;
        s += f;
    }
    *lik = s;
    PredictAbt<Pc>(P, post, pred, p);
    if (s >= std::numeric_limits<double>::min()) {
        const double inv = 1.0 / s;
        for (int j = 0; j < p; ++j) pred[j] *= inv;
        if (filt)
            for (int j = 0; j < p; ++j) filt[j] = post[j] * inv;
    } else {
        // The reciprocal of a subnormal sum overflows where the quotients themselves do not.
        for (int j = 0; j < p; ++j) pred[j] /= s;
        if (filt)
            for (int j = 0; j < p; ++j) filt[j] = post[j] / s;
    }
}

template <int Pc>
void FilterLoop(const double *const *eta, const double *const *P, int T, int p_rt, double *const *lik,
                double *const *filt, double *pred, double *post) {
    if constexpr (Pc > 0) {
        // Local copies that the compiler can keep in registers: the outputs cannot alias them.
        double Pl[Pc][Pc], pr[Pc], po[Pc];
        const double *rows[Pc];
        for (int i = 0; i < Pc; ++i) {
            for (int j = 0; j < Pc; ++j) Pl[i][j] = P[i][j];
            rows[i] = Pl[i];
            pr[i] = pred[i];
        }
        for (int t = 0; t < T; ++t) FilterStep<Pc>(eta[t], rows, Pc, pr, po, lik[t], filt ? filt[t] : nullptr);
    } else {
        for (int t = 0; t < T; ++t) FilterStep<0>(eta[t], P, p_rt, pred, post, lik[t], filt ? filt[t] : nullptr);
    }
}

}  // namespace

int MsFilter(const double *const *eta, const double *const *P, const double *prior, int T, int p,
             double *const *lik, double *const *filt) {
    if (!eta || !P || !prior || !lik || p < 1) return 0;
    std::unique_ptr<double[]> work(new (std::nothrow) double[2 * static_cast<size_t>(p)]);
    if (!work) return 0;
    double *pred = work.get(), *post = pred + p;
    for (int j = 0; j < p; ++j) pred[j] = prior[j];
    // Small regime counts get loops of fixed length, which the compiler unrolls.
    switch (p) {
    case 2: FilterLoop<2>(eta, P, T, p, lik, filt, pred, post); break;
    case 3: FilterLoop<3>(eta, P, T, p, lik, filt, pred, post); break;
    case 4: FilterLoop<4>(eta, P, T, p, lik, filt, pred, post); break;
    case 8: FilterLoop<8>(eta, P, T, p, lik, filt, pred, post); break;
    default: FilterLoop<0>(eta, P, T, p, lik, filt, pred, post); break;
    }
    return 1;
}

}  // namespace tessel
