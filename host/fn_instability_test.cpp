// FnInstabilityTest: individual and joint parameter-constancy statistics of a regression.
#include "host/export_frame.h"
#include "host/exports.h"
#include "numeric/matrix.h"
#include "regression/instability.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnInstabilityTest(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 4) || !CheckTypeRuns(pv, "3325")) return;
    const int T = pv[0].ival, k = pv[0].cols;
    if (T < 1 || k < 1) return;
    if (MatrixElements(pv[1]) < T) return VelaLibArgError(1);  // one residual per observation
    VelaValue *indiv_target = RequiredRef(pv, 3);
    if (!indiv_target) return;

    const int p = k + 1;
    tessel::MATRIX Fsum = nullptr, Ssum = nullptr, vecs = nullptr;
    VelaValue indiv{};
    auto release = [&] {
        tessel::MatFree(Fsum);
        tessel::MatFree(Ssum);
        tessel::MatFree(vecs);
        VelaFreeByValue(&indiv);
    };
    Guarded(
        [&] {
            Fsum = tessel::MatAlloc(p, p);
            Ssum = tessel::MatAlloc(p, p);
            vecs = tessel::MatAlloc(2, p);  // the scores and their running sums
            if (!Fsum || !Ssum || !vecs || !VelaLibValMatMalloc(&indiv, 1, p)) {
                release();
                return SetDouble(rtn, -1.0);
            }
            const double joint = tessel::InstabilityStats(pv[0].data.mat, 0, T - 1, k, MatrixData(pv[1]),
                                                          pv[2].data.dval, Fsum, Ssum, vecs[0], vecs[1],
                                                          MatrixData(indiv));
            MoveInto(indiv_target, &indiv);
            release();
            SetDouble(rtn, joint);
        },
        [&] {
            release();
            SetDouble(rtn, -1.0);
        });
}
