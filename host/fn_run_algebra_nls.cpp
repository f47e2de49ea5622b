// FnRunAlgebraNls: runs the compiled Algebra code for one parameter vector over an observation range.
#include <string>

#include "algebra/bridge.h"
#include "host/export_frame.h"
#include "host/exports.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnRunAlgebraNls(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 3) || !CheckTypeRuns(pv, "311")) return;
    Guarded(
        [&] {
            std::string message =
                tessel::AlgebraBridgeRun(MatrixData(pv[0]), MatrixElements(pv[0]), pv[1].ival, pv[2].ival);
            if (!message.empty()) VelaValSetString(rtn, message.c_str());
        },
        [&] { VelaValSetString(rtn, "Algebra run error"); });
}
