#include "algebra/calendar.h"

#include <cmath>

namespace tessel {

namespace {

// Truncation toward zero into int, bounded so that no conversion overflows.
int TruncInt(double v) {
    if (!(v == v)) return 0;
    if (v >= 2147483647.0) return 2147483647;
    if (v <= -2147483648.0) return -2147483647 - 1;
    return static_cast<int>(v);
}

int32_t Wrap32(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(v))); }

}  // namespace

int32_t CalDayNumber(int y, int m, int d) {
    if (y == 0 || m < 1 || d < 1) return kCalBadDate;
    int64_t jy = y < 0 ? int64_t{y} + 1 : y;
    int64_t jm;
    if (m > 2) {
        jm = int64_t{m} + 1;
    } else {
        jy -= 1;
        jm = int64_t{m} + 13;
    }
    const double nd = std::floor(30.6001 * static_cast<double>(jm)) + std::floor(365.25 * static_cast<double>(jy)) +
                      static_cast<double>(d) + 1720995.0;
    const int64_t n = nd >= 9.2e18 || nd <= -9.2e18 ? 0 : static_cast<int64_t>(nd);
    // The switch test uses the shifted month with the unadjusted year, so the Gregorian
    // correction starts on 15 September 1582; kept as the established behaviour.
    if ((jm + 12 * int64_t{y}) * 31 + d < 588829) return Wrap32(n);
    const int64_t a = jy / 100;
    return Wrap32(n + 2 - a + a / 4);
}

void CalSplitDate(int32_t n, int *year, int *month, int *day) {
    int64_t a;
    if (n >= 2299161) {
        const int64_t alpha = static_cast<int64_t>((static_cast<double>(n) - 1867216.0 - 0.25) / 36524.25);
        a = int64_t{n} + 1 + alpha - static_cast<int64_t>(0.25 * static_cast<double>(alpha));
    } else if (n < 0) {
        a = int64_t{n} + int64_t{36525} * (1 - n / 36525);
    } else {
        a = n;
    }
    const int64_t b = a + 1524;
    const int64_t c = static_cast<int64_t>(6680.0 + (static_cast<double>(a) - 2438346.0 - 122.1) / 365.25);
    const int64_t dd = static_cast<int64_t>(365.0 * static_cast<double>(c) + 0.25 * static_cast<double>(c));
    const int64_t e = static_cast<int64_t>(static_cast<double>(b - dd) / 30.6001);
    int64_t dy = b - dd - static_cast<int64_t>(30.6001 * static_cast<double>(e));
    int64_t mo = e - 1;
    if (mo >= 13) mo -= 12;
    int64_t yr = c - 4715;
    if (mo > 2) --yr;
    if (yr <= 0) --yr;
    if (n < 0) yr += 100 * (int64_t{n} / 36525 - 1);
    if (year) *year = static_cast<int>(yr);
    if (month) *month = static_cast<int>(mo);
    if (day) *day = static_cast<int>(dy);
}

int CalDayOfWeek(int32_t n) {
    const int64_t k = int64_t{n} + 1;
    return static_cast<int>((k - 7 * (k / 7)) + 1);
}

double CalTimeOfDay(double h, double m, double s, double c) { return (((h * 60 + m) * 60 + s) * 100 + c) / 8.64e6; }

void CalSplitTime(double f, int *hour, int *minute, int *second, int *hundredths) {
    double v = std::floor(f * 8.64e6 + 0.5);
    // Bounded so that a wild value cannot overflow the conversion.
    if (!(v == v)) v = 0.0;
    if (v > 9.0e15) v = 9.0e15;
    if (v < -9.0e15) v = -9.0e15;
    const int64_t k = static_cast<int64_t>(v);
    if (hundredths) *hundredths = static_cast<int>(k % 100);
    if (second) *second = static_cast<int>((k / 100) % 60);
    if (minute) *minute = static_cast<int>((k / 6000) % 60);
    if (hour) *hour = static_cast<int>(k / 360000);
}

void CalEasterDate(int year, int g, int *month, int *day) {
    const int64_t y = year;
    int64_t l;
    if (y >= g) {
        const int64_t r = y % 19, c = y / 100;
        const int64_t h = (19 * r + c - c / 4 - (8 * c + 13) / 25 + 15) % 30;
        const int64_t i = h - (h / 28) * (1 - (h / 28) * (29 / (h + 1)) * ((21 - r) / 11));
        const int64_t j = (y + y / 4 + i + 2 - c + c / 4) % 7;
        l = i - j;
    } else {
        const int64_t r = y % 19;
        const int64_t i = (19 * r + 15) % 30;
        const int64_t j = (y + y / 4 + i) % 7;
        l = i - j;
    }
    const int64_t mo = 3 + (l + 40) / 44;
    if (month) *month = static_cast<int>(mo);
    if (day) *day = static_cast<int>(l + 28 - 31 * (mo / 4));
}

int32_t CalEasterDay(int year) {
    int m = 0, d = 0;
    CalEasterDate(year, 1583, &m, &d);
    return CalDayNumber(year, m, d);
}

int32_t CalNthWeekday(int y, int m, int w, int nth) {
    if (nth < -5 || nth > 5 || nth == 0) return 0;
    const int64_t f = CalDayNumber(y, m, 1);
    const int64_t e = m >= 12 ? CalDayNumber(y < INT32_MAX ? y + 1 : y, 1, 1) : CalDayNumber(y, m + 1, 1);
    if (nth >= 1) {
        int64_t o = w - 1 - ((f + 1) % 7);
        if (o < 0) o += 7;
        const int64_t r = f + o + 7 * (nth - 1);
        return r > e - 1 ? 0 : Wrap32(r);
    }
    int64_t o = w - 1 - (e % 7);
    if (o > 0) o -= 7;
    const int64_t r = e - 1 + o + 7 * (nth + 1);
    return r < f ? 0 : Wrap32(r);
}

int32_t CalTruncDay(double value) { return TruncInt(value); }

double CalMakeDate(double year, double month, double day) {
    const int32_t n = CalDayNumber(TruncInt(year), TruncInt(month), TruncInt(day));
    return n == kCalBadDate ? 4294967295.0 : static_cast<double>(n);
}

}  // namespace tessel
