// Process-wide bookkeeping of the stand-in runtime.
#ifndef TESSEL_VELAWIN_RUNTIME_STATE_H
#define TESSEL_VELAWIN_RUNTIME_STATE_H

namespace velawin {

long &LiveBlocks();
// True when the next allocation is to fail (set up by VelawinFailAllocations).
bool AllocationShouldFail();

}  // namespace velawin

#endif
