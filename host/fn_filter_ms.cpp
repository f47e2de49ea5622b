// FnFilterMS: Markov-switching forward filter; likelihoods and, optionally, filtered probabilities.
#include "host/export_frame.h"
#include "host/exports.h"
#include "switching/ms_filter.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnFilterMS(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 4) || !VelaLibCheckType(VELA_MATRIX, pv, 0, 2)) return;
    const int T = pv[0].ival, p = pv[0].cols;
    if (!VelaLibCheckMatrixSize(pv, 1, 1, p, p) || !VelaLibCheckMatrixSize(pv, 2, 2, 1, p) ||
        !VelaLibCheckType(VELA_ARRAY, pv, 3, 3))
        return;
    VelaValue *lik_target = RequiredRef(pv, 3);
    if (!lik_target) return;
    VelaValue *filt_target = OptionalRef(pv, cArg, 4);

    // Results are built aside and moved in last, so an output may name an input variable.
    VelaValue lik{}, filt{};
    auto release = [&] {
        VelaFreeByValue(&lik);
        VelaFreeByValue(&filt);
    };
    Guarded(
        [&] {
            if (!VelaLibValMatMalloc(&lik, T, 1) || !MatrixData(lik) ||
                (filt_target && (!VelaLibValMatMalloc(&filt, T, p) || !MatrixData(filt)))) {
                release();
                return;
            }
            tessel::MsFilter(pv[0].data.mat, pv[1].data.mat, pv[2].data.mat[0], T, p, lik.data.mat,
                             filt_target ? filt.data.mat : nullptr);
            MoveInto(lik_target, &lik);
            if (filt_target) MoveInto(filt_target, &filt);
            VelaValSetInt(rtn, 1);
        },
        release);
}
