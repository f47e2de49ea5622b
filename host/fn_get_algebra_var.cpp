// FnGetAlgebraVar: a column vector of one Algebra variable over an observation range, optionally only
// at the observations that a selection row marks.
#include <cmath>

#include "algebra/bridge.h"
#include "algebra/database.h"
#include "host/export_frame.h"
#include "host/exports.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnGetAlgebraVar(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 3) || !CheckTypeRuns(pv, "411")) return;
    if (cArg > 3 && !CheckTypeRuns(pv, "3", 3)) return;
    const tessel::AlgebraDatabase *db = tessel::AlgebraBridge().db;
    if (!db) return;
    const int first = pv[1].ival;
    if (first < 0) return VelaLibArgError(1);
    const int last = pv[2].ival < db->nobs - 1 ? pv[2].ival : db->nobs - 1;
    // The selection counts only when it has one value per observation.
    const double *select = nullptr;
    if (cArg > 3 && pv[3].cols == db->nobs && pv[3].ival >= 1) select = MatrixData(pv[3]);
    int count = 0;
    for (int t = first; t <= last; ++t)
        if (!select || std::trunc(select[t]) != 0.0) ++count;
    const int var = tessel::AlgebraBridgeFindVariable(VelaValGetString(&pv[0]));
    if (var < 0) return;
    if (!VelaLibValMatMalloc(rtn, count, 1)) return;
    const double *data = db->data[var];
    int i = 0;
    for (int t = first; t <= last; ++t)
        if (!select || std::trunc(select[t]) != 0.0) rtn->data.mat[i++][0] = data[t];
}
