// Which machine this is, what runs it, what is in it.
#include "Rendering.h"
#include "TestMachine.h"
#include "Testing.h"

namespace invscan {
namespace {

TEST(PciDevices, AreInTheOrderOfTheirAddressesAndHaveTheNamesThatTheDatabaseKnows) {
  const std::string directory = "/sys/bus/pci/devices", longText(300, 'u');
  const struct {
    std::string address, alias;
    HardwareProperties known;
  } functions[] = {
      {"0000:00:02.0", "", {}},  // taken out meanwhile
      {"0000:00:1f.2",
       "bc02sc00i00",
       {{"ID_VENDOR_FROM_DATABASE", "Intel"},
        {"ID_MODEL_FROM_DATABASE", "82540EM"},
        {"ID_PCI_CLASS_FROM_DATABASE", "Network controller"},
        {"ID_PCI_SUBCLASS_FROM_DATABASE", "Ethernet controller"}}},
      {"0000:02:00.0",
       "bc02sc80i00",
       {{"ID_MODEL_FROM_DATABASE", "nobody's"}, {"ID_PCI_CLASS_FROM_DATABASE", "Network"}}},
      {"10000:00:00.0",
       "bc01sc06i01",
       {{"ID_VENDOR_FROM_DATABASE", longText}, {"ID_PCI_SUBCLASS_FROM_DATABASE", longText}}},
      {"abcd:00:00.0", "bc01sc08i02", {}},
      {"strange", "bc09sc00i00", {}},
  };
  Answers answers;
  for (const auto& [address, alias, known] : functions) {
    answers.directories[directory].push_back(address);
    if (alias.empty()) continue;
    const std::string path = directory + '/' + address + "/modalias";
    answers.files[path] = {0, "pci:v00008086d0000100Esv00001AF4sd00001100" + alias + "\n"};
    answers.plain.add(answered<HardwareQuestion>(known, "pci:v00008086d0000100Esv*sd*" + alias));
  }
  // A kernel without aliases.
  answers.directories[directory].push_back("0000:00:03.0");
  answers.files[directory + "/0000:00:03.0/vendor"] = {0, "0x1af4\n"};
  answers.files[directory + "/0000:00:03.0/device"] = {0, "0x1000\n"};
  answers.files[directory + "/0000:00:03.0/class"] = {0, "0x020000\n"};
  {
    const OnMachine machine(answers);
    EXPECT_EQ(valuesOf(29, {"Index", "Name", "Class"}),
              "1|Device 1af4:1000|Class 0200;2|Intel 82540EM|Ethernet controller;"
              "3|Device 8086:100e|Network [0280];4|Device 8086:100e|Class 0108;5|" +
                  longText.substr(0, 255) + "|" + longText.substr(0, 128));
  }
  const OnMachine machine({});
  EXPECT_EQ(valuesOf(29, {"Name"}), "no table");
}

std::string node(const std::string& name,
                 const std::vector<std::pair<std::string, std::string>>& texts) {
  std::string text = "(" + name + "\n";
  for (const auto& [key, value] : texts) text += key + ":s=" + value + "\n";
  return text + ")\n";
}

std::string system(const std::string& manufacturer = "", const std::string& product = "") {
  return node("System", {{"Manufacturer", manufacturer},
                         {"ProductName", product},
                         {"Version", "v"},
                         {"SerialNumber", "serial"},
                         {"UUID", "UUID"}});
}

Answers withAnswer(const std::string& tree) {
  return {.helpers = {{"cpuid", "1.0 0 OK\n" + tree}}};
}

TEST(VirtualMachine, IsToldByHypervisorAndSystem) {
  const auto hypervisor = [](const std::string& vendor, const std::string& virtualization = "") {
    return node("Hypervisor", {{"Vendor", vendor}, {"Virtualization", virtualization}}) + system();
  };
  const auto vendor = [](const std::string& text) {
    return node("Hypervisor", {{"Vendor", text}});
  };
  const struct {
    const char* what;
    std::string tree;
    bool result;
    unsigned type;
    std::string row;  // of the guest's group; no guest has none
  } rows[] = {
      {"bare metal", system(), false, 0, ""},
      {"no system", vendor("VMware"), false, 1, ""},
      {"unknown", hypervisor("XenVMMXenVMM", "KVM"), true, 1, ""},
      {"it comes first", vendor("Microsoft Hv") + system("Red Hat", "KVM"), true, 2, ""},
      {"Virtual Server",
       node("Hypervisor", {{"Vendor", "Microsoft"}, {"Brand", "Virtual Server"}}) + system(), true,
       3, "serial|MSVS"},
      {"KVM by its system", vendor("") + system("Red Hat", "KVM"), true, 5, "UUID|KVM"},
      {"VMware by the helper", hypervisor("new", "VMware"), true, 4, "UUID|VMware"},
      {"HPVM", hypervisor("new", "HPVM"), true, 6, "UUID|Integrity VM"},
      {"KVM_PPC", hypervisor("new", "KVM_PPC"), true, 7, "UUID|KVM_PPC"},
      {"a number is no text", "(Hypervisor\nVendor:i=5\n)\n" + system(), true, 1, ""},
  };
  for (const auto& row : rows) {
    const OnMachine machine(withAnswer(row.tree));
    VirtualMachineInfo info;
    EXPECT_EQ(getVirtualMachineInfo(info), row.result) << row.what;
    EXPECT_EQ(info.hypervisorType, row.type) << row.what;
    EXPECT_EQ(info.isVirtual, !row.row.empty()) << row.what;
    EXPECT_EQ(valuesOf(50, {"UUID", "HypervisorType"}), row.row.empty() ? "no table" : row.row)
        << row.what;
  }
}

// The library's own begins anew with another machine. One that a host asks on forgets nothing.
TEST(VirtualMachine, StaysWhatItWasUntilTheMachineChanges) {
  VirtualMachineInfoRetriever own;
  VirtualMachineInfo info;
  {
    const OnMachine machine(withAnswer(node("Hypervisor", {{"Vendor", "VMware"}}) +
                                       system("M", "P") +
                                       node("Host", {{"Model", "HO"}, {"SerialNumber", "HS"}})));
    EXPECT_TRUE(own.retrieve(info) && getVirtualMachineInfo(info));
    EXPECT_EQ(info.systemManufacturer + info.systemVersion + info.hostModel + info.hostSerialNumber,
              "MvHOHS");
  }
  const OnMachine machine({.helpers = {{"cpuid", "1.0 2 no\n" + system()}}});
  EXPECT_FALSE(getVirtualMachineInfo(info));
  EXPECT_TRUE(!info.isVirtual && info.hypervisorType == 0 && info.systemProduct.empty());
  EXPECT_FALSE(own.retrieve(info));
  EXPECT_TRUE(info.isVirtual && info.hypervisorType == 4 && info.systemProduct == "P");
}

TEST(PhysicalProcessors, AreTheHelpersWhereTheKeyMakesNoSense) {
  Answers answers =
      withAnswer("(ProcessorTable\n(Processor\nManufacturer:s=helper's\n)\n)\n" + system());
  answers.plain.add(
      answered<GuestChannelQuestion>(CpuidRegisters{6, kChannelMagic, 2, 0}, {10, 0}));
  for (const std::string text : {"ClockMHz=2400;", "Count=1024|Family=a;Family=b", "ClockMHz=-1",
                                 "ClockMHz=1|ClockMHz=1", "Count=0|Family=a", "Count=2",
                                 "Family=", "Id=1", "Is64Bit=Y", "Is64Bit=T;;", "two of them"}) {
    answers
        .commands["vmware-guestd --cmd 'info-get guestinfo.orv_physical_processor' 2>/dev/null"] = {
        .output = text + "\n"};
    const OnMachine machine(answers);
    EXPECT_EQ(valuesOf(44, {"Manufacturer"}), text == "ClockMHz=2400;" ? "-" : "helper's") << text;
  }
}

TEST(Partition, IsGrantedTheLeastThatAnybodyAllows) {
  const struct {
    std::map<std::string, FileText> files;
    std::string expected;
  } rows[] = {
      {{}, "-|-|-"},
      {{{"cpu.max", {0, "max 100000\n"}}, {"memory.max", {0, "max\n"}}}, "-|-|-"},
      {{{"cpu.max", {0, "150000 100000\n"}}, {"memory.max", {0, "536870912\n"}}}, "-|1.500000|512"},
      {{{"cpu/cpu.cfs_quota_us", {0, "-1\n"}},
        {"cpu/cpu.cfs_period_us", {0, "100000\n"}},
        {"memory/memory.limit_in_bytes", {0, "9223372036854771712\n"}}},
       "-|-|-"},
      {{{"cpu/cpu.cfs_quota_us", {0, "50000\n"}}, {"cpu/cpu.cfs_period_us", {0, "100000\n"}}},
       "-|0.500000|-"},
      {{{"cpu.max", {0, "1 0\n"}}, {"memory.max", {0, "-5"}}}, "-|-|-"},
  };
  for (const auto& row : rows) {
    Answers answers;
    for (const auto& [name, text] : row.files) answers.files["/sys/fs/cgroup/" + name] = text;
    const OnMachine machine(answers, "native");
    EXPECT_EQ(valuesOf(34, {"EntitledCapacity", "MaxCapacity", "MaxMemoryMB"}), row.expected);
  }
}

TEST(Component, IsWhatTheFirstSourceTells) {
  const auto hypervisor = [](const std::string& vendor, const std::string& brand) {
    return node("Hypervisor", {{"Vendor", vendor}, {"Brand", brand}}) + system("helper's", "P");
  };
  const std::string ones = "ffffffff-ffff-ffff-ffff-ffffffffffff\n";
  const struct {
    std::string tree;
    std::map<std::string, FileText> files;
    std::string native, classic;
  } rows[] = {
      {hypervisor("XenVMMXenVMM", "Xen"),
       {{"/sys/class/dmi/id/sys_vendor", {0, "kernel's\n"}},
        {"/sys/class/dmi/id/product_uuid", {0, ones}},
        {"/etc/machine-id", {0, "uninitialized\n"}},
        {"/var/lib/dbus/machine-id", {0, "0123456789abcdef0123456789abcdef\n"}}},
       "kernel's|P|UUID|0123456789abcdef0123456789abcdef|T|Xen",
       "helper's|P|UUID|0123456789abcdef0123456789abcdef|F|-"},
      {hypervisor("XenVMMXenVMM", "Xen"),
       {{"/proc/xen/capabilities", {0, "control_d\n"}}},
       "helper's|P|UUID|-|F|-",
       "helper's|P|UUID|-|F|-"},
      {hypervisor("", ""),
       {{"/run/systemd/container", {0, "lxc\n"}},
        {"/etc/machine-id", {0, std::string(32, '0') + "\n"}}},
       "helper's|P|UUID|-|T|lxc",
       "helper's|P|UUID|-|F|-"},
      {"", {{"/.dockerenv", {0, ""}}}, "-|-|-|-|F|docker", "-|-|-|-|F|-"},
  };
  for (const auto& row : rows) {
    for (const bool isNative : {true, false}) {
      Answers answers = withAnswer(row.tree);
      answers.files = row.files;
      const OnMachine machine(answers, isNative ? "native" : "classic");
      startAccessLog();
      EXPECT_EQ(valuesOf(1, {"Manufacturer", "Product", "UUID", "Machine ID", "Is Virtual",
                             "Hypervisor Type"}),
                isNative ? row.native : row.classic);
      std::string verdict;
      for (const Access& access : accessLog()) {
        if (access.outcome.starts_with(kOverruled)) verdict += access.outcome;
      }
      const bool isOverruled = isNative && row.files.contains("/sys/class/dmi/id/sys_vendor");
      EXPECT_EQ(verdict, isOverruled ? "overruled in Manufacturer \"helper's\"" : "");
    }
  }
}

}  // namespace
}  // namespace invscan
