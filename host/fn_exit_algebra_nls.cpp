// FnExitAlgebraNls: releases the module-wide Algebra state.
#include "algebra/bridge.h"
#include "host/exports.h"

extern "C" VELA_EXPORT void FnExitAlgebraNls(VelaValue *, VelaValue *, int) { tessel::AlgebraBridgeExit(); }
