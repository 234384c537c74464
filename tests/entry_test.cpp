// Physical memory, and the searches for the machine's identity in it.

#include "FirmwareBuilder.h"
#include "Processes.h"
#include "TestMachine.h"
#include "Testing.h"
#include "TracedText.h"

namespace invscan {
namespace {

using namespace std::string_literals;

void* const kMapFailed = reinterpret_cast<void*>(-1L);

// Finds descriptors that were left open in its scope.
class NoneLeftOpen {
 public:
  ~NoneLeftOpen() { EXPECT_EQ(descriptorsOf(getpid()).size(), before_); }

 private:
  const std::size_t before_ = descriptorsOf(getpid()).size();
};

using PhysicalMemory = InDirectory;

// The bytes that a mapping shows of a range, "" when it failed. Gives it back.
std::string shown(void* address, unsigned long start, unsigned long length, void* handle) {
  EXPECT_EQ(handle != nullptr, address != kMapFailed);
  std::string bytes;
  if (address != kMapFailed) {
    const unsigned long skipped = slm_page_off(reinterpret_cast<void*>(start));
    bytes.assign(static_cast<char*>(address) + skipped, length);
    EXPECT_EQ(slm_file_munmap(&handle), 0);
    EXPECT_EQ(handle, nullptr);
  }
  EXPECT_EQ(slm_file_munmap(&handle), -1);
  return bytes;
}

std::string mapped(const std::string& path, unsigned long offset, unsigned long length,
                   int alignment) {
  void* handle = &handle;
  void* address = slm_file_mmap(path.c_str(), offset, length, alignment, 0, &handle);
  return shown(address, offset, length, handle);
}

std::string physical(unsigned long start, unsigned long end, int alignment) {
  void* handle = &handle;
  void* address = slm_phys_mmap(start, end, alignment, &handle);
  return shown(address, start, end - start, handle);
}

TEST_F(PhysicalMemory, MapsRangesOfFilesThatAreThereWhole) {
  const NoneLeftOpen descriptors;
  const auto page = static_cast<unsigned long>(slm_get_page_size());
  write("file", std::string(page, 'a') + "0123456789");
  const struct {
    unsigned long offset, length;
    int alignment;
    const char* found;
  } cases[] = {
      {page, 10, 0, "0123456789"}, {page + 3, 7, 1, "3456789"},
      {page + 3, 7, 0, ""},        {page, 0, 0, ""},
      {page + 3, 8, 1, ""},        {2 * page, 1, 1, ""},
      {page + 3, -1UL, 1, ""},     {-1UL, 2, 1, ""},
      {-page, page, 1, ""},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(mapped(directory_ / "file", test.offset, test.length, test.alignment), test.found)
        << test.offset << " " << test.length;
  }
}

TEST_F(PhysicalMemory, WritesToFilesAndCreatesThem) {
  write("file", "abc");
  const std::string file = directory_ / "file";
  void* handle = nullptr;
  void* address = slm_file_mmap(file.c_str(), 0, 3, 1, 1, &handle);
  ASSERT_NE(address, kMapFailed);
  static_cast<char*>(address)[1] = 'X';
  EXPECT_EQ(shown(address, 0, 3, handle), "aXc");
  EXPECT_EQ(mapped(file, 0, 3, 0), "aXc");
  EXPECT_EQ(mapped(directory_ / "new", 0, 1, 1), "");
  EXPECT_EQ(fs::status(directory_ / "new").permissions() & ~fs::perms(0640), fs::perms::none);
  EXPECT_EQ(slm_file_mmap(nullptr, 0, 1, 1, 0, &handle), kMapFailed);
}

TEST_F(PhysicalMemory, IsReadIntoABufferOrNotAtAll) {
  const OnMachine here({.physicalMemory = {{0x2FF0, "0123456789ABCDEF"}}});
  unsigned char buffer[] = "????????";
  const auto read = [&](unsigned long address, int length) {
    return BIOSROM().getPhysMem(buffer, 0, reinterpret_cast<void*>(address), length);
  };
  for (const unsigned long address : {0x2FEFUL, 0x2FF9UL, -1UL}) EXPECT_EQ(read(address, 8), 37);
  EXPECT_EQ(read(0x2FF0, -1), 37);
  EXPECT_STREQ(reinterpret_cast<char*>(buffer), "????????");
  EXPECT_EQ(read(0x2FF9, 7), 0);
  EXPECT_STREQ(reinterpret_cast<char*>(buffer), "9ABCDEF?");
}

// A machine of which nothing fits into this process.
class LargeMachine : public TestMachine {
 public:
  using TestMachine::TestMachine;

