// Densities, distribution functions, tail probabilities and quantiles of the standard normal, Student t,
// chi-squared and F distributions, and the gamma, log-gamma and digamma functions.
//
// Every function returns a quiet NaN for an invalid argument (a NaN input, df <= 0, a probability
// outside [0, 1], ...) and never throws. Upper tails are computed directly, not as 1 - cdf, so they keep
// full relative precision far into the tail (NormalUpperTail(30) is about 4.9e-198, not 0).
//
// Quantiles come in two forms, one for each tail, so that small probabilities on either side are
// inverted without cancellation:
//   XxxQuantile(p)       the x with XxxCdf(x) = p        (lower-tail probability p)
//   XxxUpperQuantile(q)  the x with XxxUpperTail(x) = q  (upper-tail probability q)
// Probabilities 0 and 1 give the ends of the support (possibly infinite).
#ifndef TESSEL_NUMERIC_DISTRIBUTIONS_H
#define TESSEL_NUMERIC_DISTRIBUTIONS_H

namespace tessel {

// Standard normal.
double NormalDensity(double x);
double NormalCdf(double x);        // P(X <= x)
double NormalUpperTail(double x);  // P(X > x)
double NormalQuantile(double p);
double NormalUpperQuantile(double q);

// Student t with df > 0 degrees of freedom (not necessarily an integer).
double TDensity(double x, double df);
double TCdf(double x, double df);
double TUpperTail(double x, double df);
double TQuantile(double p, double df);
double TUpperQuantile(double q, double df);

// Chi-squared with df > 0 degrees of freedom; x < 0 has density 0 and cdf 0.
double ChiSquaredDensity(double x, double df);
double ChiSquaredCdf(double x, double df);
double ChiSquaredUpperTail(double x, double df);
double ChiSquaredQuantile(double p, double df);
double ChiSquaredUpperQuantile(double q, double df);

// F with df1 > 0 and df2 > 0 degrees of freedom; x < 0 has density 0 and cdf 0.
double FDensity(double x, double df1, double df2);
double FCdf(double x, double df1, double df2);
double FUpperTail(double x, double df1, double df2);
double FQuantile(double p, double df1, double df2);
double FUpperQuantile(double q, double df1, double df2);

// Gamma function; NaN at its poles (0, -1, -2, ...), +inf on overflow.
double Gamma(double x);
// log |Gamma(x)|; NaN at the poles of Gamma.
double LogGamma(double x);
// Digamma psi(x) = d/dx log Gamma(x); NaN at 0, -1, -2, ...
double Digamma(double x);

}  // namespace tessel

#endif
