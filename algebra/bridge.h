// The non-linear model bridge: one module-wide Algebra state (database, compiled program, parameter
// map) that the host fills once with data and a model text, then runs once per trial parameter vector
// and reads results from. Knows nothing of host values; the exports translate.
#ifndef TESSEL_ALGEBRA_BRIDGE_H
#define TESSEL_ALGEBRA_BRIDGE_H

#include <cstdint>
#include <string>
#include <vector>

#include "algebra/workspace.h"

namespace tessel {

struct AlgebraDatabase;

struct AlgebraBridgeState {
    AlgebraDatabase *db = nullptr;
    AlgebraWorkspace *ws = nullptr;
    int32_t *param_map = nullptr;  // kAlgebraParameterMapSize entries: parameter number -> constant slot
    int32_t max_param = -1;
    int nparams = 0;
    int initial_count = 0;  // variables that came from the host
};

// The module-wide state; db is null when there is none.
AlgebraBridgeState &AlgebraBridge();

// What the host hands over to start: a rows x cols row-major data matrix, one name per column, the
// sample start and frequency, whether the first column holds dates, the code, and whether the caller
// asked for the parameter lists.
struct AlgebraBridgeSetup {
    const double *data = nullptr;
    int rows = 0;
    int cols = 0;
    const char *const *names = nullptr;
    int start_year = 0;
    int start_period = 0;
    int frequency = 1;
    int dates = 0;
    const char *code = nullptr;
    bool want_parameters = false;
};

// Builds the state and compiles the code. Returns "" on success, with the parameters' start values
// and numbers in increasing parameter number (when asked for); otherwise the message, with the state
// released. A state left from before is released first.
std::string AlgebraBridgeInit(const AlgebraBridgeSetup &setup, std::vector<double> *start_values,
                              std::vector<double> *numbers);

// Copies `count` parameter values into their slots and runs the code over first..last. "" on success,
// else the message.
std::string AlgebraBridgeRun(const double *values, int64_t count, int first, int last);

// Index of the first variable whose name (cut to 64 characters) is `name`, or -1.
int AlgebraBridgeFindVariable(const char *name);

// Releases the state.
void AlgebraBridgeExit();

}  // namespace tessel

#endif
