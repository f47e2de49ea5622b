// FnGLScovariance: not available yet; every call is rejected.
#include "host/exports.h"

extern "C" VELA_EXPORT void FnGLScovariance(VelaValue *, VelaValue *, int) { VelaLibArgError(0); }
