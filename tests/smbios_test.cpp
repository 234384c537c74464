// The firmware's structure table: where it is found, how it is walked, what its records say, and
// that no injury leads out of it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <invscan/invscan.h>
#include <invscan/smbios.h>

#include "FirmwareBuilder.h"
#include "TestMachine.h"

namespace invscan {
namespace {

constexpr unsigned kSegment = 0xF0000;
constexpr unsigned kTable = 0xE8000;
constexpr unsigned kEnough = 65535;
constexpr unsigned kNotKnown = 0xFFFFFFFF;

const std::string kEnd = structure(127, "");

unsigned char* bytesOf(std::string& text) {
  return reinterpret_cast<unsigned char*>(text.data());
}

std::unique_ptr<SMBIOSTable> parsed(std::string structures, int count = 65535) {
  auto table = std::make_unique<SMBIOSTable>(bytesOf(structures),
                                             static_cast<int>(structures.size()), 0x23, count);
  table->parseData();
  return table;
}

// Memory with the table, and with the anchor 10 bytes behind that place in the F0000 segment.
Answers memoryWith(const std::string& structures, const std::string& anchorBytes,
                   std::size_t place = 0x5000) {
  std::string memory(0x18000, '\0');
  memory.replace(0, structures.size(), structures);
  memory.replace(kSegment - kTable + place, anchorBytes.size(), anchorBytes);
  memory.resize(0x18000);
  return {.physicalMemory = {{kTable, memory}}};
}

Answers memoryOf(const std::string& structures, unsigned version) {
  return memoryWith(structures,
                    anchor(static_cast<unsigned>(structures.size()), kTable, kEnough, version));
}

// The shared table of a machine, for the length of a scope.
class Firmware {
 public:
  explicit Firmware(const std::string& structures, unsigned version = 0x203)
      : machine_(memoryOf(structures + kEnd, version)) {
    SMBIOSTable::initializeGlobalTable(1);
  }

 private:
  OnMachine machine_;
};

std::string orNone(const char* text) {
  return text ? text : "none";
}

std::string freed(char* text) {
  const std::unique_ptr<char, decltype(&free)> owner(text, free);
  return orNone(text);
}

class Quiet {
 public:
  Quiet() {
    std::fflush(stdout);
    std::freopen("/dev/null", "w", stdout);
  }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;
  ~Quiet() {
    std::fflush(stdout);
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
  }

