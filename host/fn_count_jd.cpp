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
    const int ni = static_cast<int>(n);
    PendingResult res[5] = {
        {OptionalRef(pv, cArg, 7), ni, 1},
        {OptionalRef(pv, cArg, 8), ni, ni},
        {OptionalRef(pv, cArg, 9), 1, K},
        {OptionalRef(pv, cArg, 10), N, 1},
        {OptionalRef(pv, cArg, 11), ni, ni},
    };
    Guarded(
        [&] {
            if (!AllocateResults(res)) return;
            double L = nan;
            if (computes) {
                tessel::CountOutputs out;
                out.grad = res[0].data();
                out.info = res[1].rows_ptr();
                out.table = res[2].data();
                out.K = out.table ? K : 0;
                out.contrib = res[3].data();
                out.outer = res[4].rows_ptr();
                tessel::CountData d;
                d.N = N;
                d.y = pv[1].data.mat;
                d.X = pv[2].data.mat;
                d.k = k;
                const double *theta = MatrixData(pv[0]);
                if (model == kNegativeBinomial) L = tessel::NegBinLik(theta, ni, d, S, P, out);
                else if (S == 0) L = tessel::PoissonLik(theta, ni, d, out);
                else L = tessel::TruncPoissonLik(theta, ni, d, S, out);
            }
            DeliverResults(res);
            SetDouble(rtn, L);
        },
        [&] {
            ReleaseResults(res);
            SetDouble(rtn, nan);
        });
}
