// FnInstabilityTest: not available yet; every call is rejected.
#include "host/exports.h"

extern "C" VELA_EXPORT void FnInstabilityTest(VelaValue *, VelaValue *, int) { VelaLibArgError(0); }
