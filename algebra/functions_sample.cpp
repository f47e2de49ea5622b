// Whole-sample functions of the Algebra language: statistics over the sample, correlograms, smoothers
// and sorts. The smoothers and correlograms do their work once, at the first observation of the sample,
// over t1 .. t2 (bounded by the data column), and at every observation return the destination's value.
#include <algorithm>
#include <vector>

#include "algebra/correlogram.h"
#include "algebra/database.h"
#include "algebra/functions.h"
#include "algebra/series.h"
#include "algebra/smoothing.h"
#include "algebra/sorting.h"

namespace tessel {

namespace {

// The sample t1 .. t2 clipped to the data column; false when nothing is left.
bool SampleSpan(const AlgebraWorkspace *ws, int *lo, int *m) {
    const int a = std::max(ws->t1, 0);
    const int b = std::min(ws->t2, ws->nobs - 1);
    if (a > b) return false;
    *lo = a;
    *m = b - a + 1;
    return true;
}

void MarkModified(AlgebraWorkspace *ws, double arg) {
    const int v = AlgebraVarIndex(ws, arg);
    if (v >= 0 && ws->db != nullptr) AlgebraDbMarkModified(ws->db, v, v);
}

double SameArguments(AlgebraWorkspace *ws) {
    ws->flags |= kAlgebraFlagSameArguments;
    return kMissing;
}

// Shared frame of the functions that write one or two destinations from one source: resolves the
// columns, rejects a destination that is the source (or the other destination), runs `work` over the
// sample at t1 and returns the first destination's value at t.
template <class Work>
double WholeSample(AlgebraWorkspace *ws, double src_arg, double dst_arg, double dst2_arg, bool two, Work work) {
    double *src = AlgebraVarColumn(ws, src_arg);
    double *dst = AlgebraVarColumn(ws, dst_arg);
    double *dst2 = two ? AlgebraVarColumn(ws, dst2_arg) : nullptr;
    if (src == nullptr || dst == nullptr || (two && dst2 == nullptr)) return kMissing;
    if (src == dst || (two && (src == dst2 || dst == dst2))) return SameArguments(ws);
    int lo, m;
    if (ws->t == ws->t1 && SampleSpan(ws, &lo, &m)) {
        MarkModified(ws, dst_arg);
        if (two) MarkModified(ws, dst2_arg);
        work(src + lo, m, dst + lo, two ? dst2 + lo : nullptr);
    }
    return AlgebraColumnAt(ws, dst, ws->t);
}

}  // namespace

double AlgebraFnMean(AlgebraWorkspace *ws, const double *a) {
    const double *x = AlgebraVarColumn(ws, a[0]);
    int lo, m;
    if (x == nullptr || !SampleSpan(ws, &lo, &m)) return kMissing;
    double s = 0.0;
    int n = 0;
    for (int t = lo; t < lo + m; ++t)
        if (!IsMissing(x[t])) {
            s += x[t];
            ++n;
        }
    return n > 0 ? s / n : kMissing;
}

double AlgebraFnVariance(AlgebraWorkspace *ws, const double *a) {
    const double *x = AlgebraVarColumn(ws, a[0]);
    int lo, m;
    if (x == nullptr || !SampleSpan(ws, &lo, &m)) return kMissing;
    double s = 0.0;
    int n = 0;
    for (int t = lo; t < lo + m; ++t)
        if (!IsMissing(x[t])) {
            s += x[t];
            ++n;
        }
    if (n == 0) return kMissing;
    const double mean = s / n;
    double ss = 0.0;
    for (int t = lo; t < lo + m; ++t)
        if (!IsMissing(x[t])) ss += (x[t] - mean) * (x[t] - mean);
    return ss / n;
}

double AlgebraFnAcf(AlgebraWorkspace *ws, const double *a) {
    return WholeSample(ws, a[0], a[1], a[2], true, [](const double *x, int m, double *r, double *lag) {
        AlgebraAcf(x, m, r);
        for (int k = 0; k < m; ++k) lag[k] = k;
    });
}

double AlgebraFnPacf(AlgebraWorkspace *ws, const double *a) {
    return WholeSample(ws, a[0], a[1], a[2], true, [](const double *x, int m, double *p, double *lag) {
        AlgebraPacf(x, m, p);
        for (int k = 0; k < m; ++k) lag[k] = k;
    });
}

double AlgebraFnPeriodogram(AlgebraWorkspace *ws, const double *a) {
    return WholeSample(ws, a[0], a[1], a[2], true, [](const double *x, int m, double *I, double *w) {
        AlgebraPeriodogram(x, m, I, w);
    });
}

double AlgebraFnSmoothNp(AlgebraWorkspace *ws, const double *a) {
    const double h = a[1];
    return WholeSample(ws, a[0], a[2], 0.0, false, [h](const double *x, int m, double *out, double *) {
        AlgebraKernelSmooth(x, m, h, out);
    });
}

double AlgebraFnSmoothSp(AlgebraWorkspace *ws, const double *a) {
    const double lambda = a[1];
    return WholeSample(ws, a[0], a[2], 0.0, false, [lambda](const double *x, int m, double *out, double *) {
        AlgebraSplineSmooth(x, m, lambda, out);
    });
}

double AlgebraFnEwma(AlgebraWorkspace *ws, const double *a) {
    const double alpha = a[1], beta = a[2];
    return WholeSample(ws, a[0], a[3], 0.0, false, [alpha, beta](const double *x, int m, double *out, double *) {
        Ewma(x, m, alpha, beta, out);
    });
}

double AlgebraFnEwmc0(AlgebraWorkspace *ws, const double *a) {
    const double *y = AlgebraVarColumn(ws, a[1]);
    const double *x = AlgebraVarColumn(ws, a[0]);
    double *dst = AlgebraVarColumn(ws, a[3]);
    if (x == nullptr || y == nullptr || dst == nullptr) return kMissing;
    if (x == dst || y == dst) return SameArguments(ws);
    int lo, m;
    if (ws->t == ws->t1 && SampleSpan(ws, &lo, &m)) {
        MarkModified(ws, a[3]);
        Ewmc(x + lo, y + lo, m, a[2], true, dst + lo);
    }
    return AlgebraColumnAt(ws, dst, ws->t);
}

// The filter runs over the longest stretch of the sample without missing values, as the database
// selects it; the rest of the destination is left as it was.
double AlgebraFnSmoothHp(AlgebraWorkspace *ws, const double *a) {
    double *src = AlgebraVarColumn(ws, a[0]);
    double *dst = AlgebraVarColumn(ws, a[2]);
    if (src == nullptr || dst == nullptr) return kMissing;
    if (src == dst) return SameArguments(ws);
    const int var = AlgebraVarIndex(ws, a[0]);
    if (ws->t == ws->t1 && ws->db != nullptr && var >= 0) {
        int first = 0, last = -1;
        const int n = AlgebraDbSpanWithoutMissing(ws->db, var, ws->t1, ws->t2, &first, &last);
        if (n >= 2 && first >= 0 && last < ws->nobs && last - first + 1 == n) {
            MarkModified(ws, a[2]);
            HpFilter(src + first, n, a[1], dst + first, true);
        }
    }
    return AlgebraColumnAt(ws, dst, ws->t);
}

double AlgebraFnSort(AlgebraWorkspace *ws, const double *a) {
    double *x = AlgebraVarColumn(ws, a[0]);
    if (x == nullptr) return kMissing;
    int lo, m;
    if (ws->t == ws->t1 && SampleSpan(ws, &lo, &m)) {
        MarkModified(ws, a[0]);
        AlgebraSortValues(x + lo, m);
    }
    return AlgebraColumnAt(ws, x, ws->t);
}

double AlgebraFnSortBy(AlgebraWorkspace *ws, const double *a) {
    double *x = AlgebraVarColumn(ws, a[0]);
    double *y = AlgebraVarColumn(ws, a[1]);
    if (x == nullptr || y == nullptr) return kMissing;
    if (x == y) return SameArguments(ws);
    if (ws->t == 0 && ws->nobs > 0) {
        MarkModified(ws, a[0]);
        MarkModified(ws, a[1]);
        std::vector<int> order;
        std::vector<double> work;
        AlgebraSortOrder(x, ws->nobs, order);
        AlgebraApplyOrder(x, order, work);
        AlgebraApplyOrder(y, order, work);
    }
    return AlgebraColumnAt(ws, x, ws->t);
}

// Reorders every variable of the database by the key's order; a column shared by two variables is
// moved once.
double AlgebraFnSortAllBy(AlgebraWorkspace *ws, const double *a) {
    double *key = AlgebraVarColumn(ws, a[0]);
    if (key == nullptr) return kMissing;
    AlgebraDatabase *db = ws->db;
    if (ws->t == 0 && ws->nobs > 0 && db != nullptr && db->data != nullptr) {
        std::vector<int> order;
        std::vector<double> work;
        AlgebraSortOrder(key, ws->nobs, order);
        std::vector<double *> cols;
        for (int i = 0; i < db->count; ++i) {
            const AlgebraStorage *st = db->storage ? db->storage[i] : nullptr;
            if (db->data[i] != nullptr && st != nullptr && st->count >= ws->nobs) cols.push_back(db->data[i]);
        }
        // The key need not be a database column of this database; make sure it moves too.
        cols.push_back(key);
        std::sort(cols.begin(), cols.end());
        cols.erase(std::unique(cols.begin(), cols.end()), cols.end());
        if (db->count > 0) AlgebraDbMarkModified(db, 0, db->count - 1);
        for (double *c : cols) AlgebraApplyOrder(c, order, work);
    }
    return AlgebraColumnAt(ws, key, ws->t);
}

}  // namespace tessel
