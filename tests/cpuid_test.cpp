// The helper program cpuid: what it makes of machines that are hard to come by.

#include "FirmwareBuilder.h"
#include "TestMachine.h"
#include "Testing.h"
#include "common/vartree/Release.h"
#include "helpers/cpuid/CpuidTree.h"
#include "helpers/cpuid/Family.h"
#include "invscan/linux/utils/CpuList.h"

namespace invscan::cpuid {
namespace {

using CpuidAnswers = std::map<std::pair<std::uint32_t, std::uint32_t>, CpuidRegisters>;
using Files = std::map<std::string, FileText>;

PlainFacts factsOf(const CpuidAnswers& leaves) {
  PlainFacts facts;
  for (const auto& [leaf, registers] : leaves) {
    facts.add(answered<CpuidQuestion>(registers, {leaf.first, leaf.second}));
  }
  return facts;
}

using Names = std::vector<const char*>;

const std::string kCpus = "/sys/devices/system/cpu/";

void collect(const VtNode& node, const std::string& kind, const Names& names, std::string& all) {
  if (node.name == kind) {
    all += all.empty() ? "" : "; ";
    for (const char* name : names) {
      const int number = node.getValue(nullptr, name, -1);
      if (name != names.front()) all += '|';
      all += number >= 0 ? std::to_string(number) : node.getValue(nullptr, name, "-");
    }
  }
  for (const VtNode* child = node.children; child; child = child->next) {
    collect(*child, kind, names, all);
  }
}

// Those values of every node of that name in the answer for the current machine: "1|-; 2|text".
std::string told(const char* kind, const Names& names) {
  const std::unique_ptr<VtNode, decltype(&releaseTree)> root(makeAnswer(Leaves()), releaseTree);
  std::string all;
  collect(*root, kind, names, all);
  return all;
}

// Of every package.
std::string counts() {
  return told("Processor", {"ActiveProcCount", "ActiveCoreCount", "TotalProcCount",
                            "TotalCoreCount", "ProcsPerCore"});
}

std::uint32_t word(std::string text, std::size_t at) {
  text.resize(16);
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(text[at + i]);
  return value;
}

// The leaves of a processor: its vendor, its brand, and more as "LEAF.SUBLEAF: EAX EBX ECX EDX;
// ...", all hexadecimal, where zeros at the end may be missing.
CpuidAnswers leavesOf(const std::string& vendor, std::string brand, const std::string& more) {
  CpuidAnswers leaves{{{0, 0}, {0x20, word(vendor, 0), word(vendor, 8), word(vendor, 4)}}};
  brand.resize(48);
  for (std::uint32_t part = 0; part < 3; ++part) {
    const std::string text = brand.substr(16 * part, 16);
    leaves[{0x80000002 + part, 0}] = {word(text, 0), word(text, 4), word(text, 8), word(text, 12)};
  }
  std::istringstream texts(more);
  for (std::string text; std::getline(texts, text, ';');) {
    std::uint32_t leaf = 0, subleaf = 0;
    CpuidRegisters all;
    std::sscanf(text.c_str(), "%x.%x: %x %x %x %x", &leaf, &subleaf, &all.eax, &all.ebx, &all.ecx,
                &all.edx);
    leaves[{leaf, subleaf}] = all;
  }
  return leaves;
}

CpuidAnswers intelLeaves(const std::string& more) {
  return leavesOf("GenuineIntel", "", "1.0: 906EA;" + more);
}

TEST(CpuidHelper, RecognisesHypervisorsAndTheirDisguises) {
  constexpr bool kBit = true, kNoBit = false;
  struct {
    const char* what;
    bool hasBit;
    const char* expected;  // vendor, interface, brand and virtualization
    std::vector<std::string> signatures;
    std::string maker{}, product{};
  } const cases[] = {
      {"KVM as Hyper-V", kBit, "KVMKVMKVM|Hv#1|KVM|", {"Microsoft Hv", "KVMKVMKVM"}},
      {"KVM that hides", kBit, "KVMKVMKVM|Hv#1|KVM|", {"Linux KVM Hv"}},
      {"any as Xen as Hyper-V", kBit, "KVM|Hv#1||", {"Microsoft Hv", "XenVMMXenVMM", "KVM"}},
      {"no text behind", kBit, "KVMKVMKVM||KVM|", {"KVMKVMKVM", "\x01\x02\x03"}},
      {"a forged node", kBit, "|||", {"x\n)\n(Host\n"}},
      {"leaves without the bit", kNoBit, "", {"VMwareVMware"}},
      {"the bit without leaves", kBit, "|||KVM", {}, "Red Hat", "KVM"},
      {"old VMware", kNoBit, "|||VMware", {}, "VMware, Inc.", "VMware Virtual Platform"},
      {"their laptop", kNoBit, "", {}, "Microsoft Corporation", "Surface Pro"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    CpuidAnswers leaves = intelLeaves(test.hasBit ? "1.0: 906EA 0 80000000" : "");
    for (std::uint32_t n = 0; n < test.signatures.size(); ++n) {
      const std::string& text = test.signatures[n];
      leaves[{0x40000000 + 0x100 * n, 0}] = {0, word(text, 0), word(text, 4), word(text, 8)};
    }
    const bool likeHyperV = !test.signatures.empty() && test.signatures[0].ends_with("Hv");
    leaves[{0x40000001, 0}] = {likeHyperV ? word("Hv#1", 0) : 0x01007EFB, 0, 0, 0};
    const Files files{{"/sys/class/dmi/id/sys_vendor", {0, test.maker + "\n"}},
                      {"/sys/class/dmi/id/product_name", {0, test.product + "\n"}}};
    const OnMachine machine({.files = files, .plain = factsOf(leaves)}, "native");
    EXPECT_EQ(told("Hypervisor", {"Vendor", "Interface", "Brand", "Virtualization"}),
              test.expected);
  }
  const OnMachine domain({.files = {{"/sys/hypervisor/type", {0, "xen\n"}}}}, "native");
  EXPECT_EQ(told("Hypervisor", {"Virtualization"}), "Xen");
}

// A kernel's files for a layout such as "0-1,4-5: 0,4 1,5; 2,6: 2,6": its packages, each with its
// cores, by the processors that are online. The lists are there for the first processor of each
// only: a scan of a large machine is to read no more.
Files topologyFiles(const std::string& layout, const std::string& online,
                    const std::string& present = "0-7",
                    const std::string& packageList = "package_cpus_list",
                    const std::string& coreList = "core_cpus_list") {
  Files files{{kCpus + "online", {0, online + "\n"}}, {kCpus + "present", {0, present + "\n"}}};
  const auto add = [&](const std::string& processors, const std::string& file) {
    const std::string first = std::to_string(std::stoi(processors));
    files[kCpus + "cpu" + first + "/topology/" + file] = {0, processors + "\n"};
  };
  std::istringstream packages(layout);
  for (std::string package; std::getline(packages, package, ';');) {
    std::istringstream lists(package);
    std::string list;
    lists >> list;
    add(list.substr(0, list.size() - 1), packageList);
    while (lists >> list) add(list, coreList);
  }
  return files;
}

TEST(CpuidHelper, CountsWhatTheKernelHasArranged) {
  const char* const pairs = "0-1,4-5: 0,4 1,5; 2-3,6-7: 2,6 3,7";
  const char* const pairLeaves = "B.0: 0 2 100; B.1: 0 4 201";
  struct {
    const char *what, *layout, *online, *leaves, *expected;
  } const cases[] = {
      {"threads switched off", "0-1: 0 1; 2-3: 2 3", "0-3", pairLeaves, "2|2|4|2|1; 2|2|4|2|1"},
      {"a core offline", "0-1,4-5: 0,4 1,5; 2,6: 2,6", "0-2,4-6", "", "4|2|4|2|2; 2|1|4|2|2"},
      {"a package offline", "0-1,4-5: 0,4 1,5", "0-1,4-5", pairLeaves, "4|2|4|2|2; 0|0|4|2|0"},
      {"and no leaves", "0-1,4-5: 0,4 1,5", "0-1,4-5", "", "4|2|8|4|2"},
      {"leaves state too few", "0-1,4-5: 0,4 1,5; 2-3,6: 2,6 3", "0-6",
       "B.0: 0 1 100; B.1: 0 1 201", "4|2|4|2|2; 3|2|4|2|2"},
      {"a hybrid's second threads off, a large core answers", "0-7: 0 2 4 5 6 7", "0,2,4-7",
       "7.0: 0 0 0 8000; B.0: 0 2 100; B.1: 0 8 201", "6|6|8|6|1"},
      {"and a small one", "0-7: 0 2 4 5 6 7", "0,2,4-7",
       "7.0: 0 0 0 8000; B.0: 0 1 100; B.1: 0 8 201", "6|6|8|6|1"},
      {"one in a list is offline", "0-7: 0,8 1 2 3 4 5 6 7", "0-7", "", "8|8|8|8|1"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    Files files = topologyFiles(test.layout, test.online);
    files[kCpus + "smt/control"] = {0, "off\n"};
    const OnMachine machine({.files = files, .plain = factsOf(intelLeaves(test.leaves))}, "native");
    EXPECT_EQ(counts(), test.expected);
  }
  const Files files =
      topologyFiles(pairs, "0-7", "0-7", "core_siblings_list", "thread_siblings_list");
  const OnMachine old({.files = files}, "native");
  EXPECT_EQ(
      told("ProcessorTable", {"ActivePackageCount", "ActiveCoreCount", "ActiveProcessorCount"}),
      "2|4|8");
}

TEST(CpuidHelper, FallsBackToTheKernelsTextForNonsenseTopology) {
  for (const char* list :
       {"0-999999999999", "0-99999999", "16384", "1-0", "0,0", "0-1,", "0;1", "-1", "two"}) {
    EXPECT_FALSE(parseCpuList(list)) << list;
  }
  EXPECT_EQ(parseCpuList("0-2,8\n"), (std::vector<unsigned>{0, 1, 2, 8}));

  // Of two processors, the second of which is not in the list of its own core.
  Files files = topologyFiles("0-1: 0 1", "0-1", "0-1");
  files[kCpus + "cpu1/topology/core_cpus_list"] = {0, "0\n"};
  files["/proc/cpuinfo"] = {
      0,
      "processor\t: 0\nvendor_id\t: AuthenticAMD\ncpu family\t: 25\nmodel\t\t: 17\n"
      "model name\t: AMD  EPYC\x1B[1m\nstepping\t: 1\ncpu MHz\t\t: 2596.6\nphysical id\t: 0\n"
      "core id\t\t: 0\nflags\t\t: fpu lm hypervisor\n\n"
      "processor\t: 1\nmodel\t\t: 99\nphysical id\t: 1\ncore id\t\t: 0\n"};
  const OnMachine machine({.files = files}, "native");
  EXPECT_EQ(counts(), "1|1|1|1|1; 1|1|1|1|1");
  EXPECT_EQ(told("Processor", {"Signature", "BrandName", "CpuClockMHz", "Is64bit"}),
            "00A10F11|AMD EPYC [1m|2597|1; 00A10F11|AMD EPYC [1m|2597|1");
  EXPECT_EQ(told("Hypervisor", {"Vendor"}), "");
}

TEST(CpuidHelper, ReadsTheLeavesOfEachMake) {
  Files hybridFiles = topologyFiles("0-7: 0-1 2-3 4 5 6 7", "0-7");
  hybridFiles[kCpus + "cpu0/cache/index0/level"] = {0, "2\n"};
  hybridFiles[kCpus + "cpu0/cache/index0/size"] = {0, "1280K\n"};
  hybridFiles[kCpus + "cpu0/cpufreq/base_frequency"] = {0, "2100000\n"};
  struct {
    CpuidAnswers leaves;
    const char *facts, *shape;
    Files files = {};
  } const cases[] = {
      // Behind two caches that do not count, one of data and one of instructions.
      {leavesOf("GenuineIntel", "Intel(R) Xeon(R)  CPU @ 2.40GHz",
                "1.0: 50657; 80000001.0: 0 0 0 20000000; B.0: 1 2 100; B.1: 6 38 201; 4.0: 121;"
                "4.1: 142 1C0003F 3F; 4.2: 143 3C0003F 3FF; 4.3: 163 280003F DFFF"),
       "Xeon|Original OEM Processor|2400|1024|39424|1", "28|2"},
      {leavesOf("AuthenticAMD", "AMD Ryzen 9 5950X",
                "1.0: A20F10; 80000001.0: 0 0 400000 20000000; 80000008.0: 0 0 1F;"
                "8000001E.0: 0 100; 8000001D.0: 143 1C0003F 3FF; 8000001D.1: 163 3C0003F 7FFF"),
       "AMD Zen|Original OEM Processor|-|512|32768|1", "16|2"},
      // With a topology leaf that emulators add.
      {leavesOf("AuthenticAMD", "AMD Phenom(tm) II X4 955",
                "1.0: 100F42; B.0: 0 2 100; 80000006.0: 0 0 2000000 300000; 80000008.0: 0 0 3"),
       "x86 Family 16|Original OEM Processor|-|512|6144|0", "4|1"},
      {leavesOf("GenuineIntel", "Pentium(R) 4 CPU 3000MHz", "1.0: 1F41 20000 0 10000000"),
       "Pentium 4|OverDrive Processor|3000|-|-|0", "1|2"},
      // A hybrid, whose leaves tell of a small core.
      {intelLeaves("7.0: 0 0 0 8000; B.0: 0 1 100; B.1: 0 C 201; 16.0: 708; 4.0: 143 3C0003F 7FF"),
       "x86 Family 6|Original OEM Processor|2100|1280|0|0", "6|2", hybridFiles},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.facts);
    const OnMachine machine({.files = test.files, .plain = factsOf(test.leaves)}, "native");
    EXPECT_EQ(told("Processor",
                   {"Family", "Type", "CpuClockMHz", "L2CacheSizeKB", "L3CacheSizeKB", "Is64bit"}),
              test.facts);
    EXPECT_EQ(told("CPUID", {"CorePerPackageCount", "HtPerCoreCount"}), test.shape);
  }
}

TEST(CpuidHelper, NamesTheFamilyAsTheCatalogueDoes) {
  const std::tuple<const char*, unsigned char, const char*> cases[] = {
      {"Intel(R) Core(TM) i7-9700K CPU @ 3.60GHz", 0xB3, "Core i7"},
      {"Intel(R) Core(TM)2 Duo CPU E8400 @ 3.00GHz", 0, "Core 2 Duo"},
      {"AMD A10-7850K APU with Radeon(TM) R7 Graphics", 0, "AMD A-Series"},
      {"Virtual CPU", 0xC6, "Core i7"},
      {"Virtual CPU", 0xBE, "x86 Family 6"},  // Core 2 or K7
  };
  for (const auto& [brand, firmware, expected] : cases) {
    const Processor processor{.vendor = "GenuineIntel", .brand = brand, .signature = 0x906EA};
    EXPECT_EQ(familyName(processor, firmware), expected) << brand;
  }
}

// A processor record with those bytes for cores and threads, and the larger fields.
std::string processorRecord(char status, const std::string& counts, const std::string& larger) {
  return structure(4, zeros(1) + "\x03" + zeros(16) + number(2600, 2) + status + zeros(10) +
                          counts + zeros(4) + larger);
}

TEST(CpuidHelper, AddsUpTheFirmwaresPackages) {
  const std::string twoCores = processorRecord(0x41, "\x02\x02\x04", zeros(6));
  const std::string manyCores =
      processorRecord(0x41, "\xFF\xFF\xFF", number(300, 2) + number(300, 2) + number(600, 2));
  const std::string empty = processorRecord(0, "\x08\x08\x08", zeros(6));
  const std::string uuid = number(0x6677445500112233, 8) + number(0xFFEEDDCCBBAA9988, 8);
  const std::string system =
      structure(1, "\x01\x02\x03\x04" + uuid, {"Maker ", "Model\n)", "System Model", "S-1"});
  const std::pair<std::string, const char*> cases[] = {
      {twoCores + empty + manyCores, "2|302|604"},
      {twoCores + processorRecord(0x41, zeros(3), zeros(6)), "2|-|-"},
      {empty, "-|-|-"},
  };
  for (const auto& [records, totals] : cases) {
    Answers answers = memoryOf(system + records + structure(127, ""), 0x300);
    answers.plain = factsOf(intelLeaves(""));
    const OnMachine machine(answers, "native");
    EXPECT_EQ(told("ProcessorTable",
                   {"BiosTotalPackageCount", "BiosTotalCoreCount", "BiosTotalProcessorCount"}),
              totals);
    EXPECT_EQ(told("Processor", {"CpuClockMHz"}), records == empty ? "-" : "2600");
    EXPECT_EQ(told("System", {"Manufacturer", "ProductName", "Version", "UUID"}),
              "Maker|Model||00112233-4455-6677-8899-AABBCCDDEEFF");  // a version nobody filled in
  }
}

}  // namespace
}  // namespace invscan::cpuid
