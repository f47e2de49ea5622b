/* What the stand-in runtime offers a host beyond the module's API: building argument values,
 * naming the export about to be called, reading the last error, and counting live allocations. */
#ifndef TESSEL_VELAWIN_VELAWIN_H
#define TESSEL_VELAWIN_VELAWIN_H

#include "host/vela_api.h"

#ifdef __cplusplus
extern "C" {
#endif

VELAWIN_API VelaValue VelawinInt(int n);
VELAWIN_API VelaValue VelawinDouble(double x);
/* A rows x cols matrix filled row-major from `data` (zeros when data is NULL); empty on failure. */
VELAWIN_API VelaValue VelawinMatrix(int rows, int cols, const double *data);
VELAWIN_API VelaValue VelawinString(const char *text);
/* A by-reference argument designating `target`. */
VELAWIN_API VelaValue VelawinRef(VelaValue *target);

/* Names the export that the next argument errors are about ("argument 2 of FnRlsEst: ..."), and
 * clears the last error. */
VELAWIN_API void VelawinBeginCall(const char *export_name);
/* The last reported error, "" when none was reported since the last VelawinBeginCall. */
VELAWIN_API const char *VelawinLastError(void);
/* Number of host errors reported since the last VelawinBeginCall. */
VELAWIN_API int VelawinErrorCount(void);

/* Blocks (matrices, strings, arrays) allocated by the runtime and not yet released. */
VELAWIN_API long VelawinLiveBlocks(void);
/* Makes the next `n` allocations fail, as if memory were exhausted (0 turns it off). */
VELAWIN_API void VelawinFailAllocations(int after, int n);

/* Name of a type code as the error texts spell it ("an integer", "a matrix", ...). */
VELAWIN_API const char *VelawinTypeName(int type);

#ifdef __cplusplus
}
#endif

#endif
