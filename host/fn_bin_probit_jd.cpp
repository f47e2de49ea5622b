// FnBinProbitJD: binary probit log-likelihood with its gradient, expected information, fitted
// probabilities, contributions and outer product of the gradients, each on request.
#include <climits>
#include <cstdint>
#include <limits>

#include "choice/probit.h"
#include "host/export_frame.h"
#include "host/likelihood_outputs.h"
#include "host/exports.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnBinProbitJD(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 4) || !CheckTypeRuns(pv, "3333")) return;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const int N = pv[1].ival;
    // Without one column of outcomes and a regressor matrix of N rows there is nothing to compute.
    if (pv[1].cols != 1 || pv[2].ival != N || pv[2].cols < 1) return SetDouble(rtn, nan);
    const int k = pv[2].cols;
    const double *weights = MatrixElements(pv[3]) == N ? MatrixData(pv[3]) : nullptr;
    const int64_t n = MatrixElements(pv[0]);
    if (n < k || n > INT_MAX) return VelaLibArgError(0);
    for (int i = 0; i < N; ++i) {
        const double c = pv[1].data.mat[i][0];
        if (!(c > -1.0 && c < 2.0)) return VelaLibArgError(1);  // truncates to 0 or 1
    }

    SetDouble(rtn, nan);
    const int ni = static_cast<int>(n);
    PendingResult res[5] = {
        {OptionalRef(pv, cArg, 4), ni, 1},
        {OptionalRef(pv, cArg, 5), ni, ni},
        {OptionalRef(pv, cArg, 6), N, 2},
        {OptionalRef(pv, cArg, 7), N, 1},
        {OptionalRef(pv, cArg, 8), ni, ni},
    };
    Guarded(
        [&] {
            if (!AllocateResults(res)) return;
            const tessel::LikOutputs out = LikelihoodOutputs(res);
            tessel::ProbitData d;
            d.N = N;
            d.y = pv[1].data.mat;
            d.X = pv[2].data.mat;
            d.k = k;
            d.w = weights;
            double L = nan;
            tessel::ProbitLik(ni, MatrixData(pv[0]), &L, out, d);
            DeliverResults(res);
            SetDouble(rtn, L);
        },
        [&] {
            ReleaseResults(res);
            SetDouble(rtn, nan);
        });
}
