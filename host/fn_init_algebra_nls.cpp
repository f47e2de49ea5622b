// FnInitAlgebraNls: loads the host's data into the module-wide Algebra state and compiles a model or
// transformation text; optionally returns the parameters' start values and numbers.
#include <string>
#include <vector>

#include "algebra/bridge.h"
#include "host/export_frame.h"
#include "host/exports.h"

using namespace tessel::host;

extern "C" VELA_EXPORT void FnInitAlgebraNls(VelaValue *rtn, VelaValue *pv, int cArg) {
    if (!RequireArgs(cArg, 7) || !CheckTypeRuns(pv, "3511114")) return;
    // Either output passed as a reference switches parameters on; then both must be references.
    const bool want = (cArg > 7 && pv[7].type == VELA_ARRAY) || (cArg > 8 && pv[8].type == VELA_ARRAY);
    VelaValue *start_target = nullptr, *number_target = nullptr;
    if (want) {
        if (!RequireArgs(cArg, 9) || !CheckTypeRuns(pv, "55", 7)) return;
        if (!(start_target = RequiredRef(pv, 7)) || !(number_target = RequiredRef(pv, 8))) return;
    }
    const int rows = pv[0].ival, cols = pv[0].cols;
    if (rows < 0 || cols < 0 || (rows > 0 && cols > 0 && !MatrixData(pv[0]))) return VelaLibArgError(0);
    const char *code = VelaValGetString(&pv[6]);
    if (!code) return VelaLibArgError(6);

    std::vector<const char *> names;
    std::vector<double> starts, numbers;
    VelaValue start{}, number{};
    Guarded(
        [&] {
            names.resize(static_cast<size_t>(cols));
            for (int j = 0; j < cols; ++j) {
                names[static_cast<size_t>(j)] = VelaValGetString(VelaValGetArrayVal(&pv[1], j));
                if (!names[static_cast<size_t>(j)]) return VelaLibArgError(1);
            }
            tessel::AlgebraBridgeSetup setup;
            setup.data = MatrixData(pv[0]);
            setup.rows = rows;
            setup.cols = cols;
            setup.names = names.data();
            setup.start_year = pv[2].ival;
            setup.start_period = pv[3].ival;
            setup.frequency = pv[4].ival;
            setup.dates = pv[5].ival;
            setup.code = code;
            setup.want_parameters = want;
            std::string message = tessel::AlgebraBridgeInit(setup, &starts, &numbers);
            if (message.empty() && want) {
                const int n = static_cast<int>(starts.size());
                if (!VelaLibValMatMalloc(&start, n, 1) || !VelaLibValMatMalloc(&number, n, 1)) {
                    message = "Algebra initialization error";
                } else {
                    for (int i = 0; i < n; ++i) {
                        start.data.mat[i][0] = starts[static_cast<size_t>(i)];
                        number.data.mat[i][0] = numbers[static_cast<size_t>(i)];
                    }
                    MoveInto(start_target, &start);
                    MoveInto(number_target, &number);
                }
            }
            if (!message.empty()) {
                VelaFreeByValue(&start);
                VelaFreeByValue(&number);
                tessel::AlgebraBridgeExit();
                VelaValSetString(rtn, message.c_str());
            }
        },
        [&] {
            VelaFreeByValue(&start);
            VelaFreeByValue(&number);
            tessel::AlgebraBridgeExit();
            VelaValSetString(rtn, "Algebra initialization error");
        });
}
