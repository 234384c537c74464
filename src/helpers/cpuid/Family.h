#pragma once

#include <string>

#include "helpers/cpuid/Processor.h"

namespace invscan::cpuid {

// The processor family, as the catalogue's enumeration of families has it whenever it has one for
// this processor: by the brand, else by the firmware's family byte (firmware of virtual machines
// states families of no relation to the processor), else by the signature. For other processors
// "x86 Family 6", with the number that the signature has. Empty when nothing is known.
std::string familyName(const Processor& processor, unsigned char firmwareFamily);

}  // namespace invscan::cpuid
