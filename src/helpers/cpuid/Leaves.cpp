#include "helpers/cpuid/Leaves.h"

#include <cstdio>

namespace invscan::cpuid {

std::optional<CpuidRegisters> Leaves::find(std::uint32_t leaf, std::uint32_t subleaf) const {
  const auto answer = machine().cpuid(leaf, subleaf);
  if (answer && note_) {
    char line[128];
    const int length = std::snprintf(
        line, sizeof line, "\"%08x.%08x\": [\"%08x\", \"%08x\", \"%08x\", \"%08x\"],\n", leaf,
        subleaf, answer->eax, answer->ebx, answer->ecx, answer->edx);
    note_({line, static_cast<std::size_t>(length)});
  }
  return answer;
}

std::string textIn(std::initializer_list<std::uint32_t> registers) {
  std::string text;
  for (const std::uint32_t word : registers) {
    for (unsigned byte = 0; byte < 4; ++byte) text += static_cast<char>(word >> 8 * byte & 0xFF);
  }
  text.resize(text.find_last_not_of('\0') + 1);
  return text;
}

}  // namespace invscan::cpuid
