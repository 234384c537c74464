#pragma once

#include "helpers/cpuid/Firmware.h"
#include "helpers/cpuid/Processor.h"

namespace invscan::cpuid {

// The nominal clock in MHz; 0 when nothing tells.
long findClock(const Leaves& leaves, const Processor& processor, const Firmware& firmware,
               CpuInfo& cpuInfo);

}  // namespace invscan::cpuid
