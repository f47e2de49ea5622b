// Host values for the end-to-end tests of the choice-model exports: arguments that free themselves,
// and by-reference output slots.
#ifndef TESSEL_TESTS_CHOICE_HOST_VALUES_H
#define TESSEL_TESTS_CHOICE_HOST_VALUES_H

#include <array>
#include <vector>

#include "velawin/velawin.h"

namespace tessel::testing {

inline VelaValue HostMatrix(int rows, int cols, const std::vector<double> &data) {
    return VelawinMatrix(rows, cols, data.empty() ? nullptr : data.data());
}

// Arguments of one call plus up to eight by-reference targets; everything is released at the end.
struct HostCall {
    std::vector<VelaValue> args;
    std::array<VelaValue, 8> target{};
    VelaValue rtn{};

    ~HostCall() {
        for (VelaValue &a : args) VelaFreeByValue(&a);
        for (VelaValue &t : target) VelaFreeByValue(&t);
        VelaFreeByValue(&rtn);
    }
    void Add(VelaValue v) { args.push_back(v); }
    // A reference to target slot t.
    void AddRef(int t) { args.push_back(VelawinRef(&target[t])); }
    void Run(const char *name, VelaExportFn fn) {
        VelawinBeginCall(name);
        fn(&rtn, args.data(), static_cast<int>(args.size()));
    }
    double Result() const { return rtn.type == VELA_DOUBLE ? rtn.data.dval : -12345.0; }
    const double *Data(int t) const { return target[t].type == VELA_MATRIX ? target[t].data.mat[0] : nullptr; }
    double At(int t, int r, int c) const { return target[t].data.mat[r][c]; }
};

}  // namespace tessel::testing

#endif
