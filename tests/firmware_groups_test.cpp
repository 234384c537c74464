// The groups that firmware tables tell, on small tables; whole real ones are in firmware_test.py.

#include "FirmwareBuilder.h"
#include "Rendering.h"
#include "TestMachine.h"
#include "Testing.h"

namespace invscan {
namespace {

std::string memoryDevice(unsigned size, unsigned form, unsigned type, unsigned detail = 0,
                         const std::vector<std::string>& names = {}) {
  return structure(17,
                   zeros(8) + number(size, 2) + number(form, 1) + zeros(1) + "\1\2" +
                       number(type, 1) + number(detail, 2),
                   names);
}

std::string oldModule(unsigned type, unsigned size, const std::string& name) {
  return structure(6, "\1" + zeros(2) + number(type, 2) + number(size, 1) + zeros(2), {name});
}

std::string md5(const char* text) {
  const std::unique_ptr<char, decltype(&std::free)> digest(md5_checksum(text), &std::free);
  return digest.get();
}

const std::string kBios =
    structure(0, "\1\2" + number(0xE000, 2) + "\3\7" + zeros(8), {"Maker", "v1 ", "05/12/08"});

std::string systemOf(const std::vector<std::string>& texts) {
  return structure(1, "\1\2\3\4" + zeros(16) + "\6", texts);
}

TEST(FirmwareGroups, MakeTheIdOfWhatTellsKindsOfMachinesApart) {
  const struct {
    const char* what;
    std::string structures, id;
  } cases[] = {
      {"every text", kBios + systemOf({"A", "B", "C", "1"}), md5("Makerv1512KABC")},
      {"another serial number", kBios + systemOf({"A", "B", "C", "2"}), md5("Makerv1512KABC")},
      {"placeholder, blanks, odd bytes", systemOf({"System Manufacturer", " B ", "C\x80y", " "}),
       md5("|BC")},
      {"a serial number alone", structure(2, zeros(3) + "\1", {"7"}), md5("|||")},
      {"bars alone", structure(2, zeros(4)), "-"},
      {"a size alone", structure(0, zeros(14)), md5("||64K")},
  };
  for (const auto& test : cases) {
    const Firmware firmware(test.structures);
    EXPECT_EQ(valuesOf(24, {"ID"}), test.id) << test.what;
  }
  const OnMachine machine({});
  GroupFactory::getInstance()->initialise();
  for (const unsigned long group : {24UL, 31UL}) EXPECT_EQ(valuesOf(group, {"ID"}), "no table");
}

TEST(FirmwareGroups, BoundEnclosureTypeAndPasswordState) {
  const struct {
    unsigned type, security;
    const char *told, *idText;
  } cases[] = {{0x97, 0x00, "23|0", "E23|"},
               {0x80, 0x40, "-|1", "E|"},
               {25, 0x80, "25|2", "E25|"},
               {26, 0xC0, "-|2", "E|"}};
  for (const auto& test : cases) {
    const Firmware firmware(structure(3, "\1" + number(test.type, 1) + zeros(3), {"E"}) +
                            structure(24, number(test.security, 1)));
    EXPECT_EQ(valuesOf(24, {"Enclosure Type", "PowerOn Password", "ID"}),
              test.told + ("|" + md5(test.idText)));
  }
}

TEST(FirmwareGroups, DescribeMemoryModules) {
  const struct {
    const char *what, *sources;
    std::string structures;
    const char* modules;
  } cases[] = {
      {"a type without a name, and an empty socket", "classic",
       memoryDevice(0x2000, 9, 26, 0x80, {"DIMM_A1", "BANK 0"}) + memoryDevice(0, 2, 2, 0, {"X"}),
       "8192|DIMM_A1/BANK 0|DIMM|Synchronous;0|X||"},
      {"the ends of the names", "native",
       memoryDevice(1, 3, 3) + memoryDevice(1, 16, 36) + memoryDevice(1, 17, 37),
       "1||SIMM|DRAM;1||Die|HBM3;1|||"},
      {"the ends of the names that hosts know", "classic",
       memoryDevice(1, 15, 25) + memoryDevice(1, 16, 24), "1||FB-DIMM|FBD2;1|||DDR3"},
      {"a refused locator, a size in KB", "classic",
       memoryDevice(0x8000 + 2048, 13, 18, 0x6000, {"Not Available", "BANK 1"}),
       "2|BANK 1|SODIMM|Registered Unegistered DDR"},
      {"no memory", "classic", kBios, "no table"},
  };
  for (const auto& test : cases) {
    const Firmware firmware(test.structures, test.sources);
    EXPECT_EQ(valuesOf(31, {"Module Size MB", "Socket Name", "Packaging", "Memory Type"}),
              test.modules)
        << test.what;
  }
}

std::string memoryArray(unsigned capacityMb, unsigned slots) {
  return structure(16, "\3\3\3" + number(capacityMb << 10, 4) + zeros(2) + number(slots, 2));
}

std::string memoryController(unsigned power, unsigned slots) {
  return structure(5, zeros(4) + number(power, 1) + zeros(5) + number(slots, 1));
}

TEST(FirmwareGroups, TellWhatMemoryFits) {
  const struct {
    const char *what, *limits;
    std::string structures, meminfo{};
  } cases[] = {
      {"nothing told", "-|-", kBios},
      {"no size", "-|4", memoryController(0, 4)},
      {"no size that there can be", "-|4", memoryController(40, 4)},
      {"no slots", "-|-", memoryArray(16384, 0)},
      {"a module larger than the controller tells", "8192|2",
       memoryController(11, 2) + oldModule(0, 12, "A")},
      {"an even share of an odd capacity", "12288|3", memoryArray(12288, 3)},
      {"no even share", "49152|3", memoryArray(16384, 3)},
      {"full", "32768|4", memoryArray(32768, 4), "MemTotal: 34359738368 kB\n"},
      {"more than fits", "-|4", memoryArray(32768, 4), "MemTotal: 34360786944 kB\n"},
  };
  for (const auto& test : cases) {
    for (const char* sources : {"classic", "native"}) {
      const Firmware firmware(test.structures, sources, test.meminfo);
      EXPECT_EQ(valuesOf(3, {"Max Memory MB", "Num Slots Supported"}), test.limits) << test.what;
    }
  }
}

TEST(Md5, IsTheStandardDigest) {
  EXPECT_EQ(md5(nullptr), "d41d8cd98f00b204e9800998ecf8427e");
  md5file sum;
  md5file_clear(&sum);
  md5file_add(&sum, "message ");
  char text[33];
  md5file_sprint_hash(&sum, text);  // asking changes nothing
  md5file_addn(&sum, "digest and more", 6);
  md5file_sprint_hash(&sum, text);
  EXPECT_STREQ(text, "f96b697d7cb7938d525a2f31aaf161d0");
  unsigned char bytes[16];
  md5file_hash(&sum, bytes);
  EXPECT_TRUE(bytes[0] == 0xF9 && bytes[15] == 0xD0);
}

}  // namespace
}  // namespace invscan
