// The module's 32 exports, all with the host's export signature.
#ifndef TESSEL_HOST_EXPORTS_H
#define TESSEL_HOST_EXPORTS_H

#include "host/vela_api.h"

extern "C" {
VELA_EXPORT void FnRlsEst(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnRivEst(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnInstabilityTest(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnRalsFunc(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnRalsForecast(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnJackknifeHCSE(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnGLScovariance(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnKroneckerSel(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnSeasonalRsq(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnDeSeasonalize(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnFilterMS(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnSmoothMS(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnSmoothMS2(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnSmoothMS2sym(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnGarchVar(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnEgarchVar(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnLogitJD(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnLogitProbDeriv(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnBinProbitJD(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnCountJD(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnActFitTable(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnDynForc(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnImpulse(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnComfac(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnEncompassing(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnFracSigma(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnInitAlgebraNls(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnRunAlgebraNls(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnGetAlgebraVar(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnGetAlgebraName(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnGetAlgebraAddedData(VelaValue *rtn, VelaValue *pv, int cArg);
VELA_EXPORT void FnExitAlgebraNls(VelaValue *rtn, VelaValue *pv, int cArg);
}

#endif
