// FnSmoothMS2: not available yet; every call is rejected.
#include "host/exports.h"

extern "C" VELA_EXPORT void FnSmoothMS2(VelaValue *, VelaValue *, int) { VelaLibArgError(0); }
