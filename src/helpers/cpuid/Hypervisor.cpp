#include "helpers/cpuid/Hypervisor.h"

#include <algorithm>

namespace invscan::cpuid {
namespace {

// Signatures stand at the first leaf of each block of 256. Each question costs a trap into the
// hypervisor, and none is known to use more than three blocks.
constexpr std::uint32_t kFirstBlock = 0x40000000, kBlock = 0x100, kBlocks = 4;

constexpr char kKvm[] = "KVMKVMKVM";

constexpr std::pair<const char*, const char*> kBrands[] = {
    {kKvm, "KVM"},
    {"VMwareVMware", "VMware"},
    {"Microsoft Hv", "Hyper-V"},
    {"XenVMMXenVMM", "Xen"},
    {"TCGTCGTCGTCG", "QEMU"},
    {"VBoxVBoxVBox", "VirtualBox"},
    {"bhyve bhyve ", "bhyve"},
    {"BHyVE BHyVE ", "bhyve"},
    {" prl hyperv ", "Parallels"},
    {" lrpepyh  vr", "Parallels"},
    {"ACRNACRNACRN", "ACRN"},
    {"Jailhouse", "Jailhouse"},
    {"QNXQVMBSQG", "QNX"},
    {" QNXQVMBSQG ", "QNX"},
    {"___ NVMM ___", "NVMM"},
    {"OpenBSDVMM58", "OpenBSD VMM"},
    {"HAXMHAXMHAXM", "HAXM"},
    {"UnisysSpar64", "s-Par"},
    {"SRESRESRESRE", "SRE"},
    {"Apple VZ", "Apple Virtualization"},
};

// Systems that only a hypervisor makes. Virtual Server's guests share their identity with those of
// Hyper-V, which always have a signature.
constexpr struct {
  const char* manufacturer;
  const char* product;  // its beginning
  const char* virtualization;
} kVirtualSystems[] = {
    {"VMware, Inc.", "VMware", "VMware"},
    {"Microsoft Corporation", "Virtual Machine", "MSVS"},
    {"Red Hat", "KVM", "KVM"},
    {"QEMU", "", "QEMU"},
    {"Xen", "HVM domU", "Xen"},
    {"innotek GmbH", "VirtualBox", "VirtualBox"},
};

bool isPrintable(const std::string& text) {
  return std::all_of(text.begin(), text.end(),
                     [](char letter) { return letter >= ' ' && letter <= '~'; });
}

// A hypervisor that poses as another, for guests that know only that one, has the other's signature
// in front and its own behind it: "Microsoft Hv" before KVM's or Xen's, Xen's before KVM's. So the
// last one tells. KVM can also be told to hide its own; what then is in front by default is a
// signature that nobody else has.
std::string findSignature(const Leaves& leaves) {
  std::string last;
  for (std::uint32_t n = 0; n < kBlocks; ++n) {
    const CpuidRegisters block = leaves.get(kFirstBlock + n * kBlock);
    const std::string signature = textIn({block.ebx, block.ecx, block.edx});
    if (!squeezed(signature).empty() && isPrintable(signature)) last = signature;
  }
  return last == "Linux KVM Hv" ? kKvm : last;
}

// Tells the interface that stands in front: Microsoft's is the only one that has a signature;
// others have numbers there.
std::string findInterface(const Leaves& leaves) {
  const std::string interface = textIn({leaves.get(kFirstBlock + 1).eax});
  return interface.size() == 4 && isPrintable(interface) ? interface : "";
}

std::string fromSystem(const SystemIdentity& system) {
  for (const auto& known : kVirtualSystems) {
    if (system.manufacturer == known.manufacturer && system.product.starts_with(known.product)) {
      return known.virtualization;
    }
  }
  return "";
}

// The kernel of a Xen guest, or of its first domain, which no leaf need tell of.
std::string fromKernel() {
  return machine().readFile("/sys/hypervisor/type").text.starts_with("xen") ? "Xen" : "";
}

}  // namespace

std::optional<Hypervisor> findHypervisor(const Leaves& leaves, const Processor& processor,
                                         const SystemIdentity& system) {
  Hypervisor found;
  // Without the bit, what a real processor answers to these leaves means nothing.
  if (processor.isHypervisorPresent) {
    found.vendor = findSignature(leaves);
    found.interface = findInterface(leaves);
  }
  for (const auto& [signature, brand] : kBrands) {
    if (found.vendor == signature) found.brand = brand;
  }
  if (found.vendor.empty()) {
    found.virtualization = fromSystem(system);
    if (found.virtualization.empty()) found.virtualization = fromKernel();
    if (!processor.isHypervisorPresent && found.virtualization.empty()) return std::nullopt;
  }
  return found;
}

}  // namespace invscan::cpuid
