// Argument checks and error reporting. Errors are kept as readable text for hosts and tests.
#include <cstdio>
#include <string>

#include "velawin/runtime_state.h"
#include "velawin/velawin.h"

namespace {

struct ErrorState {
    std::string export_name = "the export";
    std::string last;
    int count = 0;
};

ErrorState &Errors() {
    static ErrorState state;
    return state;
}

void Report(const std::string &text) {
    ErrorState &e = Errors();
    e.last = text;
    ++e.count;
}

std::string ArgumentPrefix(int index) {
    return "argument " + std::to_string(index) + " of " + Errors().export_name;
}

long g_live_blocks = 0;
int g_fail_after = -1;
int g_fail_count = 0;

}  // namespace

namespace velawin {

long &LiveBlocks() { return g_live_blocks; }

bool AllocationShouldFail() {
    if (g_fail_count <= 0) return false;
    if (g_fail_after > 0) {
        --g_fail_after;
        return false;
    }
    --g_fail_count;
    return true;
}

}  // namespace velawin

extern "C" {

const char *VelawinTypeName(int type) {
    switch (type) {
    case VELA_EMPTY: return "an empty value";
    case VELA_INT: return "an integer";
    case VELA_DOUBLE: return "a double";
    case VELA_MATRIX: return "a matrix";
    case VELA_STRING: return "a string";
    case VELA_ARRAY: return "an array or reference";
    default: return "a value of unknown type";
    }
}

int VelaLibCheckType(int type, VelaValue *pv, int first, int last) {
    if (!pv) return 0;
    for (int i = first; i <= last; ++i) {
        if (pv[i].type != type) {
            Report(ArgumentPrefix(i) + ": expected " + VelawinTypeName(type) + ", got " +
                   VelawinTypeName(pv[i].type));
            return 0;
        }
    }
    return 1;
}

int VelaLibCheckMatrixSize(VelaValue *pv, int first, int last, int rows, int cols) {
    if (!pv) return 0;
    for (int i = first; i <= last; ++i) {
        if (pv[i].type != VELA_MATRIX) {
            Report(ArgumentPrefix(i) + ": expected a matrix, got " + VelawinTypeName(pv[i].type));
            return 0;
        }
        if (pv[i].ival != rows || pv[i].cols != cols) {
            Report(ArgumentPrefix(i) + ": expected a " + std::to_string(rows) + " x " + std::to_string(cols) +
                   " matrix, got " + std::to_string(pv[i].ival) + " x " + std::to_string(pv[i].cols));
            return 0;
        }
    }
    return 1;
}

void VelaLibArgError(int index) { Report(ArgumentPrefix(index) + ": bad value"); }

void VelawinBeginCall(const char *export_name) {
    ErrorState &e = Errors();
    e.export_name = export_name ? export_name : "the export";
    e.last.clear();
    e.count = 0;
}

const char *VelawinLastError(void) { return Errors().last.c_str(); }

int VelawinErrorCount(void) { return Errors().count; }

void VelawinFailAllocations(int after, int n) {
    g_fail_after = after;
    g_fail_count = n;
}

}  // extern "C"
