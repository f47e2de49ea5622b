// FnSeasonalRsq: not available yet; every call is rejected.
#include "host/exports.h"

extern "C" VELA_EXPORT void FnSeasonalRsq(VelaValue *, VelaValue *, int) { VelaLibArgError(0); }
