// FnSmoothMS2sym: not available yet; every call is rejected.
#include "host/exports.h"

extern "C" VELA_EXPORT void FnSmoothMS2sym(VelaValue *, VelaValue *, int) { VelaLibArgError(0); }