 private:
  int kept_ = dup(STDOUT_FILENO);
};

std::string fileText(const std::filesystem::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

const std::filesystem::path kRealTables = std::filesystem::path(INVSCAN_TESTS_DIR) / "data/smbios";
constexpr std::size_t kEntryPointSize = 32;  // of a binary dump

class TemporaryFile {
 public:
  TemporaryFile() { close(mkstemp(name_)); }
  explicit TemporaryFile(const std::string& text) : TemporaryFile() {
    std::ofstream(name_) << text;
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { unlink(name_); }
  char* name() { return name_; }

 private:
  char name_[32] = "/tmp/invscan-smbios-XXXXXX";
};

TEST(SmbiosRecords, PutTheReleaseDateInOrder) {
  struct {
    const char *date, *expected;
  } const cases[] = {
      {"02/30/05", "2005-02-30"},
      {"11/04/97", "1997-11-04"},
      {"11/04/2009", "2009-11-04"},
      {"1/4/97", "1/4/97"},
      {"11/04/19 rev 2", "1919-11-04"},
      {"97/11/4.", "1997-11-04"},
      {" 11/04/97", ""},
      {"2009-11-04-12:00", "2009-11-04-12:0"},
  };
  for (const auto& test : cases) {
    const auto table = parsed(structure(0, zeros(4) + "\1" + zeros(10), {test.date}));
    EXPECT_EQ(freed(table->getTable0()->getReleaseDateAsYYYYMMDD()), test.expected);
  }
  const auto dated = parsed(structure(0, zeros(4) + "\1" + zeros(10), {"11/x4/2009"}));
  const time_t time = dated->getTable0()->getReleaseDateAsTimeT();
  const tm* parts = localtime(&time);
  EXPECT_TRUE(parts->tm_year == 109 && parts->tm_mon == 10 && parts->tm_mday == 4 &&
              parts->tm_hour == 0);
  const auto undated = parsed(structure(0, zeros(15), {"Maker"}));
  EXPECT_EQ(freed(undated->getTable0()->getReleaseDateAsYYYYMMDD()), "none");
  EXPECT_EQ(undated->getTable0()->getReleaseDateAsTimeT(), 0);
}

TEST(SmbiosRecords, ConvertSizesAndVoltages) {
  struct {
    int byte;
    unsigned sizeMb;
  } const modules[] = {{0x7F, kNotKnown}, {0x7D, kNotKnown}, {0x83, 8}, {31, 1U << 31}, {32, 0}};
  for (const auto& test : modules) {
    const auto table = parsed(structure(6, zeros(5) + number(test.byte, 1) + zeros(2), {"DIMM"}));
    EXPECT_EQ(table->getTable6(0)->getInstalledSizeMB(), test.sizeMb) << test.byte;
  }
  struct {
    unsigned word, sizeKb;
  } const devices[] = {{0x8200, 512}, {0x0400, 1048576}, {0xFFFF, 0}, {0x7FFF, 0x7FFF * 1024}};
  for (const auto& test : devices) {
    const auto table =
        parsed(structure(17, zeros(8) + number(test.word, 2) + zeros(14) + number(64, 4)));
    EXPECT_EQ(table->getTable17(0)->getSizeKB(), test.sizeKb) << test.word;
  }
  struct {
    int byte;
    double volts;
  } const voltages[] = {{0x8C, 1.2}, {0x01, 5.0}, {0x02, 3.3}, {0x04, 2.9}, {0x08, 0.0}};
  for (const auto& test : voltages) {
    const auto table = parsed(structure(4, zeros(13) + number(test.byte, 1) + zeros(10)));
    EXPECT_DOUBLE_EQ(table->getTable4(0)->getVoltageInVolts(), test.volts) << test.byte;
  }
}

// What a table of that version tells of fields that came with a later one. In native mode the
// kernel's files hold the same table.
std::string gatedFields(unsigned version, const char* sources) {
  const std::string uuid = "\1\2\3\4\5\6\7\x8\x9\xA\xB\xC\xD\xE\xF\x10";
  const std::string all =
      structure(1, zeros(4) + uuid + "\6", {}) +
      structure(4, zeros(28) + "\1\2", {"serial", "asset"}) + structure(9, zeros(8) + "\7", {}) +
      structure(17, zeros(17) + number(800, 2) + "\1\2\3\4", {"maker", "number", "tag", "part"}) +
      kEnd;
  Answers answers = memoryOf(all, version);
  answers.files["/sys/firmware/dmi/tables/DMI"] = {0, all};
  answers.files["/sys/firmware/dmi/tables/smbios_entry_point"] = {
      0, entryPoint32(version, static_cast<unsigned>(all.size()), 5)};
  const OnMachine machine(std::move(answers), sources);
  SMBIOSTable table;
  table.parseData();
  std::string told = orNone(table.getTable1()->getUUIDAsString()).substr(0, 8);
  if (table.getTable9(0)->getSlotCharacteristics2() == 7) told += " slot";
  if (table.getTable4(0)->getSerialNumber()) told += " processor";
  if (table.getTable17(0)->getSpeed() == 800 && table.getTable17(0)->getPartNumber()) {
    told += " memory";
  }
  return told;
}

TEST(SmbiosRecords, OpenTheirGatesByVersion) {
  struct {
    unsigned version;
    const char *classic, *native;
  } const cases[] = {
      {0x200, "none", "none"},
      {0x201, "04030201 slot", "01020304 slot"},
      {0x203, "04030201 slot processor memory", "01020304 slot processor memory"},
      {0x21F, "04030201 slot processor memory", "01020304 slot processor memory"},
      {0x206, "04030201 slot processor memory", "04030201 slot processor memory"},
      {0x300, "none", "04030201 slot processor memory"},
      {0x302, "04030201 slot", "04030201 slot processor memory"},
      {0x303, "04030201 slot processor memory", "04030201 slot processor memory"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(gatedFields(test.version, "classic"), test.classic) << std::hex << test.version;
    EXPECT_EQ(gatedFields(test.version, "native"), test.native) << std::hex << test.version;
  }
}

TEST(SmbiosRecords, EndWhereTheStructureSays) {
  // The texts of a short structure must not pass for fields.
  const auto table =
      parsed(structure(3, "\1\3", {"Maker", "\2\2\2"}) + structure(1, "\1\2\3", {"M"}) +
             structure(2, std::string("\1\xFF\0\2", 4), {"Board"}));
  EXPECT_EQ(orNone(table->getTable3()->getManufacturer()), "Maker");
  EXPECT_EQ(orNone(table->getTable3()->getVersion()), "none");
  EXPECT_EQ(orNone(table->getTable1()->getProduct()), "none");
  EXPECT_EQ(orNone(table->getTable2()->getProduct()), "none");
  EXPECT_EQ(orNone(table->getTable2()->getSerialNumber()), "none");
  EXPECT_EQ(table->getTable2()->getRevision(), 0x23);
}

TEST(SmbiosRecords, KeepFifteenTextsAndStepOverTheRest) {
  std::vector<std::string> texts(20);
  for (std::size_t i = 0; i < texts.size(); ++i) texts[i] = "text " + std::to_string(i + 1);
  const auto table = parsed(structure(22, "\17\20\1\0\0", texts) + structure(24, "\x3C", {"odd"}) +
                            structure(2, "\1", {"Board"}));
  ASSERT_TRUE(table->getTable2());
  EXPECT_EQ(orNone(table->getTable2()->getManufacturer()), "Board");
  std::string oem = structure(11, "\3", texts);
  SMBIOSTable11Data record(0x203);
  EXPECT_EQ(record.readBlock(bytesOf(oem), 0), static_cast<int>(oem.size()));
  EXPECT_EQ(orNone(record.getString(15)), "text 15");
  for (const int n : {-1, 0, 16, 20}) EXPECT_EQ(record.getString(n), nullptr) << n;
}

TEST(SmbiosWalk, KeepsAsManyAsItHasPlacesFor) {
  std::string processors;
  for (int i = 0; i < 81; ++i) {
    processors +=
        structure(4, number(1, 1) + "\3" + zeros(18) + (i % 2 == 0 ? "\x41" : "\1") + "\6",
                  {"CPU " + std::to_string(i)});
  }
  const auto table = parsed(processors + structure(4, "\1\3", {"late"}) +
                            structure(1, "\1", {"M"}) + structure(1, "\1", {"second"}) + kEnd);
  EXPECT_EQ(table->getTable4Total(), 80);
  EXPECT_EQ(table->getTable4PopulatedTotal(), 40);
  EXPECT_EQ(table->getTable4(-1), nullptr);
  EXPECT_EQ(table->getTable4(80), nullptr);
  EXPECT_EQ(orNone(table->getTable4(79)->getSocket()), "CPU 79");
  EXPECT_EQ(orNone(table->getTable1()->getManufacturer()), "M");
  const SMBIOSTable1Data* before = table->getTable1();
  table->parseData();
  EXPECT_EQ(table->getTable4Total(), 80);
  EXPECT_NE(table->getTable1(), before);
  EXPECT_EQ(orNone(before->getManufacturer()), "M");
}

TEST(SmbiosWalk, StepsOverOddStructures) {
  const std::string board = structure(2, "\1", {"Board"});
  const std::string controller = structure(5, zeros(10) + "\4");
  const std::string bare = controller.substr(0, controller.size() - 2);
  struct {
    const char* what;
    std::string before;
    int count;
    bool isFound;
  } const cases[] = {
      {"nothing", "", 100, true},
      {"a controller", controller, 100, true},
      {"a controller without string set", bare, 100, true},
      {"several such", bare + bare + controller + bare, 100, true},
      {"an array", structure(16, zeros(11)), 100, true},
      {"an array, and more NULs", structure(16, zeros(11)) + zeros(7), 100, true},
      {"texts of hardware security", structure(24, "\1", {"a", "b"}), 100, true},
      {"an unknown type", structure(200, zeros(8), {"a", "b"}), 100, true},
      {"no double NUL", structure(200, "").substr(0, 5), 100, false},
      {"a length of 0", std::string("\7\0\0", 3), 100, true},
      {"a controller of length 0", std::string("\5\0\1\1", 4), kEnough, false},
      {"the end of the table", kEnd, std::numeric_limits<int>::max(), false},
      {"more than announced", controller, 1, false},
      {"nothing announced", "", 0, false},
      {"less than nothing announced", "", -1, false},
  };
  for (const auto& test : cases) {
    const auto table = parsed(test.before + board + kEnd, test.count);
    EXPECT_EQ(table->getTable2() != nullptr, test.isFound) << test.what;
  }
}

// Asks all there is to ask.
int harvest(SMBIOSTable& table) {
  const Quiet quiet;
  table.parseData();
  table.dump();
  int count = table.getTable4Total() + table.getTable6Total() + table.getTable8Total() +
              table.getTable9Total() + table.getTable10Total() + table.getTable17Total();
  for (const bool isThere : {table.getTable0() != nullptr, table.getTable1() != nullptr,
                             table.getTable2() != nullptr, table.getTable3() != nullptr}) {
    count += isThere;
  }
  if (table.getTable0()) table.getTable0()->getReleaseDateAsTimeT();
  return count;
}

// The sanitizers tell when a reader leaves the table.
TEST(SmbiosWalk, StaysInsideTablesThatEndAnywhere) {
  for (const char* name : {"dell-poweredge-1650", "parallels-guest", "lenovo-thinkpad-t490"}) {
    const std::string dump = fileText(kRealTables / (std::string(name) + ".bin"));
    const std::string entry = dump.substr(0, kEntryPointSize);
    const std::string whole = dump.substr(kEntryPointSize);
    ASSERT_FALSE(whole.empty());
    int most = 0;
    for (std::size_t length = 0; length <= whole.size(); ++length) {
      std::string part = whole.substr(0, length);
      SMBIOSTable table(bytesOf(part), static_cast<int>(length), 0x23, 65535);
      const int count = harvest(table);
      ASSERT_GE(count, most) << name << ", first " << length << " bytes";
      most = count;
      if (length % 16 == 0) decodeFirmwareTables(entry, part);
    }
    EXPECT_GT(most, 5) << name;
  }
}

TEST(SmbiosWalk, EndsWhateverAByteSays) {
  const std::string whole = fileText(kRealTables / "parallels-guest.bin").substr(kEntryPointSize);
  ASSERT_FALSE(whole.empty());
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (const int value : {0, 1, 2, 3, 5, 16, 127, 255}) {
      std::string injured = whole;
      injured[at] = static_cast<char>(value);
      SMBIOSTable table(bytesOf(injured), static_cast<int>(injured.size()), 0x23, 65535);
      ASSERT_GE(harvest(table), 0);
    }
  }
}

TEST(SmbiosSearch, FindsTheFirstAnchorWhoseTableCanBeRead) {
  const std::string board = structure(2, "\1", {"Board"}) + kEnd;
  const auto length = static_cast<unsigned>(board.size());
  const std::string good = anchor(length, kTable, 2, 0x204);
  struct {
    const char* what;
    Answers answers;
    unsigned revision;
  } const cases[] = {
      {"version of the entry point", memoryWith(board, good), 0x204},
      {"version in BCD", memoryWith(board, anchor(length, kTable, 2, 0x204, 0x23)), 0x203},
      {"an odd address", memoryWith(board, good, 0x1237), 0x204},
      {"unreadable tables before it",
       memoryWith(board, anchor(9, 0xFFFFFFF0, 1, 0x207) + anchor(0, kTable, 1, 0x206) + good),
       0x204},
      {"only an unreadable one", memoryWith(board, anchor(9, 0xFFFFFFF0, 1, 0x207)), 0},
      {"no anchor", memoryWith(board, ""), 0},
      {"no memory", {}, 0},
      {"cut off by the segment's end", memoryWith(board, good, 0x10000 - 15), 0},
  };
  for (const auto& test : cases) {
    const OnMachine machine(test.answers);
    SMBIOSTable table;
    table.parseData();
    EXPECT_EQ(table.getRevision(), test.revision) << test.what;
    EXPECT_EQ(table.isAvailable(), test.revision != 0) << test.what;
    EXPECT_EQ(table.getTable2() != nullptr, test.revision != 0) << test.what;
    EXPECT_EQ(table.getTotalLength(), test.revision != 0 ? static_cast<int>(length) : 0)
        << test.what;
  }
}

TEST(SmbiosSearch, ReadsAnchorsAtTheEdgesOfTheSegment) {
  const std::string board = structure(2, "\1", {"Board"}) + kEnd;
  const std::string bytes = anchor(static_cast<unsigned>(board.size()), kTable, 2, 0, 0x23);
  const OnMachine machine(memoryWith(board, bytes.substr(10), 0));
  EXPECT_EQ(SMBIOSTable().getRevision(), 0x203U);
}

class NativeTable {
 public:
  NativeTable(const std::string& entryPoint, const std::string& structures)
      : table_(decodeFirmwareTables(entryPoint, structures)) {}
  SMBIOSTable* operator->() const { return table_.get(); }

 private:
  std::unique_ptr<SMBIOSTable> table_;
};

std::string memoryArray(int use, unsigned capacity, unsigned devices,
                        const std::string& more = "") {
  return structure(16, number(3, 1) + number(static_cast<unsigned>(use), 1) + "\3" +
                           number(capacity, 4) + "\xFE\xFF" + number(devices, 2) + more);
}

TEST(NativeSmbios, WalksByTheStandard) {
  std::string many;
  for (int i = 0; i < 4000; ++i) many += structure(221, zeros(8), {"a", "bc"});
  const std::string bios = structure(0, "\1", {"Maker"});
  const auto atEnd = [](const std::string& structures) {
    return NativeTable(entryPoint64(0x300, 1 << 20), structures + structure(2, "\1", {"Board"}));
  };
  EXPECT_TRUE(atEnd(many)->getTable2()) << "beyond 64 KiB";
  EXPECT_EQ(atEnd(many)->getNumTables(), 4001);
  EXPECT_FALSE(atEnd(kEnd)->getTable2()) << "behind the end of the table";
  EXPECT_FALSE(atEnd(std::string("\7\3\0\0\0", 5))->getTable2()) << "behind a broken length";
  // These two swallow the type byte of a type 0 behind them in classic tables.
  for (const std::string& hungry : {memoryArray(3, 0, 0), structure(5, zeros(11))}) {
    EXPECT_TRUE(atEnd(hungry + bios)->getTable0());
    EXPECT_FALSE(parsed(hungry + bios)->getTable0());
  }
  EXPECT_EQ(decodeFirmwareTables("_SM_", many), nullptr);
  EXPECT_EQ(decodeFirmwareTables(entryPoint64(0x300, 0), many), nullptr);
}

TEST(NativeSmbios, TellsExtendedSizes) {
  const std::string structures =
      memoryArray(3, 0x80000000, 2, number(6ULL << 40, 8)) +
      structure(17, zeros(8) + number(0x7FFF, 2) + zeros(14) + number(0x10000, 4)) +
      structure(17, zeros(8) + number(0x7FFF, 2) + zeros(14) + number(0x7FFFFFFF, 4)) +
      structure(17, zeros(8) + number(0x7FFF, 2) + zeros(9)) +
      structure(0, zeros(5) + "\xFF" + zeros(14) + number(0x4001, 2));
  const NativeTable table(entryPoint64(0x302, 1 << 16), structures);
  EXPECT_EQ(table->getTable16()->getWholeCapacity(), 6ULL << 30);
  EXPECT_EQ(table->getTable16()->getMaxCapacity(), 0xFFFFFFFF);
  EXPECT_EQ(table->getTable17(0)->getSizeKB(), 64U << 20);
  EXPECT_EQ(table->getTable17(1)->getSizeKB(), 0xFFFFFFFF);
  EXPECT_EQ(table->getTable17(2)->getSizeKB(), 0x7FFFU << 10) << "no room for an extended size";
  EXPECT_EQ(table->getTable0()->getROMSizeKB(), 1U << 20);
}

TEST(NativeSmbios, FallsBackToMemory) {
  const std::string board = structure(2, "\1", {"Board"}) + kEnd;
  const OnMachine machine(memoryOf(board, 0x300), "native");
  SMBIOSTable table;
  EXPECT_TRUE(table.isAvailable());
  EXPECT_TRUE(table.isNative());
  EXPECT_EQ(table.getRevision(), 0x300U);
}

std::string memoryFacts() {
  unsigned size = 7, slots = 7;
  const bool isKnown = getMemorySpecs(&size, &slots);
  return (isKnown ? "" : "unknown ") + std::to_string(slots) + " x " + std::to_string(size);
}

TEST(SmbiosFacts, TellHowMuchMemoryFitsIn) {
  const auto controller = [](int power, int slots) {
    return structure(5, zeros(4) + number(static_cast<unsigned>(power), 1) + zeros(5) +
                            number(static_cast<unsigned>(slots), 1));
  };
  const auto oldModule = [](int power) {
    return structure(6, zeros(5) + number(static_cast<unsigned>(power), 1) + zeros(2), {"M"});
  };
  const auto device = [](unsigned megabytes) {
    return structure(17, zeros(8) + number(megabytes, 2) + zeros(9));
  };
  const std::string twoArrays =
      memoryArray(5, 4096, 1) + memoryArray(3, 1 << 20, 3) + memoryArray(3, 3 << 20, 3);
  struct {
    const char* what;
    std::string structures;
    const char *classic, *native;
  } const cases[] = {
      {"nothing", "", "unknown 0 x 0", nullptr},
      {"a controller", controller(11, 4), "4 x 2048", nullptr},
      {"a larger module", controller(11, 4) + oldModule(12) + oldModule(0x7F), "4 x 4096", nullptr},
      {"no module size", controller(0, 4), "4 x 0", nullptr},
      {"a power beyond 32 bits", controller(40, 4), "4 x 0", nullptr},
      {"a module larger than its share", memoryArray(3, 16777216, 4) + device(8192), "4 x 16384",
       nullptr},
      {"a module as large", memoryArray(3, 16777216, 4) + device(4096), "4 x 4096", nullptr},
      {"an even share of an odd capacity", memoryArray(3, 12582912, 3), "3 x 4096", nullptr},
      {"an odd share", memoryArray(3, 16777216, 3), "3 x 16384", nullptr},
      {"a capacity without slots", memoryArray(3, 16777216, 0), "unknown 0 x 0", nullptr},
      {"controller and array", controller(11, 2) + memoryArray(3, 16777216, 4), "2 x 8192",
       nullptr},
      {"flash and two arrays", twoArrays, "1 x 4", "6 x 4096"},
  };
  for (const auto& test : cases) {
    {
      const Firmware firmware(test.structures);
      EXPECT_EQ(memoryFacts(), test.classic) << test.what;
    }
    const OnMachine machine(memoryOf(test.structures + kEnd, 0x203), "native");
    SMBIOSTable::initializeGlobalTable(1);
    EXPECT_EQ(memoryFacts(), test.native ? test.native : test.classic) << test.what << ", native";
  }
}

TEST(SmbiosFacts, TellOfProcessorsAndPasswords) {
  const auto processor = [](unsigned clock, int upgrade) {
    return structure(4, zeros(1) + "\3\x3F" + zeros(5) + number(0xBFEBFBFF, 4) + zeros(2) +
                            number(clock, 2) + zeros(2) + number(1400, 2) + "\x41" +
                            number(static_cast<unsigned>(upgrade), 1));
  };
  unsigned short speed = 9, clock = 9, upgrade = 9, powerOn = 9, keyboard = 9;
  unsigned edx = 9;
  EXPECT_EQ(SM_Processor(&speed, &clock, &upgrade, &edx), 0);
  EXPECT_TRUE(speed == 0 && clock == 0 && upgrade == 0 && edx == 0);
  EXPECT_EQ(SM_HWSecurity(&powerOn, &keyboard), 1);
  EXPECT_TRUE(powerOn == 3 && keyboard == 3);

  struct {
    unsigned clockIn;
    int upgradeIn;
    unsigned clock, upgrade;
  } const processors[] = {{2500, 18, 0, 0}, {2000, 17, 2000, 17}, {100, 4, 100, 4}};
  for (const auto& test : processors) {
    const Firmware firmware(processor(test.clockIn, test.upgradeIn) + processor(1, 1));
    EXPECT_EQ(SM_Processor(&speed, &clock, &upgrade, &edx), 1);
    EXPECT_EQ(clock, test.clock);
    EXPECT_EQ(upgrade, test.upgrade);
    EXPECT_EQ(speed, 1400);
    EXPECT_EQ(SM_ProcessorCount(), 2);
    EXPECT_EQ(SM_PopulatedProcessorCount(), 2);
  }
  struct {
    int byte;
    unsigned powerOn, keyboard;
  } const settings[] = {{0x3C, 0, 15}, {0x40, 1, 16}, {0x80, 1022, 16352}, {0xFF, 1023, 16383}};
  for (const auto& test : settings) {
    const Firmware firmware(structure(24, number(static_cast<unsigned>(test.byte), 1)));
    EXPECT_EQ(SM_HWSecurity(&powerOn, &keyboard), 0);
    EXPECT_EQ(powerOn, test.powerOn) << test.byte;
    EXPECT_EQ(keyboard, test.keyboard) << test.byte;
  }
}

TEST(SharedSmbiosTable, LivesAsLongAsItsMachineAndItsUsers) {
  const OnMachine machine(memoryOf(structure(2, "\1", {"Board"}) + kEnd, 0x203));
  EXPECT_EQ(globalSMBIOSTable, nullptr);
  SMBIOSTable::terminateGlobalTable();
  SMBIOSTable::initializeGlobalTable(0);
  SMBIOSTable::initializeGlobalTable(1);
  ASSERT_TRUE(globalSMBIOSTable && globalSMBIOSTable->isAvailable());
  EXPECT_EQ(globalSMBIOSTable->getTable2(), nullptr) << "made without parsing";
  SMBIOSTable::terminateGlobalTable();
  EXPECT_NE(globalSMBIOSTable, nullptr);
  SMBIOSTable::terminateGlobalTable();
  EXPECT_EQ(globalSMBIOSTable, nullptr);
  SMBIOSTable::initializeGlobalTable(1);
  SMBIOSTable::initializeGlobalTable(1);
  const OnMachine another({});
  EXPECT_EQ(globalSMBIOSTable, nullptr);
  GroupFactory::getInstance()->initialise();
  ASSERT_TRUE(globalSMBIOSTable);
  EXPECT_FALSE(globalSMBIOSTable->isAvailable());
}

TEST(FirmwareTexts, AreCleaned) {
  struct {
    const char *value, *validated, *printable;
  } const cases[] = {
      {"  Default string \t", "Default string", "  Default string ."},
      {"The System Manufacturer's", "", "The System Manufacturer's"},
      {"system model", "system model", "system model"},
      {"A\x80z", "A", "A.z"},
      {"A b\x7F \n c", "A b\x7F", "A b. . c"},
      {"\r\n \x1", "", ".. ."},
      {"", "", ""},
  };
  for (const auto& test : cases) {
    std::string value = test.value, out(value.size() + 1, 'x');
    EXPECT_STREQ(SMBIOSTable::validateString(value.data(), out.data()), test.validated);
    EXPECT_STREQ(SMBIOSTableData::removeInvalidChars(out.data(), value.data()), test.printable);
  }
  char out[] = "x";
  EXPECT_STREQ(SMBIOSTable::validateString(nullptr, out), "");
  EXPECT_EQ(SMBIOSTable::validateString(out, nullptr), nullptr);
  EXPECT_EQ(SMBIOSTableData::removeInvalidChars(out, nullptr), nullptr);
}

TEST(SmbiosDumpFile, HoldsTheTable) {
  std::string bytes = structure(2, "\1", {"Board"}) + "\xAB";
  bytes.resize(17, '\xCD');
  SMBIOSTable table(bytesOf(bytes), 17, 0x24, 300);
  TemporaryFile file;
  ASSERT_EQ(table.writeBytesToFile(file.name()), 1);
  EXPECT_EQ(fileText(file.name()),
            "SMBIOS File Format=0x0001\nSMBIOS Length=0x0011\nSMBIOS NumTables=0x012C\n"
            "SMBIOS Revision=0x24\nSMBIOS Data=\n"
            "0x02 0x05 0x00 0x00 0x01 0x42 0x6F 0x61 0x72 0x64 0x00 0x00 0xAB 0xCD 0xCD 0xCD \n"
            "0xCD \n");
  SMBIOSTable copy(file.name());
  EXPECT_FALSE(copy.isAvailable());
  EXPECT_EQ(copy.getRevision(), 0x24U);
  EXPECT_EQ(copy.getNumTables(), 300);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(copy.getData()), 17), bytes);
  copy.parseData();
  EXPECT_EQ(orNone(copy.getTable2()->getManufacturer()), "Board");
  char nowhere[] = "/nonexistent/file";
  EXPECT_EQ(table.writeBytesToFile(nowhere), 0);
  EXPECT_EQ(copy.readBytesFromFile(nowhere), 0);
}

TEST(SmbiosDumpFile, MayBeBroken) {
  const std::string format = "SMBIOS File Format=1\n",
                    counts = "SMBIOS NumTables=2\nSMBIOS Revision=203\n";
  struct {
    std::string text;
    int length;
    std::string data;
  } const cases[] = {
      {format, 0, ""},
      {format + "SMBIOS Length=3\n" + counts, 3, zeros(3)},
      {format + "SMBIOS Length=4\n" + counts + "SMBIOS Data=1 0xABCD FF", 4,
       "\x01\xCD\xFF" + zeros(1)},
      {format + "SMBIOS Length=2\n" + counts + "SMBIOS Data=x", 2, zeros(2)},
      {format + "SMBIOS Length=2\n" + counts + "SMBIOS Data=1 2 3 4", 2, "\1\2"},
      {format + "SMBIOS Length=FFFFFFFF\n" + counts + "SMBIOS Data=1", 0, ""},
      {format + "SMBIOS Length=1000001\n" + counts + "SMBIOS Data=1", 0, ""},
      {format + "SMBIOS Size=2\n" + counts, 0, ""},
  };
  for (const auto& test : cases) {
    TemporaryFile file(test.text);
    SMBIOSTable table(file.name());
    ASSERT_EQ(table.getTotalLength(), test.length) << test.text;
    EXPECT_EQ(std::string(reinterpret_cast<char*>(table.getData()), test.data.size()), test.data)
        << test.text;
  }
}

TEST(SmbiosDumpFileDeathTest, EndsTheProcessForAnotherFormat) {
  TemporaryFile file("SMBIOS File Format=0x0002\n");
  const auto read = [&] {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    const SMBIOSTable table(file.name());
  };
  EXPECT_EXIT(read(), testing::ExitedWithCode(255), "\nERROR - Invalid file format.");
}

}  // namespace
}  // namespace invscan
