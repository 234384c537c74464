// When this run of the kernel began.
#pragma once

#include <optional>

#include "invscan/machine/Machine.h"

namespace invscan {

// Seconds since the epoch, by /proc/stat; none when it does not tell.
std::optional<long> kernelStart();

// Whether a run-level record can be of the run of the kernel that began at that time: one that was
// written before it, or later than now, was left behind or written by a clock that was wrong.
bool isOfThisRun(const RunLevelRecord& record, std::optional<long> start);

}  // namespace invscan
