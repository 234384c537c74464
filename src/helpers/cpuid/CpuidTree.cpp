#include "helpers/cpuid/CpuidTree.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <invscan/vmware.h>

#include "common/vartree/TreeBuilder.h"
#include "helpers/cpuid/Clock.h"
#include "helpers/cpuid/Family.h"
#include "helpers/cpuid/Hypervisor.h"
#include "helpers/cpuid/Topology.h"

namespace invscan::cpuid {
namespace {

// Bits 12 and 13 of the signature say which.
constexpr const char* kTypes[] = {"Original OEM Processor", "OverDrive Processor", "Dual Processor",
                                  "Reserved"};

// All that is written about every package alike.
struct Make {
  Processor processor;
  PackageShape shape;
  std::string signature, family;
  long clock = 0;
  std::optional<CacheSizes> caches;
};

Make readMake(const Leaves& leaves, const Firmware& firmware, CpuInfo& cpuInfo) {
  Make make;
  make.processor = readProcessor(leaves, cpuInfo);
  make.shape = readPackageShape(leaves, make.processor);
  if (make.processor.signature) {
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08X", *make.processor.signature);
    make.signature = digits;
  }
  make.family = familyName(make.processor, firmware.processorFamily());
  make.clock = findClock(leaves, make.processor, firmware, cpuInfo);
  make.caches = readCaches(leaves, make.processor);
  return make;
}

void addText(TreeBuilder& node, const char* name, const std::string& text) {
  if (!text.empty()) node.text(name, text);
}

void addNumber(TreeBuilder& node, const char* name, std::optional<long> number) {
  if (number) node.number(name, *number);
}

// The leaves of a hybrid tell of the core that answers; the kernel's counts are of all.
void addCpuid(TreeBuilder node, const Make& make, const Package& package) {
  const bool isStated = make.shape.cores != 0 && !make.processor.isHybrid;
  const unsigned cores = isStated ? make.shape.cores : package.totalCores;
  const unsigned threads = isStated ? make.shape.threadsPerCore : package.processorsPerCore;
  if (cores != 0) node.number("CorePerPackageCount", cores);
  if (threads != 0) node.number("HtPerCoreCount", threads);
  addText(node, "Signature", make.signature);
}

void addCounts(TreeBuilder& node, const Package& package) {
  node.number("TotalCoreCount", package.totalCores)
      .number("TotalProcCount", package.totalProcessors)
      .number("ActiveProcCount", package.activeProcessors)
      .number("ActiveCoreCount", package.activeCores)
      .number("ProcsPerCore", package.processorsPerCore);
}

void addPackage(TreeBuilder node, const Make& make, const Package& package) {
  const Processor& processor = make.processor;
  addText(node, "Manufacturer", processor.vendor);
  addText(node, "Family", make.family);
  if (processor.signature) node.text("Type", kTypes[bitsOf(*processor.signature, 12, 13)]);
  addText(node, "BrandName", processor.brand);
  addText(node, "Signature", make.signature);
  if (package.totalProcessors != 0) addCounts(node, package);
  if (make.clock != 0) node.number("CpuClockMHz", make.clock);
  if (make.caches) {
    node.number("L2CacheSizeKB", static_cast<long>(make.caches->level2))
        .number("L3CacheSizeKB", static_cast<long>(make.caches->level3));
  }
  if (!processor.vendor.empty()) node.number("Is64bit", processor.isLongMode);
  addCpuid(node.child("CPUID"), make, package);
  if (processor.vendor.empty()) return;
  node.child("Features")
      .number("IEM64T", processor.isIntel() && processor.isLongMode)
      .number("LM", processor.isLongMode);
}

void addProcessors(TreeBuilder node, const Make& make, std::vector<Package> packages,
                   const FirmwareTotals& firmware) {
  if (!packages.empty()) {
    long active = 0, processors = 0, cores = 0;
    for (const Package& package : packages) {
      active += package.activeProcessors != 0;
      processors += package.activeProcessors;
      cores += package.activeCores;
    }
    node.number("ActivePackageCount", active)
        .number("ActiveProcessorCount", processors)
        .number("ActiveCoreCount", cores);
  }
  addNumber(node, "BiosTotalProcessorCount", firmware.processors);
  addNumber(node, "BiosTotalCoreCount", firmware.cores);
  addNumber(node, "BiosTotalPackageCount", firmware.packages);
  // A processor that answers is there, even when nothing tells how many are.
  if (packages.empty() && !make.processor.vendor.empty()) packages.emplace_back();
  for (const Package& package : packages) addPackage(node.child("Processor"), make, package);
}

void addHypervisor(TreeBuilder node, const Hypervisor& hypervisor) {
  node.text("Vendor", hypervisor.vendor)
      .text("Interface", hypervisor.interface)
      .text("Brand", hypervisor.brand)
      .text("Virtualization", hypervisor.virtualization);
}

struct TextRelease {
  void operator()(char* text) const { std::free(text); }
};
using OwnText = std::unique_ptr<char, TextRelease>;

// Nobody but the administrator of a VMware hypervisor can tell a guest of its host, and no other
// hypervisor's guest is worth the tools that it takes to ask.
void addHost(VtNode* root, const Hypervisor& hypervisor) {
  const bool isVMware = hypervisor.brand == "VMware" || hypervisor.virtualization == "VMware";
  if (!isVMware || check_virtual() != 1) return;
  HostInfo info{};
  getHostInfo(&info);
  const OwnText manufacturer(info.manufacturer), product(info.product), version(info.version),
      type(info.machineType), nodeId(info.nodeId);
  const std::string texts[] = {squeezed(manufacturer.get()), squeezed(product.get()),
                               squeezed(type.get())};
  if ((texts[0] + texts[1] + texts[2]).empty()) return;
  TreeBuilder(root)
      .child("Host")
      .text("Manufacturer", texts[0])
      .text("Product", texts[1])
      .text("Model", texts[2]);
}

void addSystem(TreeBuilder node, const SystemIdentity& system) {
  node.text("Manufacturer", system.manufacturer)
      .text("ProductName", system.product)
      .text("Version", system.version)
      .text("SerialNumber", system.serialNumber)
      .text("UUID", system.uuid);
}

}  // namespace

VtNode* makeAnswer(const Leaves& leaves) {
  const Firmware firmware;
  CpuInfo cpuInfo;
  const Make make = readMake(leaves, firmware, cpuInfo);
  const SystemIdentity system = firmware.system();
  auto* root = new VtNode("");
  TreeBuilder answer(root);
  addProcessors(answer.child("ProcessorTable"), make, readPackages(make.shape), firmware.totals());
  const auto hypervisor = findHypervisor(leaves, make.processor, system);
  if (hypervisor) addHypervisor(answer.child("Hypervisor"), *hypervisor);
  addSystem(answer.child("System"), system);
  if (hypervisor) addHost(root, *hypervisor);
  return root;
}

}  // namespace invscan::cpuid
