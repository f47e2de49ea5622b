// Test helpers for calls through the host interface: owned host values that release themselves,
// and reading columns of the shipped data.
#ifndef TESSEL_TESTS_SUPPORT_HOST_VALUES_H
#define TESSEL_TESTS_SUPPORT_HOST_VALUES_H

#include <string>
#include <vector>

#include "velawin/velawin.h"

namespace tessel::test {

// Host values made for one call; all are released when the set goes out of scope.
class ValueSet {
public:
    ~ValueSet() {
        for (VelaValue &v : values_) VelaFreeByValue(&v);
    }
    VelaValue &Add(VelaValue v) {
        values_.push_back(v);
        return values_.back();
    }
    VelaValue *data() { return values_.data(); }
    int size() const { return static_cast<int>(values_.size()); }
    VelaValue &operator[](int i) { return values_[i]; }

private:
    std::vector<VelaValue> values_;
};

inline VelaValue Column(const std::vector<double> &x) {
    return VelawinMatrix(static_cast<int>(x.size()), 1, x.data());
}

inline std::vector<double> ToVector(const VelaValue &m) {
    std::vector<double> out;
    for (int i = 0; i < m.ival; ++i)
        for (int j = 0; j < m.cols; ++j) out.push_back(m.data.mat[i][j]);
    return out;
}

// A numeric column of a comma-separated file with a quoted or plain header row.
std::vector<double> ReadCsvColumn(const std::string &path, const std::string &name);

// 100 x log differences of a positive series.
std::vector<double> GrowthRates(const std::vector<double> &x);

}  // namespace tessel::test

#endif
