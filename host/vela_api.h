/* The host interface: the host's value record and the eleven host API functions that the module
 * imports from the runtime. Shared by the module, the stand-in runtime and every host program. */
#ifndef TESSEL_HOST_VELA_API_H
#define TESSEL_HOST_VELA_API_H

#include <stdint.h>

#ifdef _WIN32
#define VELA_EXPORT __declspec(dllexport)
#ifdef VELAWIN_BUILD
#define VELAWIN_API __declspec(dllexport)
#else
#define VELAWIN_API __declspec(dllimport)
#endif
#else
#define VELA_EXPORT __attribute__((visibility("default")))
#define VELAWIN_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

enum {
    VELA_EMPTY = 0,
    VELA_INT = 1,
    VELA_DOUBLE = 2,
    VELA_MATRIX = 3,
    VELA_STRING = 4,
    VELA_ARRAY = 5 /* also a by-reference argument: ival 1, data.ref the target */
};

typedef struct VelaValue {
    int32_t type; /* 1 integer, 2 double, 3 matrix, 4 string, 5 array or reference; 0 empty */
    int32_t ival; /* type 1: the integer; type 3: rows; type 5: element count (1 for a reference) */
    int32_t cols; /* type 3: columns */
    union {
        double dval;
        double **mat;
        char *str;
        struct VelaValue *ref;
    } data; /* offset 16 */
} VelaValue;

/* Signature of every export. */
typedef void (*VelaExportFn)(VelaValue *rtn, VelaValue *pv, int cArg);

/* Argument checks: 1 when pv[first..last] pass, 0 after reporting the mismatch. */
VELAWIN_API int VelaLibCheckType(int type, VelaValue *pv, int first, int last);
VELAWIN_API int VelaLibCheckMatrixSize(VelaValue *pv, int first, int last, int rows, int cols);
/* Reports that argument `index` has a bad value. */
VELAWIN_API void VelaLibArgError(int index);

/* Result allocation; each releases what the value held before. 1 on success, 0 when out of memory
 * (the value is then left empty). Matrices are zero-filled, one row-major block with row pointers. */
VELAWIN_API int VelaLibValMatMalloc(VelaValue *value, int rows, int cols);
VELAWIN_API int VelaLibValMatDup(VelaValue *value, double **matrix, int rows, int cols);
VELAWIN_API int VelaLibValArrayCalloc(VelaValue *value, int count);

/* Element `index` of an array value, or NULL when the value is no array or the index is out of range. */
VELAWIN_API VelaValue *VelaValGetArrayVal(VelaValue *array, int index);
/* The text of a string value, or NULL for a value of another type. */
VELAWIN_API const char *VelaValGetString(VelaValue *value);
VELAWIN_API void VelaValSetString(VelaValue *value, const char *text);
VELAWIN_API void VelaValSetInt(VelaValue *value, int n);
/* Releases what the value holds and leaves it empty. A reference is cleared, never followed. */
VELAWIN_API void VelaFreeByValue(VelaValue *value);

#ifdef __cplusplus
}
#endif

#endif
