// The firmware's structure table: where it is found, how it is walked, what its records say.
// Injuries are the fuzz target's.

#include "FirmwareBuilder.h"
#include "Processes.h"
#include "TestMachine.h"
#include "Testing.h"

namespace invscan {
namespace {

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

std::string orNone(const char* text) {
  return text ? text : "none";
}

class SmbiosDumpFile : public InDirectory {
 protected:
  std::string written(const std::string& text) const {
    write("dump", text);
    return directory_ / "dump";
  }
};

TEST(SmbiosRecords, PutTheReleaseDateInOrder) {
  const auto dated = [](const char* date) {
    return parsed(structure(0, zeros(4) + "\1" + zeros(10), {date}));
  };
  using Text = std::unique_ptr<char, decltype(&free)>;
  const std::pair<const char*, const char*> cases[] = {
      {"02/30/05", "2005-02-30"}, {"11/04/2009", "2009-11-04"}, {"11/04/19 rev 2", "1919-11-04"},
      {"1/4/97", "1/4/97"},       {"97/11/4.", "1997-11-04"},   {" 11/04/97", ""}};
  for (const auto& [date, expected] : cases) {
    const Text text(dated(date)->getTable0()->getReleaseDateAsYYYYMMDD(), &free);
    EXPECT_STREQ(text.get(), expected);
  }
  tm day{};
  day.tm_year = 109, day.tm_mon = 10, day.tm_mday = 4, day.tm_isdst = -1;
  EXPECT_EQ(dated("11/x4/2009")->getTable0()->getReleaseDateAsTimeT(), mktime(&day));
  const auto undated = parsed(structure(0, zeros(15), {"Maker"}));
  EXPECT_EQ(undated->getTable0()->getReleaseDateAsYYYYMMDD(), nullptr);
  EXPECT_EQ(undated->getTable0()->getReleaseDateAsTimeT(), 0);
}

TEST(SmbiosRecords, ConvertSizesAndVoltages) {
  struct {
    unsigned word;
    std::string more;  // where extended sizes are
    unsigned classicKb, nativeKb;
  } const devices[] = {{0x8200, number(64, 4), 512, 512},
                       {0xFFFF, number(64, 4), 0, 0},
                       {0x7FFF, number(64, 4), 0x7FFFU << 10, 64U << 10},
                       {0x7FFF, number(0x7FFFFFFF, 4), 0x7FFFU << 10, kNotKnown}};
  for (const auto& test : devices) {
    const std::string device =
        structure(17, zeros(8) + number(test.word, 2) + zeros(14) + test.more);
    EXPECT_EQ(parsed(device)->getTable17(0)->getSizeKB(), test.classicKb) << test.word;
    const auto native = decodeFirmwareTables(entryPoint64(0x302, 1 << 16), device);
    EXPECT_EQ(native->getTable17(0)->getSizeKB(), test.nativeKb) << test.word;
  }
  const auto extended = decodeFirmwareTables(
      entryPoint64(0x302, 1 << 16),
      structure(16, "\3\3\3" + number(0x80000000, 4) + zeros(4) + number(6ULL << 40, 8)));
  EXPECT_EQ(extended->getTable16()->getWholeCapacity(), 6ULL << 30);
  EXPECT_EQ(extended->getTable16()->getMaxCapacity(), kNotKnown);
  const std::pair<unsigned, unsigned> roms[] = {{0x4FFF, 0xFFFU << 20}, {0x5000, kNotKnown}};
  for (const auto& [word, kilobytes] : roms) {
    const auto bios =
        decodeFirmwareTables(entryPoint64(0x301, 1 << 16),
                             structure(0, zeros(5) + "\xFF" + zeros(14) + number(word, 2)));
    EXPECT_EQ(bios->getTable0()->getROMSizeKB(), kilobytes) << word;
  }
  const std::pair<unsigned, unsigned> modules[] = {{0x7D, kNotKnown}, {31, 1U << 31}, {32, 0}};
  for (const auto& [byte, megabytes] : modules) {
    const auto table = parsed(structure(6, zeros(5) + number(byte, 1) + zeros(2), {"DIMM"}));
    EXPECT_EQ(table->getTable6(0)->getInstalledSizeMB(), megabytes) << byte;
  }
  const std::pair<unsigned, double> voltages[] = {{0x8C, 1.2}, {0x02, 3.3}};
  for (const auto& [byte, volts] : voltages) {
    const auto table = parsed(structure(4, zeros(13) + number(byte, 1) + zeros(10)));
    EXPECT_DOUBLE_EQ(table->getTable4(0)->getVoltageInVolts(), volts) << byte;
  }
}

// What a table of that version tells of fields that came with a later one. In native mode the
// kernel's files hold the same table.
std::string gatedFields(unsigned version, const char* sources) {
  const std::string all =
      structure(1, zeros(4) + "\1\2\3\4" + zeros(12) + "\6") +
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
  const std::string little = "04030201 slot", big = "01020304 slot", more = " processor memory";
  const struct {
    unsigned version;
    std::string classic, native;
  } cases[] = {{0x200, "none", "none"},
               {0x201, little, big},
               {0x203, little + more, big + more},
               {0x206, little + more, little + more},
               {0x300, "none", little + more},
               {0x302, little, little + more}};
  for (const auto& test : cases) {
    EXPECT_EQ(gatedFields(test.version, "classic"), test.classic) << std::hex << test.version;
    EXPECT_EQ(gatedFields(test.version, "native"), test.native) << std::hex << test.version;
  }
}

TEST(SmbiosRecords, EndWhereTheStructureSays) {
  // The texts of a short structure must not pass for fields.
  const auto table = parsed(structure(3, "\1\3", {"Maker", "\2\2\2"}));
  EXPECT_EQ(orNone(table->getTable3()->getManufacturer()), "Maker");
  EXPECT_EQ(orNone(table->getTable3()->getVersion()), "none");
}

TEST(SmbiosRecords, KeepFifteenTextsAndStepOverTheRest) {
  std::vector<std::string> texts(20, "other text");
  texts[14] = "text 15";
  std::string oem = structure(11, "\3", texts);
  SMBIOSTable11Data record(0x203);
  EXPECT_EQ(record.readBlock(bytesOf(oem), 0), static_cast<int>(oem.size()));
  EXPECT_EQ(orNone(record.getString(15)), "text 15");
  for (const int n : {-1, 0, 16, 20}) EXPECT_EQ(record.getString(n), nullptr) << n;
}

TEST(SmbiosWalk, KeepsAsManyAsItHasPlacesFor) {
  std::string processors;
  for (int i = 0; i < 81; ++i) {
    processors += structure(4, "\1\3" + zeros(18) + (i % 2 == 0 ? "\x41" : "\1") + "\6",
                            {"CPU " + std::to_string(i)});
  }
  const auto table =
      parsed(processors + structure(1, "\1", {"M"}) + structure(1, "\1", {"second"}) + kEnd);
  EXPECT_EQ(table->getTable4PopulatedTotal(), 40);
  EXPECT_TRUE(!table->getTable4(-1) && table->getTable4(79) && !table->getTable4(80));
  const SMBIOSTable1Data* before = table->getTable1();
  table->parseData();
  EXPECT_EQ(table->getTable4Total(), 80);
  EXPECT_EQ(orNone(before->getManufacturer()), "M") << "still there";
}

TEST(SmbiosWalk, StepsOverOddStructures) {
  const std::string controller = structure(5, zeros(10) + "\4");
  const std::string bare = controller.substr(0, controller.size() - 2);
  const struct {
    std::string before;
    int count;
    bool isFound;
  } cases[] = {
      {bare + bare + controller + bare, 100, true},  // with and without a string set
      {structure(16, zeros(11)) + zeros(7), 100, true},
      {structure(200, zeros(8), {"a", "b"}), 100, true},
      {structure(22, zeros(5), std::vector<std::string>(20, "text")), 100, true},
      {structure(200, "").substr(0, 5), 100, false},  // no double NUL
      {std::string("\7\0\0", 3), 100, true},          // a length of 0
      {std::string("\5\0\1\1", 4), 65535, false},
      {kEnd, std::numeric_limits<int>::max(), false},
      {controller, 1, false},  // more than announced
      {"", -1, false},
  };
  for (const auto& test : cases) {
    const auto table = parsed(test.before + structure(2, "\1", {"Board"}) + kEnd, test.count);
    EXPECT_EQ(table->getTable2() != nullptr, test.isFound) << &test - cases;
  }
}

TEST(SmbiosSearch, FindsTheFirstAnchorWhoseTableCanBeRead) {
  const std::string board = structure(2, "\1", {"Board"}) + kEnd;
  const auto length = static_cast<unsigned>(board.size());
  const std::string good = anchor(length, kTableAddress, 2, 0x204);
  const std::string bcd = anchor(length, kTableAddress, 2, 0x204, 0x23);
  const std::string unreadable = anchor(9, 0xFFFFFFF0, 1, 0x207);
  struct {
    const char* what;
    Answers answers;
    unsigned revision;
  } const cases[] = {
      {"an odd address", memoryWith(board, good, 0x1237), 0x204},
      {"at the segment's start", memoryWith(board, bcd.substr(10), 0), 0x203},
      {"cut off by the segment's end", memoryWith(board, good, 0x10000 - 15), 0},
      {"unreadable tables before it",
       memoryWith(board, unreadable + anchor(0, kTableAddress, 1, 0x206) + good), 0x204},
      {"no memory", {}, 0},
  };
  for (const auto& test : cases) {
    for (const char* sources : {"classic", "native"}) {  // which falls back to memory
      const OnMachine machine(test.answers, sources);
      SMBIOSTable table;
      table.parseData();
      const bool isThere = test.revision != 0;
      EXPECT_EQ(table.getRevision(), test.revision) << test.what;
      EXPECT_EQ(table.isAvailable(), isThere) << test.what;
      EXPECT_EQ(table.getTable2() != nullptr, isThere) << test.what;
      EXPECT_EQ(table.getTotalLength(), isThere ? static_cast<int>(length) : 0) << test.what;
    }
  }
}

TEST(NativeSmbios, WalksByTheStandard) {
  std::string many;
  for (int i = 0; i < 4000; ++i) many += structure(221, zeros(8), {"a", "bc"});
  const std::string bios = structure(0, "\1", {"Maker"});
  const auto atEnd = [](const std::string& structures) {
    return decodeFirmwareTables(entryPoint64(0x300, 1 << 20),
                                structures + structure(2, "\1", {"Board"}));
  };
  EXPECT_TRUE(atEnd(many)->getTable2()) << "beyond 64 KiB";
  EXPECT_EQ(atEnd(many)->getNumTables(), 4001);
  EXPECT_EQ(decodeFirmwareTables(entryPoint32(0x206, 0xFFFF, 0), bios + bios)->getNumTables(), 2)
      << "no number announced";
  EXPECT_FALSE(atEnd(kEnd)->getTable2()) << "behind the end of the table";
  EXPECT_FALSE(atEnd(std::string("\7\3\0\0\0", 5))->getTable2()) << "behind a broken length";
  // These two swallow the type byte of a type 0 behind them in classic tables.
  for (const std::string& hungry : {structure(16, zeros(11)), structure(5, zeros(11))}) {
    EXPECT_TRUE(atEnd(hungry + bios)->getTable0());
    EXPECT_FALSE(parsed(hungry + bios)->getTable0());
  }
  EXPECT_EQ(decodeFirmwareTables("_SM_", many), nullptr);
}

std::string facts() {
  unsigned short speed = 9, clock = 9, upgrade = 9, powerOn = 9, keyboard = 9;
  unsigned edx = 9;
  std::ostringstream text;
  text << SM_Processor(&speed, &clock, &upgrade, &edx) << " of " << SM_ProcessorCount() << "/"
       << SM_PopulatedProcessorCount();
  text << ": " << speed << " " << clock << " " << upgrade << " " << std::hex << edx;
  const int error = SM_HWSecurity(&powerOn, &keyboard);
  text << "; " << error << ": " << std::dec << powerOn << " " << keyboard;
  return text.str();
}

TEST(SmbiosFacts, TellOfProcessorsAndPasswords) {
  EXPECT_EQ(facts(), "0 of 0/0: 0 0 0 0; 1: 3 3");
  const struct {
    unsigned clock, upgrade, security;
    const char* told;
  } cases[] = {{2500, 18, 0x3C, "1 of 2/1: 1400 0 0 bfebfbff; 0: 0 15"},
               {2000, 17, 0x40, "1 of 2/1: 1400 2000 17 bfebfbff; 0: 1 16"}};
  for (const auto& test : cases) {
    const std::string processor =
        structure(4, zeros(1) + "\3\x3F" + zeros(5) + number(0xBFEBFBFF, 4) + zeros(2) +
                         number(test.clock, 2) + zeros(2) + number(1400, 2) + "\x41" +
                         number(test.upgrade, 1));
    const Firmware firmware(processor + structure(4, "") + structure(24, number(test.security, 1)));
    EXPECT_EQ(facts(), test.told);
  }
}

TEST(SharedSmbiosTable, LivesAsLongAsItsMachineAndItsUsers) {
  const OnMachine machine(memoryOf(structure(2, "\1", {"Board"}) + kEnd));
  SMBIOSTable::initializeGlobalTable(0);
  SMBIOSTable::initializeGlobalTable(1);
  SMBIOSTable::terminateGlobalTable();
  ASSERT_TRUE(globalSMBIOSTable && globalSMBIOSTable->isAvailable());
  EXPECT_EQ(globalSMBIOSTable->getTable2(), nullptr) << "made without parsing";
  SMBIOSTable::terminateGlobalTable();
  EXPECT_EQ(globalSMBIOSTable, nullptr);
  SMBIOSTable::initializeGlobalTable(1);
  const OnMachine another({});
  EXPECT_EQ(globalSMBIOSTable, nullptr);
}

TEST(FirmwareTexts, AreCleaned) {
  const char* const cases[][3] = {
      {"  Default string \t", "Default string", "  Default string ."},
      {"The System Manufacturer's", "", "The System Manufacturer's"},
      {"A\x80z", "A", "A.z"},
      {"A b\x7F \n c", "A b\x7F", "A b. . c"},
  };
  for (const auto& [text, validated, printable] : cases) {
    std::string value = text, out(value.size() + 1, 'x');
    EXPECT_STREQ(SMBIOSTable::validateString(value.data(), out.data()), validated);
    EXPECT_STREQ(SMBIOSTableData::removeInvalidChars(out.data(), value.data()), printable);
  }
}

TEST_F(SmbiosDumpFile, HoldsTheTable) {
  std::string bytes = structure(2, "\1", {"Board"}) + "\xAB";
  bytes.resize(17, '\xCD');
  SMBIOSTable table(bytesOf(bytes), 17, 0x24, 300);
  std::string file = written("");
  ASSERT_EQ(table.writeBytesToFile(file.data()), 1);
  EXPECT_EQ(contents(file),
            "SMBIOS File Format=0x0001\nSMBIOS Length=0x0011\nSMBIOS NumTables=0x012C\n"
            "SMBIOS Revision=0x24\nSMBIOS Data=\n"
            "0x02 0x05 0x00 0x00 0x01 0x42 0x6F 0x61 0x72 0x64 0x00 0x00 0xAB 0xCD 0xCD 0xCD \n"
            "0xCD \n");
  SMBIOSTable copy(file.data());
  EXPECT_FALSE(copy.isAvailable());
  EXPECT_EQ(copy.getRevision(), 0x24U);
  EXPECT_EQ(copy.getNumTables(), 300);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(copy.getData()), 17), bytes);
  char nowhere[] = "/nonexistent/file";
  EXPECT_EQ(table.writeBytesToFile(nowhere), 0);
}

