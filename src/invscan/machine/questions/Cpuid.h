// What the processor answers to the CPUID instruction, on whichever processor this runs.
#pragma once

#include <cstdint>

#include "invscan/machine/Question.h"

namespace invscan {

struct CpuidRegisters {
  std::uint32_t eax = 0, ebx = 0, ecx = 0, edx = 0;
};

struct CpuidLeaf {
  std::uint32_t leaf = 0, subleaf = 0;
};

// There is no answer for a leaf beyond the last.
struct CpuidQuestion : PlainQuestion<std::optional<CpuidRegisters>, CpuidLeaf> {
  static constexpr const char* kSections[] = {"cpuid"};
  static constexpr const char* kLogName = "cpuid";
  static std::string keyName(CpuidLeaf leaf);  // such as "00000004.00000001"
  static std::string readKey(const std::string& name, const CaptureValue& value);
  static Answer live(CpuidLeaf leaf);
  static void write(Json& json, const Answer& registers);
  static Answer read(const CaptureValue& value);
};

}  // namespace invscan
