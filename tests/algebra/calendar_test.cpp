#include "algebra/calendar.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <tuple>
#include <vector>

namespace tessel {
namespace {

namespace chr = std::chrono;

// Julian day number of a proleptic Gregorian date; 1970-01-01 is day 2440588.
long JdnOf(const chr::year_month_day &ymd) { return static_cast<long>(chr::sys_days(ymd).time_since_epoch().count()) + 2440588L; }

// Julian-calendar day number from the textbook integer formula (astronomical year numbering).
long JulianJdn(long Y, long m, long d) {
    const long a = (14 - m) / 12, yy = Y + 4800 - a, mm = m + 12 * a - 3;
    return d + (153 * mm + 2) / 5 + 365 * yy + yy / 4 - 32083;
}

int JulianMonthLength(long astronomicalYear, int m) {
    static const int len[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && astronomicalYear % 4 == 0 ? 29 : len[m - 1];
}

TEST(Calendar, DayNumbersMatchChronoFrom1600To2400) {
    const chr::sys_days first = chr::year{1600} / chr::January / 1, last = chr::year{2400} / chr::December / 31;
    for (chr::sys_days day = first; day <= last; day += chr::days{1}) {
        const chr::year_month_day ymd(day);
        const int y = static_cast<int>(ymd.year()), m = static_cast<unsigned>(ymd.month()), d = static_cast<unsigned>(ymd.day());
        const int32_t n = CalDayNumber(y, m, d);
        ASSERT_EQ(n, JdnOf(ymd)) << y << "-" << m << "-" << d;
        int yy = 0, mm = 0, dd = 0;
        CalSplitDate(n, &yy, &mm, &dd);
        ASSERT_EQ(std::tie(yy, mm, dd), std::tie(y, m, d));
        ASSERT_EQ(CalDayOfWeek(n), static_cast<int>(chr::weekday(day).c_encoding()) + 1);
    }
}

TEST(Calendar, JulianCalendarBeforeTheSwitch) {
    // Every day from 4713 BC (day 0) to 14 September 1582 against the textbook Julian formula, with the
    // historical years (no year 0). The shifted-month switch test puts January and February 1582 on the
    // Gregorian side.
    long expected = 0;
    for (int y = -4713; y <= 1582; ++y) {
        const long Y = y < 0 ? y + 1 : y;
        for (int m = 1; m <= 12 && y != 0; ++m)
            for (int d = 1; d <= JulianMonthLength(Y, m); ++d) {
                const bool gregorian = y == 1582 && m <= 2;
                if (y == 1582 && (m > 9 || (m == 9 && d > 14))) continue;
                const int32_t n = CalDayNumber(y, m, d);
                const long jdn = gregorian ? JdnOf(chr::year{1582} / chr::month(m) / d) : JulianJdn(Y, m, d);
                ASSERT_EQ(n, jdn) << y << "-" << m << "-" << d;
                if (gregorian) continue;
                ASSERT_TRUE(jdn == expected || y == 1582) << "only the gap of January and February 1582";
                expected = jdn + 1;
                int yy, mm, dd;
                CalSplitDate(n, &yy, &mm, &dd);
                ASSERT_EQ(std::tie(yy, mm, dd), std::tie(y, m, d)) << n;
            }
    }
    EXPECT_EQ(CalDayNumber(-4713, 1, 1), 0);
}

TEST(Calendar, SwitchAndArgumentEdges) {
    EXPECT_EQ(CalDayNumber(2000, 1, 1), 2451545);
    EXPECT_EQ(CalDayOfWeek(2451545), 7);
    // The switch test uses the shifted month, so the correction begins on 15 September 1582.
    EXPECT_EQ(CalDayNumber(1582, 9, 14), 2299140);
    EXPECT_EQ(CalDayNumber(1582, 9, 15), 2299131);
    EXPECT_EQ(CalDayNumber(1582, 10, 4), 2299150);
    EXPECT_EQ(CalDayNumber(1582, 10, 15), 2299161);
    for (auto [y, m, d] : {std::tuple{0, 1, 1}, {2000, 0, 1}, {2000, 1, 0}}) EXPECT_EQ(CalDayNumber(y, m, d), kCalBadDate);
    EXPECT_EQ(CalDayNumber(-1, 12, 31) + 1, CalDayNumber(1, 1, 1)) << "1 BC is followed by AD 1";
    // Months past 12 run on into the next year.
    EXPECT_EQ(CalDayNumber(2000, 13, 1), CalDayNumber(2001, 1, 1));
    EXPECT_EQ(CalDayNumber(2000, 14, 3), CalDayNumber(2001, 2, 3));
    EXPECT_EQ(CalMakeDate(0, 1, 1), 4294967295.0);
    EXPECT_EQ(CalMakeDate(2000.9, 1.7, 1.99), 2451545.0);
    EXPECT_EQ(CalMakeDate(NAN, 1, 1), 4294967295.0);
    EXPECT_EQ(CalTruncDay(-3.5), -3);
    EXPECT_EQ(CalTruncDay(1e300), INT32_MAX);
    // Extreme arguments are computed without overflow traps (checked under UBSan).
    (void)CalMakeDate(1e300, 1e300, 1e300);
    int y, m, d;
    CalSplitDate(INT32_MIN, &y, &m, &d);
    CalSplitDate(INT32_MAX, &y, &m, &d);
}

// Gregorian Easter by the anonymous (Meeus/Jones/Butcher) algorithm, as month * 100 + day.
int GregorianEaster(int Y) {
    int a = Y % 19, b = Y / 100, c = Y % 100, d = b / 4, e = b % 4, f = (b + 8) / 25, g = (b - f + 1) / 3;
    int h = (19 * a + b - d - g + 15) % 30, i = c / 4, k = c % 4, l = (32 + 2 * e + 2 * i - h - k) % 7;
    int m = (a + 11 * h + 22 * l) / 451;
    return (h + l - 7 * m + 114) / 31 * 100 + (h + l - 7 * m + 114) % 31 + 1;
}

TEST(Calendar, EasterAgainstKnownDatesAndTheTextbookAlgorithm) {
    // Western Easter Sundays, then Julian-rule (Orthodox) Easters as Julian calendar dates.
    const std::tuple<int, int, int, int> known[] = {
        {2000, 4, 23, 1583}, {2024, 3, 31, 1583}, {2025, 4, 20, 1583}, {2019, 4, 21, 1583}, {2018, 4, 1, 1583},
        {1818, 3, 22, 1583}, {1943, 4, 25, 1583}, {2038, 4, 25, 1583}, {2285, 3, 22, 1583}, {1961, 4, 2, 1583},
        {2008, 3, 23, 1583}, {2011, 4, 24, 1583}, {1583, 4, 10, 1583}, {1500, 4, 19, 9999}, {2000, 4, 17, 9999},
        {2024, 4, 22, 9999}, {2025, 4, 7, 9999},  {2010, 3, 22, 9999},
    };
    for (const auto &[year, month, day, switch_year] : known) {
        int m = 0, d = 0;
        CalEasterDate(year, switch_year, &m, &d);
        EXPECT_EQ(std::tie(m, d), std::tie(month, day)) << year << " " << switch_year;
        if (switch_year == 1583) {
            EXPECT_EQ(CalEasterDay(year), CalDayNumber(year, month, day));
        }
    }
    EXPECT_EQ(CalEasterDay(1500), CalDayNumber(1500, 4, 19));
    for (int y = 1583; y <= 4099; ++y) {
        int m, d;
        CalEasterDate(y, 1583, &m, &d);
        ASSERT_EQ(m * 100 + d, GregorianEaster(y)) << y;
        ASSERT_EQ(CalDayOfWeek(CalEasterDay(y)), 1) << y << " is a Sunday";
    }
}

TEST(Calendar, NthWeekdayAgainstADirectScan) {
    for (int y = 1900; y <= 2100; ++y)
        for (unsigned m = 1; m <= 12; ++m) {
            std::vector<long> byWeekday[8];
            const chr::sys_days first = chr::year{y} / chr::month{m} / 1, last = chr::year{y} / chr::month{m} / chr::last;
            for (chr::sys_days day = first; day <= last; day += chr::days{1})
                byWeekday[chr::weekday(day).c_encoding() + 1].push_back(JdnOf(chr::year_month_day(day)));
            for (int w = 1; w <= 7; ++w) {
                const auto &days = byWeekday[w];
                const int count = static_cast<int>(days.size());
                for (int nth = -6; nth <= 6; ++nth) {
                    long expected = 0;
                    if (nth >= 1 && nth <= 5 && nth <= count) expected = days[nth - 1];
                    if (nth <= -1 && nth >= -5 && -nth <= count) expected = days[count + nth];
                    ASSERT_EQ(CalNthWeekday(y, static_cast<int>(m), w, nth), expected) << y << "-" << m << " " << w << " " << nth;
                }
            }
        }
}

TEST(Calendar, TimesOfDayRoundTrip) {
    EXPECT_EQ(CalTimeOfDay(12, 0, 0, 0), 0.5);
    for (int s = 0; s < 86400; ++s) {
        const int h = s / 3600, m = s / 60 % 60, sec = s % 60, c = (s * 7) % 100;
        int hh, mm, ss, cc;
        CalSplitTime(CalTimeOfDay(h, m, sec, c), &hh, &mm, &ss, &cc);
        ASSERT_EQ(std::tie(hh, mm, ss, cc), std::tie(h, m, sec, c)) << s;
    }
    int h, m, s, c;
    CalSplitTime(1.25, &h, &m, &s, &c);
    EXPECT_EQ(h, 30) << "whole days carry into the hours";
    CalSplitTime(NAN, &h, &m, &s, &c);
    CalSplitTime(1e300, &h, &m, &s, &c);
}

}  // namespace
}  // namespace tessel
