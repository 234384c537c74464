// The groups that firmware tables tell, on small tables; whole real ones are in firmware_test.py.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <invscan/invscan.h>
#include <invscan/smbios.h>

#include "FirmwareBuilder.h"
#include "Rendering.h"
#include "TestMachine.h"

namespace invscan {
namespace {

std::string memoryDevice(unsigned size, unsigned form, unsigned type, unsigned detail,
                         const std::vector<std::string>& names) {
  return structure(17,
                   zeros(8) + number(size, 2) + number(form, 1) + zeros(1) + "\1\2" +
                       number(type, 1) + number(detail, 2),
                   names);
}

std::string oldModule(unsigned type, unsigned size, const std::string& name) {
  return structure(6, "\1" + zeros(2) + number(type, 2) + number(size, 1) + zeros(2), {name});
}

// A machine with that structure table, in memory or (native) under /sys.
class Firmware {
 public:
  explicit Firmware(const std::string& structures, const char* sources = "classic",
                    const std::string& meminfo = "")
      : machine_(answers(structures + structure(127, ""), meminfo), sources) {
    GroupFactory::getInstance()->initialise();
  }

 private:
  static Answers answers(const std::string& structures, const std::string& meminfo) {
    constexpr unsigned kBegin = 0xE0000, kTable = 0xE8000, kAnchor = 0xF5340, kVersion = 0x0203;
    const auto length = static_cast<unsigned>(structures.size());
    const std::string entry = anchor(length, kTable, 100, kVersion);
    std::string memory = zeros(0x20000);
    memory.replace(kTable - kBegin, structures.size(), structures);
    memory.replace(kAnchor - kBegin, entry.size(), entry);
    return {.files = {{"/sys/firmware/dmi/tables/smbios_entry_point",
                       {0, entryPoint32(kVersion, length, 100)}},
                      {"/sys/firmware/dmi/tables/DMI", {0, structures}},
                      {"/proc/meminfo", {0, meminfo}}},
            .physicalMemory = {{kBegin, memory}}};
  }

