// FnGLScovariance: heteroskedasticity (and optionally autocorrelation) consistent covariance of the
// scores x_t (x) e_t of a system with common regressors.
#include <cstdint>

#include "host/export_frame.h"
#include "host/exports.h"
#include "regression/gls_covariance.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnGLScovariance(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 3) || !CheckTypeRuns(pv, "331")) return;
    const int T = pv[0].ival, k = pv[0].cols, n = pv[1].cols;
    if (pv[1].ival < T) return VelaLibArgError(1);  // every observation needs its residual row
    const int64_t p = int64_t{k} * n;
    if (p * p > INT32_MAX) return VelaLibArgError(1);
    Guarded(
        [&] {
            if (!VelaLibValMatMalloc(rtn, static_cast<int>(p), static_cast<int>(p))) return;
            tessel::GlsCovariance(rtn->data.mat, pv[0].data.mat, k, pv[1].data.mat, n, T, pv[2].ival);
        },
        [] {});
}
