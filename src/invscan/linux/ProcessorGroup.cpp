#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/helper.h>
#include <invscan/md5.h>
#include <invscan/processor.h>
#include <invscan/smbios.h>

#include "common/text/Lines.h"
#include "invscan/SMBIOS/FirmwareText.h"
#include "invscan/SMBIOS/table/SharedTable.h"
#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/utils/Processors.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

// The values are the family byte of SMBIOS type 4, other architectures included: hosts read this
// table for every machine of the product family.
const kelEnumDef PROCESSOR_FAMILY_ENUM_DEF[] = {
    {1, "Other"},
    {2, "Unknown"},
    {3, "8086"},
    {4, "80286"},
    {5, "80386"},
    {6, "80486"},
    {7, "8087"},
    {8, "80287"},
    {9, "80387"},
    {10, "80487"},
    {11, "Pentium"},
    {12, "Pentium Pro"},
    {13, "Pentium II"},
    {14, "Pentium MMX"},
    {15, "Celeron"},
    {16, "Pentium II Xeon"},
    {17, "Pentium III"},
    {18, "M1"},
    {19, "M2"},
    {24, "Duron"},
    {25, "K5"},
    {26, "K6"},
    {27, "K6-2"},
    {28, "K6-3"},
    {29, "Athlon"},
    {30, "AMD 29000"},
    {31, "K6-2+"},
    {32, "Power PC"},
    {33, "Power PC 601"},
    {34, "Power PC 603"},
    {35, "Power PC 603+"},
    {36, "Power PC 604"},
    {37, "Power PC 620"},
    {38, "Power PC x704"},
    {39, "Power PC 750"},
    {43, "Atom"},
    {48, "Alpha"},
    {49, "Alpha 21064"},
    {50, "Alpha 21066"},
    {51, "Alpha 21164"},
    {52, "Alpha 21164PC"},
    {53, "Alpha 21164a"},
    {54, "Alpha 21264"},
    {55, "Alpha 21364"},
    {64, "MIPS"},
    {65, "MIPS R4000"},
    {66, "MIPS R4200"},
    {67, "MIPS R4400"},
    {68, "MIPS R4600"},
    {69, "MIPS R10000"},
    {72, "AMD A-Series"},
    {80, "SPARC"},
    {81, "SuperSPARC"},
    {82, "microSPARC II"},
    {83, "microSPARC IIep"},
    {84, "UltraSPARC"},
    {85, "UltraSPARC II"},
    {86, "UltraSPARC IIi"},
    {87, "UltraSPARC III"},
    {88, "UltraSPARC IIIi"},
    {96, "68040"},
    {97, "68xxx"},
    {98, "68000"},
    {99, "68010"},
    {100, "68020"},
    {101, "68030"},
    {107, "AMD Zen"},
    {112, "Hobbit"},
    {120, "Crusoe TM5000"},
    {121, "Crusoe TM3000"},
    {122, "Efficeon TM8000"},
    {128, "Weitek"},
    {130, "Itanium"},
    {131, "Athlon 64"},
    {132, "Opteron"},
    {133, "Sempron"},
    {134, "Turion 64"},
    {135, "Dual-Core Opteron"},
    {136, "Athlon 64 X2"},
    {137, "Turion 64 X2"},
    {138, "Quad-Core Opteron"},
    {139, "Third-Generation Opteron"},
    {140, "Phenom FX"},
    {141, "Phenom X4"},
    {142, "Phenom X2"},
    {143, "Athlon X2"},
    {144, "PA-RISC"},
    {145, "PA-RISC 8500"},
    {146, "PA-RISC 8000"},
    {147, "PA-RISC 7300LC"},
    {148, "PA-RISC 7200"},
    {149, "PA-RISC 7100LC"},
    {150, "PA-RISC 7100"},
    {160, "V30"},
    {176, "Pentium III Xeon"},
    {177, "Pentium III SpeedStep"},
    {178, "Pentium 4"},
    {179, "Xeon"},
    {180, "AS/400"},
    {181, "Xeon MP"},
    {182, "Athlon XP"},
    {183, "Athlon MP"},
    {184, "Itanium 2"},
    {185, "Pentium M"},
    {186, "Celeron D"},
    {187, "Pentium D"},
    {188, "Pentium Extreme Edition"},
    {189, "Core Solo"},
    {190, "Core 2 or K7"},
    {191, "Core 2 Duo"},
    {194, "Core 2 Quad"},
    {198, "Core i7"},
    {200, "S/390"},
    {201, "ESA/390 G4"},
    {202, "ESA/390 G5"},
    {203, "ESA/390 G6"},
    {204, "z/Architecture"},
    {205, "Core i5"},
    {206, "Core i3"},
    {207, "Core i9"},
    {210, "C7-M"},
    {211, "C7-D"},
    {212, "C7"},
    {213, "Eden"},
    {250, "i860"},
    {251, "i960"},
    {kEndOfTable, nullptr},
};

