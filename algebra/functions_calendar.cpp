// Position of the current observation in the sample and in the calendar. A dated database holds a day
// number plus a fraction of a day per observation in its first variable; an undated one only has the
// year and period of its sample.
#include <cmath>
#include <cstdint>

#include "algebra/calendar.h"
#include "algebra/database.h"
#include "algebra/functions.h"

namespace tessel {

namespace {

// The date value at t of a dated database; false for an undated one or a missing date.
bool ObsDate(const AlgebraWorkspace *ws, double *date) {
    if (ws->db == nullptr || !AlgebraDbHasDates(ws->db)) return false;
    *date = AlgebraDbDateAt(ws->db, ws->t);
    return !IsMissing(*date) && std::fabs(*date) < 2.1e9;
}

bool ObsYmd(const AlgebraWorkspace *ws, int32_t *n, int *y, int *m, int *d) {
    double date;
    if (!ObsDate(ws, &date)) return false;
    *n = static_cast<int32_t>(date);
    CalSplitDate(*n, y, m, d);
    return true;
}

// Clock fields of the time of day at t; an undated database has time 0.
bool ObsClock(const AlgebraWorkspace *ws, int *h, int *m, int *s) {
    if (ws->db == nullptr) return false;
    double frac = 0.0;
    if (AlgebraDbHasDates(ws->db)) {
        double date;
        if (!ObsDate(ws, &date)) return false;
        frac = date - std::floor(date);
    }
    int c;
    CalSplitTime(frac, h, m, s, &c);
    return true;
}

}  // namespace

double AlgebraFnTrend(AlgebraWorkspace *ws, const double *) { return ws->t + 1.0; }

double AlgebraFnPeriod(AlgebraWorkspace *ws, const double *) {
    if (ws->db == nullptr) return kMissing;
    return AlgebraSamplePeriod(ws->db->sample, ws->t);
}

double AlgebraFnSeason(AlgebraWorkspace *ws, const double *) {
    if (ws->db == nullptr) return kMissing;
    return AlgebraSamplePeriod(ws->db->sample, ws->t) == 1 ? 1.0 : 0.0;
}

double AlgebraFnDummy(AlgebraWorkspace *ws, const double *a) {
    if (ws->db == nullptr) return kMissing;
    const AlgebraSample &s = ws->db->sample;
    const int64_t first = AlgebraSampleIndex(s, AlgebraTrunc(a[0]), AlgebraTrunc(a[1]));
    const int64_t last = AlgebraSampleIndex(s, AlgebraTrunc(a[2]), AlgebraTrunc(a[3]));
    return first <= ws->t && ws->t <= last ? 1.0 : 0.0;
}

double AlgebraFnDummyDates(AlgebraWorkspace *ws, const double *a) {
    if (ws->db == nullptr) return kMissing;
    int first = 0, last = -1;
    AlgebraDbObsRange(ws->db, a[0], a[1], &first, &last);
    return first <= ws->t && ws->t <= last ? 1.0 : 0.0;
}

double AlgebraFnMakeDate(AlgebraWorkspace *, const double *a) { return CalMakeDate(a[0], a[1], a[2]); }

double AlgebraFnMakeTime(AlgebraWorkspace *, const double *a) { return CalTimeOfDay(a[0], a[1], a[2], 0.0); }

double AlgebraFnDate(AlgebraWorkspace *ws, const double *) {
    double date;
    return ObsDate(ws, &date) ? std::trunc(date) : kMissing;
}

double AlgebraFnTime(AlgebraWorkspace *ws, const double *) {
    if (ws->db == nullptr) return kMissing;
    if (!AlgebraDbHasDates(ws->db)) return 0.0;
    double date;
    return ObsDate(ws, &date) ? date - std::floor(date) : kMissing;
}

double AlgebraFnDayOfWeek(AlgebraWorkspace *ws, const double *) {
    double date;
    return ObsDate(ws, &date) ? CalDayOfWeek(static_cast<int32_t>(date)) : kMissing;
}

double AlgebraFnDay(AlgebraWorkspace *ws, const double *) {
    int32_t n;
    int y, m, d;
    return ObsYmd(ws, &n, &y, &m, &d) ? d : kMissing;
}

// Undated databases fall back to the sample's year and period.
double AlgebraFnMonth(AlgebraWorkspace *ws, const double *) {
    if (ws->db == nullptr) return kMissing;
    if (!AlgebraDbHasDates(ws->db)) return AlgebraSamplePeriod(ws->db->sample, ws->t);
    int32_t n;
    int y, m, d;
    return ObsYmd(ws, &n, &y, &m, &d) ? m : kMissing;
}

double AlgebraFnYear(AlgebraWorkspace *ws, const double *) {
    if (ws->db == nullptr) return kMissing;
    if (!AlgebraDbHasDates(ws->db)) return AlgebraSampleYear(ws->db->sample, ws->t);
    int32_t n;
    int y, m, d;
    return ObsYmd(ws, &n, &y, &m, &d) ? y : kMissing;
}

double AlgebraFnHours(AlgebraWorkspace *ws, const double *) {
    int h, m, s;
    return ObsClock(ws, &h, &m, &s) ? h : kMissing;
}

double AlgebraFnMinutes(AlgebraWorkspace *ws, const double *) {
    int h, m, s;
    return ObsClock(ws, &h, &m, &s) ? m : kMissing;
}

double AlgebraFnSeconds(AlgebraWorkspace *ws, const double *) {
    int h, m, s;
    return ObsClock(ws, &h, &m, &s) ? s : kMissing;
}

// Only observations in March and April can be Easter-related, whatever the shift.
double AlgebraFnIsEaster(AlgebraWorkspace *ws, const double *a) {
    int32_t n;
    int y, m, d;
    if (!ObsYmd(ws, &n, &y, &m, &d)) return 0.0;
    if (m != 3 && m != 4) return 0.0;
    return static_cast<int64_t>(n) == static_cast<int64_t>(CalEasterDay(y)) + AlgebraTrunc(a[0]) ? 1.0 : 0.0;
}

double AlgebraFnIsDayOfMonth(AlgebraWorkspace *ws, const double *a) {
    int32_t n;
    int y, m, d;
    if (!ObsYmd(ws, &n, &y, &m, &d)) return 0.0;
    const int32_t k = CalNthWeekday(y, AlgebraTrunc(a[0]), AlgebraTrunc(a[1]), AlgebraTrunc(a[2]));
    return k != 0 && k == n ? 1.0 : 0.0;
}

}  // namespace tessel
