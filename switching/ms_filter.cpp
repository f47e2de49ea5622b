#include "switching/ms_filter.h"

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

template <int Pc>
void FilterLoop(const double *const *eta, const double *const *P, int T, int p_rt, double *const *lik,
                double *const *filt, double *pred, double *post) {
    const int p = Pc ? Pc : p_rt;
    for (int t = 0; t < T; ++t) {
        const double *e = eta[t];
        double s = 0.0;
        for (int j = 0; j < p; ++j) {
            double f = pred[j] * e[j];
            if (f < 0.0) f = 0.0;  // a negative density or prediction counts as zero
            post[j] = f;
            s += f;
        }
        lik[t][0] = s;
        // No guard on s: a zero sum is the caller's signal that the densities are inconsistent.
        for (int j = 0; j < p; ++j) post[j] = post[j] / s;
        if (filt) {
            double *out = filt[t];
            for (int j = 0; j < p; ++j) out[j] = post[j];
        }
        PredictAbt<Pc>(P, post, pred, p);
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
    default: FilterLoop<0>(eta, P, T, p, lik, filt, pred, post); break;
    }
    return 1;
}

}  // namespace tessel