// The values are the upgrade byte of SMBIOS type 4; 0 stands for a byte that is missing or above
// 17.
const kelEnumDef PROCESSOR_INTERFACE_ENUM_DEF[] = {
    {0, "Not Specified"},
    {1, "Other"},
    {2, "Unknown"},
    {3, "Daughter Board"},
    {4, "ZIF Socket"},
    {5, "Replaceable Piggy Back"},
    {6, "None"},
    {7, "LIF Socket"},
    {8, "Slot 1"},
    {9, "Slot 2"},
    {10, "370-pin Socket"},
    {11, "Slot A"},
    {12, "Slot M"},
    {13, "Socket 423"},
    {14, "Socket A"},
    {15, "Socket 478"},
    {16, "Socket 754"},
    {17, "Socket 940"},
    {kEndOfTable, nullptr},
};

const kelAttribDef PROCESSOR_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "ID", KEL_STRING, 32, nullptr},
    {3, "Manufacturer", KEL_STRING, 64, nullptr},
    {4, "Family", KEL_ULONG, 0, PROCESSOR_FAMILY_ENUM_DEF},
    {5, "Interface", KEL_ULONG, 0, PROCESSOR_INTERFACE_ENUM_DEF},
    {6, "Model", KEL_STRING, 128, nullptr},
    {7, "CPU Family", KEL_ULONG, 0, nullptr},
    {8, "CPU Model", KEL_ULONG, 0, nullptr},
    {9, "Stepping", KEL_ULONG, 0, nullptr},
    {10, "Speed", KEL_ULONG, 0, nullptr},
    {11, "Maximum Speed", KEL_ULONG, 0, nullptr},
    {12, "External Clock", KEL_ULONG, 0, nullptr},
    {13, "Feature Flags", KEL_ULONG, 0, nullptr},
    {14, "Floating Point Unit Present", KEL_STRING, 1, nullptr},
    {15, "Virtual Mode Extensions", KEL_STRING, 1, nullptr},
    {16, "Debugging Extensions", KEL_STRING, 1, nullptr},
    {17, "Page Size Extensions", KEL_STRING, 1, nullptr},
    {18, "Time Stamp Counter", KEL_STRING, 1, nullptr},
    {19, "Model Specific Registers", KEL_STRING, 1, nullptr},
    {20, "Physical Address Extension", KEL_STRING, 1, nullptr},
    {21, "Machine Check Exception", KEL_STRING, 1, nullptr},
    {22, "CMPXCHG8B Instruction", KEL_STRING, 1, nullptr},
    {23, "On-Chip APIC Present", KEL_STRING, 1, nullptr},
    {24, "Fast System Call", KEL_STRING, 1, nullptr},
    {25, "Memory Type Range Registers", KEL_STRING, 1, nullptr},
    {26, "Page Global Enable", KEL_STRING, 1, nullptr},
    {27, "Machine Check Architecture", KEL_STRING, 1, nullptr},
    {28, "Conditional Move Instructions", KEL_STRING, 1, nullptr},
    {29, "Page Attribute Table", KEL_STRING, 1, nullptr},
    {30, "36-bit Page Size Extension", KEL_STRING, 1, nullptr},
    {31, "Processor Serial Number Present", KEL_STRING, 1, nullptr},
    {32, "Intel MMX(tm) Technology", KEL_STRING, 1, nullptr},
    {33, "Fast Floating Point Save and Restore", KEL_STRING, 1, nullptr},
    {34, "Streaming SIMD Extensions", KEL_STRING, 1, nullptr},
    {35, "AMD 3DNow!(tm) Technology", KEL_STRING, 1, nullptr},
    {36, "L2 Cache Size", KEL_ULONG, 0, nullptr},
    {37, "L3 Cache Size", KEL_ULONG, 0, nullptr},
    {38, "Signature", KEL_STRING, 16, nullptr},
    {39, "Is 64 Bit", KEL_STRING, 1, nullptr},
    {40, "Cores per Package", KEL_ULONG, 0, nullptr},
    {41, "Threads per Core", KEL_ULONG, 0, nullptr},
    {42, "Physical ID", KEL_ULONG, 0, nullptr},
    {43, "Core ID", KEL_ULONG, 0, nullptr},
    {44, "Socket Designation", KEL_STRING, 64, nullptr},
    {45, "Microcode", KEL_STRING, 16, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

constexpr char kCpuInfo[] = "/proc/cpuinfo";
constexpr char kKernel[] = "/proc/cpuinfo; /sys/devices/system/cpu/*";
constexpr char kCaches[] = "/sys/devices/system/cpu/*; helper cpuid";

const AttributeTraits kProcessorTraits[] = {
    {1, "", Stable, kPublic, "Running number of the processor, from 1.", kKernel, nullptr},
    {2, "", Identity, kPublic, "Digest of what tells this processor's make and place.", kKernel,
     nullptr},
    {3, "", Stable, kPublic, "Maker of the processor, as the processor itself names it.", kCpuInfo,
     nullptr},
    {4, "", Stable, kPublic, "Processor family by the firmware standard's numbering.",
     "/proc/cpuinfo; helper cpuid; /sys/firmware/dmi/tables/*; /dev/mem", "2"},
    {5, "", Stable, kPublic, "Kind of socket or slot that the processor sits in.", kFirmwareTables,
     nullptr, kNoPath, kNeverZero},
    {6, "", Stable, kPublic, "Model name that the processor reports.", kCpuInfo, nullptr},
    {7, "", Stable, kPublic, "Family number that the processor reports.", kCpuInfo, nullptr,
     kNoPath, kNeverZero},
    {8, "", Stable, kPublic, "Model number that the processor reports.", kCpuInfo, nullptr},
    {9, "", Stable, kPublic, "Stepping number that the processor reports.", kCpuInfo, nullptr},
    {10, "MHz", Volatile, kPublic,
     "Marketed clock speed; where nobody tells it, the measured one rounded.",
     "/sys/devices/system/cpu/*; helper cpuid; /proc/cpuinfo", nullptr, kNoPath, kNeverZero},
    {11, "MHz", Stable, kPublic,
     "Highest clock speed of the processor, else of what the socket takes.",
     "/sys/devices/system/cpu/*; /sys/firmware/dmi/tables/*; /dev/mem", nullptr, kNoPath,
     kNeverZero},
    {12, "MHz", Stable, kPublic, "Clock speed of the processor's bus.", kFirmwareTables, nullptr,
     kNoPath, kNeverZero},
    {13, "", Stable, kPublic, "Feature word that the processor reports, one bit a feature.",
     kCpuInfo, nullptr, kNoPath, kNeverZero},
    {14, "", Stable, kPublic, "Whether the processor has a floating point unit, T or F.", kCpuInfo,
     nullptr},
    {15, "", Stable, kPublic, "Whether virtual 8086 mode has its interrupt extensions, T or F.",
     kCpuInfo, nullptr},
    {16, "", Stable, kPublic, "Whether breakpoints on I/O accesses work, T or F.", kCpuInfo,
     nullptr},
    {17, "", Stable, kPublic, "Whether pages of 4 MB work, T or F.", kCpuInfo, nullptr},
    {18, "", Stable, kPublic, "Whether the processor counts clock cycles for programs, T or F.",
     kCpuInfo, nullptr},
    {19, "", Stable, kPublic, "Whether model specific registers can be read and written, T or F.",
     kCpuInfo, nullptr},
    {20, "", Stable, kPublic, "Whether physical addresses may exceed 32 bits, T or F.", kCpuInfo,
     nullptr},
    {21, "", Stable, kPublic, "Whether hardware errors raise the machine check exception, T or F.",
     kCpuInfo, nullptr},
    {22, "", Stable, kPublic,
     "Whether eight bytes can be compared and exchanged in one instruction, T or F.", kCpuInfo,
     nullptr},
    {23, "", Stable, kPublic, "Whether the processor has its own interrupt controller, T or F.",
     kCpuInfo, nullptr},
    {24, "", Stable, kPublic, "Whether SYSENTER and SYSEXIT work, T or F.", kCpuInfo, nullptr},
    {25, "", Stable, kPublic, "Whether caching of address ranges can be set by registers, T or F.",
     kCpuInfo, nullptr},
    {26, "", Stable, kPublic, "Whether page translations can be kept over a task switch, T or F.",
     kCpuInfo, nullptr},
    {27, "", Stable, kPublic,
     "Whether hardware errors are reported in the common register banks, T or F.", kCpuInfo,
     nullptr},
    {28, "", Stable, kPublic, "Whether conditional moves work, T or F.", kCpuInfo, nullptr},
    {29, "", Stable, kPublic, "Whether caching can be set for each page, T or F.", kCpuInfo,
     nullptr},
    {30, "", Stable, kPublic, "Whether large pages can lie above 4 GB, T or F.", kCpuInfo, nullptr},
    {31, "", Stable, kPublic, "Whether the processor can tell a serial number of its own, T or F.",
     kCpuInfo, nullptr},
    {32, "", Stable, kPublic, "Whether MMX instructions work, T or F.", kCpuInfo, nullptr},
    {33, "", Stable, kPublic, "Whether FXSAVE and FXRSTOR work, T or F.", kCpuInfo, nullptr},
    {34, "", Stable, kPublic, "Whether SSE instructions work, T or F.", kCpuInfo, nullptr},
    {35, "", Stable, kPublic, "Whether 3DNow! instructions work, T or F.", kCpuInfo, nullptr},
    {36, "KiB", Stable, kPublic, "Size of the second-level cache.", kCaches, nullptr},
    {37, "KiB", Stable, kPublic, "Size of the third-level cache.", kCaches, nullptr},
    {38, "", Stable, kPublic, "Signature of family, model and stepping, hexadecimal.", kCpuInfo,
     nullptr},
    {39, "", Stable, kPublic, "Whether the processor runs 64-bit programs, T or F.", kCpuInfo,
     nullptr},
    {40, "", Stable, kPublic, "Number of cores in the processor's package.", kKernel, nullptr,
     kNoPath, kNeverZero},
    {41, "", Stable, kPublic, "Number of logical processors that share a core.", kKernel, nullptr,
     kNoPath, kNeverZero},
    {42, "", Stable, kPublic, "Number of the package that holds the processor.", kKernel, nullptr},
    {43, "", Stable, kPublic, "Number of the core within the package.", kKernel, nullptr},
    {44, "", Stable, kPublic, "Name of the socket as printed on the board.", kFirmwareTables,
     nullptr},
    {45, "", Stable, kPublic, "Revision of the microcode that is loaded, hexadecimal.", kCpuInfo,
     nullptr},
    kEndOfTraits,
};

namespace {

constexpr unsigned long kUnknownFamily = 2;
constexpr unsigned short kLikelyClock = 2000;  // MHz, of a bus
constexpr unsigned long kLastInterface = 17;
constexpr unsigned char kCentralProcessor = 3;

// Attributes that tell of one bit of the feature word.
constexpr struct {
  unsigned long attribute;
  unsigned bit;
} kFeatures[] = {
    {14, 0x1},      {15, 0x2},       {16, 0x4},       {17, 0x8},     {18, 0x10},    {19, 0x20},
    {20, 0x40},     {21, 0x80},      {22, 0x100},     {23, 0x200},   {24, 0x800},   {25, 0x1000},
    {26, 0x2000},   {27, 0x4000},    {28, 0x8000},    {29, 0x10000}, {30, 0x20000}, {31, 0x40000},
    {32, 0x800000}, {33, 0x1000000}, {34, 0x2000000},
};

const char* flag(bool isSet) {
  return isSet ? "T" : "F";
}

// A place that is not known counts as -1, so that digests stay what they are when more is known of
// other processors.
std::string idOf(const LogicalProcessor& processor) {
  const auto number = [](long value) { return static_cast<int>(value); };
  char numbers[128];
  snprintf(numbers, sizeof numbers, "%i%i%i%i%i%x%i%i%i", number(processor.family),
           number(processor.model), number(processor.stepping), number(processor.package),
           number(processor.core), static_cast<unsigned>(processor.features),
           number(processor.number), number(processor.apicId), number(processor.initialApicId));
  const std::string text = processor.vendor + processor.modelName + numbers;
  const std::unique_ptr<char, decltype(&std::free)> digest(md5_checksum(text.c_str()), &std::free);
  return digest ? digest.get() : "";
}

bool isFamily(unsigned long value) {
  const kelEnumDef* entry = PROCESSOR_FAMILY_ENUM_DEF;
  while (entry->value != kEndOfTable && entry->value != value) ++entry;
  return entry->value != kEndOfTable;
}

// By the name, where the enumeration has it, else what the firmware says of its first processor.
unsigned long familyByName(std::string_view name) {
  for (const kelEnumDef* entry = PROCESSOR_FAMILY_ENUM_DEF; entry->value != kEndOfTable; ++entry) {
    if (name == entry->text && entry->value != kUnknownFamily) return entry->value;
  }
  const unsigned char told = SM_ProcessorFamily();
  return isFamily(told) ? told : kUnknownFamily;
}

// Processors of a make share their family, and the search for it.
class FamilyLookup {
 public:
  unsigned long find(const LogicalProcessor& processor) {
    Make make{processor.vendor, processor.modelName, processor.family, processor.model};
    if (!family_ || make != make_) {
      make_ = std::move(make);
      family_ = familyByName(getEnum(processor.vendor.c_str(), static_cast<int>(processor.family),
                                     static_cast<int>(processor.model), processor.modelName.c_str())
                                 .toNarrow());
    }
    return *family_;
  }

 private:
  using Make = std::tuple<std::string, std::string, long, long>;

  Make make_;
  std::optional<unsigned long> family_;
};

// The firmware's records of the packages. Nothing but their order tells which is which, so that
// they count only when there are as many of both; else the first one stands for all.
class Sockets {
 public:
  explicit Sockets(const std::vector<LogicalProcessor>& processors) {
    if (!firmware_) return;
    for (int n = 0; n < firmware_->getTable4Total(); ++n) {
      const SMBIOSTable4Data* record = firmware_->getTable4(n);
      if (record->isPopulated() && record->getType() == kCentralProcessor) {
        records_.push_back(record);
      }
    }
    std::set<long> packages;
    for (const LogicalProcessor& processor : processors) {
      if (processor.package >= 0) packages.insert(processor.package);
    }
    if (packages.size() != records_.size()) return;
    for (const long package : packages) places_.emplace(package, places_.size());
  }

  // Null when the firmware does not tell.
  const SMBIOSTable4Data* of(const LogicalProcessor& processor) const {
    if (records_.empty() || !processor.isOnline) return nullptr;
    const auto place = places_.find(processor.package);
    return records_[place == places_.end() ? 0 : place->second];
  }

 private:
  const FirmwareInUse firmware_;
  std::vector<const SMBIOSTable4Data*> records_;
  std::map<long, std::size_t> places_;  // by package
};

// What the helper tells of all processors alike.
struct HelperFigures {
  unsigned long mhz = 0, level2Kb = 0, level3Kb = 0;
};

unsigned long measuredMhz(const LogicalProcessor& processor) {
  constexpr double kMostMhz = 1e6;
  const bool isLikely = processor.mhz >= 0 && processor.mhz < kMostMhz;
  return isLikely ? static_cast<unsigned long>(std::lround(processor.mhz)) : 0;
}

// The clock counts natively only, and not when it is the first processor's as measured.
HelperFigures askHelper(const LogicalProcessor& first) {
  VtExecInfo* const answer = getCpuidVT();
  if (!answer || answer->result != 0) return {};
  const auto number = [&](const char* name) {
    return static_cast<unsigned long>(
        std::max(vtGetValue(answer, "ProcessorTable.Processor", name, 0), 0));
  };
  const unsigned long mhz = number("CpuClockMHz");
  const bool isNominal = useNativeSources() && mhz != measuredMhz(first);
  return {isNominal ? mhz : 0, number("L2CacheSizeKB"), number("L3CacheSizeKB")};
}

// Adds rows; what is not known is left out of them.
class Rows {
 public:
  Rows(const std::vector<LogicalProcessor>& processors, KelTable& table)
      : sockets_(processors), helper_(askHelper(processors.front())), table_(table) {}

  void add(const LogicalProcessor& processor) {
    const SMBIOSTable4Data* record = sockets_.of(processor);
    RowBuilder row;
    row.count(1, ++index_).text(2, idOf(processor));
    addMake(row, processor, record);
    addClocks(row, processor, record);
    addFeatures(row, processor);
    if (processor.isOnline) addCaches(row, processor);
    addSignature(row, processor);
    row.text(39, flag(processor.isLongMode));
    addNumber(row, 40, processor.coresPerPackage);
    addNumber(row, 41, processor.threadsPerCore);
    addNumber(row, 42, processor.package);
    addNumber(row, 43, processor.core);
    if (record) addText(row, 44, cleanText(record->getSocket()), 64);
    addText(row, 45, processor.microcode, 16);
    row.addTo(table_);
  }

 private:
  static void addText(RowBuilder& row, unsigned long id, const std::string& text,
                      std::size_t most) {
    if (!text.empty()) row.text(id, std::string(cutText(text, most)));
  }
  static void addNumber(RowBuilder& row, unsigned long id, long number) {
    if (number >= 0) row.count(id, static_cast<unsigned long>(number));
  }
  static void addSize(RowBuilder& row, unsigned long id, unsigned long size) {
    if (size != 0) row.count(id, size);
  }

  void addMake(RowBuilder& row, const LogicalProcessor& processor, const SMBIOSTable4Data* record) {
    addText(row, 3, processor.vendor, 64);
    row.count(4, families_.find(processor));
    if (record) {
      const unsigned long upgrade = record->getUpgrade();
      row.count(5, upgrade <= kLastInterface ? upgrade : 0);
    }
    addText(row, 6, processor.modelName, 128);
    addNumber(row, 7, processor.family);
    addNumber(row, 8, processor.model);
    addNumber(row, 9, processor.stepping);
  }

  void addClocks(RowBuilder& row, const LogicalProcessor& processor,
                 const SMBIOSTable4Data* record) const {
    if (!processor.isOnline) return;
    addSize(row, 10, speedOf(processor));
    const unsigned long highest = record ? record->getMaxSpeed() : 0;
    addSize(row, 11, processor.maximumMhz != 0 ? processor.maximumMhz : highest);
    const unsigned short bus = record ? record->getExternalClock() : 0;
    if (bus <= kLikelyClock) addSize(row, 12, bus);
  }

  static void addFeatures(RowBuilder& row, const LogicalProcessor& processor) {
    row.count(13, processor.features);
    for (const auto& [attribute, bit] : kFeatures) {
      row.text(attribute, flag((processor.features & bit) != 0));
    }
    row.text(35, flag(processor.has3dNow));
  }

  void addCaches(RowBuilder& row, const LogicalProcessor& processor) const {
    addSize(row, 36, processor.level2Kb != 0 ? processor.level2Kb : helper_.level2Kb);
    addSize(row, 37, processor.level3Kb != 0 ? processor.level3Kb : helper_.level3Kb);
  }

  static void addSignature(RowBuilder& row, const LogicalProcessor& processor) {
    constexpr long kMostFamily = 15 + 255, kMostModel = 255;
    if (processor.family <= 0 || processor.family > kMostFamily || processor.model < 0 ||
        processor.model > kMostModel || processor.stepping < 0) {
      return;
    }
    char digits[9];
    snprintf(digits, sizeof digits, "%08X",
             signatureOf(processor.family, processor.model, processor.stepping));
    row.text(38, digits);
  }

  // What is measured just now says little of today's processors, whose clock is never still.
  unsigned long speedOf(const LogicalProcessor& processor) const {
    if (processor.nominalMhz != 0) return processor.nominalMhz;
    if (helper_.mhz != 0) return helper_.mhz;
    return RealSpeedValue(measuredMhz(processor));
  }

  const Sockets sockets_;
  const HelperFigures helper_;
  FamilyLookup families_;
  KelTable& table_;
  unsigned long index_ = 0;
};

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* ProcessorGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  const std::vector<LogicalProcessor> processors = readProcessors();
  trace.at().mid("hardware /proc/cpuinfo count=%d SMBIOS Populated Processors =%d",
                 static_cast<int>(processors.size()), SM_PopulatedProcessorCount());
  if (processors.empty()) return nullptr;
  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  Rows rows(processors, *table);
  for (const LogicalProcessor& processor : processors) rows.add(processor);
  return table.release();
}
