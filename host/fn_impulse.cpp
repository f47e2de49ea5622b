// FnImpulse: impulse responses of a reduced-form system, their standard errors, the forecast error
// variance decomposition and the long-run multipliers.
// Arguments: 0 A (n x n s); 1 Omega; 2 s; 3 H; 4 shock type (0 unit, 1 Cholesky, 2 generalised, 3 one
// standard deviation); 5 accumulate (1: references 8 and 9 hold accumulated responses too); 6 V
// (covariance of the row-major vec(A) or empty); 7 ordering (a permutation of 0..n-1, or empty).
// Optional references 8..15: responses, their standard errors, accumulated responses, their standard
// errors, variance decomposition (all H x n n), long-run multipliers, Cholesky factor (n x n),
// companion moduli (1 x n s). Returns 1, or 0 when the system is not stable (or memory is short).
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "dynamics/impulse.h"
#include "host/export_frame.h"
#include "host/exports.h"

using namespace tessel::host;

namespace {

// The ordering as integers when it is a permutation of 0..n-1.
bool ReadOrder(const VelaValue &v, int n, std::vector<int> &order) {
    if (MatrixElements(v) != n) return false;
    const double *x = MatrixData(v);
    std::vector<char> seen(n, 0);
    order.resize(n);
    for (int a = 0; a < n; ++a) {
        if (!(x[a] >= 0.0 && x[a] < n) || x[a] != std::floor(x[a])) return false;
        order[a] = static_cast<int>(x[a]);
        if (seen[order[a]]++) return false;
    }
    return true;
}

}  // namespace

extern "C" VELA_EXPORT void FnImpulse(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 8) || !CheckTypeRuns(pv, "33111133")) return;
    const int s = pv[2].ival, H = pv[3].ival, shock = pv[4].ival, accumulate = pv[5].ival;
    if (s < 1) return VelaLibArgError(2);
    const int n = pv[0].ival;
    if (n < 1 || int64_t{n} * s > 46340 || pv[0].cols != n * s) return VelaLibArgError(0);
    if (pv[1].ival != n || pv[1].cols != n) return VelaLibArgError(1);
    if (H < 1 || int64_t{H} * n * n > 0x7fffffff) return VelaLibArgError(3);
    if (shock < 0 || shock > 3) return VelaLibArgError(4);
    if (accumulate != 0 && accumulate != 1) return VelaLibArgError(5);
    const int64_t P = int64_t{n} * n * s;
    const bool with_v = MatrixElements(pv[6]) > 0;
    if (with_v && (P > 46340 || pv[6].ival != P || pv[6].cols != P)) return VelaLibArgError(6);
    const bool ordered = MatrixElements(pv[7]) > 0;
    if (ordered && MatrixElements(pv[7]) != n) return VelaLibArgError(7);

    enum { kResp, kRespSe, kAcc, kAccSe, kFevd, kLongRun, kChol, kModuli, kCount };
    const int nn = n * n;
    const int shape[kCount][2] = {{H, nn}, {H, nn}, {H, nn}, {H, nn}, {H, nn}, {n, n}, {n, n}, {1, n * s}};
    PendingResult res[kCount];
    for (int i = 0; i < kCount; ++i) res[i] = {OptionalRef(pv, cArg, 8 + i), shape[i][0], shape[i][1], {}};

    std::vector<int> order;
    Guarded(
        [&] {
            if (ordered && !ReadOrder(pv[7], n, order)) return VelaLibArgError(7);
            const double *Omega = MatrixData(pv[1]);
            std::vector<double> chol(nn), S(nn);
            const int chol_rc = tessel::ImpulseCholesky(Omega, n, ordered ? order.data() : nullptr, chol.data());
            // Omega must suit the shocks asked for; the decomposition alone reports NaN shares.
            if (tessel::ImpulseImpact(Omega, n, shock, chol.data(), S.data()) != 0) return VelaLibArgError(1);
            if (!AllocateResults(res)) {
                return VelaValSetInt(rtn, 0);
            }
            tessel::ImpulseInput in;
            in.A = MatrixData(pv[0]);
            in.n = n;
            in.s = s;
            in.H = H;
            in.S = S.data();
            in.chol = chol_rc == 0 ? chol.data() : nullptr;
            in.accumulate = accumulate == 1;
            in.V = with_v ? pv[6].data.mat : nullptr;
            tessel::ImpulseOutput out;
            out.resp = res[kResp].data();
            out.resp_se = res[kRespSe].data();
            out.acc = res[kAcc].data();
            out.acc_se = res[kAccSe].data();
            out.fevd = res[kFevd].data();
            out.longrun = res[kLongRun].data();
            out.moduli = res[kModuli].data();
            const int rc = tessel::ImpulseResponses(in, out);
            if (rc < 0) {
                ReleaseResults(res);
                return VelaValSetInt(rtn, 0);
            }
            if (res[kChol].target) std::copy(chol.begin(), chol.end(), res[kChol].data());
            DeliverResults(res);
            VelaValSetInt(rtn, rc);
        },
        [&] {
            ReleaseResults(res);
            VelaValSetInt(rtn, 0);
        });
}
