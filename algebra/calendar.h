// Calendar arithmetic on day numbers of the Julian-day scale (Julian calendar before the 1582
// switch, Gregorian after it, no year 0) and on times of day held as fractions of a day.
#ifndef TESSEL_ALGEBRA_CALENDAR_H
#define TESSEL_ALGEBRA_CALENDAR_H

#include <cstdint>

namespace tessel {

// Returned by CalDayNumber for year 0, month < 1 or day < 1; shown to Algebra code as the
// all-ones 32-bit value 4294967295.
inline constexpr int32_t kCalBadDate = -1;

int32_t CalDayNumber(int year, int month, int day);
void CalSplitDate(int32_t dayNumber, int *year, int *month, int *day);
// 1 = Sunday .. 7 = Saturday.
int CalDayOfWeek(int32_t dayNumber);
// Fraction of a day; resolved to hundredths of a second.
double CalTimeOfDay(double hour, double minute, double second, double hundredths);
void CalSplitTime(double fraction, int *hour, int *minute, int *second, int *hundredths);
// Month and day of Easter Sunday: Gregorian rule from firstGregorianYear on, Julian before.
void CalEasterDate(int year, int firstGregorianYear, int *month, int *day);
// Day number of Easter Sunday, first Gregorian year 1583.
int32_t CalEasterDay(int year);
// Day number of the nth weekday (1 = Sunday) of a month; nth < 0 counts from the month's end.
// 0 when nth is outside -5..5, is 0, or the month has no such day.
int32_t CalNthWeekday(int year, int month, int weekday, int nth);

// The day number in a date value (its whole part, truncated), bounded to 32 bits; 0 for a NaN.
int32_t CalTruncDay(double value);

// The value of makedate(YEAR, MONTH, DAY) in Algebra code: arguments truncated, a bad date as
// 4294967295.
double CalMakeDate(double year, double month, double day);

}  // namespace tessel

#endif
