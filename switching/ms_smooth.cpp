// The three backward smoothers share one recursion; they differ in what S accumulates and in the
// orientation of the back-propagation, and both differences are intended.
#include <memory>
#include <new>

#include "switching/ms_filter.h"

namespace tessel {

namespace {

constexpr double kFloor = 1e-100;  // predictions at or below this are treated as zero
constexpr double kCap = 1e100;     // ... and their reciprocal is capped here

enum SmoothKind { kWeighted, kPlain, kSymmetric };

// Pc > 0 fixes the number of regimes at compile time, and the caller passes local arrays the
// compiler can keep in registers; 0 means the run-time count p_rt.
template <SmoothKind Kind, int Pc>
void SmoothLoop(const double *const *filt, const double *const *P, int T, int p_rt, double *const *smooth,
                double *const *S, double *ratio, double *cur, double *pred) {
    const int p = Pc ? Pc : p_rt;
    for (int i = 0; i < p; ++i)
        for (int j = 0; j < p; ++j) S[i][j] = 0.0;
    for (int j = 0; j < p; ++j) smooth[T - 1][j] = ratio[j] = filt[T - 1][j];

    for (int t = T - 2; t >= 0; --t) {
        for (int j = 0; j < p; ++j) cur[j] = filt[t][j];
        // Prediction of t+1 from t, and the ratio of smoothed to predicted probabilities at t+1.
        for (int i = 0; i < p; ++i) {
            const double *row = P[i];
            double s = 0.0;
            for (int j = 0; j < p; ++j) s += row[j] * cur[j];
            ratio[i] = ratio[i] * (s <= kFloor ? kCap : 1.0 / s);
        }
        for (int i = 0; i < p; ++i) {
            double *srow = S[i];
            const double r = ratio[i];
            if constexpr (Kind == kWeighted) {
                const double *row = P[i];
                for (int j = 0; j < p; ++j) srow[j] += r * row[j] * cur[j];
            } else {
                for (int j = 0; j < p; ++j) srow[j] += r * cur[j];
            }
        }
        // Back-propagation: ratio times P, or times P transposed for the symmetric form.
        if constexpr (Kind == kSymmetric) {
            for (int j = 0; j < p; ++j) {
                const double *row = P[j];
                double s = 0.0;
                for (int i = 0; i < p; ++i) s += ratio[i] * row[i];
                pred[j] = s;
            }
        } else {
            for (int j = 0; j < p; ++j) pred[j] = 0.0;
            for (int i = 0; i < p; ++i) {
                const double *row = P[i];
                const double r = ratio[i];
                for (int j = 0; j < p; ++j) pred[j] += r * row[j];
            }
        }
        double *out = smooth[t];
        for (int j = 0; j < p; ++j) {
            double v = pred[j] * cur[j];
            if (v <= kFloor)
                v = 0.0;
            else if (v > 1.0)
                v = 1.0;
            out[j] = ratio[j] = v;
        }
    }
}

template <SmoothKind Kind>
int RunSmoother(const double *const *filt, const double *const *P, int T, int p, double *const *smooth,
                double *const *S) {
    if (!filt || !P || !smooth || T < 1 || p < 1) return 0;
    if (Kind == kWeighted && !S) return 0;
    std::unique_ptr<double[]> work(new (std::nothrow) double[3 * static_cast<size_t>(p)]);
    if (!work) return 0;
    // Without S the second and symmetric forms do not even write the last row of smooth.
    if (!S) return 0;
    if (p <= 4) {
        // Small regime counts: the transition matrix, S and the work vectors as local arrays.
        double Pl[4][4], Sl[4][4], r[4], c[4], q[4];
        const double *prow[4] = {Pl[0], Pl[1], Pl[2], Pl[3]};
        double *srow[4] = {Sl[0], Sl[1], Sl[2], Sl[3]};
        for (int i = 0; i < p; ++i)
            for (int j = 0; j < p; ++j) Pl[i][j] = P[i][j];
        switch (p) {
        case 1: SmoothLoop<Kind, 1>(filt, prow, T, p, smooth, srow, r, c, q); break;
        case 2: SmoothLoop<Kind, 2>(filt, prow, T, p, smooth, srow, r, c, q); break;
        case 3: SmoothLoop<Kind, 3>(filt, prow, T, p, smooth, srow, r, c, q); break;
        default: SmoothLoop<Kind, 4>(filt, prow, T, p, smooth, srow, r, c, q); break;
        }
        for (int i = 0; i < p; ++i)
            for (int j = 0; j < p; ++j) S[i][j] = Sl[i][j];
        return 1;
    }
    SmoothLoop<Kind, 0>(filt, P, T, p, smooth, S, work.get(), work.get() + p, work.get() + 2 * p);
    return 1;
}

}  // namespace

int MsSmooth(const double *const *filt, const double *const *P, int T, int p, double *const *smooth,
             double *const *S) {
    return RunSmoother<kWeighted>(filt, P, T, p, smooth, S);
}

int MsSmooth2(const double *const *filt, const double *const *P, int T, int p, double *const *smooth,
              double *const *S) {
    return RunSmoother<kPlain>(filt, P, T, p, smooth, S);
}

int MsSmooth2Sym(const double *const *filt, const double *const *P, int T, int p, double *const *smooth,
                 double *const *S) {
    return RunSmoother<kSymmetric>(filt, P, T, p, smooth, S);
}

}  // namespace tessel
