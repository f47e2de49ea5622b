// FnJackknifeHCSE: jackknife heteroskedasticity-consistent covariance of least-squares coefficients.
#include "host/export_frame.h"
#include "host/exports.h"
#include "numeric/matrix.h"
#include "regression/jackknife.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnJackknifeHCSE(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 3) || !CheckTypeRuns(pv, "333")) return;
    const int T = pv[0].ival, k = pv[0].cols;
    if (T < 1 || k < 1) return;
    if (MatrixElements(pv[1]) < T) return VelaLibArgError(1);           // one residual per observation
    if (pv[2].ival != k || pv[2].cols != k) return VelaLibArgError(2);  // (X'X)^-1 is k x k

    tessel::MATRIX G = nullptr, V = nullptr;
    auto release = [&] {
        tessel::MatFree(G);
        tessel::MatFree(V);
    };
    Guarded(
        [&] {
            G = tessel::MatAlloc(k, k);
            V = tessel::MatAlloc(k, k);
            if (!G || !V) return release();
            if (tessel::JackknifeCov(pv[0].data.mat, 0, T - 1, k, pv[2].data.mat, MatrixData(pv[1]), G, V))
                VelaLibValMatDup(rtn, V, k, k);
            else
                VelaLibValMatMalloc(rtn, 0, 0);  // some observation has leverage 1
            release();
        },
        release);
}
