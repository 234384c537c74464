#include "helpers/cpuid/Processor.h"

#include <algorithm>

#include "common/text/Lines.h"
#include "invscan/linux/utils/Processors.h"
#include "invscan/machine/Machine.h"

namespace invscan::cpuid {
namespace {

constexpr std::uint32_t kFeatures = 1, kStructuredFeatures = 7;
constexpr std::uint32_t kExtendedFeatures = 0x80000001, kBrand = 0x80000002;

Processor fromLeaves(const Leaves& leaves) {
  Processor processor;
  const auto first = leaves.find(0);
  if (!first) return processor;
  processor.vendor = squeezed(textIn({first->ebx, first->edx, first->ecx}));
  if (const auto features = leaves.find(kFeatures)) {
    processor.signature = features->eax;
    processor.isHypervisorPresent = hasBit(features->ecx, 31);
  }
  processor.isHybrid = hasBit(leaves.get(kStructuredFeatures).edx, 15);
  processor.isLongMode = hasBit(leaves.get(kExtendedFeatures).edx, 29);
  std::string brand;
  for (std::uint32_t part = 0; part < 3; ++part) {
    const CpuidRegisters text = leaves.get(kBrand + part);
    brand += textIn({text.eax, text.ebx, text.ecx, text.edx});
  }
  processor.brand = squeezed(brand);
  return processor;
}

Processor fromCpuInfo(CpuInfo& cpuInfo) {
  Processor processor;
  processor.vendor = cpuInfo.first("vendor_id");
  processor.brand = cpuInfo.first("model name");
  const long family = leadingInteger(cpuInfo.first("cpu family"));
  const long model = leadingInteger(cpuInfo.first("model"));
  constexpr long kMostFamily = 15 + 255, kMostModel = 255;
  if (family > 0 && family <= kMostFamily && model >= 0 && model <= kMostModel) {
    processor.signature = signatureOf(family, model, leadingInteger(cpuInfo.first("stepping")));
  }
  processor.isLongMode = cpuInfo.hasFlag("lm");
  processor.isHypervisorPresent = cpuInfo.hasFlag("hypervisor");
  return processor;
}

// The levels of the leaves that count logical processors from the core up to the package.
PackageShape fromTopologyLeaf(const Leaves& leaves, std::uint32_t leaf) {
  constexpr std::uint32_t kMostLevels = 8;
  constexpr unsigned kThreadLevel = 1;
  unsigned threads = 1, processors = 0;
  for (std::uint32_t level = 0; level < kMostLevels; ++level) {
    const CpuidRegisters told = leaves.get(leaf, level);
    const unsigned kind = bitsOf(told.ecx, 8, 15), count = bitsOf(told.ebx, 0, 15);
    if (kind == 0 || count == 0) break;
    if (kind == kThreadLevel) threads = count;
    processors = std::max(processors, count);
  }
  if (processors == 0) return {};
  return {std::max(processors / threads, 1U), threads};
}

// Processors from before they told of threads have one a core.
PackageShape fromOldAmdLeaf(const Leaves& leaves) {
  const auto sizes = leaves.find(0x80000008);
  return sizes ? PackageShape{bitsOf(sizes->ecx, 0, 7) + 1, 1} : PackageShape();
}

// Processors since then tell the threads of a core in another leaf.
PackageShape fromAmdLeaves(const Leaves& leaves) {
  const unsigned processors = fromOldAmdLeaf(leaves).cores;
  const unsigned threads = bitsOf(leaves.get(0x8000001E).ebx, 8, 15) + 1;
  return {std::max(processors / threads, 1U), threads};
}

PackageShape fromOldLeaves(const Leaves& leaves) {
  const auto features = leaves.find(kFeatures);
  if (!features) return {};
  const bool isMany = hasBit(features->edx, 28);
  const unsigned processors = isMany ? std::max(bitsOf(features->ebx, 16, 23), 1U) : 1;
  const unsigned cores = bitsOf(leaves.get(4).eax, 26, 31) + 1;
  return {std::min(cores, processors), std::max(processors / cores, 1U)};
}

}  // namespace

unsigned Processor::family() const {
  if (!signature) return 0;
  const unsigned base = bitsOf(*signature, 8, 11);
  return base == 15 ? base + bitsOf(*signature, 20, 27) : base;
}

Processor readProcessor(const Leaves& leaves, CpuInfo& cpuInfo) {
  Processor processor = fromLeaves(leaves);
  return processor.vendor.empty() ? fromCpuInfo(cpuInfo) : processor;
}

namespace {

PackageShape fromAnyLeaf(const Leaves& leaves, const Processor& processor) {
  // Virtual ones can have the topology leaf all the same; kernels do not go by it.
  const bool hasTopology = hasBit(leaves.get(kExtendedFeatures).ecx, 22);
  if (processor.isAmd() && !hasTopology) return fromOldAmdLeaf(leaves);
  for (const std::uint32_t leaf : {0x1FU, 0xBU}) {
    const PackageShape shape = fromTopologyLeaf(leaves, leaf);
    if (shape.cores != 0) return shape;
  }
  return processor.isAmd() ? fromAmdLeaves(leaves) : fromOldLeaves(leaves);
}

// Whether the kernel knows of second threads, be they switched off.
bool hasSecondThreads() {
  const FileText control = machine().readFile("/sys/devices/system/cpu/smt/control");
  const std::string_view state = firstLine(control.text, kTextLimit);
  return state == "on" || state == "off" || state == "forceoff";
}

}  // namespace

// Of a hybrid the leaves tell the threads of the kind of core that answers.
PackageShape readPackageShape(const Leaves& leaves, const Processor& processor) {
  const PackageShape shape = fromAnyLeaf(leaves, processor);
  if (!processor.isHybrid) return shape;
  const unsigned threads = hasSecondThreads() ? 2 : 1;
  return {(shape.cores * shape.threadsPerCore + threads - 1) / threads, threads};
}

}  // namespace invscan::cpuid