  OnMachine machine_;
};

// The values of one attribute, row by row; "-" for a row without it.
std::string valuesOf(unsigned long groupId, unsigned long attribute) {
  const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getKELGroup(groupId));
  const std::unique_ptr<KelTable> table(group->getTable());
  if (!table) return "no table";
  std::string values;
  while (KelTableRow* row = table->getNext()) {
    std::string value = "-";
    for (unsigned long i = row->getNumAttribs(); i > 0; --i) {
      const KelTableAttrib* attrib = row->getNext();
      if (attrib->getId() == attribute) value = printed(attrib->getAttribPtr());
    }
    values += value + ";";
  }
  if (!values.empty()) values.pop_back();
  return values;
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

std::string enclosureOf(unsigned type) {
  return structure(3, "\1" + number(type, 1) + zeros(3), {"E"});
}

std::string securityOf(unsigned state) {
  return structure(24, number(state, 1));
}

TEST(FirmwareGroups, MakeTheIdOfWhatTellsKindsOfMachinesApart) {
  const std::string none = "-";
  struct {
    const char* what;
    std::string structures, id;
  } const cases[] = {
      {"every text", kBios + systemOf({"A", "B", "C", "1"}), md5("Makerv1512KABC")},
      {"another serial number", kBios + systemOf({"A", "B", "C", "2"}), md5("Makerv1512KABC")},
      {"a placeholder", systemOf({"System Manufacturer", "B", "C", "1"}), md5("|BC")},
      {"an enclosure", enclosureOf(0x97), md5("E23|")},
      {"of a kind that has no name", enclosureOf(26), md5("E|")},
      {"a serial number alone", structure(2, zeros(3) + "\1", {"7"}), md5("|||")},
      {"bars alone", structure(2, zeros(4)), none},
      {"a size alone", structure(0, zeros(14)), md5("||64K")},
      {"nothing", "", none},
  };
  for (const auto& test : cases) {
    const Firmware firmware(test.structures);
    EXPECT_EQ(valuesOf(24, 19), test.id) << test.what;
  }
}

TEST(FirmwareGroups, LeaveOutWhatTheFirmwareDoesNotSay) {
  const Firmware firmware(kBios + systemOf({"System Manufacturer", " B ", "C\x80yz", " "}) +
                          enclosureOf(0));
  EXPECT_EQ(collected(24),
            "row 1\n"
            "  1 BIOS Vendor (KEL_STRING) Maker\n"
            "  2 BIOS Version (KEL_STRING) v1\n"
            "  3 BIOS Date (KEL_STRING) 2008-05-12\n"
            "  4 BIOS Size (KEL_STRING) 512K\n"
            "  6 System Product Name (KEL_STRING) B\n"
            "  7 System Version (KEL_STRING) C\n"
            "  14 Enclosure Manufacturer (KEL_STRING) E\n"
            "  19 ID (KEL_STRING) " +
                md5("Makerv1512K|BCE|") +
                "\n"
                "  20 PowerOn Password (KEL_ULONG) 3\n");
}

TEST(FirmwareGroups, BoundEnclosureTypeAndPasswordState) {
  struct {
    unsigned type, security;
    const char *enclosure, *password;
  } const cases[] = {{0x97, 0x00, "23", "0"},
                     {0x80, 0x40, "-", "1"},
                     {25, 0x80, "25", "2"},
                     {26, 0xC0, "-", "2"},
                     {1, 0x3F, "1", "0"}};
  for (const auto& test : cases) {
    const Firmware firmware(enclosureOf(test.type) + securityOf(test.security));
    EXPECT_EQ(valuesOf(24, 15), test.enclosure) << test.type;
    EXPECT_EQ(valuesOf(24, 20), test.password) << test.security;
  }
}

TEST(FirmwareGroups, DescribeMemoryModules) {
  struct {
    const char *what, *sources;
    std::string structures;
    const char *sizes, *sockets, *packaging, *types;
  } const cases[] = {
      {"a type without a name, and an empty socket", "classic",
       memoryDevice(0x2000, 9, 26, 0x80, {"DIMM_A1", "BANK 0"}) + memoryDevice(0, 2, 2, 0, {"X"}),
       "8192;0", "DIMM_A1/BANK 0;X", "DIMM;", "Synchronous;"},
      {"which the standard has", "native",
       memoryDevice(0x2000, 16, 26, 0x80, {"DIMM_A1", "BANK 0"}), "8192", "DIMM_A1/BANK 0", "Die",
       "Synchronous DDR4"},
      {"ends of the names", "native",
       memoryDevice(1, 2, 2, 0, {}) + memoryDevice(1, 3, 3, 0, {}) +
           memoryDevice(1, 17, 37, 0, {}) + memoryDevice(1, 255, 36, 0, {}),
       "1;1;1;1", ";;;", ";SIMM;;", ";DRAM;;HBM3"},
      {"ends of the names that hosts know", "classic",
       memoryDevice(1, 15, 25, 0, {}) + memoryDevice(1, 16, 24, 0, {}), "1;1", ";", "FB-DIMM;",
       "FBD2;DDR3"},
      {"a refused locator, a size in KB", "classic",
       memoryDevice(0x8000 + 2048, 13, 18, 0x6000, {"Not Available", "BANK 1"}), "2", "BANK 1",
       "SODIMM", "Registered Unegistered DDR"},
      {"old modules", "classic", oldModule(0x440, 0x87, "A") + oldModule(0x180, 0x7F, " "), "128;0",
       "A;", ";DIMM", "ECC SDRAM;"},
      {"devices before old modules", "classic",
       oldModule(0x20, 4, "A") + memoryDevice(64, 9, 3, 0, {"B"}), "64", "B", "DIMM", "DRAM"},
      {"neither", "classic", kBios, "no table", "no table", "no table", "no table"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    const Firmware firmware(test.structures, test.sources);
    EXPECT_EQ(valuesOf(31, 2), test.sizes);
    EXPECT_EQ(valuesOf(31, 4), test.sockets);
    EXPECT_EQ(valuesOf(31, 5), test.packaging);
    EXPECT_EQ(valuesOf(31, 6), test.types);
  }
}

TEST(FirmwareGroups, TellWhatMemoryFits) {
  // 4 slots that take 8 GiB each.
  const std::string array = structure(16, "\3\3\3" + number(32 << 20, 4) + zeros(2) + number(4, 2));
  struct {
    const char* meminfo;
    std::string structures;
    const char *maximum, *slots;
  } const cases[] = {
      {"", array, "32768", "4"},
      {"", kBios, "-", "-"},
      {"MemTotal: 34359738368 kB\n", array, "32768", "4"},
      {"MemTotal: 34360786944 kB\n", array, "-", "4"},
  };
  for (const auto& test : cases) {
    const Firmware firmware(test.structures, "classic", test.meminfo);
    EXPECT_EQ(valuesOf(3, 8), test.maximum) << test.meminfo;
    EXPECT_EQ(valuesOf(3, 9), test.slots) << test.meminfo;
  }
}

TEST(FirmwareGroups, HaveNoTableWithoutFirmware) {
  const OnMachine machine({});
  GroupFactory::getInstance()->initialise();
  EXPECT_EQ(valuesOf(24, 1), "no table");
  EXPECT_EQ(valuesOf(31, 1), "no table");
}

TEST(Md5, IsTheStandardDigest) {
  EXPECT_EQ(md5(nullptr), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(md5("abc"), "900150983cd24fb0d6963f7d28e17f72");

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
  EXPECT_EQ(bytes[0], 0xF9);
  EXPECT_EQ(bytes[15], 0xD0);
}

}  // namespace
}  // namespace invscan
