// FnGetAlgebraName: the name of Algebra variable `index`, or "" when there is no such variable.
#include "algebra/bridge.h"
#include "algebra/database.h"
#include "host/export_frame.h"
#include "host/exports.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnGetAlgebraName(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 1) || !CheckTypeRuns(pv, "1")) return;
    const tessel::AlgebraDatabase *db = tessel::AlgebraBridge().db;
    const int index = pv[0].ival;
    const char *name = (db && index >= 0 && index < db->count && db->names[index]) ? db->names[index] : "";
    VelaValSetString(rtn, name);
}
