// FnEncompassing: not available yet; every call is rejected.
#include "host/exports.h"

extern "C" VELA_EXPORT void FnEncompassing(VelaValue *, VelaValue *, int) { VelaLibArgError(0); }