TEST_F(SmbiosDumpFile, MayBeBroken) {
  const std::string counts = "SMBIOS NumTables=2\nSMBIOS Revision=203\n", length = "SMBIOS Length=";
  const struct {
    std::string text;
    int length;
    std::string data;
  } cases[] = {
      {length + "4\n" + counts + "SMBIOS Data=1 0xABCD FF", 4, "\x01\xCD\xFF" + zeros(1)},
      {length + "2\n" + counts + "SMBIOS Data=1 2 3 4", 2, "\1\2"},
      {length + "1000001\n" + counts + "SMBIOS Data=1", 0, ""},
      {"SMBIOS Size=2\n" + counts, 0, ""},
  };
  for (const auto& test : cases) {
    std::string file = written("SMBIOS File Format=1\n" + test.text);
    SMBIOSTable table(file.data());
    ASSERT_EQ(table.getTotalLength(), test.length) << test.text;
    EXPECT_EQ(std::string(reinterpret_cast<char*>(table.getData()), test.data.size()), test.data);
  }
  std::string file = written("SMBIOS File Format=0x0002\n");
  const auto read = [&] {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    const SMBIOSTable table(file.data());
  };
  // In a process of its own: what threads of other tests hold would be leaks in a fork.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(read(), testing::ExitedWithCode(255), "\nERROR - Invalid file format.");
  GTEST_FLAG_SET(death_test_style, "fast");
}

}  // namespace
}  // namespace invscan
