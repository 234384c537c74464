#include "agent/smbios/SmbiosText.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <vector>

#include "agent/Text.h"
#include "agent/smbios/ProcessorNames.h"
#include "agent/smbios/SmbiosFields.h"
#include "agent/smbios/SmbiosNames.h"

namespace invscan::agent {
namespace {

using Bios = SMBIOSTable0Data;

std::string capabilities(const Bios& bios) {
  constexpr struct {
    bool (Bios::*has)() const;
    const char* name;
  } kCapabilities[] = {
      {&Bios::isISASupported, "ISA"},
      {&Bios::isMCASupported, "MCA"},
      {&Bios::isEISASupported, "EISA"},
      {&Bios::isPCISupported, "PCI"},
      {&Bios::isPCMCIASupported, "PC Card"},
      {&Bios::isPnPSupported, "plug and play"},
      {&Bios::isAPMSupported, "APM"},
      {&Bios::isFlashableBIOS, "upgradeable"},
      {&Bios::isBIOSShadowing, "shadowing"},
      {&Bios::isVLVESASupported, "VL-VESA"},
      {&Bios::isESCDSupported, "ESCD"},
      {&Bios::isCDBootSupported, "boot from CD"},
      {&Bios::isSelectableBoot, "selectable boot"},
      {&Bios::isBIOSROMSocketed, "socketed ROM"},
      {&Bios::isPCCardBootable, "boot from PC Card"},
      {&Bios::isEnhancedDiskDrive, "EDD"},
      {&Bios::isACPISupported, "ACPI"},
      {&Bios::isUSBLegacySupported, "USB legacy"},
      {&Bios::isAGPSupported, "AGP"},
      {&Bios::isI2OBootSupported, "boot from I2O"},
      {&Bios::isLS120BootSupported, "boot from LS-120"},
      {&Bios::isATAPIZipBootSupported, "boot from ATAPI Zip"},
      {&Bios::is1394BootSupported, "boot from IEEE 1394"},
      {&Bios::isSmartBatteryBIOS, "smart battery"},
  };
  std::vector<std::string> names;
  for (const auto& [has, name] : kCapabilities) {
    if ((bios.*has)()) names.emplace_back(name);
  }
  return joined(names, ", ");
}

constexpr Field<Bios> kBiosFields[] = {
    {"Vendor", text<&Bios::getVendor>},
    {"Version", text<&Bios::getVersion>},
    {"Release date", text<&Bios::getReleaseDate>},
    {"Address segment", bits<&Bios::getStartAddrSeg>},
    {"ROM size", size<&Bios::getROMSizeKB>},
    {"Supports", capabilities},
};

using System = SMBIOSTable1Data;
constexpr Field<System> kSystemFields[] = {
    {"Manufacturer", text<&System::getManufacturer>},
    {"Product", text<&System::getProduct>},
    {"Version", text<&System::getVersion>},
    {"Serial number", text<&System::getSerialNumber>},
    {"UUID", text<&System::getUUIDAsString>},
    {"Wake-up", named<&System::getWakeUpType, kWakeUpTypes>},
};

using Board = SMBIOSTable2Data;
constexpr Field<Board> kBoardFields[] = {
    {"Manufacturer", text<&Board::getManufacturer>},
    {"Product", text<&Board::getProduct>},
    {"Version", text<&Board::getVersion>},
    {"Serial number", text<&Board::getSerialNumber>},
};

using Enclosure = SMBIOSTable3Data;

constexpr unsigned kLockBit = 0x80;

constexpr Field<Enclosure> kEnclosureFields[] = {
    {"Manufacturer", text<&Enclosure::getManufacturer>},
    {"Type", [](const Enclosure& e) { return nameOf<kEnclosureTypes>(e.getType() & ~kLockBit); }},
    {"Lock", [](const Enclosure& e) { return std::string(e.getType() & kLockBit ? "yes" : "no"); }},
    {"Version", text<&Enclosure::getVersion>},
    {"Serial number", text<&Enclosure::getSerialNumber>},
    {"Asset tag", text<&Enclosure::getAssetTag>},
};

using Processor = SMBIOSTable4Data;

// The base family says whether the extended family and model count.
std::string signature(const Processor& processor) {
  constexpr unsigned kP6 = 6, kExtended = 15;
  if (processor.getEAX() == 0) return "";
  unsigned family = processor.getCPUIDFamily(), model = processor.getCPUIDModel();
  if (family == kP6 || family == kExtended) model |= processor.getEAX() >> 12 & 0xF0;
  if (family == kExtended) family += processor.getEAX() >> 20 & 0xFF;
  return "family " + std::to_string(family) + ", model " + std::to_string(model) + ", stepping " +
         std::to_string(processor.getCPUIDStepping());
}

std::string voltage(const Processor& processor) {
  const double volts = processor.getVoltageInVolts();
  return volts > 0 ? decimal(volts, 1) + " V" : "";
}

constexpr Field<Processor> kProcessorFields[] = {
    {"Socket", text<&Processor::getSocket>},
    {"Populated", yesOrNo<&Processor::isPopulated>},
    {"Type", named<&Processor::getType, kProcessorTypes>},
    {"Family", named<&Processor::getWholeFamily, kProcessorFamilies>},
    {"Manufacturer", text<&Processor::getManufacturer>},
    {"Version", text<&Processor::getVersion>},
    {"Signature", signature},
    {"CPUID EAX", bits<&Processor::getEAX>},
    {"CPUID EDX", bits<&Processor::getEDX>},
    {"Voltage", voltage},
    {"External clock", measure<&Processor::getExternalClock, kMegahertz>},
    {"Maximum speed", measure<&Processor::getMaxSpeed, kMegahertz>},
    {"Current speed", measure<&Processor::getCurrentSpeed, kMegahertz>},
    {"Cores", measure<&Processor::getCoreCount, kNoUnit>},
    {"Threads", measure<&Processor::getThreadCount, kNoUnit>},
    {"Status", bits<&Processor::getStatus>},
    {"Upgrade", named<&Processor::getUpgrade, kProcessorUpgrades>},
    {"Serial number", text<&Processor::getSerialNumber>},
    {"Asset tag", text<&Processor::getAssetTag>},
};

using Controller = SMBIOSTable5Data;

std::string largestModule(const Controller& controller) {
  constexpr int kLargestPower = 43;  // in MiB, that 64 bits hold in KiB with room to spare
  const int power = controller.getMaximumMemoryModuleSize();
  return power <= kLargestPower ? size(1024ULL << power) : "";
}

constexpr Field<Controller> kControllerFields[] = {
    {"Error detection", bits<&Controller::getErrorDetectingMethod>},
    {"Error correction", bits<&Controller::getErrorCorrectingCapability>},
    {"Interleaves", bits<&Controller::getSupportedInterleave>},
    {"Current interleave", bits<&Controller::getCurrentInterleave>},
    {"Largest module", largestModule},
    {"Speeds", bits<&Controller::getSupportedSpeeds>},
    {"Memory types", namedBits<&Controller::getSupportedMemoryTypes, kModuleTypes>},
    {"Module voltages", bits<&Controller::getMemoryModuleVoltage>},
    {"Slots", number<&Controller::getNumAssocMemorySlots>},
};

using Module = SMBIOSTable6Data;

template <auto get>
std::string moduleSize(const Module& module) {
  constexpr unsigned kNone = 0xFFFFFFFF;
  const unsigned mebibytes = (module.*get)();
  return mebibytes == kNone ? "none, or not known" : size(mebibytes * 1024ULL);
}

constexpr Field<Module> kModuleFields[] = {
    {"Socket", text<&Module::getSocketDesignation>},
    {"Installed", moduleSize<&Module::getInstalledSizeMB>},
    {"Enabled", moduleSize<&Module::getEnabledSizeMB>},
    {"Type", namedBits<&Module::getMemoryType, kModuleTypes>},
    {"Speed", measure<&Module::getCurrentSpeed, kNanoseconds>},
    {"Bank connections", bits<&Module::getBankConnections>},
    {"Error status", bits<&Module::getErrorStatus>},
};

using Port = SMBIOSTable8Data;
constexpr Field<Port> kPortFields[] = {
    {"Internal designator", text<&Port::getInternalDesignator>},
    {"Internal connector", named<&Port::getInternalConnectorType, kConnectorTypes>},
    {"External designator", text<&Port::getExternalDesignator>},
    {"External connector", named<&Port::getExternalConnectorType, kConnectorTypes>},
    {"Port type", named<&Port::getPortType, kPortTypes>},
};

using Slot = SMBIOSTable9Data;
constexpr Field<Slot> kSlotFields[] = {
    {"Designation", text<&Slot::getSlotDesignation>},
    {"Type", named<&Slot::getSlotType, kSlotTypes>},
    {"Data bus width", named<&Slot::getSlotDataBusWidth, kSlotWidths>},
    {"Usage", named<&Slot::getCurrentUsage, kSlotUsages>},
    {"Length", named<&Slot::getSlotLength, kSlotLengths>},
    {"ID", number<&Slot::getSlotID>},
    {"Characteristics 1", bits<&Slot::getSlotCharacteristics1>},
    {"Characteristics 2", bits<&Slot::getSlotCharacteristics2>},
};

using OnBoard = SMBIOSTable10Data;

constexpr unsigned char kEnabledBit = 0x80;

constexpr Field<OnBoard> kOnBoardFields[] = {
    {"Description", text<&OnBoard::getDescription>},
    {"Type", named<&OnBoard::getDeviceTypeActual, kOnBoardDeviceTypes>},
    {"Enabled",
     [](const OnBoard& d) { return std::string(d.getDeviceType() & kEnabledBit ? "yes" : "no"); }},
};

using Array = SMBIOSTable16Data;
constexpr Field<Array> kArrayFields[] = {
    {"Location", named<&Array::getLocation, kArrayLocations>},
    {"Use", named<&Array::getUse, kArrayUses>},
    {"Error correction", named<&Array::getErrorCorrection, kErrorCorrections>},
    {"Maximum capacity", size<&Array::getWholeCapacity>},
    {"Devices", number<&Array::getNumMemDevices>},
};

using Device = SMBIOSTable17Data;

std::string deviceSize(const Device& device) {
  if (device.getSizeKB() != 0) return size(device.getSizeKB());
  return device.getSize() == 0 ? "empty" : "not known";
}

constexpr Field<Device> kDeviceFields[] = {
    {"Locator", text<&Device::getDeviceLocator>},
    {"Bank", text<&Device::getBankLocator>},
    {"Size", deviceSize},
    {"Form factor", named<&Device::getFormFactor, kFormFactors>},
    {"Type", named<&Device::getMemoryType, kMemoryTypes>},
    {"Type detail", namedBits<&Device::getTypeDetail, kMemoryDetails>},
    {"Speed", measure<&Device::getSpeed, kMegatransfers>},
    {"Total width", measure<&Device::getTotalWidth, kBits>},
    {"Data width", measure<&Device::getDataWidth, kBits>},
    {"Set", measure<&Device::getDeviceSet, kNoUnit>},
    {"Manufacturer", text<&Device::getManufacturer>},
    {"Serial number", text<&Device::getSerialNumber>},
    {"Asset tag", text<&Device::getAssetTag>},
    {"Part number", text<&Device::getPartNumber>},
};

using Battery = SMBIOSTable22Data;
constexpr Field<Battery> kBatteryFields[] = {
    {"Location", text<&Battery::getLocation>},
    {"Manufacturer", text<&Battery::getManufacturer>},
    {"Manufacture date", text<&Battery::getManufactureDate>},
    {"Serial number", text<&Battery::getSerialNumber>},
    {"Device name", text<&Battery::getDeviceName>},
};

using OemTexts = SMBIOSTable11Data;

std::string oemTexts(const OemTexts& record) {
  std::vector<std::string> texts;
  for (int n = 1; n <= record.getCount(); ++n) {
    if (const char* text = record.getString(n)) texts.push_back(printable(text));
  }
  return joined(texts, " | ");
}

constexpr Field<OemTexts> kOemFields[] = {{"Texts", oemTexts}};

using Security = SMBIOSTable24Data;

template <unsigned shift>
std::string passwordState(const Security& security) {
  return nameOf<kPasswordStates>(security.getHWSecStatus() >> shift & 3U);
}

constexpr Field<Security> kSecurityFields[] = {
    {"Power-on password", passwordState<6>},
    {"Keyboard password", passwordState<4>},
    {"Administrator password", passwordState<2>},
    {"Front panel reset", passwordState<0>},
};

template <class Record, std::size_t count>
std::string block(const std::string& title, const Record& record,
                  const Field<Record> (&fields)[count]) {
  Columns columns;
  for (const auto& [name, show] : fields) {
    if (std::string value = show(record); !value.empty()) columns.add({name, std::move(value)});
  }
  return "\n" + title + "\n" + columns.text("  ");
}

template <class Record, class Fields>
std::string one(const std::string& title, const Record* record, const Fields& fields) {
  return record ? block(title, *record, fields) : "";
}

// Each of several has its number in the title.
template <class Get, class Fields>
std::string all(const std::string& title, int total, Get get, const Fields& fields) {
  std::string text;
  for (int i = 0; i < total; ++i) {
    const std::string number =
        total > 1 ? " " + std::to_string(i + 1) + " of " + std::to_string(total) : "";
    text += block(title + number, *get(i), fields);
  }
  return text;
}

std::string head(const SMBIOSTable& table) {
  return "SMBIOS " + std::to_string(table.getMajorVersion()) + "." +
         std::to_string(table.getMinorVersion()) + ", " +
         counted(static_cast<std::size_t>(table.getNumTables()), "structure") + " in " +
         counted(static_cast<std::size_t>(table.getTotalLength()), "byte") + "\n";
}

// The first array, and where a table keeps more of them, those of system memory.
std::vector<const Array*> memoryArrays(const SMBIOSTable& table) {
  std::vector<const Array*> arrays(table.getSystemMemoryArrays().begin(),
                                   table.getSystemMemoryArrays().end());
  const Array* first = table.getTable16();
  if (first && std::find(arrays.begin(), arrays.end(), first) == arrays.end()) {
    arrays.insert(arrays.begin(), first);
  }
  return arrays;
}

struct Structure {
  int type;
  std::string_view bytes;  // its texts included; the table's own
};

std::vector<Structure> structuresOf(const SMBIOSTable& table) {
  constexpr int kHeaderSize = 4;
  constexpr int kEndOfTable = 127;
  std::vector<Structure> structures;
  unsigned char* data = table.getData();
  const int end = table.getTotalLength();
  for (int n = 0, at = 0; n < table.getNumTables() && at + kHeaderSize <= end; ++n) {
    if (data[at] == kEndOfTable || data[at + 1] < kHeaderSize) break;
    const int next = std::min(table.getNextType(data, at), end);
    structures.push_back(
        {data[at], {reinterpret_cast<char*>(data + at), static_cast<std::size_t>(next - at)}});
    at = next;
  }
  return structures;
}

// Records of a type that the table does not hand out, or not beyond the first so many. Each reads a
// copy that is long enough, and ends as it must, whatever the structure says of itself.
template <class Record, class Fields>
std::string copied(const std::string& title, int type, int known, const SMBIOSTable& table,
                   const std::vector<Structure>& structures, const Fields& fields) {
  constexpr std::size_t kLongestFields = 255, kDoubleNul = 2;
  std::string text;
  for (const Structure& structure : structures) {
    if (structure.type != type || known-- > 0) continue;
    std::vector<unsigned char> bytes(structure.bytes.begin(), structure.bytes.end());
    bytes.resize(bytes.size() + kLongestFields + kDoubleNul);
    Record record(static_cast<int>(table.getRevision()));
    record.readBlock(bytes.data(), 0);
    text += block(title, record, fields);
  }
  return text;
}

// What the blocks do not show: other types, and structures beyond the number that a table keeps.
std::string others(const SMBIOSTable& table, int arrays, const std::vector<Structure>& structures) {
  constexpr int kShown[] = {2, 3, 11, 22};
  const std::map<int, int> kept = {{0, table.getTable0() != nullptr},
                                   {1, table.getTable1() != nullptr},
                                   {4, table.getTable4Total()},
                                   {5, table.getTable5() != nullptr},
                                   {6, table.getTable6Total()},
                                   {8, table.getTable8Total()},
                                   {9, table.getTable9Total()},
                                   {10, table.getTable10Total()},
                                   {16, arrays},
                                   {17, table.getTable17Total()},
                                   {24, table.getTable24() != nullptr}};
  std::map<int, int> counts;
  for (const Structure& structure : structures) ++counts[structure.type];
  for (const int type : kShown) counts.erase(type);
  for (const auto& [type, count] : kept) counts[type] -= count;
  std::vector<std::string> types;
  for (const auto& [type, count] : counts) {
    if (count <= 0) continue;
    types.push_back(std::to_string(type) + (count > 1 ? " x " + std::to_string(count) : ""));
  }
  return types.empty() ? "" : "\nFurther structures, by type: " + joined(types, ", ") + "\n";
}

}  // namespace

std::string describeTable(const SMBIOSTable& table) {
  const auto arrays = memoryArrays(table);
  const auto structures = structuresOf(table);
  const auto at = [&table](auto get) { return [&table, get](int i) { return (table.*get)(i); }; };
  using Table = SMBIOSTable;
  return head(table) + one("BIOS", table.getTable0(), kBiosFields) +
         one("System", table.getTable1(), kSystemFields) +
         one("Base Board", table.getTable2(), kBoardFields) +
         copied<Board>("Further Base Board", 2, table.getTable2() ? 1 : 0, table, structures,
                       kBoardFields) +
         one("Enclosure", table.getTable3(), kEnclosureFields) +
         copied<Enclosure>("Further Enclosure", 3, table.getTable3() ? 1 : 0, table, structures,
                           kEnclosureFields) +
         all("Processor", table.getTable4Total(), at(&Table::getTable4), kProcessorFields) +
         one("Memory Controller", table.getTable5(), kControllerFields) +
         all("Memory Module", table.getTable6Total(), at(&Table::getTable6), kModuleFields) +
         all("Port Connector", table.getTable8Total(), at(&Table::getTable8), kPortFields) +
         all("System Slot", table.getTable9Total(), at(&Table::getTable9), kSlotFields) +
         all("On Board Device", table.getTable10Total(), at(&Table::getTable10), kOnBoardFields) +
         all(
             "Memory Array", static_cast<int>(arrays.size()),
             [&arrays](int i) { return arrays[static_cast<std::size_t>(i)]; }, kArrayFields) +
         all("Memory Device", table.getTable17Total(), at(&Table::getTable17), kDeviceFields) +
         one("Hardware Security", table.getTable24(), kSecurityFields) +
         copied<Battery>("Portable Battery", 22, 0, table, structures, kBatteryFields) +
         copied<OemTexts>("OEM Strings", 11, 0, table, structures, kOemFields) +
         others(table, static_cast<int>(arrays.size()), structures);
}

}  // namespace invscan::agent
