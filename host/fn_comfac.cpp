// FnComfac: Wald tests of common factors in the lag polynomials of one dynamic equation.
// Arguments: 0 theta; 1 V, its covariance; 2 r; 3 m; 4 positions of a_1..a_r, b_1,0..b_1,r, ...,
// b_m,0..b_m,r in theta; 5 c_max (1..r); 6 reference: statistics 1 x c_max; optional references
// 7 degrees of freedom, 8 p-values. Returns the number of statistics that could be formed.
#include <cmath>
#include <cstdint>
#include <vector>

#include "dynamics/comfac.h"
#include "host/export_frame.h"
#include "host/exports.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnComfac(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 7) || !CheckTypeRuns(pv, "3311315")) return;
    const int64_t p = MatrixElements(pv[0]);
    if (p < 1 || p > 46340) return VelaLibArgError(0);
    if (pv[1].ival != p || pv[1].cols != p) return VelaLibArgError(1);
    const int r = pv[2].ival, m = pv[3].ival, cmax = pv[5].ival;
    if (r < 1 || r > 1000) return VelaLibArgError(2);
    if (m < 1 || m > 1000) return VelaLibArgError(3);
    const int np = r + m * (r + 1);
    if (MatrixElements(pv[4]) != np) return VelaLibArgError(4);
    VelaValue *stat_target = RequiredRef(pv, 6);
    if (!stat_target) return;
    PendingResult res[3] = {
        {stat_target, 1, cmax},
        {OptionalRef(pv, cArg, 7), 1, cmax},
        {OptionalRef(pv, cArg, 8), 1, cmax},
    };
    std::vector<int> pos;
    Guarded(
        [&] {
            // Positions: distinct whole numbers inside theta.
            const double *x = MatrixData(pv[4]);
            std::vector<char> seen(p, 0);
            pos.resize(np);
            for (int q = 0; q < np; ++q) {
                if (!(x[q] >= 0.0 && x[q] < p) || x[q] != std::floor(x[q])) return VelaLibArgError(4);
                pos[q] = static_cast<int>(x[q]);
                if (seen[pos[q]]++) return VelaLibArgError(4);
            }
            if (cmax < 1 || cmax > r) return VelaLibArgError(5);
            if (!AllocateResults(res)) return VelaValSetInt(rtn, 0);
            const int computed = tessel::ComfacTest(MatrixData(pv[0]), pv[1].data.mat, r, m, pos.data(), cmax,
                                                    res[0].data(), res[1].data(), res[2].data());
            DeliverResults(res);
            VelaValSetInt(rtn, computed);
        },
        [&] {
            ReleaseResults(res);
            VelaValSetInt(rtn, 0);
        });
}
