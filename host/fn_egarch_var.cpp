// FnEgarchVar: EGARCH log conditional variances and in-mean corrected residuals.
#include "host/export_frame.h"
#include "host/exports.h"
#include "switching/garch.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnEgarchVar(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 11) || !CheckTypeRuns(pv, "33222331255")) return;
    const int T = pv[0].ival, p = pv[5].cols, q = pv[6].cols;
    if (T < 1 || MatrixElements(pv[0]) < T) return VelaLibArgError(0);
    if (MatrixElements(pv[1]) < T) return VelaLibArgError(1);
    if (MatrixElements(pv[5]) < p) return VelaLibArgError(5);
    if (MatrixElements(pv[6]) < q) return VelaLibArgError(6);
    VelaValue *l_target = RequiredRef(pv, 9);
    VelaValue *u_target = l_target ? RequiredRef(pv, 10) : nullptr;
    if (!u_target) return;

    VelaValue l{}, u{};
    Guarded(
        [&] {
            if (!VelaLibValMatMalloc(&l, T, 1) || !VelaLibValMatMalloc(&u, T, 1)) {
                VelaFreeByValue(&l);
                VelaFreeByValue(&u);
                VelaValSetInt(rtn, 0);
                return;
            }
            tessel::EgarchVarRecursion(MatrixData(pv[0]), MatrixData(pv[1]), T, pv[2].data.dval, pv[3].data.dval,
                                       pv[4].data.dval, MatrixData(pv[5]), p, MatrixData(pv[6]), q, pv[7].ival,
                                       pv[8].data.dval, MatrixData(l), MatrixData(u));
            MoveInto(l_target, &l);
            MoveInto(u_target, &u);
            VelaValSetInt(rtn, 1);
        },
        [&] {
            VelaFreeByValue(&l);
            VelaFreeByValue(&u);
            VelaValSetInt(rtn, 0);
        });
}
