#include "helpers/cpuid/Family.h"

#include <invscan/catalogue.h>

namespace invscan::cpuid {
namespace {

// Marks, and what brands call otherwise than the enumeration does.
constexpr std::pair<std::string_view, std::string_view> kSpellings[] = {
    {"(R)", " "},
    {"(r)", " "},
    {"(TM)", " "},
    {"(tm)", " "},
    {"Core2", "Core 2"},
    {"EPYC", "AMD Zen"},
    {"Ryzen", "AMD Zen"},
    {"AMD A4-", "AMD A-Series "},
    {"AMD A6-", "AMD A-Series "},
    {"AMD A8-", "AMD A-Series "},
    {"AMD A9-", "AMD A-Series "},
    {"AMD A10-", "AMD A-Series "},
    {"AMD A12-", "AMD A-Series "},
};

std::string spelledAsEnumerated(std::string text) {
  for (const auto& [theirs, ours] : kSpellings) {
    std::size_t at = 0;
    while ((at = text.find(theirs, at)) != text.npos) {
      text.replace(at, theirs.size(), ours);
      at += ours.size();
    }
    text = squeezed(text);
  }
  return text;
}

bool isWordCharacter(char letter) {
  return (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'Z') ||
         (letter >= 'a' && letter <= 'z') || letter == '+';
}

bool hasWords(const std::string& text, std::string_view words) {
  for (std::size_t at = text.find(words); at != text.npos; at = text.find(words, at + 1)) {
    const std::size_t end = at + words.size();
    const bool begins = at == 0 || !isWordCharacter(text[at - 1]);
    if (begins && (end == text.size() || !isWordCharacter(text[end]))) return true;
  }
  return false;
}

// The longest name that the brand has in it: "Pentium 4", not "Pentium".
std::string_view fromBrand(const Processor& processor) {
  const std::string brand = spelledAsEnumerated(processor.brand);
  std::string_view longest;
  for (const kelEnumDef* entry = PROCESSOR_FAMILY_ENUM_DEF; entry->value != kEndOfTable; ++entry) {
    const std::string_view name = entry->text;
    if (name.size() > longest.size() && hasWords(brand, name)) longest = name;
  }
  return longest;
}

std::string_view fromFirmware(unsigned char family) {
  constexpr unsigned char kOther = 1, kUnknown = 2, kAmbiguous = 0xBE;
  if (family == kOther || family == kUnknown || family == kAmbiguous) return {};
  for (const kelEnumDef* entry = PROCESSOR_FAMILY_ENUM_DEF; entry->value != kEndOfTable; ++entry) {
    if (entry->value == family) return entry->text;
  }
  return {};
}

// Families by number that are one family by name.
std::string_view fromSignature(const Processor& processor) {
  const unsigned family = processor.family();
  if (processor.isIntel() && family == 15) return "Pentium 4";
  if (processor.isAmd() && family >= 0x17) return "AMD Zen";
  return {};
}

}  // namespace

std::string familyName(const Processor& processor, unsigned char firmwareFamily) {
  for (const std::string_view name :
       {fromBrand(processor), fromFirmware(firmwareFamily), fromSignature(processor)}) {
    if (!name.empty()) return std::string(name);
  }
  return processor.signature ? "x86 Family " + std::to_string(processor.family()) : "";
}

}  // namespace invscan::cpuid
