// The names of the module's exports, in the order of the host's export table.
#ifndef TESSEL_HOST_EXPORT_NAMES_H
#define TESSEL_HOST_EXPORT_NAMES_H

namespace tessel::host {

inline constexpr const char *kExportNames[] = {
    "FnRlsEst",
    "FnRivEst",
    "FnInstabilityTest",
    "FnRalsFunc",
    "FnRalsForecast",
    "FnJackknifeHCSE",
    "FnGLScovariance",
    "FnKroneckerSel",
    "FnSeasonalRsq",
    "FnDeSeasonalize",
    "FnFilterMS",
    "FnSmoothMS",
    "FnSmoothMS2",
    "FnSmoothMS2sym",
    "FnGarchVar",
    "FnEgarchVar",
    "FnLogitJD",
    "FnLogitProbDeriv",
    "FnBinProbitJD",
    "FnCountJD",
    "FnActFitTable",
    "FnDynForc",
    "FnImpulse",
    "FnComfac",
    "FnEncompassing",
    "FnFracSigma",
    "FnInitAlgebraNls",
    "FnRunAlgebraNls",
    "FnGetAlgebraVar",
    "FnGetAlgebraName",
    "FnGetAlgebraAddedData",
    "FnExitAlgebraNls",
};
inline constexpr int kExportCount = sizeof kExportNames / sizeof kExportNames[0];

}  // namespace tessel::host

#endif
