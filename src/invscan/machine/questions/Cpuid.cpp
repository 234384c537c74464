#include "invscan/machine/questions/Cpuid.h"

#include <cpuid.h>

#include <algorithm>
#include <cctype>
#include <cstdio>

#include <nlohmann/json.hpp>

namespace invscan {
namespace {

constexpr std::size_t kDigits = 8;  // of a register

std::string eightDigits(std::uint32_t value) {
  char digits[kDigits + 1];
  snprintf(digits, sizeof digits, "%08x", value);
  return digits;
}

constexpr std::uint32_t kRange = 0xFFFFFF00;

// A range begins with a leaf that tells its last one (0 is seen where the range has two); beyond it
// a processor answers with the registers of another leaf. In a guest each of these questions is a
// trap into its hypervisor, so what one range told is kept while that is asked.
std::uint32_t lastLeafAlike(std::uint32_t leaf) {
  thread_local std::uint32_t range = ~0u, last = 0;
  if (range != (leaf & kRange)) {
    range = leaf & kRange;
    std::uint32_t ebx, ecx, edx;
    __cpuid(range, last, ebx, ecx, edx);
    if (last == 0) last = range + 1;
  }
  return last;
}

}  // namespace

std::string CpuidQuestion::keyName(CpuidLeaf leaf) {
  return eightDigits(leaf.leaf) + "." + eightDigits(leaf.subleaf);
}

std::string CpuidQuestion::readKey(const std::string& name, const CaptureValue& value) {
  const auto isDigit = [](unsigned char c) { return std::isxdigit(c) != 0; };
  const bool isLeaf = name.size() == 2 * kDigits + 1 && name[kDigits] == '.' &&
                      std::count_if(name.begin(), name.end(), isDigit) == 2 * kDigits;
  if (!isLeaf) value.refuse("a leaf and subleaf such as 00000004.00000001");
  std::string key = name;
  for (char& c : key) {
    if (c >= 'A' && c <= 'F') c = static_cast<char>(c - 'A' + 'a');
  }
  return key;
}

CpuidQuestion::Answer CpuidQuestion::live(CpuidLeaf asked) {
  const std::uint32_t last = lastLeafAlike(asked.leaf);
  if (last < asked.leaf || ((last ^ asked.leaf) & kRange) != 0) return std::nullopt;
  CpuidRegisters answer;
  __cpuid_count(asked.leaf, asked.subleaf, answer.eax, answer.ebx, answer.ecx, answer.edx);
  return answer;
}

void CpuidQuestion::write(Json& json, const Answer& registers) {
  if (!registers) return;
  json = {eightDigits(registers->eax), eightDigits(registers->ebx), eightDigits(registers->ecx),
          eightDigits(registers->edx)};
}

CpuidQuestion::Answer CpuidQuestion::read(const CaptureValue& value) {
  constexpr const char* kForm = "eax, ebx, ecx and edx, eight hexadecimal digits each";
  CpuidRegisters registers;
  std::uint32_t* const places[] = {&registers.eax, &registers.ebx, &registers.ecx, &registers.edx};
  if (value.size() != std::size(places)) value.refuse(kForm);
  std::size_t count = 0;
  value.forEachElement([&](const CaptureValue& element) {
    const std::string bytes = element.bytes();
    if (bytes.size() != sizeof(std::uint32_t)) value.refuse(kForm);
    for (const char byte : bytes) {
      *places[count] = *places[count] << 8 | static_cast<unsigned char>(byte);
    }
    ++count;
  });
  return registers;
}

}  // namespace invscan
