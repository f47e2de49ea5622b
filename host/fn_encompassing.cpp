// FnEncompassing: encompassing tests between two non-nested instrumental-variables models.
#include <cstdint>
#include <vector>

#include "encompassing/encompassing.h"
#include "host/export_frame.h"
#include "host/exports.h"
#include "numeric/missing.h"

using namespace tessel::host;

namespace {

bool Reject(int index) {
    VelaLibArgError(index);
    return false;
}

// Checks the counts d, e, z in pv[first..first+2] against the model matrix pv[first-1]: y must be
// there and no row the worker reads may lie beyond the matrix. Reports the offending argument.
bool ModelFits(VelaValue *pv, int first) {
    const VelaValue &X = pv[first - 1];
    const int d = pv[first].ival, e = pv[first + 1].ival, z = pv[first + 2].ival;
    if (d < 1) return Reject(first);
    if (e < 0) return Reject(first + 1);
    if (z < 0) return Reject(first + 2);
    if (int64_t{d} + e + z > X.ival || !X.data.mat || X.cols < 0) return Reject(first - 1);
    return true;
}

}  // namespace

extern "C" VELA_EXPORT void FnEncompassing(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 11) || !CheckTypeRuns(pv, "31113111555")) return;
    if (int64_t{pv[0].ival} + pv[4].ival < 1 || pv[0].cols != pv[4].cols) return VelaValSetInt(rtn, -1);
    if (!ModelFits(pv, 1) || !ModelFits(pv, 5)) return;
    VelaValue *stats_target = RequiredRef(pv, 8);
    VelaValue *index_target = stats_target ? RequiredRef(pv, 9) : nullptr;
    VelaValue *k_target = index_target ? RequiredRef(pv, 10) : nullptr;
    if (!k_target) return;

    const int d1 = pv[1].ival, e1 = pv[2].ival, z1 = pv[3].ival;
    const int d2 = pv[5].ival, e2 = pv[6].ival, z2 = pv[7].ival;
    const int T = pv[0].cols;
    VelaValue stats{}, index_row{};
    Guarded(
        [&] {
            if (!VelaLibValMatMalloc(&stats, 1, tessel::kEncompassingStats)) return VelaValSetInt(rtn, 0);
            std::vector<int> index(static_cast<size_t>(e1 + z1) + (e2 + z2) + 1);
            int m = -1, k = -1;
            const int code = tessel::EncompassingTests(pv[0].data.mat, d1, e1, z1, pv[4].data.mat, d2, e2, z2, T,
                                                       index.data(), &m, &k, MatrixData(stats));
            bool complete = code == tessel::kEncompassingOk && m > 0 && k > 0;
            if (complete && !VelaLibValMatMalloc(&index_row, 1, m)) complete = false;
            if (code == tessel::kEncompassingOk && !complete) {
                // Storage ran short: code 0 as the routine reports it, with the statistics marked
                // as not computed and no counts.
                double *s = MatrixData(stats);
                for (int i = 0; i < tessel::kEncompassingStats; ++i) s[i] = tessel::kMissing;
            }
            if (complete) {
                double *row = MatrixData(index_row);
                for (int i = 0; i < m; ++i) row[i] = index[i];
                MoveInto(index_target, &index_row);
                VelaValSetInt(k_target, k);
            }
            MoveInto(stats_target, &stats);
            VelaValSetInt(rtn, code);
        },
        [&] {
            VelaFreeByValue(&stats);
            VelaFreeByValue(&index_row);
            VelaValSetInt(rtn, 0);
        });
}