 private:
  FileText doReadMemory(unsigned long, unsigned long) override { throw std::bad_alloc(); }
};

TEST_F(PhysicalMemory, ThatDoesNotFitIsNotRead) {
  setMachine(std::make_unique<LargeMachine>(Answers()));
  unsigned char byte;
  EXPECT_EQ(BIOSROM().getPhysMem(&byte, 0, nullptr, 1), 37);
  EXPECT_EQ(physical(0, 1, 0), "");
  useLiveMachine();
}

TEST_F(PhysicalMemory, IsMappedFromTheMachineUnderScan) {
  const OnMachine here({.physicalMemory = {{0x2000, std::string(0x1005, 'y') + "z"}}});
  const struct {
    unsigned long start, end;
    int alignment;
    const char* found;
  } cases[] = {
      {0x3003, 0x3006, 1, "yyz"}, {0x3003, 0x3006, 0, ""}, {0x3003, 0x3007, 1, ""},
      {0x3003, 0x3002, 1, ""},    {0x2000, 0x2000, 1, ""}, {0, -1UL, 1, ""},
  };
  for (const auto& [start, end, alignment, found] : cases) {
    EXPECT_EQ(physical(start, end, alignment), found) << start << " " << end;
  }
  const fs::path before = fs::current_path();
  fs::current_path("/dev");
  for (const char* name : {"/dev/mem", "//dev/../dev/mem", "mem"}) {
    EXPECT_EQ(mapped(name, 0x2000, 1, 0), "y") << name;
  }
  fs::current_path(before);
  void* handle = nullptr;
  EXPECT_EQ(slm_file_mmap("/dev/mem", 0x2000, 1, 0, 1, &handle), kMapFailed) << "for writing";

  // A link to the device leads there.
  fs::create_symlink("/dev/mem", directory_ / "link");
  EXPECT_EQ(mapped(directory_ / "link", 0x2000, 1, 0), fs::exists("/dev/mem") ? "y" : "");
}

TEST_F(PhysicalMemory, OfACaptureIsASparseImage) {
  write("root/dev/mem", "");
  const fs::path image = directory_ / "root/dev/mem";
  write("machine.json", R"({"capture": 1, "unreadable": {"/dev/mem 0x10+0x4": "EPERM"}})");
  const unsigned long end = 1UL << 40;
  fs::resize_file(image, end - 4);
  std::ofstream(image, std::ios::app | std::ios::binary) << "tail";
  std::string error;
  ASSERT_TRUE(replayMachine(directory_, error)) << error;
  const NoneLeftOpen descriptors;
  EXPECT_EQ(machine().readMemory(end - 6, 6), std::string("\0\0tail", 6));
  EXPECT_EQ(machine().tryMemory(end - 6, 7).error, kBeyondEnd);
  EXPECT_EQ(machine().tryMemory(0x10, 4).error, EPERM);
  EXPECT_EQ(machine().tryMemory(0, 1UL << 39).error, EFBIG);
  fs::remove(image);
  EXPECT_EQ(machine().tryMemory(0, 1).error, ENOENT);
}

constexpr unsigned long kSegment = 0xF0000;
constexpr unsigned kTable = 0xE1234;  // not at the start of a page

// That entry point with its two checksums right: of its second half, and of all of it.
std::string balanced(std::string bytes) {
  for (const auto& [begin, check] : {std::pair(0x10U, 0x15U), std::pair(0U, 4U)}) {
    bytes[check] = 0;
    const int sum = std::accumulate(bytes.begin() + begin, bytes.begin() + 0x1F, 0);
    bytes[check] = static_cast<char>(-sum);
  }
  return bytes;
}

std::string validEntryPoint(std::size_t tableLength, unsigned structures, unsigned table = kTable) {
  return balanced("_SM_" + zeros(1) + "\x1F" +
                  anchor(static_cast<unsigned>(tableLength), table, structures, 0x204, 0x24) +
                  zeros(1));
}

std::string systemInformation(const std::string& numbers, const std::vector<std::string>& strings) {
  return structure(1, numbers + zeros(19), strings);
}

const std::string kBios = structure(0, std::string(14, '\1'), {"maker"});
const std::string kFirst = systemInformation("\1\2\3\4", {"Maker", "Product", "V1", "S1"});
const std::string kLast = systemInformation("\1\2\3\4", {"Other", "Thing", "V2", "S2"});
const std::string kEnd = structure(127, "");

// A machine whose BIOS segment holds these bytes at an offset.
Answers machineWith(const std::string& bytes, std::size_t at, const std::string& table) {
  std::string segment = zeros(0x10000);
  segment.replace(at, bytes.size(), bytes);
  segment.resize(0x10000);
  return {.physicalMemory = {{kSegment, segment}, {kTable, table}}};
}

std::string describe(const smbiosinfo& info) {
  return (info.manufacturer + "|" + info.product + "|" + info.type + "|" + info.serialNumber + "|" +
          info.version)
      .toNarrow();
}

// The five outputs, or "-1" when they are untouched.
std::string describeSystem() {
  char untouched[] = "untouched";
  char* outputs[] = {untouched, untouched, untouched, untouched, untouched};
  const int result =
      SMBIOS_GetSystemInfo(&outputs[0], &outputs[1], &outputs[2], &outputs[3], &outputs[4]);
  std::string text;
  for (char* output : outputs) {
    EXPECT_EQ(output == untouched, result != 0);
    if (result != 0) return std::to_string(result);
    text += std::string("|") + output;
    free(output);
  }
  return text.substr(1);
}

// What both searches find of the same memory.
void expectFound(const char* what, const Answers& answers, const std::string& info,
                 const std::string& system) {
  const OnMachine here(answers);
  EXPECT_EQ(describe(smbiosinfo()), info) << what;
  EXPECT_EQ(describeSystem(), system) << what;
}

TEST(EntryPoints, AreFoundByEachSearchInItsOwnWay) {
  const std::string table = kBios + kFirst + kLast + kEnd;
  const std::string good = validEntryPoint(table.size(), 4);
  const std::string first = "Maker|Product|V1|S1|", last = "Other|Thing|V2|V2|S2", none = "||||";
  const auto injured = [](std::string bytes, std::size_t at, int byte) {
    bytes[at] = static_cast<char>(byte);
    return bytes;
  };
  const auto setAt = [&](std::size_t at, int byte) { return balanced(injured(good, at, byte)); };
  const struct {
    const char* what;
    std::string bytes;
    std::size_t at;
    std::string info, system;
  } cases[] = {
      {"at the last place", good, 0xFFE0, first, last},
      {"beside the step", good, 0x108, none, "-1"},
      {"first sum wrong", injured(good, 4, good[4] + 1), 0x100, none, last},
      {"second sum wrong", injured(injured(good, 0x15, good[0x15] + 1), 4, good[4] - 1), 0x100,
       none, "-1"},
      {"length 0: no first sum", injured(injured(good, 4, 99), 5, 0), 0x100, first, last},
      {"length beyond the segment", injured(good, 5, 0xFF), 0xFFE0, none, last},
      {"version 1", setAt(6, 1), 0x100, none, last},
      {"a broken one before", "_SM_" + std::string(12, '\1') + good, 0x100, none, last},
      {"no table", validEntryPoint(0, 4, kTable & ~0xFFFU), 0x100, none, "-1"},
      {"no table inside a page", validEntryPoint(0, 4), 0x100, "Linux|Linux|||", "-1"},
      {"only the first is announced", setAt(0x1C, 1), 0x100, "Linux|Linux|||", "||||"},
      {"more announced than there are", setAt(0x1D, '\xFF'), 0x100, first, last},
      {"table elsewhere", setAt(0x1B, 0x7F), 0x100, none, "-1"},
  };
  for (const auto& test : cases) {
    expectFound(test.what, machineWith(test.bytes, test.at, table), test.info, test.system);
  }
  expectFound("no memory", {}, none, "-1");
}

// The strings of the first type 1, after those bounds have been put on them.
TEST(EntryPoints, LeadToTheSystemInformation) {
  const std::string raw = "\xE9t\xE9 \xC3\xBC";
  const auto fill = [](std::size_t count) { return std::string(count, 'x'); };
  const struct {
    const char* what;
    std::string table, info, system;
  } cases[] = {
      {"no numbers", systemInformation(std::string(4, '\0'), {}), "Linux|Linux|||", "||||"},
      {"numbers beyond the set", systemInformation("\1\x09\2\xFF", {"M", "V"}), "M||V||",
       "M||V|V|"},
      {"blanks around", systemInformation("\1\2\3\4", {"  M ", " P", "V ", "  "}), "M|P|V||",
       "  M | P|V |V |  "},
      {"long texts", systemInformation("\1\2\1\2", {fill(300), fill(299)}),
       fill(254) + "|" + fill(254) + "|" + fill(31) + "|" + fill(31) + "|",
       fill(300) + "|" + fill(299) + "|" + fill(300) + "|" + fill(300) + "|" + fill(299)},
      {"raw bytes", systemInformation("\0\0\1\0"s, {raw}), "Linux|Linux|" + raw + "||",
       "||" + raw + "|" + raw + "|"},
      {"a short structure", structure(1, "\1\2", {"M", "P"}), "M|P|||", "M|P|||"},
      {"no end", kFirst.substr(0, kFirst.size() - 3), "Maker|Product|V1|S|", "||||"},
      {"a type", systemInformation("\1\2\3\4", {"Korva", "X -[7979AC1]-", "V", "S"}),
       "Korva|X -[7979AC1]-|7979|S|", "Korva|X -[7979AC1]-|7979|V|S"},
  };
  for (const auto& test : cases) {
    expectFound(test.what, machineWith(validEntryPoint(test.table.size(), 9), 0, test.table),
                test.info, test.system);
  }
}

TEST(EntryPoints, ComeFromEfiWhenItNamesThem) {
  constexpr unsigned long kEfi = 0x7BF01230;
  const std::string table = kBios + kFirst + kEnd, legacy = "Other|Thing|V2|S2|";
  const std::string efi = "Maker|Product|V1|S1|", none = "||||";
  const std::string good = validEntryPoint(table.size(), 3);
  const std::string withoutAnchor = balanced("xxxx" + good.substr(4));
  const struct {
    const char* systab;
    std::string memory, info;
  } cases[] = {
      {"ACPI=0x10\nSMBIOS=0x7bf01230\n", good, efi},
      {"SMBIOS=0x0\nSMBIOS3=0x7bf01230\nSMBIOS=0x1\n", good, efi},
      {"SMBIOS=0x7bf01230", withoutAnchor, efi},
      {"SMBIOS=0x7bf01230\n", good.substr(0, 31), none},
      {"SMBIOS=99999999999999999999\n", good, none},
      {"no equals sign\nSMBIOS4=0x7bf01230\n SMBIOS=0x7bf01230\nSMBIOS=\n", good, legacy},
  };
  for (const char* path : {"/proc/efi/systab", "/sys/firmware/efi/systab"}) {
    for (const auto& test : cases) {
      Answers answers = machineWith(validEntryPoint(kLast.size(), 1, 0x200000), 0x100, table);
      answers.physicalMemory[0x200000] = kLast;
      answers.physicalMemory[kEfi] = test.memory;
      answers.files[path] = {0, test.systab};
      const OnMachine here(answers);
      EXPECT_EQ(describe(smbiosinfo()), test.info) << test.systab;
    }
  }
}

TEST(EntryPoints, AreTracedOnTheWay) {
  const std::string table = kFirst + kEnd;
  const Answers good = machineWith(validEntryPoint(table.size(), 2), 0, table);
  Answers old = machineWith(balanced(validEntryPoint(1, 2).replace(6, 1, "\1")), 0, table);
  Answers unreadable = machineWith(validEntryPoint(1, 2, 0x200000), 0, table);
  Answers efi = machineWith("", 0, table);
  efi.files["/proc/efi/systab"] = {0, "ACPI=0x1\nSMBIOS=0x0\nSMBIOS3=0x7BF01230\n"};
  efi.physicalMemory[0x7BF01230] = entryPoint64(0x300, 0x1000) + number(kTable, 8);
  const std::pair<Answers, std::vector<std::string>> cases[] = {
      {Answers(),
       {"Checking for EFI...", "EFI not found.", "Searching for SMBIOS at 0xf0000...",
        "Error: unable to map SMBIOS memory area", "Cannot find table entry point",
        "SMBIOS TABLE 1 IS NOT AVAILABLE!"}},
      // A 64-bit entry point is read as a 32-bit one.
      {efi,
       {"EFI seems to be present (/proc/efi/systab), seeking for SMBIOS address...",
        "Not an EFI SMBIOS entry (ACPI)", "EFI SMBIOS address is of unknown format",
        "EFI SMBIOS address is 0x7bf01230", "Searching for SMBIOS at 0x7bf01230...",
        "Error: SMBIOS checksum invalid", "Cannot find table entry point"}},
      {old, {"Error: unsupported SMBIOS version (1.4)", "Cannot find table entry point"}},
      {unreadable,
       {"SMBIOS 2.4 found at 0xf0000.", "Find table entry point", "Cannot find table entry point"}},
      {good, {"Find table entry point", "Product retrieved for linux intel=Product"}},
  };
  TracedText sink;
  sink.enable(CcLogWrapper::kMax);
  for (const auto& [answers, texts] : cases) {
    const OnMachine here(answers);
    sink.written();
    smbiosinfo();
    EXPECT_EQ(sink.missing(texts), "");
  }
}

TEST(EntryPoints, GiveWayToTheSharedTable) {
  const std::string table =
      systemInformation("\1\2\3\4", {" Good Maker", "System Model", "Version ", "This is OEM"});
  const OnMachine here(machineWith(validEntryPoint(table.size(), 1), 0, table));
  SMBIOSTable::initializeGlobalTable(1);
  EXPECT_EQ(describe(smbiosinfo()), "Good Maker|System Model|Version|This is OEM|Version");
  SMBIOSTable::terminateGlobalTable();
  EXPECT_EQ(describe(smbiosinfo()), "Good Maker|System Model|Version|This is OEM|");
}

// Takes the texts of a structure and has enough when the first one is "Maker".
int takeTexts(const unsigned char*, const char* set, void* texts) {
  for (int n = 0; n < 16; ++n) *static_cast<std::string*>(texts) += getString_SMBIOS(set, n);
  return getString_SMBIOS(set, 1) == "Maker"s ? 7 : 0;
}

// The table at the end of a buffer that has no byte more, cut at every place.
TEST(EntryPoints, NeverLeadOutOfTheTable) {
  const std::string whole = kBios + kFirst + kLast;
  std::string texts;
  for (const std::string& hostile : {std::string(70, '\1'), std::string(70, '\0'),
                                     std::string(70, '\xFF'), kBios + "\1\xFF" + kFirst, whole}) {
    for (auto end = hostile.begin() + 1; end <= hostile.end(); ++end) {
      std::vector<unsigned char> bytes(hostile.begin(), end);
      bytes.shrink_to_fit();
      const auto length = static_cast<unsigned short>(bytes.size());
      smbios_table_entry_point point{};
      point.tableLength = length;
      point.numberOfStructures = 0xFFFF;
      smbios_sysinfo_table_entry entry{};
      const int count = find_entry(bytes.data(), &point, &entry);
      EXPECT_EQ(static_cast<std::size_t>(count), entry.strings.size());

      smbios_scan_state state{};
      state.table = bytes.data();
      state.tableLength = length;
      state.numberOfStructures = 0xFFFF;
      texts.clear();
      EXPECT_EQ(scan_SMBIOS(&state, takeTexts, &texts), 0);
      EXPECT_LE(texts.size(), length * 16U);
    }
  }
  EXPECT_EQ(texts, "makerMakerProductV1S1") << "of the whole table, as far as they were wanted";
}

TEST(SystemInfo, TakesTheMachineTypeFromTheProduct) {
  const struct {
    const char *manufacturer, *product, *rackline, *plain;
  } cases[] = {
      {"Korva", "Server 4000 -[7979AC1]-", "Server 4000 /7979/AC1", "7979"},
      {"Korva", "]- -[7979AC1]- -[8888AC1]-", "]- /7979/AC1", "7979"},
      {"korva", "-[7979AC1]-", "kept//", "7979"},
      {"Korva", "X -[7979AC12]-", "kept//", "7979"},
      {"Korva", "7979AC1", "kept//", "7979"},
      {"Korva", "Server [797", "kept//", ""},
      {nullptr, nullptr, "kept//", "kept"},
  };
  for (const auto& test : cases) {
    std::string prefix = "kept", type, model;
    const bool isFound =
        getTypeFromProd_Rackline(test.manufacturer, test.product, prefix, type, model);
    EXPECT_EQ(prefix + "/" + type + "/" + model, test.rackline);
    EXPECT_EQ(isFound, !type.empty()) << test.rackline;
    char plain[5] = "kept";
    EXPECT_STREQ(getTypeFromProd(test.product, plain), test.plain);
  }
}

}  // namespace
}  // namespace invscan
