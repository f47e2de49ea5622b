// FnCountJD: Poisson, truncated Poisson and NB-P negative binomial log-likelihoods with gradient,
// information, predicted count probabilities, contributions and outer product, each on request.
#include <climits>
#include <cstdint>
#include <limits>

#include "choice/count.h"
#include "host/export_frame.h"
#include "host/exports.h"

using namespace tessel::host;

namespace {

enum CountModel { kPoissonFamily = 0, kNegativeBinomial = 1 };

}  // namespace

extern "C" VELA_EXPORT void FnCountJD(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 7) || !CheckTypeRuns(pv, "3331112")) return;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const int N = pv[1].ival;
    if (pv[1].cols != 1 || pv[2].ival != N || pv[2].cols < 1) return SetDouble(rtn, nan);
    const int k = pv[2].cols;
    const int model = pv[3].ival, S = pv[4].ival, K = pv[5].ival;
    const double P = pv[6].data.dval;
    if (K < 0) return VelaLibArgError(5);
    const bool computes = (model == kPoissonFamily && S >= 0) || model == kNegativeBinomial;
    const int64_t n = MatrixElements(pv[0]);
    if (n > INT_MAX) return VelaLibArgError(0);
    // The negative binomial reads its dispersion parameter after the k coefficients.
    if (computes && n < int64_t{k} + (model == kNegativeBinomial ? 1 : 0)) return VelaLibArgError(0);

    SetDouble(rtn, nan);
    VelaValue *targets[5] = {OptionalRef(pv, cArg, 7), OptionalRef(pv, cArg, 8), OptionalRef(pv, cArg, 9),
                             OptionalRef(pv, cArg, 10), OptionalRef(pv, cArg, 11)};
    const int rows[5] = {static_cast<int>(n), static_cast<int>(n), 1, N, static_cast<int>(n)};
    const int cols[5] = {1, static_cast<int>(n), K, 1, static_cast<int>(n)};
    VelaValue local[5] = {};
    auto release = [&] {
        for (VelaValue &v : local) VelaFreeByValue(&v);
    };
    Guarded(
        [&] {
            for (int o = 0; o < 5; ++o) {
                if (targets[o] && !VelaLibValMatMalloc(&local[o], rows[o], cols[o])) return release();
            }
            double L = nan;
            if (computes) {
                tessel::CountOutputs out;
                out.grad = targets[0] ? MatrixData(local[0]) : nullptr;
                out.info = targets[1] ? local[1].data.mat : nullptr;
                out.table = targets[2] ? MatrixData(local[2]) : nullptr;
                out.K = out.table ? K : 0;
                out.contrib = targets[3] ? MatrixData(local[3]) : nullptr;
                out.outer = targets[4] ? local[4].data.mat : nullptr;
                tessel::CountData d;
                d.N = N;
                d.y = pv[1].data.mat;
                d.X = pv[2].data.mat;
                d.k = k;
                const double *theta = MatrixData(pv[0]);
                const int ni = static_cast<int>(n);
                if (model == kNegativeBinomial) L = tessel::NegBinLik(theta, ni, d, S, P, out);
                else if (S == 0) L = tessel::PoissonLik(theta, ni, d, out);
                else L = tessel::TruncPoissonLik(theta, ni, d, S, out);
            }
            for (int o = 0; o < 5; ++o)
                if (targets[o]) MoveInto(targets[o], &local[o]);
            SetDouble(rtn, L);
        },
        [&] {
            release();
            SetDouble(rtn, nan);
        });
}
