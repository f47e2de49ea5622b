// Captures what the Algebra reporter is given during a test.
#ifndef TESSEL_TESTS_ALGEBRA_REPORT_CAPTURE_H
#define TESSEL_TESTS_ALGEBRA_REPORT_CAPTURE_H

#include <string>
#include <utility>
#include <vector>

#include "algebra/report.h"

namespace tessel::testing_support {

class ReportCapture {
public:
    ReportCapture() {
        Messages().clear();
        old_ = AlgebraSetReporter(&Record);
    }
    ~ReportCapture() { AlgebraSetReporter(old_); }
    ReportCapture(const ReportCapture &) = delete;
    ReportCapture &operator=(const ReportCapture &) = delete;

    // (kind, text) pairs in the order reported.
    static std::vector<std::pair<std::string, std::string>> &Messages() {
        static std::vector<std::pair<std::string, std::string>> messages;
        return messages;
    }

private:
    static void Record(const char *kind, const char *text) { Messages().emplace_back(kind, text); }
    AlgebraReporter old_;
};

}  // namespace tessel::testing_support

#endif
