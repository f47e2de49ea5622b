#include "host/export_frame.h"

#include <cstring>

namespace tessel::host {

bool RequireArgs(int cArg, int required) {
    if (cArg >= required) return true;
    VelaLibArgError(cArg < 0 ? 0 : cArg);
    return false;
}

bool CheckTypeRuns(VelaValue *pv, const char *codes, int first) {
    int n = static_cast<int>(std::strlen(codes));
    for (int start = 0; start < n;) {
        int end = start;
        while (end + 1 < n && codes[end + 1] == codes[start]) ++end;
        if (!VelaLibCheckType(codes[start] - '0', pv, first + start, first + end)) return false;
        start = end + 1;
    }
    return true;
}

VelaValue *OptionalRef(VelaValue *pv, int cArg, int index) {
    if (index >= cArg || pv[index].type != VELA_ARRAY || pv[index].ival < 1) return nullptr;
    return pv[index].data.ref;
}

VelaValue *RequiredRef(VelaValue *pv, int index) {
    VelaValue *target = pv[index].ival >= 1 ? pv[index].data.ref : nullptr;
    if (!target) VelaLibArgError(index);
    return target;
}

void SetDouble(VelaValue *value, double x) {
    VelaFreeByValue(value);
    value->type = VELA_DOUBLE;
    value->data.dval = x;
}

void MoveInto(VelaValue *target, VelaValue *local) {
    VelaFreeByValue(target);
    *target = *local;
    std::memset(local, 0, sizeof *local);
}

bool AllocateResults(PendingResult *results, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        PendingResult &r = results[i];
        if (r.target && !VelaLibValMatMalloc(&r.local, r.rows, r.cols)) {
            ReleaseResults(results, count);
            return false;
        }
    }
    return true;
}

void DeliverResults(PendingResult *results, size_t count) {
    for (size_t i = 0; i < count; ++i)
        if (results[i].target) MoveInto(results[i].target, &results[i].local);
}

void ReleaseResults(PendingResult *results, size_t count) {
    for (size_t i = 0; i < count; ++i) VelaFreeByValue(&results[i].local);
}

}  // namespace tessel::host
