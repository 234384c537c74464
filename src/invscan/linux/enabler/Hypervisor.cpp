#include "invscan/linux/enabler/Hypervisor.h"

#include <invscan/helper.h>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

constexpr unsigned kHyperV = 2;

std::string textOf(const VtNode& node, const char* name) {
  return squeezed(node.getValue(nullptr, name, ""));
}

const VtNode* hypervisorNode() {
  const VtExecInfo* answer = getCpuidVT();
  return answer && answer->result == 0 ? vtGetNode(answer, "Hypervisor", 0) : nullptr;
}

// The partition that manages the others sees the hypervisor, but is no guest.
bool isManagement(const Hypervisor& hypervisor) {
  return hypervisor.info.hypervisorType == kHyperV ||
         machine().readFile("/proc/xen/capabilities").text.find("control_d") != std::string::npos;
}

std::string findContainer() {
  const FileText told = machine().readFile("/run/systemd/container");
  if (told.error == 0) return squeezed(firstLine(told.text, 64));
  if (machine().exists("/run/.containerenv")) return "podman";
  return machine().exists("/.dockerenv") ? "docker" : "";
}

}  // namespace

std::string hypervisorName(unsigned type) {
  const char* const names[] = {HYPERVISOR_HYPERV, HYPERVISOR_MSVS, HYPERVISOR_VMWARE,
                               HYPERVISOR_KVM,    HYPERVISOR_HPVM, HYPERVISOR_PKVM};
  constexpr unsigned kFirst = 2;
  return type >= kFirst && type - kFirst < std::size(names) ? names[type - kFirst] : "";
}

Hypervisor findHypervisor() {
  Hypervisor found;
  found.isVirtual = getVirtualMachineInfo(found.info) && found.info.isVirtual;
  if (found.isVirtual) found.name = hypervisorName(found.info.hypervisorType);
  const VtNode* node = hypervisorNode();
  if (node) {
    found.vendor = textOf(*node, "Vendor");
    found.interface = textOf(*node, "Interface");
    found.brand = textOf(*node, "Brand");
  }
  if (!useNativeSources()) return found;
  if (node && !found.isVirtual && !isManagement(found)) {
    found.isVirtual = true;
    for (const std::string& name : {found.brand, textOf(*node, "Virtualization"), found.vendor}) {
      if (found.name.empty()) found.name = name;
    }
  }
  found.container = findContainer();
  if (found.name.empty()) found.name = found.container;
  return found;
}

}  // namespace invscan
