// A client library that answers every request: each file has 2 replicas, a block group factor of 4,
// and blocks on a few locations, at most 3 of them per reply. Allocates nothing, so that it doesn't
// count among the allocations of the native that calls it. One thread at a time.
#pragma once

#include <span>

#include "robustness/fault_point.h"

// zorf_fcntl and zorf_restripe_file.
std::span<FaultPoint> clientFaults();
