#include "algebra/report.h"

#include <cstdio>

namespace tessel {

void AlgebraDefaultReporter(const char *kind, const char *text) {
    std::printf("\n%s: %s\n", kind ? kind : "", text ? text : "");
}

AlgebraReporter AlgebraReportFn = AlgebraDefaultReporter;

AlgebraReporter AlgebraSetReporter(AlgebraReporter fn) {
    AlgebraReporter old = AlgebraReportFn;
    AlgebraReportFn = fn ? fn : AlgebraDefaultReporter;
    return old;
}

void AlgebraError(const char *text) {
    if (AlgebraReportFn) AlgebraReportFn("Error", text);
}

void AlgebraWarning(const char *text) {
    if (AlgebraReportFn) AlgebraReportFn("Warning", text);
}

}  // namespace tessel
