// The non-linear model bridge: start-up messages, parameter lists, runs and the state's lifetime.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "algebra/bridge.h"
#include "algebra/database.h"
#include "numeric/missing.h"
#include "tests/algebra/engine_fixture.h"

namespace tessel::testing {
namespace {

// Two host variables over 1990(1) .. 1991(2), quarterly: x = t + 1, z = 2 (t + 1).
struct BridgeCall {
    std::vector<double> data;
    std::vector<const char *> names = {"x", "z"};
    std::vector<double> starts, numbers;
    AlgebraBridgeSetup s;

    BridgeCall() {
        for (int t = 0; t < 6; ++t) data.insert(data.end(), {t + 1.0, 2.0 * (t + 1)});
        s.data = data.data(), s.rows = 6, s.cols = 2, s.names = names.data();
        s.start_year = 1990, s.start_period = 1, s.frequency = 4;
    }
    std::string Init(const char *code, bool parameters) {
        s.code = code, s.want_parameters = parameters;
        return AlgebraBridgeInit(s, &starts, &numbers);
    }
};

std::vector<double> Column(const char *name) {
    const AlgebraDatabase *db = AlgebraBridge().db;
    const int v = AlgebraBridgeFindVariable(name);
    if (!db || v < 0) return {};
    return std::vector<double>(db->data[v], db->data[v] + db->nobs);
}

class AlgebraBridgeTest : public ::testing::Test {
  protected:
    void TearDown() override { AlgebraBridgeExit(); }
    CapturedReports reports;
};

TEST_F(AlgebraBridgeTest, StartUpMessages) {
    const std::tuple<const char *, bool, const char *> cases[] = {
        {"f = x * 2;", true, "Error: No parameters to estimate"},
        {"&0 = 1; f = &0 * x + &2;", true, "Error: Need starting values for all parameters"},
        {"&0 = 1; f = &0 * x + &2;", false, "Error: Need starting values for all parameters"},
        {"&0 = 1; f = &0 * x;", false, "Error: No parameters alllowed here"},
        {"f = x | z;", false, "Scan error: | Missing on line 1"},
        {"f = x +\n nosuch;", false, "Parse error: nosuch Undeclared identifier on line 2"},
        {"&500 = 1;", true, "Parse error: 500 Parameter buffer full on line 1"},
    };
    for (const auto &[code, parameters, message] : cases) {
        BridgeCall call;
        EXPECT_EQ(call.Init(code, parameters), message) << code;
        // A failed start-up leaves nothing behind.
        EXPECT_TRUE(AlgebraBridge().db == nullptr && AlgebraBridge().ws == nullptr) << code;
        EXPECT_EQ(AlgebraBridge().nparams, 0);
        EXPECT_EQ(AlgebraBridge().max_param, -1);
    }
}

TEST_F(AlgebraBridgeTest, ParameterListsAndRunMessages) {
    BridgeCall call;
    ASSERT_EQ(call.Init("&4 = 0.25; &1 = -3;\nf = &1 + &4 * x;\ng = log(f);", true), "");
    EXPECT_EQ(call.starts, (std::vector<double>{-3, 0.25}));  // in increasing parameter number
    EXPECT_EQ(call.numbers, (std::vector<double>{1, 4}));
    EXPECT_EQ(AlgebraBridge().nparams, 2);
    EXPECT_EQ(AlgebraBridge().initial_count, 2);
    EXPECT_EQ(AlgebraBridge().db->nobs, 6);
    const double good[2] = {1.5, 2.0}, bad[2] = {1.5, -2.0};
    ASSERT_EQ(AlgebraBridgeRun(good, 2, 0, 5), "");
    for (int t = 0; t < 6; ++t) EXPECT_DOUBLE_EQ(Column("g")[t], std::log(1.5 + 2.0 * (t + 1))) << t;
    EXPECT_EQ(AlgebraBridgeRun(good, 1, 0, 5), "Algebra run error");
    EXPECT_EQ(AlgebraBridgeRun(good, 3, 0, 5), "Algebra run error");
    EXPECT_EQ(AlgebraBridgeRun(bad, 2, 0, 5), "There were Algebra run-time errors:\r\n    Logarithm of non-positive number\r\n");
    EXPECT_TRUE(reports.Log().empty()) << "runs are quiet: the host gets the text instead";
    AlgebraBridgeExit();
    EXPECT_EQ(AlgebraBridgeRun(good, 2, 0, 5), "Algebra run error");
}

TEST_F(AlgebraBridgeTest, NamesAreCutAndLookedUpExactly) {
    BridgeCall call;
    const std::string long_name(70, 'n');
    call.names = {long_name.c_str(), "z"};
    call.s.names = call.names.data();
    ASSERT_EQ(call.Init("f = z;", false), "");
    EXPECT_EQ(AlgebraBridgeFindVariable(std::string(64, 'n').c_str()), 0);
    for (const char *other : {long_name.c_str(), "Z", static_cast<const char *>(nullptr)})
        EXPECT_EQ(AlgebraBridgeFindVariable(other), -1);
    EXPECT_EQ(AlgebraBridgeFindVariable("f"), 2);
    // A second start replaces the first.
    BridgeCall second;
    ASSERT_EQ(second.Init("g = z;", false), "");
    EXPECT_EQ(AlgebraBridgeFindVariable("f"), -1);
    EXPECT_EQ(AlgebraBridgeFindVariable("g"), 2);
}

TEST_F(AlgebraBridgeTest, DatedDatabase) {
    BridgeCall call;
    // Day numbers in the first column: 1 January 2000 is day 2451545, a Saturday.
    for (int t = 0; t < 6; ++t) call.data[2 * t] = 2451545.0 + t;
    call.s.start_year = 1, call.s.frequency = 1, call.s.dates = 1;
    ASSERT_EQ(call.Init("w = dayofweek();", false), "");
    ASSERT_EQ(AlgebraBridgeRun(nullptr, 0, 0, 5), "");
    for (int t = 0; t < 6; ++t) EXPECT_EQ(Column("w")[t], (6 + t) % 7 + 1) << t;
}

}  // namespace
}  // namespace tessel::testing
