// The helper program cpuid: what it makes of machines that are hard to come by.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>

#include <invscan/invscan.h>

#include "FirmwareBuilder.h"
#include "TestMachine.h"
#include "common/vartree/Release.h"
#include "helpers/cpuid/Answer.h"
#include "helpers/cpuid/CpuList.h"
#include "helpers/cpuid/Family.h"
#include "helpers/cpuid/LeafTrace.h"

namespace invscan::cpuid {
namespace {

using CpuidAnswers = std::map<std::pair<std::uint32_t, std::uint32_t>, CpuidRegisters>;

constexpr char kCpus[] = "/sys/devices/system/cpu/";

// The answer for the machine that is current.
class Answer {
 public:
  std::string text(const char* path, const char* name) const {
    return root_->getValue(path, name, "-");
  }
  int number(const char* path, const char* name) const { return root_->getValue(path, name, -1); }
  const VtNode& root() const { return *root_; }

 private:
  std::unique_ptr<VtNode, decltype(&releaseTree)> root_{makeAnswer(Leaves()), releaseTree};
};

constexpr char kProcessor[] = "ProcessorTable.Processor";
constexpr char kCpuidNode[] = "ProcessorTable.Processor.CPUID";

std::uint32_t word(std::string text, std::size_t at) {
  text.resize(12);
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(text[at + i]);
  return value;
}

// As hypervisors have it; vendors of processors have the last two words swapped.
CpuidRegisters signature(const std::string& text) {
  return {0, word(text, 0), word(text, 4), word(text, 8)};
}

CpuidAnswers processorLeaves(const std::string& vendor, std::uint32_t version,
                             std::string brand = "") {
  brand.resize(48);
  CpuidAnswers leaves{{{0, 0}, {0x20, word(vendor, 0), word(vendor, 8), word(vendor, 4)}},
                      {{1, 0}, {version, 0, 0, 0}}};
  for (std::uint32_t part = 0; part < 3; ++part) {
    const std::string piece = brand.substr(16 * part, 16);
    leaves[{0x80000002 + part, 0}] = {word(piece, 0), word(piece, 4), word(piece, 8),
                                      word(piece.substr(12), 0)};
  }
  return leaves;
}

TEST(CpuidHelper, RecognisesHypervisorsAndTheirDisguises) {
  struct {
    const char* what;
    bool hasBit;
    std::vector<std::string> signatures;
    std::uint32_t interface;
    const char *manufacturer, *product;
    std::string expected;  // vendor, interface, brand and virtualization; "-" without a node
  } const cases[] = {
      {"none", false, {}, 0, "Maker", "Model", "-"},
      {"KVM", true, {"KVMKVMKVM"}, 0x01007EFB, "Red Hat", "KVM", "KVMKVMKVM||KVM|"},
      {"VMware", true, {"VMwareVMware"}, 0, "VMware, Inc.", "VMware7,1", "VMwareVMware||VMware|"},
      {"Hyper-V",
       true,
       {"Microsoft Hv"},
       0x31237648,
       "Microsoft Corporation",
       "Virtual Machine",
       "Microsoft Hv|Hv#1|Hyper-V|"},
      {"KVM as Hyper-V",
       true,
       {"Microsoft Hv", "KVMKVMKVM"},
       0x31237648,
       "",
       "",
       "KVMKVMKVM|Hv#1|KVM|"},
      {"KVM by any name", true, {"AuthenticAMD", "KVMKVMKVM"}, 0, "", "", "KVMKVMKVM||KVM|"},
      {"KVM that hides", true, {"Linux KVM Hv"}, 0x31237648, "", "", "KVMKVMKVM|Hv#1|KVM|"},
      {"Xen as Hyper-V", true, {"Microsoft Hv", "XenVMMXenVMM"}, 0, "", "", "XenVMMXenVMM||Xen|"},
      {"KVM as Xen as Hyper-V",
       true,
       {"Microsoft Hv", "XenVMMXenVMM", "KVMKVMKVM"},
       0,
       "",
       "",
       "KVMKVMKVM||KVM|"},
      {"nothing in front", true, {"", "XenVMMXenVMM"}, 0, "", "", "XenVMMXenVMM||Xen|"},
      {"unknown", true, {"Homemade"}, 0, "", "", "Homemade|||"},
      {"no text", true, {"KVMKVMKVM", "\x01\x02\x03"}, 0, "", "", "KVMKVMKVM||KVM|"},
      {"a forged node", true, {"x\n)\n(Host\n"}, 0, "", "", "|||"},
      {"leaves without the bit", false, {"VMwareVMware"}, 0, "", "", "-"},
      {"no leaves, but the bit", true, {}, 0, "Red Hat", "KVM", "|||KVM"},
      {"old VMware", false, {}, 0, "VMware, Inc.", "VMware Virtual Platform", "|||VMware"},
      {"Virtual Server", false, {}, 0, "Microsoft Corporation", "Virtual Machine", "|||MSVS"},
      {"that maker's laptop", false, {}, 0, "Microsoft Corporation", "Surface Pro", "-"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    CpuidAnswers leaves = processorLeaves("GenuineIntel", 0x906EA);
    leaves[{1, 0}].ecx = test.hasBit ? 1U << 31 : 0;
    for (std::uint32_t n = 0; n < test.signatures.size(); ++n) {
      leaves[{0x40000000 + 0x100 * n, 0}] = signature(test.signatures[n]);
    }
    leaves[{0x40000001, 0}] = {test.interface, 0, 0, 0};
    const std::string id = "/sys/class/dmi/id/";
    const OnMachine machine(
        {.files = {{id + "sys_vendor", {0, std::string(test.manufacturer) + "\n"}},
                   {id + "product_name", {0, std::string(test.product) + "\n"}}},
         .cpuid = leaves},
        "native");
    const Answer answer;
    std::string found = answer.text("Hypervisor", "Vendor");
    for (const char* name : {"Interface", "Brand", "Virtualization"}) {
      if (found != "-") found += "|" + answer.text("Hypervisor", name);
    }
    EXPECT_EQ(found, test.expected);
    EXPECT_EQ(answer.text("System", "Manufacturer"), test.manufacturer);
  }
  const OnMachine domain({.files = {{"/sys/hypervisor/type", {0, "xen\n"}}}}, "native");
  EXPECT_EQ(Answer().text("Hypervisor", "Virtualization"), "Xen");
}

// Processors by package and core, and which of them are offline.
struct Layout {
  std::vector<std::vector<std::vector<unsigned>>> packages;
  std::set<unsigned> offline;
};

std::string listOf(const std::vector<unsigned>& numbers, const std::set<unsigned>& without) {
  std::string list;
  for (const unsigned number : numbers) {
    if (!without.count(number)) list += (list.empty() ? "" : ",") + std::to_string(number);
  }
  return list + "\n";
}

std::vector<unsigned> joined(const std::vector<std::vector<unsigned>>& lists) {
  std::vector<unsigned> all;
  for (const auto& list : lists) all.insert(all.end(), list.begin(), list.end());
  std::sort(all.begin(), all.end());
  return all;
}

// The files of a kernel of that layout; offline processors have no topology.
std::map<std::string, FileText> topologyFiles(const Layout& layout,
                                              const char* packageList = "package_cpus_list",
                                              const char* coreList = "core_cpus_list") {
  std::map<std::string, FileText> files;
  std::vector<std::vector<unsigned>> all;
  for (const auto& package : layout.packages) {
    all.push_back(joined(package));
    for (const auto& core : package) {
      for (const unsigned number : core) {
        if (layout.offline.count(number)) continue;
        const std::string directory = kCpus + ("cpu" + std::to_string(number)) + "/topology/";
        files[directory + packageList] = {0, listOf(all.back(), layout.offline)};
        files[directory + coreList] = {0, listOf(core, layout.offline)};
      }
    }
  }
  files[std::string(kCpus) + "online"] = {0, listOf(joined(all), layout.offline)};
  files[std::string(kCpus) + "present"] = {0, listOf(joined(all), {})};
  return files;
}

// "active processors/cores of total processors/cores by processors per core", for each package.
std::string countsOf(const Answer& answer) {
  std::string counts;
  const VtNode* table = answer.root().getChild("ProcessorTable", 0);
  for (int n = 0; const VtNode* package = table->getChild("Processor", n); ++n) {
    const auto number = [&](const char* name) {
      return std::to_string(package->getValue(nullptr, name, -1));
    };
    counts += (n > 0 ? "; " : "") + number("ActiveProcCount") + "/" + number("ActiveCoreCount") +
              " of " + number("TotalProcCount") + "/" + number("TotalCoreCount") + " by " +
              number("ProcsPerCore");
  }
  return counts;
}

// The topology leaf of packages of that shape.
CpuidAnswers shapeLeaves(unsigned cores, unsigned threads) {
  CpuidAnswers leaves = processorLeaves("GenuineIntel", 0x906EA);
  leaves[{0xB, 0}] = {0, threads, 0x100, 0};
  leaves[{0xB, 1}] = {0, cores * threads, 0x201, 0};
  return leaves;
}

TEST(CpuidHelper, CountsWhatTheKernelHasArranged) {
  const Layout twoByTwo{{{{0, 4}, {1, 5}}, {{2, 6}, {3, 7}}}, {}};
  struct {
    const char* what;
    Layout layout;
    CpuidAnswers leaves;
    const char* expected;
  } const cases[] = {
      {"one processor", {{{{0}}}, {}}, {}, "1/1 of 1/1 by 1"},
      {"no threads", {{{{0}, {1}}, {{2}, {3}}}, {}}, {}, "2/2 of 2/2 by 1; 2/2 of 2/2 by 1"},
      {"threads", twoByTwo, {}, "4/2 of 4/2 by 2; 4/2 of 4/2 by 2"},
      {"hybrid", {{{{0, 1}, {2, 3}, {4}, {5}, {6}, {7}}}, {}}, {}, "8/6 of 8/6 by 2"},
      {"threads switched off",
       {twoByTwo.packages, {4, 5, 6, 7}},
       shapeLeaves(2, 2),
       "2/2 of 4/2 by 1; 2/2 of 4/2 by 1"},
      {"a core offline", {twoByTwo.packages, {3, 7}}, {}, "4/2 of 4/2 by 2; 2/1 of 4/2 by 2"},
      {"a package offline",
       {twoByTwo.packages, {2, 3, 6, 7}},
       shapeLeaves(2, 2),
       "4/2 of 4/2 by 2; 0/0 of 4/2 by 0"},
      {"a package offline and no leaves", {twoByTwo.packages, {2, 3, 6, 7}}, {}, "4/2 of 8/4 by 2"},
      {"leaves that state too few",
       {twoByTwo.packages, {7}},
       shapeLeaves(1, 1),
       "4/2 of 4/2 by 2; 3/2 of 4/2 by 2"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    const OnMachine machine({.files = topologyFiles(test.layout), .cpuid = test.leaves}, "native");
    EXPECT_EQ(countsOf(Answer()), test.expected);
  }
  const OnMachine old(
      {.files = topologyFiles(twoByTwo, "core_siblings_list", "thread_siblings_list")}, "native");
  const Answer answer;
  EXPECT_EQ(countsOf(answer), "4/2 of 4/2 by 2; 4/2 of 4/2 by 2");
  EXPECT_EQ(answer.number("ProcessorTable", "ActivePackageCount"), 2);
  EXPECT_EQ(answer.number("ProcessorTable", "ActiveCoreCount"), 4);
  EXPECT_EQ(answer.number("ProcessorTable", "ActiveProcessorCount"), 8);
}

TEST(CpuidHelper, FallsBackToTheKernelsTextForNonsenseTopology) {
  const FileText cpuInfo{
      0,
      "processor\t: 0\nvendor_id\t: AuthenticAMD\ncpu family\t: 25\nmodel\t\t: 17\n"
      "model name\t: AMD  EPYC\x1B[1m\nstepping\t: 1\ncpu MHz\t\t: 2596.6\nphysical id\t: 0\n"
      "core id\t\t: 0\nflags\t\t: fpu lm hypervisor\n\n"
      "processor\t: 1\nmodel\t\t: 99\nphysical id\t: 1\ncore id\t\t: 0\n"};
  for (const char* online :
       {"0-999999999999", "0-99999999", "16384", "1-0", "0,0", "0-1,", "0;1", "-1", "two"}) {
    SCOPED_TRACE(online);
    EXPECT_FALSE(parseCpuList(online));
    const OnMachine machine({.files = {{"/proc/cpuinfo", cpuInfo},
                                       {std::string(kCpus) + "online", {0, online}},
                                       {std::string(kCpus) + "present", {0, online}}}},
                            "native");
    const Answer answer;
    EXPECT_EQ(countsOf(answer), "1/1 of 1/1 by 1; 1/1 of 1/1 by 1");
    EXPECT_EQ(answer.text(kProcessor, "Signature"), "00A10F11");
    EXPECT_EQ(answer.text(kProcessor, "BrandName"), "AMD EPYC [1m");
    EXPECT_EQ(answer.text(kProcessor, "Family"), "AMD Zen");
    EXPECT_EQ(answer.number(kProcessor, "CpuClockMHz"), 2597);
    EXPECT_EQ(answer.number("ProcessorTable.Processor.Features", "LM"), 1);
    EXPECT_EQ(answer.text("Hypervisor", "Vendor"), "");
  }
  EXPECT_EQ(parseCpuList("0-2,8\n"), (std::vector<unsigned>{0, 1, 2, 8}));
  EXPECT_EQ(parseCpuList("\n"), std::vector<unsigned>());
  // A list that lacks its own processor is nonsense too; with nothing left, nothing is said.
  auto files = topologyFiles({{{{0}, {1}}}, {}});
  files[std::string(kCpus) + "cpu1/topology/core_cpus_list"] = {0, "0\n"};
  const OnMachine machine({.files = files}, "native");
  EXPECT_EQ(countsOf(Answer()), "");
}

TEST(CpuidHelper, ReadsAFileACoreOfALargeMachine) {
  Layout layout{{{}, {}, {}, {}}, {}};
  for (unsigned core = 0; core < 512; ++core) {
    layout.packages[core / 128].push_back({core, core + 512});
  }
  const OnMachine machine({.files = topologyFiles(layout), .cpuid = shapeLeaves(128, 2)}, "native");
  startAccessLog();
  const Answer answer;
  std::size_t reads = 0;
  for (const Access& access : accessLog()) reads += access.source.starts_with(kCpus);
  EXPECT_LT(reads, 512U + 4 + 20);
  EXPECT_EQ(answer.number("ProcessorTable", "ActiveCoreCount"), 512);
}

TEST(CpuidHelper, ReadsTheLeavesOfEachMake) {
  CpuidAnswers intel = processorLeaves("GenuineIntel", 0x50657, "Intel(R) Xeon(R)  CPU @ 2.40GHz");
  intel[{0x80000001, 0}].edx = 1U << 29;
  intel[{0xB, 0}] = {1, 2, 0x100, 0};
  intel[{0xB, 1}] = {6, 56, 0x201, 0};
  intel[{4, 0}] = {0x121, 0x01C0003F, 0x3F, 0};  // first level
  intel[{4, 1}] = {0x142, 0x01C0003F, 0x3F, 0};  // instructions only
  intel[{4, 2}] = {0x143, 0x03C0003F, 0x3FF, 0};
  intel[{4, 3}] = {0x163, 0x0280003F, 0xDFFF, 0};
  CpuidAnswers zen = processorLeaves("AuthenticAMD", 0x00A20F10, "AMD Ryzen 9 5950X");
  zen[{0x80000001, 0}] = {0, 0, 1U << 22, 1U << 29};
  zen[{0x80000008, 0}] = {0, 0, 31, 0};
  zen[{0x8000001E, 0}] = {0, 0x100, 0, 0};
  zen[{0x8000001D, 0}] = {0x143, 0x01C0003F, 0x3FF, 0};
  zen[{0x8000001D, 1}] = {0x163, 0x03C0003F, 0x7FFF, 0};
  CpuidAnswers old = processorLeaves("AuthenticAMD", 0x00100F42, "AMD Phenom(tm) II X4 955");
  old[{0x80000008, 0}] = {0, 0, 3, 0};
  old[{0x80000006, 0}] = {0, 0, 512U << 16, 12U << 18};
  old[{0xB, 0}] = {0, 2, 0x100, 0};  // as emulators have it
  CpuidAnswers older = processorLeaves("GenuineIntel", 0x00000F41, "Pentium(R) 4 CPU 3000MHz");
  older[{1, 0}] = {0x1F41, 2U << 16, 0, 1U << 28};
  CpuidAnswers hybrid = shapeLeaves(12, 1);
  hybrid[{7, 0}].edx = 1U << 15;
  hybrid[{0x16, 0}] = {1800, 0, 0, 0};
  hybrid[{4, 0}] = {0x143, 0x03C0003F, 0x7FF, 0};
  const std::string cpu0 = std::string(kCpus) + "cpu0/";
  auto hybridFiles = topologyFiles({{{{0, 1}, {2, 3}, {4}, {5}}}, {}});
  hybridFiles[cpu0 + "cache/index0/level"] = {0, "2\n"};
  hybridFiles[cpu0 + "cache/index0/type"] = {0, "Unified\n"};
  hybridFiles[cpu0 + "cache/index0/size"] = {0, "1280K\n"};
  hybridFiles[cpu0 + "cpufreq/base_frequency"] = {0, "2100000\n"};
  struct {
    const char* what;
    CpuidAnswers leaves;
    std::map<std::string, FileText> files;
    const char *family, *type;
    std::vector<int> expected;  // clock, caches, 64 bits, cores, threads, 64 bits of that name
  } const cases[] = {
      {"Intel", intel, {}, "Xeon", "Original OEM Processor", {2400, 1024, 39424, 1, 28, 2, 1}},
      {"Zen", zen, {}, "AMD Zen", "Original OEM Processor", {-1, 512, 32768, 1, 16, 2, 0}},
      {"before", old, {}, "x86 Family 16", "Original OEM Processor", {-1, 512, 6144, 0, 4, 1, 0}},
      {"32 bits", older, {}, "Pentium 4", "OverDrive Processor", {3000, -1, -1, 0, 1, 2, 0}},
      {"hybrid",
       hybrid,
       hybridFiles,
       "x86 Family 6",
       "Original OEM Processor",
       {2100, 1280, 0, 0, 4, 2, 0}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    const OnMachine machine({.files = test.files, .cpuid = test.leaves}, "native");
    const Answer answer;
    EXPECT_EQ(answer.text(kProcessor, "Family"), test.family);
    EXPECT_EQ(answer.text(kProcessor, "Type"), test.type);
    const std::vector<int> found = {
        answer.number(kProcessor, "CpuClockMHz"),
        answer.number(kProcessor, "L2CacheSizeKB"),
        answer.number(kProcessor, "L3CacheSizeKB"),
        answer.number(kProcessor, "Is64bit"),
        answer.number(kCpuidNode, "CorePerPackageCount"),
        answer.number(kCpuidNode, "HtPerCoreCount"),
        answer.number("ProcessorTable.Processor.Features", "IEM64T"),
    };
    EXPECT_EQ(found, test.expected);
  }
}

TEST(CpuidHelper, NamesTheFamilyAsTheCatalogueDoes) {
  struct {
    const char* brand;
    unsigned char firmware;
    const char* expected;
  } const cases[] = {
      {"Intel(R) Core(TM) i7-9700K CPU @ 3.60GHz", 0xB3, "Core i7"},
      {"12th Gen Intel(R) Core(TM) i5-1240P", 2, "Core i5"},
      {"Intel(R) Core(TM)2 Duo CPU E8400 @ 3.00GHz", 0, "Core 2 Duo"},
      {"Intel(R) Pentium(R) 4 CPU 3.00GHz", 0, "Pentium 4"},
      {"Pentium III (Coppermine)", 0, "Pentium III"},
      {"AMD Athlon(tm) 64 X2 Dual Core Processor 4200+", 0, "Athlon 64 X2"},
      {"AMD A10-7850K APU with Radeon(TM) R7 Graphics", 0, "AMD A-Series"},
      {"AMD EPYC 7R13 Processor", 0xB3, "AMD Zen"},
      {"Virtual CPU", 0xC6, "Core i7"},
      {"Virtual CPU", 0xBE, "x86 Family 6"},  // Core 2 or K7
      {"", 2, "x86 Family 6"},
  };
  for (const auto& test : cases) {
    const Processor processor{.vendor = "GenuineIntel", .brand = test.brand, .signature = 0x906EA};
    const Processor named{.vendor = processor.vendor,
                          .brand = squeezed(processor.brand),
                          .signature = processor.signature};
    EXPECT_EQ(familyName(named, test.firmware), test.expected) << test.brand;
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
  const std::string silent = processorRecord(0x41, zeros(3), zeros(6));
  const std::string empty = processorRecord(0, "\x08\x08\x08", zeros(6));
  struct {
    const char* what;
    std::string records;
    std::vector<int> expected;  // packages, cores, processors, clock
  } const cases[] = {
      {"two sorts", twoCores + empty + manyCores, {2, 302, 604, 2600}},
      {"one that does not tell", twoCores + silent, {2, -1, -1, 2600}},
      {"empty sockets", empty, {-1, -1, -1, -1}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    const std::string system =
        structure(1,
                  "\x01\x02\x03\x04" + std::string("\x33\x22\x11\x00\x55\x44\x77\x66", 8) +
                      "\x88\x99\xAA\xBB\xCC\xDD\xEE\xFF",
                  {"Maker ", "Model\n)", "System Model", "S-1"});
    const std::string table = system + test.records + structure(127, "");
    const std::string directory = "/sys/firmware/dmi/tables/";
    const OnMachine machine(
        {.files = {{directory + "smbios_entry_point",
                    {0, entryPoint64(0x300, static_cast<unsigned>(table.size()))}},
                   {directory + "DMI", {0, table}}},
         .cpuid = processorLeaves("GenuineIntel", 0x906EA)},
        "native");
    const Answer answer;
    const std::vector<int> found = {answer.number("ProcessorTable", "BiosTotalPackageCount"),
                                    answer.number("ProcessorTable", "BiosTotalCoreCount"),
                                    answer.number("ProcessorTable", "BiosTotalProcessorCount"),
                                    answer.number(kProcessor, "CpuClockMHz")};
    EXPECT_EQ(found, test.expected);
    EXPECT_EQ(answer.text("System", "Manufacturer"), "Maker");
    EXPECT_EQ(answer.text("System", "ProductName"), "Model");
    EXPECT_EQ(answer.text("System", "Version"), "");  // nobody filled it in
    EXPECT_EQ(answer.text("System", "UUID"), "00112233-4455-6677-8899-AABBCCDDEEFF");
  }
}

TEST(CpuidHelper, NeverWaitsForWhoReadsTheTrace) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const Descriptor reader(ends[0]), writer(ends[1]);
  LeafTrace trace(writer.get());
  const std::string line(4096, 'x');
  for (int i = 0; i < 64; ++i) trace.write(line);  // four times what the pipe holds
  EXPECT_EQ(fcntl(writer.get(), F_GETFL) & O_NONBLOCK, 0);
  std::string held(1 << 20, '\0');
  const ssize_t count = read(reader.get(), held.data(), held.size());
  EXPECT_GE(count, 4096);
  EXPECT_LT(count, 64 * 4096);
}

}  // namespace
}  // namespace invscan::cpuid
