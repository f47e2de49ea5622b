// The catalogue's entries against the published table of built-ins, and the registration rules.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "algebra/catalogue.h"

namespace tessel {
namespace {

struct Expected { const char *name, *kinds, *signature; };

// Registration order, kinds and signatures as users see them.
const Expected kExpected[] = {
    {"abs", "v", "abs(VAR);"}, {"acf", "rdd", "acf(VAR,VAR_DEST,LAG_DEST);"}, {"acos", "v", "acos(VAR);"},
    {"almon", "rvv", "almon(VAR, LAG, POWER);"}, {"asin", "v", "asin(VAR);"}, {"atan", "v", "atan(VAR);"},
    {"ceil", "v", "ceil(VAR);"}, {"cos", "v", "cos(VAR);"}, {"cum", "r", "cum(VAR);"}, {"date", "", "date();"},
    {"day", "", "day();"}, {"dayofweek", "", "dayofweek();"}, {"denschi", "vv", "denschi(VAR, DF);"},
    {"densf", "vvv", "densf(VAR, DF1, DF2);"}, {"densn", "v", "densn(VAR);"}, {"denst", "vv", "denst(VAR, DF);"},
    {"diff", "rv", "diff(VAR, LAG);"}, {"div", "vv", "div(VAR, VAR);"}, {"dlog", "r", "dlog(VAR);"},
    {"dummy", "vvvv", "dummy(YEAR1, PERIOD1, YEAR2, PERIOD2);"}, {"dummydates", "vv", "dummydates(DATE1, DATE2);"},
    {"ewma", "rvvd", "ewma(VAR,ALPHA,BETA,VAR_DEST);"}, {"ewmc0", "rrvd", "ewmc0(VARX,VARY,LAMBDA,VAR_DEST);"},
    {"exp", "v", "exp(VAR);"}, {"fabs", "v", "fabs(VAR);"}, {"floor", "v", "floor(VAR);"},
    {"fmod", "vv", "fmod(VAR, VAR);"}, {"hours", "", "hours();"}, {"indates", "vv", "indates(DATE1, DATE2);"},
    {"insample", "vvvv", "insample(YEAR1, PERIOD1, YEAR2, PERIOD2);"},
    {"isdayofmonth", "vvv", "isdayofmonth(MONTH, DAYOFWEEK, NTH);"}, {"iseaster", "v", "iseaster(DAYSAFTER);"},
    {"lag", "rv", "lag(VAR,LAG);"}, {"lead", "rv", "lead(VAR,LAG);"}, {"log", "v", "log(VAR);"},
    {"log10", "v", "log10(VAR);"}, {"loggamma", "v", "loggamma(VAR);"},
    {"makedate", "vvv", "makedate(YEAR, MONTH, DAY);"}, {"maketime", "vvv", "maketime(HOUR, MIN, SEC);"},
    {"max", "vv", "max(VAR, VAR);"}, {"mean", "r", "mean(VAR);"}, {"min", "vv", "min(VAR, VAR);"},
    {"minutes", "", "minutes();"}, {"month", "", "month();"}, {"movingavg", "rvv", "movingavg(VAR, LAG, LEAD);"},
    {"movingSD", "rvvv", "movingSD(VAR, LAG, LEAD, MEAN);"}, {"pacf", "rdd", "pacf(VAR,VAR_DEST,LAG_DEST);"},
    {"peak", "r", "peak(VAR);"}, {"period", "", "period();"},
    {"periodogram", "rdd", "periodogram(VAR,VAR_DEST,FREQ_DEST);"}, {"probn", "v", "probn(VAR);"},
    {"quanchi", "vv", "quanchi(VAR, DF);"}, {"quanf", "vvv", "quanf(VAR, DF1, DF2);"}, {"quann", "v", "quann(VAR);"},
    {"quant", "vv", "quant(VAR, DF);"}, {"ranu", "", "ranu();"}, {"ranchi", "v", "ranchi(DF);"},
    {"ranf", "vv", "ranf(DF1, DF2);"}, {"rann", "", "rann();"}, {"rannormal", "", "rannormal();"},
    {"rant", "v", "rant(DF);"}, {"ranseed", "v", "ranseed(SEED);"}, {"round", "v", "round(VAR);"},
    {"seconds", "", "seconds();"}, {"season", "", "season();"}, {"sin", "v", "sin(VAR);"},
    {"smooth_hp", "rvd", "smooth_hp(VAR,LAMBDA,VAR_DEST);"}, {"smooth_np", "rvd", "smooth_np(VAR,ALPHA,VAR_DEST);"},
    {"smooth_sp", "rvd", "smooth_sp(VAR,ALPHA,VAR_DEST);"}, {"sort", "r", "sort(VAR);"},
    {"_sortallby", "r", "_sortallby(VAR);"}, {"_sortby", "rr", "_sortby(VAR, VAR);"}, {"sqrt", "v", "sqrt(VAR);"},
    {"stock", "rvv", "stock(VAR, ARVAL, INIT);"}, {"stockv", "rrv", "stockv(VAR, ARVAR, INIT);"},
    {"tailchi", "vv", "tailchi(VAR, DF);"}, {"tailf", "vvv", "tailf(VAR, DF1, DF2);"}, {"tailn", "v", "tailn(VAR);"},
    {"tailt", "vv", "tailt(VAR, DF);"}, {"tan", "v", "tan(VAR);"}, {"time", "", "time();"}, {"trend", "", "trend();"},
    {"trough", "r", "trough(VAR);"}, {"variance", "r", "variance(VAR);"}, {"year", "", "year();"},
};

TEST(AlgebraCatalogue, EntriesFollowTheTableInRegistrationOrder) {
    AlgebraInitFunctions();
    AlgebraInitFunctions();  // built once: a second call adds nothing
    ASSERT_EQ(std::size(kExpected), 85u);
    ASSERT_EQ(AlgebraFunctionCount(), 85);
    const AlgebraFunction *table = AlgebraFunctionTable();
    for (int i = 0; i < 85; ++i) {
        const Expected &e = kExpected[i];
        ASSERT_NE(table[i].name, nullptr) << i;
        EXPECT_STREQ(table[i].name, e.name) << i;
        EXPECT_STREQ(table[i].kinds, e.kinds) << e.name;
        EXPECT_STREQ(table[i].signature, e.signature) << e.name;
        EXPECT_EQ(table[i].arg_count, static_cast<int32_t>(std::strlen(e.kinds))) << e.name;
        EXPECT_NE(table[i].handler, nullptr) << e.name;
        EXPECT_EQ(AlgebraFindFunction(e.name), i);
        EXPECT_EQ(AlgebraGetFunction(i), &table[i]);
    }
    EXPECT_EQ(table[85].name, nullptr);
    EXPECT_EQ(AlgebraGetFunction(85), nullptr);
    EXPECT_EQ(AlgebraGetFunction(-1), nullptr);
    // Only the four alias pairs share a handler.
    auto handler = [&](const char *name) { return table[AlgebraFindFunction(name)].handler; };
    EXPECT_EQ(handler("abs"), handler("fabs"));
    EXPECT_EQ(handler("dummy"), handler("insample"));
    EXPECT_EQ(handler("dummydates"), handler("indates"));
    EXPECT_EQ(handler("rann"), handler("rannormal"));
    std::set<AlgebraFunctionHandler> distinct;
    for (int i = 0; i < 85; ++i) distinct.insert(table[i].handler);
    EXPECT_EQ(distinct.size(), 81u);
    // Lookup is exact and case-sensitive.
    for (const char *miss : {"movingsd", "Abs", "ab", "abs ", "", static_cast<const char *>(nullptr)})
        EXPECT_EQ(AlgebraFindFunction(miss), -1) << (miss ? miss : "null");
}

double One(AlgebraWorkspace *, const double *) { return 1.0; }
double Two(AlgebraWorkspace *, const double *) { return 2.0; }

TEST(AlgebraCatalogue, ReRegistrationKeepsTheEntryAndWritesTheHiddenSlot) {
    std::vector<AlgebraFunction> table(kAlgebraMaxFunctions + 1, AlgebraFunction{});
    EXPECT_EQ(AlgebraRegisterFunctionIn(table.data(), "f", One, "v", "f(VAR);"), 0);
    EXPECT_EQ(AlgebraRegisterFunctionIn(table.data(), "g", One, "rd", "g(VAR,VAR_DEST);"), 1);
    EXPECT_EQ(table[1].arg_count, 2);
    EXPECT_EQ(AlgebraRegisterFunctionIn(table.data(), "f", Two, "vvv", "f(A,B,C);"), 0);
    // The visible entry is unchanged; the next slot holds the new fields but stays invisible.
    EXPECT_EQ(table[0].handler, One);
    EXPECT_STREQ(table[0].kinds, "v");
    EXPECT_EQ(table[0].arg_count, 1);
    EXPECT_EQ(table[2].name, nullptr);
    EXPECT_EQ(table[2].handler, Two);
    EXPECT_STREQ(table[2].kinds, "vvv");
    EXPECT_EQ(table[2].arg_count, 3);
    EXPECT_STREQ(table[2].signature, "f(A,B,C);");
    EXPECT_EQ(AlgebraFindFunctionIn(table.data(), "f"), 0);
    // A new name takes that slot over.
    EXPECT_EQ(AlgebraRegisterFunctionIn(table.data(), "h", One, "", "h();"), 2);
    EXPECT_EQ(table[2].arg_count, 0);
    EXPECT_STREQ(table[2].name, "h");
}

TEST(AlgebraCatalogue, AFullTableRefusesNewNames) {
    std::vector<AlgebraFunction> table(kAlgebraMaxFunctions + 1, AlgebraFunction{});
    std::vector<std::string> names;
    for (int i = 0; i <= kAlgebraMaxFunctions; ++i) names.push_back(std::to_string(i).insert(0, 1, 'f'));
    for (int i = 0; i < kAlgebraMaxFunctions; ++i)
        ASSERT_EQ(AlgebraRegisterFunctionIn(table.data(), names[i].c_str(), One, "v", "s"), i);
    EXPECT_EQ(AlgebraRegisterFunctionIn(table.data(), names[kAlgebraMaxFunctions].c_str(), Two, "vv", "t"), -1);
    for (int i = 0; i < kAlgebraMaxFunctions; ++i) EXPECT_EQ(table[i].handler, One);
    EXPECT_EQ(table[kAlgebraMaxFunctions].name, nullptr);
    EXPECT_EQ(AlgebraFindFunctionIn(table.data(), names[kAlgebraMaxFunctions].c_str()), -1);
    // Re-registering on a full table writes only the spare slot past the end, never beyond it.
    EXPECT_EQ(AlgebraRegisterFunctionIn(table.data(), "f7", Two, "vv", "t"), 7);
    EXPECT_EQ(table[7].handler, One);
    EXPECT_EQ(table[kAlgebraMaxFunctions].name, nullptr);
    EXPECT_EQ(table[kAlgebraMaxFunctions].handler, Two);
    EXPECT_EQ(AlgebraFindFunctionIn(table.data(), "f99"), 99);
}

}  // namespace
}  // namespace tessel
