// The optional results shared by the likelihood exports (gradient, information, probabilities,
// contributions, outer product), handed to the worker as its output record.
#ifndef TESSEL_HOST_LIKELIHOOD_OUTPUTS_H
#define TESSEL_HOST_LIKELIHOOD_OUTPUTS_H

#include "choice/lik_outputs.h"
#include "host/export_frame.h"

namespace tessel::host {

inline LikOutputs LikelihoodOutputs(const PendingResult (&res)[5]) {
    LikOutputs out;
    out.grad = res[0].data();
    out.info = res[1].rows_ptr();
    out.prob = res[2].rows_ptr();
    out.contrib = res[3].data();
    out.outer = res[4].rows_ptr();
    return out;
}

}  // namespace tessel::host

#endif
