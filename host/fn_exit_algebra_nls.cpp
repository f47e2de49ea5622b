// FnExitAlgebraNls: not available yet; every call is rejected.
#include "host/exports.h"

extern "C" VELA_EXPORT void FnExitAlgebraNls(VelaValue *, VelaValue *, int) { VelaLibArgError(0); }
