// Asks the processor for its CPUID leaves.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"

namespace invscan::cpuid {

class Leaves {
 public:
  using Note = std::function<void(std::string_view line)>;

  // Every leaf that is answered is noted as a capture's machine.json has it.
  explicit Leaves(Note note = {}) : note_(std::move(note)) {}

  std::optional<CpuidRegisters> find(std::uint32_t leaf, std::uint32_t subleaf = 0) const;
  // Zeros for a leaf that is not there, which is what processors mean by zeros.
  CpuidRegisters get(std::uint32_t leaf, std::uint32_t subleaf = 0) const {
    return find(leaf, subleaf).value_or(CpuidRegisters());
  }

 private:
  Note note_;
};

inline bool hasBit(std::uint32_t word, unsigned bit) {
  return (word >> bit & 1U) != 0;
}

// Bits first to last of a register.
inline std::uint32_t bitsOf(std::uint32_t word, unsigned first, unsigned last) {
  return word >> first & ((2U << (last - first)) - 1);
}

// The characters in registers, up to the NULs that fill them.
std::string textIn(std::initializer_list<std::uint32_t> registers);

}  // namespace invscan::cpuid
