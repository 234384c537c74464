#include <invscan/processor.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include <invscan/factory.h>
#include <invscan/helper.h>
#include <invscan/hwconfig.h>
#include <invscan/vartree.h>

#include "common/text/Numbers.h"
#include "log/Trace.h"

using namespace invscan;

const IntelX86Flag IntelX86Flags[24] = {
    {"fpu", 0x1},       {"vme", 0x2},       {"de", 0x4},         {"pse", 0x8},
    {"tsc", 0x10},      {"msr", 0x20},      {"pae", 0x40},       {"mce", 0x80},
    {"cx8", 0x100},     {"apic", 0x200},    {"sep", 0x800},      {"mtrr", 0x1000},
    {"pge", 0x2000},    {"mca", 0x4000},    {"cmov", 0x8000},    {"pat", 0x10000},
    {"pse36", 0x20000}, {"psn", 0x40000},   {"mmx", 0x800000},   {"fxsr", 0x1000000},
    {"sse", 0x2000000}, {"xmm", 0x2000000}, {"sse2", 0x4000000}, {"ht", 0x10000000},
};

namespace {

constexpr struct {
  unsigned long first, last;
  unsigned long speed;
} kSoldSpeeds[] = {{71, 79, 75}, {186, 189, 188}};

// The last two digits decide.
constexpr struct {
  unsigned long last;
  unsigned long rounded;
} kRounding[] = {{15, 0},  {29, 20}, {39, 33}, {57, 50}, {62, 60},
                 {70, 66}, {77, 75}, {85, 80}, {91, 90}, {99, 100}};

// What a vendor calls itself, and what the records call it.
constexpr struct {
  std::string_view vendor;
  const char* manufactor;
  bool hasBrands;
} kVendors[] = {{"GenuineIntel", "INTEL", true}, {"AMD", "AMD", false}, {"Cyrix", "CYRIX", false}};

struct Identity {
  std::string_view vendor;
  int family;
  int model;
  std::string_view modelName;
};

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != text.npos;
}

bool isNumber(const String& text, long number) {
  return leadingInteger(text.toNarrow()) == number;
}

int brandClass(std::string_view modelName) {
  return contains(modelName, "Celeron") ? 1 : contains(modelName, "Xeon") ? 2 : 0;
}

const ProcessorInfo* findRecord(const Identity& identity) {
  const auto vendor = std::find_if(std::begin(kVendors), std::end(kVendors), [&](const auto& row) {
    return contains(identity.vendor, row.vendor);
  });
  if (vendor == std::end(kVendors)) return nullptr;
  const int brand = brandClass(identity.modelName);
  for (const ProcessorInfo* record : GroupFactory::getInstance()->getProcessors()) {
    if (record->manufactor == vendor->manufactor && isNumber(record->family, identity.family) &&
        isNumber(record->model, identity.model) &&
        (!vendor->hasBrands || (record->type == "0" && isNumber(record->pcx, brand)))) {
      return record;
    }
  }
  return nullptr;
}

String familyByHelper() {
  const Trace trace(getCcLogHw(), "familyByHelper()");
  trace.at().min("Running CPUID");
  VtExecInfo* const answer = getCpuidVT();
  if (!answer || !answer->tree || answer->result != 0) {
    trace.at().min("ERROR! Failed to use CPUID");
    if (answer) {
      trace.at().min("CPUID command exit code was %d data was %d", answer->result,
                     answer->tree != nullptr);
    }
    return "Unknown";
  }
  const VtVariant* const value = vtGetValue(answer, "ProcessorTable.Processor", "Family");
  const char* const family = vtGetValue(value, static_cast<const char*>(nullptr));
  if (!family) return "Unknown";
  trace.at().mid("found Family using CPUID");
  return family;
}

}  // namespace

unsigned long makeCPUflagsFromString(char* flagsLine) {
  unsigned long mask = 0;
  const std::string_view line(flagsLine ? flagsLine : "");
  for (const IntelX86Flag& flag : IntelX86Flags) {
    if (contains(line, flag.name)) mask |= flag.bit;
  }
  return mask;
}

unsigned long RealSpeedValue(unsigned long mhz) {
  for (const auto& range : kSoldSpeeds) {
    if (mhz >= range.first && mhz <= range.last) return range.speed;
  }
  const unsigned long digits = mhz % 100;
  const auto* row = std::find_if(std::begin(kRounding), std::end(kRounding),
                                 [=](const auto& rounding) { return digits <= rounding.last; });
  return mhz - digits + row->rounded;
}

void parseLine(char* line, char* value) {
  const char* colon = std::strchr(line, ':');
  if (!colon) return;
  const char* start = colon + (colon[1] == '\0' ? 1 : 2);
  std::memmove(value, start, std::strlen(start) + 1);
}

String getEnum(const char* vendor, int family, int model, const char* modelName) {
  const Trace trace(getCcLogHw(), "getEnum()");
  const ProcessorInfo* record =
      findRecord({vendor ? vendor : "", family, model, modelName ? modelName : ""});
  const String name = record ? record->typeEnum : familyByHelper();
  trace.at().mid("hardware return = %s", name.toNarrow().c_str());
  return name;
}
