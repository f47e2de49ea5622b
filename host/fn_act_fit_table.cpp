// FnActFitTable: not available yet; every call is rejected.
#include "host/exports.h"

extern "C" VELA_EXPORT void FnActFitTable(VelaValue *, VelaValue *, int) { VelaLibArgError(0); }
