// The non-linear model bridge: start-up messages, parameter lists, runs and the state's lifetime.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
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
    int rows = 6;
    std::vector<double> starts, numbers;

    BridgeCall() {
        for (int t = 0; t < rows; ++t) {
            data.push_back(t + 1.0);
            data.push_back(2.0 * (t + 1));
        }
    }
    std::string Init(const char *code, bool parameters) {
        AlgebraBridgeSetup s;
        s.data = data.data();
        s.rows = rows;
        s.cols = 2;
        s.names = names.data();
        s.start_year = 1990;
        s.start_period = 1;
        s.frequency = 4;
        s.code = code;
        s.want_parameters = parameters;
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

TEST_F(AlgebraBridgeTest, ParameterListsInIncreasingNumber) {
    BridgeCall call;
    ASSERT_EQ(call.Init("&4 = 0.25; &1 = -3;\nf = &1 + &4 * x;", true), "");
    EXPECT_EQ(call.starts, (std::vector<double>{-3, 0.25}));
    EXPECT_EQ(call.numbers, (std::vector<double>{1, 4}));
    EXPECT_EQ(AlgebraBridge().nparams, 2);
    EXPECT_EQ(AlgebraBridge().initial_count, 2);
    EXPECT_EQ(AlgebraBridge().db->nobs, 6);

    const double values[2] = {1.5, -2.0};
    ASSERT_EQ(AlgebraBridgeRun(values, 2, 0, 5), "");
    const std::vector<double> f = Column("f");
    for (int t = 0; t < 6; ++t) EXPECT_DOUBLE_EQ(f[t], 1.5 - 2.0 * (t + 1)) << t;
}

TEST_F(AlgebraBridgeTest, StartUpMessages) {
    struct Case {
        const char *code;
        bool parameters;
        const char *message;
    };
    const Case cases[] = {
        {"f = x * 2;", true, "Error: No parameters to estimate"},
        {"&0 = 1; f = &0 * x + &2;", true, "Error: Need starting values for all parameters"},
        {"&0 = 1; f = &0 * x + &2;", false, "Error: Need starting values for all parameters"},
        {"&0 = 1; f = &0 * x;", false, "Error: No parameters alllowed here"},
        {"f = x | z;", false, "Scan error: | Missing on line 1"},
        {"f = x +\n nosuch;", false, "Parse error: nosuch Undeclared identifier on line 2"},
        {"&500 = 1;", true, "Parse error: 500 Parameter buffer full on line 1"},
    };
    for (const Case &k : cases) {
        BridgeCall call;
        EXPECT_EQ(call.Init(k.code, k.parameters), k.message) << k.code;
        // A failed start-up leaves nothing behind.
        EXPECT_EQ(AlgebraBridge().db, nullptr) << k.code;
        EXPECT_EQ(AlgebraBridge().ws, nullptr) << k.code;
        EXPECT_EQ(AlgebraBridge().nparams, 0);
        EXPECT_EQ(AlgebraBridge().max_param, -1);
    }
}

TEST_F(AlgebraBridgeTest, RunMessages) {
    BridgeCall call;
    ASSERT_EQ(call.Init("&0 = 1; f = log(&0 * x);", true), "");
    const double two[2] = {1, 2};
    EXPECT_EQ(AlgebraBridgeRun(two, 2, 0, 5), "Algebra run error");
    EXPECT_EQ(AlgebraBridgeRun(two, 0, 0, 5), "Algebra run error");
    const double minus[1] = {-1};
    EXPECT_EQ(AlgebraBridgeRun(minus, 1, 0, 5),
              "There were Algebra run-time errors:\r\n    Logarithm of non-positive number\r\n");
    // Runs are quiet: the host gets the text instead.
    EXPECT_TRUE(reports.Log().empty());
    const double one[1] = {1};
    EXPECT_EQ(AlgebraBridgeRun(one, 1, 0, 5), "");
    EXPECT_DOUBLE_EQ(Column("f")[5], std::log(6.0));
    AlgebraBridgeExit();
    EXPECT_EQ(AlgebraBridgeRun(one, 1, 0, 5), "Algebra run error");
}

TEST_F(AlgebraBridgeTest, NamesAreCutAndLookedUpExactly) {
    BridgeCall call;
    const std::string long_name(70, 'n');
    call.names = {long_name.c_str(), "z"};
    ASSERT_EQ(call.Init("f = z;", false), "");
    EXPECT_EQ(AlgebraBridgeFindVariable(std::string(64, 'n').c_str()), 0);
    EXPECT_EQ(AlgebraBridgeFindVariable(long_name.c_str()), -1);
    EXPECT_EQ(AlgebraBridgeFindVariable("Z"), -1);
    EXPECT_EQ(AlgebraBridgeFindVariable("f"), 2);
    EXPECT_EQ(AlgebraBridgeFindVariable(nullptr), -1);
}

TEST_F(AlgebraBridgeTest, DatedDatabase) {
    BridgeCall call;
    // Day numbers in the first column: 1 January 2000 is day 2451545, a Saturday.
    for (int t = 0; t < call.rows; ++t) call.data[2 * t] = 2451545.0 + t;
    AlgebraBridgeSetup s;
    s.data = call.data.data();
    s.rows = call.rows;
    s.cols = 2;
    s.names = call.names.data();
    s.start_year = 1;
    s.start_period = 1;
    s.frequency = 1;
    s.dates = 1;
    s.code = "w = dayofweek();";
    ASSERT_EQ(AlgebraBridgeInit(s, &call.starts, &call.numbers), "");
    ASSERT_EQ(AlgebraBridgeRun(nullptr, 0, 0, 5), "");
    const std::vector<double> w = Column("w");
    for (int t = 0; t < 6; ++t) EXPECT_EQ(w[t], (6 + t) % 7 + 1) << t;
}

TEST_F(AlgebraBridgeTest, SecondStartReplacesTheFirst) {
    BridgeCall a, b;
    ASSERT_EQ(a.Init("f = x;", false), "");
    ASSERT_EQ(b.Init("g = z;", false), "");
    EXPECT_EQ(AlgebraBridgeFindVariable("f"), -1);
    EXPECT_EQ(AlgebraBridgeFindVariable("g"), 2);
}

}  // namespace
}  // namespace tessel::testing
