#include "host/ms_smooth_export.h"

#include "host/export_frame.h"

namespace tessel::host {

void RunMsSmoothExport(VelaValue *rtn, VelaValue *pv, int cArg, MsSmoother smoother) {
    if (!RequireArgs(cArg, 4) || !VelaLibCheckType(VELA_MATRIX, pv, 0, 1)) return;
    const int T = pv[0].ival, p = pv[0].cols;
    if (!VelaLibCheckMatrixSize(pv, 1, 1, p, p) || !VelaLibCheckType(VELA_ARRAY, pv, 2, 3)) return;
    VelaValue *smooth_target = RequiredRef(pv, 2);
    VelaValue *s_target = smooth_target ? RequiredRef(pv, 3) : nullptr;
    if (!s_target) return;

    // Built aside and moved in last, so an output may name the filtered probabilities' variable.
    VelaValue smooth{}, S{};
    auto release = [&] {
        VelaFreeByValue(&smooth);
        VelaFreeByValue(&S);
    };
    Guarded(
        [&] {
            if (!VelaLibValMatMalloc(&smooth, T, p) || !MatrixData(smooth) || !VelaLibValMatMalloc(&S, p, p) ||
                !MatrixData(S)) {
                release();
                return;
            }
            smoother(pv[0].data.mat, pv[1].data.mat, T, p, smooth.data.mat, S.data.mat);
            MoveInto(smooth_target, &smooth);
            MoveInto(s_target, &S);
            VelaValSetInt(rtn, 1);
        },
        release);
}

}  // namespace tessel::host
