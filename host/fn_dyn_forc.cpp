// FnDynForc: dynamic forecasts of a reduced-form system with innovation and coefficient uncertainty.
// Arguments: 0 Y (T x n); 1 Z (H x m or empty); 2 A (n x n s); 3 B (n x m or empty); 4 s; 5 H; 6 Omega;
// 7 V (covariance of the row-major vec([A B]) or empty); 8 actual values (H x n or empty); 9 flags
// (bit 0: coefficient uncertainty in the covariance, standardised errors and chi-squared statistics).
// Optional references 10..18: forecasts, standard errors (innovations), standard errors (with
// coefficients), covariances H x n n, errors, standardised errors, chi-squared 1 x H, Psi H x n n,
// companion moduli 1 x n s. Returns 1, or 0 when the system is not stable (or memory is short).
#include <algorithm>
#include <cstdint>
#include <vector>

#include "dynamics/dyn_forecast.h"
#include "dynamics/var_system.h"
#include "host/export_frame.h"
#include "host/exports.h"

using namespace tessel::host;

namespace {

// A matrix argument that is either empty or exactly rows x cols.
bool EmptyOr(const VelaValue &v, int rows, int cols) {
    return MatrixElements(v) == 0 || (v.ival == rows && v.cols == cols);
}

}  // namespace

extern "C" VELA_EXPORT void FnDynForc(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 10) || !CheckTypeRuns(pv, "3333113331")) return;
    const int s = pv[4].ival, H = pv[5].ival;
    if (s < 1) return VelaLibArgError(4);
    if (H < 1) return VelaLibArgError(5);
    const int n = pv[2].ival;
    if (n < 1 || int64_t{n} * s > 46340 || pv[2].cols != n * s) return VelaLibArgError(2);
    const int T = pv[0].ival;
    if (T < s || pv[0].cols != n) return VelaLibArgError(0);
    const int m = MatrixElements(pv[3]) > 0 ? pv[3].cols : 0;
    if (m > 0 && pv[3].ival != n) return VelaLibArgError(3);
    if (m > 0 ? (pv[1].ival != H || pv[1].cols != m) : MatrixElements(pv[1]) != 0) return VelaLibArgError(1);
    if (pv[6].ival != n || pv[6].cols != n) return VelaLibArgError(6);
    const int64_t P = int64_t{n} * (int64_t{n} * s + m);
    if (P > 46340 || !EmptyOr(pv[7], static_cast<int>(P), static_cast<int>(P))) return VelaLibArgError(7);
    if (!EmptyOr(pv[8], H, n)) return VelaLibArgError(8);
    if (int64_t{H} * n * n > 0x7fffffff) return VelaLibArgError(5);

    enum { kForecast, kSe, kSeParam, kCov, kError, kStdError, kChi2, kPsi, kModuli, kCount };
    const int shape[kCount][2] = {{H, n}, {H, n}, {H, n}, {H, n * n}, {H, n}, {H, n}, {1, H}, {H, n * n}, {1, n * s}};
    PendingResult res[kCount];
    for (int i = 0; i < kCount; ++i) res[i] = {OptionalRef(pv, cArg, 10 + i), shape[i][0], shape[i][1], {}};

    Guarded(
        [&] {
            if (!AllocateResults(res)) {
                return VelaValSetInt(rtn, 0);
            }
            tessel::DynForecastInput in;
            in.Y = MatrixData(pv[0]);
            in.T = T;
            in.Z = m > 0 ? MatrixData(pv[1]) : nullptr;
            in.A = MatrixData(pv[2]);
            in.B = m > 0 ? MatrixData(pv[3]) : nullptr;
            in.n = n;
            in.s = s;
            in.m = m;
            in.H = H;
            in.Omega = MatrixData(pv[6]);
            in.V = MatrixElements(pv[7]) > 0 ? pv[7].data.mat : nullptr;
            in.actual = MatrixElements(pv[8]) > 0 ? MatrixData(pv[8]) : nullptr;
            in.add_param = (pv[9].ival & 1) != 0;
            tessel::DynForecastOutput out;
            out.forecast = res[kForecast].data();
            out.se = res[kSe].data();
            out.se_param = res[kSeParam].data();
            out.cov = res[kCov].data();
            out.error = res[kError].data();
            out.std_error = res[kStdError].data();
            out.chi2 = res[kChi2].data();
            out.psi = res[kPsi].data();
            std::vector<double> moduli(static_cast<size_t>(n) * s);
            tessel::DynCompanionModuli(in.A, n, s, moduli.data());
            if (tessel::DynForecast(in, out) != 0) {
                ReleaseResults(res);
                return VelaValSetInt(rtn, 0);
            }
            if (res[kModuli].target) std::copy(moduli.begin(), moduli.end(), res[kModuli].data());
            DeliverResults(res);
            VelaValSetInt(rtn, tessel::DynStable(moduli.data(), n * s) ? 1 : 0);
        },
        [&] {
            ReleaseResults(res);
            VelaValSetInt(rtn, 0);
        });
}
