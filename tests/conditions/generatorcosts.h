#ifndef KZ_TESTS_GENERATORCOSTS_H
#define KZ_TESTS_GENERATORCOSTS_H

#include "kzstatslicecost.h"

/// Of a process with four processors that had nothing to do in a slice of a second.
inline CKZStatSliceCost IdleCost() {
    CKZStatSliceCost cost;
    cost.measured = 1;
    cost.processorTime = cost.busiestThread = cost.longestWait = cost.packTime = cost.listenerTime =
        0;
    cost.processors = 4;
    cost.timerLateness = 0;
    return cost;
}

/// The same at work.
inline CKZStatSliceCost BusyCost() {
    CKZStatSliceCost cost = IdleCost();
    cost.processorTime = 3.8;
    return cost;
}

#endif
