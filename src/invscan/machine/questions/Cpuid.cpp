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
  // A range begins with a leaf that tells its last one (0 is seen where the range has two); beyond
  // it a processor answers with the registers of another leaf.
  constexpr std::uint32_t kRange = 0xFFFFFF00;
  CpuidRegisters answer;
  __cpuid(asked.leaf & kRange, answer.eax, answer.ebx, answer.ecx, answer.edx);
  const std::uint32_t last = answer.eax != 0 ? answer.eax : (asked.leaf & kRange) + 1;
  if (last < asked.leaf || ((last ^ asked.leaf) & kRange) != 0) return std::nullopt;
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
