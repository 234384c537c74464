// Small well-formed firmware tables, for tests to injure.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <invscan/invscan.h>

#include "TestMachine.h"

namespace invscan {

// A little-endian number of that many bytes.
inline std::string number(unsigned long long value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 0xFF);
  return text;
}

// A structure: its fields behind the header of four bytes, and its texts.
inline std::string structure(int type, const std::string& fields,
                             const std::vector<std::string>& texts = {}) {
  std::string bytes = {static_cast<char>(type), static_cast<char>(fields.size() + 4), 0, 0};
  bytes += fields;
  for (const std::string& text : texts) bytes += text + '\0';
  return bytes + std::string(texts.empty() ? 2 : 1, '\0');
}

inline std::string zeros(std::size_t count) {
  return std::string(count, '\0');
}

// The part of a 32-bit entry point that the search for "_DMI_" reads, 10 bytes before it on: its
// version there counts when the BCD one is 0.
inline std::string anchor(unsigned length, unsigned address, unsigned count, unsigned version,
                          unsigned bcdVersion = 0) {
  return number(version >> 8, 1) + number(version & 0xFF, 1) + zeros(8) + "_DMI_" + zeros(1) +
         number(length, 2) + number(address, 4) + number(count, 2) + number(bcdVersion, 1);
}

// Entry points as the kernel shows them. The checksums stay 0.
inline std::string entryPoint32(unsigned version, unsigned length, unsigned count) {
  return "_SM_" + zeros(1) + "\x1F" + anchor(length, 0, count, version);
}

inline std::string entryPoint64(unsigned version, unsigned length) {
  return "_SM3_" + zeros(1) + "\x18" + number(version >> 8, 1) + number(version & 0xFF, 1) +
         zeros(3) + number(length, 4) + zeros(8);
}

constexpr unsigned kTableAddress = 0xE8000;

// Memory with a structure table, and with its anchor behind that place of the BIOS segment.
inline Answers memoryWith(const std::string& structures, const std::string& anchorBytes,
                          std::size_t place = 0x5000) {
  constexpr std::size_t kSegment = 0xF0000 - kTableAddress;
  std::string memory = structures;
  memory.resize(kSegment + place);
  memory += anchorBytes;
  memory.resize(kSegment + 0x10000);
  return {.physicalMemory = {{kTableAddress, memory}}};
}

inline Answers memoryOf(const std::string& structures, unsigned version = 0x203) {
  return memoryWith(
      structures, anchor(static_cast<unsigned>(structures.size()), kTableAddress, 0xFFFF, version));
}

// A machine with these structures in memory and the groups made anew, for the length of a scope.
class Firmware {
 public:
  explicit Firmware(const std::string& structures, const char* sources = "classic",
                    const std::string& meminfo = "")
      : machine_(answers(structures, meminfo), sources) {
    GroupFactory::getInstance()->initialise();
  }

 private:
  static Answers answers(const std::string& structures, const std::string& meminfo) {
    Answers answers = memoryOf(structures + structure(127, ""));
    answers.files["/proc/meminfo"] = {0, meminfo};
    return answers;
  }

  OnMachine machine_;
};

}  // namespace invscan
