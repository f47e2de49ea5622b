// Sample-position and calendar handlers on dated and undated databases, against the calendar routines
// and dates worked out by hand.
#include <cmath>
#include <vector>

#include "algebra/calendar.h"
#include "tests/algebra/functions_fixture.h"

namespace tessel {
namespace {

class AlgebraCalendarFunctions : public FunctionsFixture {};

TEST_F(AlgebraCalendarFunctions, MakeDateAndMakeTime) {
    MakeDatabase(1);
    EXPECT_EQ(Call(AlgebraFnMakeDate, {2000, 1, 1}, 0), 2451545.0);
    EXPECT_EQ(Call(AlgebraFnMakeDate, {2000.9, 1.5, 1.99}, 0), 2451545.0);  // truncated
    EXPECT_EQ(Call(AlgebraFnMakeDate, {1582, 10, 15}, 0), 2299161.0);
    EXPECT_EQ(Call(AlgebraFnMakeDate, {0, 1, 1}, 0), 4294967295.0);
    EXPECT_NEAR(Call(AlgebraFnMakeTime, {12, 30, 0}, 0), 0.5 + 30.0 / 1440.0, 1e-15);
    EXPECT_NEAR(Call(AlgebraFnMakeTime, {0, 0, 1}, 0), 1.0 / 86400.0, 1e-18);
}

TEST_F(AlgebraCalendarFunctions, UndatedDatabaseUsesTheSample) {
    MakeDatabase(8, 1990, 3, 4);  // 1990(3) .. 1992(2), quarterly
    for (int t = 0; t < 8; ++t) {
        const int year = 1990 + (t + 2) / 4, period = (t + 2) % 4 + 1;
        EXPECT_EQ(Call(AlgebraFnYear, {}, t), year);
        EXPECT_EQ(Call(AlgebraFnMonth, {}, t), period);
        EXPECT_EQ(Call(AlgebraFnPeriod, {}, t), period);
        EXPECT_EQ(Call(AlgebraFnSeason, {}, t), period == 1 ? 1.0 : 0.0);
        EXPECT_EQ(Call(AlgebraFnTrend, {}, t), t + 1.0);
        EXPECT_TRUE(IsMissing(Call(AlgebraFnDayOfWeek, {}, t)));
        EXPECT_EQ(Call(AlgebraFnTime, {}, t), 0.0);
        EXPECT_EQ(Call(AlgebraFnHours, {}, t), 0.0);
        EXPECT_TRUE(IsMissing(Call(AlgebraFnDate, {}, t)) && IsMissing(Call(AlgebraFnDay, {}, t)));
        EXPECT_EQ(Call(AlgebraFnIsEaster, {0}, t), 0.0);
        // 1990(4) .. 1991(3) covers observations 1 .. 4.
        EXPECT_EQ(Call(AlgebraFnDummy, {1990, 4, 1991, 3}, t), (t >= 1 && t <= 4) ? 1.0 : 0.0);
        // Without dates the range of two date values is that of their years, period 1.
        EXPECT_EQ(Call(AlgebraFnDummyDates, {1991.7, 1992.2}, t), (t >= 2 && t <= 6) ? 1.0 : 0.0);
    }
    EXPECT_EQ(Call(AlgebraFnDummy, {1992, 2, 1990, 1}, 3), 0.0);  // reversed range is empty
    EXPECT_EQ(Call(AlgebraFnDummy, {-3e9, 1, 3e9, 1}, 3), 1.0);   // huge years do not overflow
}

TEST_F(AlgebraCalendarFunctions, DatedDatabaseReadsTheDateColumn) {
    // Daily observations 29 March .. 3 April 2024 (Easter Sunday is 31 March), one with a time of day.
    MakeDatabase(6);
    const double d0 = CalDayNumber(2024, 3, 29);
    std::vector<double> dates;
    for (int i = 0; i < 6; ++i) dates.push_back(d0 + i);
    dates[4] += CalTimeOfDay(13, 45, 30, 0);
    AddVar("dates", dates);
    AlgebraDbSetDates(db_, 1);
    ASSERT_TRUE(AlgebraDbHasDates(db_));
    const int days[6] = {29, 30, 31, 1, 2, 3}, weekdays[6] = {6, 7, 1, 2, 3, 4};  // Friday .. Wednesday, 1 = Sunday
    for (int t = 0; t < 6; ++t) {
        EXPECT_EQ(Call(AlgebraFnDate, {}, t), d0 + t);
        EXPECT_EQ(Call(AlgebraFnDay, {}, t), days[t]);
        EXPECT_EQ(Call(AlgebraFnMonth, {}, t), t < 3 ? 3 : 4);
        EXPECT_EQ(Call(AlgebraFnYear, {}, t), 2024.0);
        EXPECT_EQ(Call(AlgebraFnDayOfWeek, {}, t), weekdays[t]);
        EXPECT_EQ(Call(AlgebraFnIsEaster, {0}, t), t == 2 ? 1.0 : 0.0);
        EXPECT_EQ(Call(AlgebraFnIsEaster, {-2}, t), t == 0 ? 1.0 : 0.0);  // Good Friday
        EXPECT_EQ(Call(AlgebraFnIsEaster, {1}, t), t == 3 ? 1.0 : 0.0);   // Easter Monday
        // First Monday and last Wednesday of April 2024 are the 1st and the 24th.
        EXPECT_EQ(Call(AlgebraFnIsDayOfMonth, {4, 2, 1}, t), t == 3 ? 1.0 : 0.0);
        EXPECT_EQ(Call(AlgebraFnIsDayOfMonth, {4, 4, -1}, t), 0.0);
        EXPECT_EQ(Call(AlgebraFnIsDayOfMonth, {4, 2, 9}, t), 0.0);  // nth out of range never matches
    }
    EXPECT_NEAR(Call(AlgebraFnTime, {}, 4), CalTimeOfDay(13, 45, 30, 0), 1e-9);
    EXPECT_EQ(Call(AlgebraFnTime, {}, 3), 0.0);
    EXPECT_EQ(Call(AlgebraFnHours, {}, 4), 13.0);
    EXPECT_EQ(Call(AlgebraFnMinutes, {}, 4), 45.0);
    EXPECT_EQ(Call(AlgebraFnSeconds, {}, 4), 30.0);
    EXPECT_EQ(Call(AlgebraFnDate, {}, 4), d0 + 4);
    // Dates select observations by value.
    for (int t = 0; t < 6; ++t)
        EXPECT_EQ(Call(AlgebraFnDummyDates, {d0 + 1, d0 + 3.5}, t), (t >= 1 && t <= 3) ? 1.0 : 0.0);
}

// Extreme arguments must stay within defined arithmetic (the sanitizer build checks it).
TEST_F(AlgebraCalendarFunctions, ExtremeArgumentsAreHarmless) {
    MakeDatabase(3);
    AddVar("dates", {2451545, 2451546, 1e300});
    AlgebraDbSetDates(db_, 1);
    for (double v : {2147483647.0, -2147483648.0, 1e300, -1e300, 0.0, 13.0}) {
        EXPECT_EQ(Call(AlgebraFnIsDayOfMonth, {v, v, 1}, 1), 0.0);
        EXPECT_EQ(Call(AlgebraFnIsDayOfMonth, {1, 1, v}, 1), 0.0);
        EXPECT_EQ(Call(AlgebraFnIsEaster, {v}, 1), 0.0);
        Call(AlgebraFnMakeDate, {v, v, v}, 1);
        Call(AlgebraFnMakeTime, {v, v, v}, 1);
        Call(AlgebraFnDummy, {v, v, v, v}, 1);
        Call(AlgebraFnDummyDates, {v, v}, 1);
    }
    for (AlgebraFunctionHandler h : {AlgebraFnDay, AlgebraFnYear, AlgebraFnHours, AlgebraFnDayOfWeek})
        EXPECT_TRUE(IsMissing(Call(h, {}, 2)));  // a date beyond any day number
}

}  // namespace
}  // namespace tessel
