// FnGetAlgebraAddedData: the variables that the Algebra code created, as a T x m matrix and m names.
#include "algebra/bridge.h"
#include "algebra/database.h"
#include "host/export_frame.h"
#include "host/exports.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnGetAlgebraAddedData(VelaValue *rtn, VelaValue *pv, int cArg) {
    (void)rtn;
    if (!RequireArgs(cArg, 2) || !CheckTypeRuns(pv, "55")) return;
    VelaValue *data_target = RequiredRef(pv, 0);
    VelaValue *name_target = data_target ? RequiredRef(pv, 1) : nullptr;
    if (!name_target) return;
    const tessel::AlgebraBridgeState &bridge = tessel::AlgebraBridge();
    const tessel::AlgebraDatabase *db = bridge.db;
    if (!db) return;
    const int first = bridge.initial_count < db->count ? bridge.initial_count : db->count;
    const int m = db->count - first, rows = db->nobs;

    VelaValue data{}, names{};
    bool ok = VelaLibValMatMalloc(&data, rows, m) && VelaLibValArrayCalloc(&names, m);
    for (int j = 0; ok && j < m; ++j) {
        const double *col = db->data[first + j];
        for (int t = 0; t < rows; ++t) data.data.mat[t][j] = col[t];
        VelaValue *name = VelaValGetArrayVal(&names, j);
        VelaValSetString(name, db->names[first + j] ? db->names[first + j] : "");
        ok = name && name->type == VELA_STRING;
    }
    if (!ok) {
        VelaFreeByValue(&data);
        VelaFreeByValue(&names);
        return;
    }
    MoveInto(data_target, &data);
    MoveInto(name_target, &names);
}
