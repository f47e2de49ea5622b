// Host values: allocation, release and access. Matrices are one block holding a small header, the
// row pointers and the row-major data, so that a matrix is released with one free.
#include <cstdlib>
#include <cstring>
#include <new>
#include <unordered_set>

#include "velawin/runtime_state.h"
#include "velawin/velawin.h"

namespace {

constexpr size_t kHeader = 16;  // keeps the row pointers and the data 16-byte aligned

// Arrays the runtime allocated, so that releasing a reference never frees its target.
std::unordered_set<const VelaValue *> &OwnedArrays() {
    static std::unordered_set<const VelaValue *> owned;
    return owned;
}

void *RuntimeAlloc(size_t bytes) {
    if (velawin::AllocationShouldFail()) return nullptr;
    void *p = std::calloc(1, bytes == 0 ? 1 : bytes);
    if (p) ++velawin::LiveBlocks();
    return p;
}

void RuntimeFree(void *p) {
    if (!p) return;
    std::free(p);
    --velawin::LiveBlocks();
}

double **AllocMatrixBlock(int rows, int cols) {
    if (rows < 0 || cols < 0) return nullptr;
    size_t r = static_cast<size_t>(rows), c = static_cast<size_t>(cols);
    size_t ptr_bytes = (r * sizeof(double *) + 15) & ~size_t{15};
    char *block = static_cast<char *>(RuntimeAlloc(kHeader + ptr_bytes + r * c * sizeof(double)));
    if (!block) return nullptr;
    double **rowptr = reinterpret_cast<double **>(block + kHeader);
    double *data = reinterpret_cast<double *>(block + kHeader + ptr_bytes);
    for (size_t i = 0; i < r; ++i) rowptr[i] = data + i * c;
    return rowptr;
}

void FreeMatrixBlock(double **rowptr) {
    if (rowptr) RuntimeFree(reinterpret_cast<char *>(rowptr) - kHeader);
}

}  // namespace

extern "C" {

void VelaFreeByValue(VelaValue *value) {
    if (!value) return;
    switch (value->type) {
    case VELA_MATRIX:
        FreeMatrixBlock(value->data.mat);
        break;
    case VELA_STRING:
        RuntimeFree(value->data.str);
        break;
    case VELA_ARRAY:
        if (value->data.ref && OwnedArrays().erase(value->data.ref)) {
            for (int i = 0; i < value->ival; ++i) VelaFreeByValue(&value->data.ref[i]);
            RuntimeFree(value->data.ref);
        }
        break;
    default:
        break;
    }
    std::memset(value, 0, sizeof *value);
}

int VelaLibValMatMalloc(VelaValue *value, int rows, int cols) {
    if (!value) return 0;
    VelaFreeByValue(value);
    double **m = AllocMatrixBlock(rows, cols);
    if (!m) return 0;
    value->type = VELA_MATRIX;
    value->ival = rows;
    value->cols = cols;
    value->data.mat = m;
    return 1;
}

int VelaLibValMatDup(VelaValue *value, double **matrix, int rows, int cols) {
    if (!value) return 0;
    double **m = AllocMatrixBlock(rows, cols);
    if (!m) {
        VelaFreeByValue(value);
        return 0;
    }
    for (int i = 0; i < rows && cols > 0; ++i) std::memcpy(m[i], matrix[i], sizeof(double) * cols);
    VelaFreeByValue(value);
    value->type = VELA_MATRIX;
    value->ival = rows;
    value->cols = cols;
    value->data.mat = m;
    return 1;
}

int VelaLibValArrayCalloc(VelaValue *value, int count) {
    if (!value || count < 0) return 0;
    VelaFreeByValue(value);
    auto *elems = static_cast<VelaValue *>(RuntimeAlloc(sizeof(VelaValue) * static_cast<size_t>(count)));
    if (!elems) return 0;
    try {
        OwnedArrays().insert(elems);
    } catch (...) {
        RuntimeFree(elems);
        return 0;
    }
    value->type = VELA_ARRAY;
    value->ival = count;
    value->data.ref = elems;
    return 1;
}

VelaValue *VelaValGetArrayVal(VelaValue *array, int index) {
    if (!array || array->type != VELA_ARRAY || !array->data.ref || index < 0 || index >= array->ival)
        return nullptr;
    return &array->data.ref[index];
}

const char *VelaValGetString(VelaValue *value) {
    if (!value || value->type != VELA_STRING) return nullptr;
    return value->data.str;
}

void VelaValSetString(VelaValue *value, const char *text) {
    if (!value) return;
    if (!text) text = "";
    size_t n = std::strlen(text);
    char *copy = static_cast<char *>(RuntimeAlloc(n + 1));
    VelaFreeByValue(value);
    if (!copy) return;
    std::memcpy(copy, text, n + 1);
    value->type = VELA_STRING;
    value->data.str = copy;
}

void VelaValSetInt(VelaValue *value, int n) {
    if (!value) return;
    VelaFreeByValue(value);
    value->type = VELA_INT;
    value->ival = n;
}

VelaValue VelawinInt(int n) {
    VelaValue v{};
    v.type = VELA_INT;
    v.ival = n;
    return v;
}

VelaValue VelawinDouble(double x) {
    VelaValue v{};
    v.type = VELA_DOUBLE;
    v.data.dval = x;
    return v;
}

VelaValue VelawinMatrix(int rows, int cols, const double *data) {
    VelaValue v{};
    if (!VelaLibValMatMalloc(&v, rows, cols)) return v;
    if (data && rows > 0 && cols > 0)
        std::memcpy(v.data.mat[0], data, sizeof(double) * static_cast<size_t>(rows) * cols);
    return v;
}

VelaValue VelawinString(const char *text) {
    VelaValue v{};
    VelaValSetString(&v, text);
    return v;
}

VelaValue VelawinRef(VelaValue *target) {
    VelaValue v{};
    v.type = VELA_ARRAY;
    v.ival = 1;
    v.data.ref = target;
    return v;
}

long VelawinLiveBlocks(void) { return velawin::LiveBlocks(); }

}  // extern "C"
