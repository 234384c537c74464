#include <mutex>
#include <string>

#include <invscan/helper.h>
#include <invscan/virtualmachine.h>

#include "invscan/machine/Machine.h"
#include "log/Trace.h"

using namespace invscan;

const char* const HYPERVISOR_HYPERV = "Hyper-V";
const char* const HYPERVISOR_MSVS = "MSVS";
const char* const HYPERVISOR_VMWARE = "VMware";
const char* const HYPERVISOR_KVM = "KVM";
const char* const HYPERVISOR_HPVM = "Integrity VM";
const char* const HYPERVISOR_PKVM = "KVM_PPC";

namespace {

enum HypervisorType : unsigned {
  Unknown = 1,
  HyperV,
  VirtualServer,
  VMware,
  Kvm,
  IntegrityVm,
  Pkvm
};

// What the helper itself may have found out, with the type that it stands for.
constexpr struct {
  const char* value;
  HypervisorType type;
} kVirtualizations[] = {
    {"VMware", VMware}, {"MSVS", VirtualServer}, {"HPVM", IntegrityVm}, {"KVM_PPC", Pkvm}};

// Everything of a node that one retrieval reads, as an empty text when it is not there.
std::string textOf(const VtNode& node, const char* name) {
  return node.getValue(nullptr, name, "");
}

std::mutex retrieverMutex;

void forgetRetriever() {
  const std::lock_guard lock(retrieverMutex);
  delete VirtualMachineInfoProvider::s_retriever;
  VirtualMachineInfoProvider::s_retriever = nullptr;
}

VirtualMachineInfoProvider provider;

}  // namespace

VirtualMachineInfoRetriever* VirtualMachineInfoProvider::s_retriever = nullptr;

VirtualMachineInfoProvider::~VirtualMachineInfoProvider() {
  delete s_retriever;
  s_retriever = nullptr;
}

bool VirtualMachineInfoRetriever::retrieve(VirtualMachineInfo& info) {
  const Trace trace(getCcLogHw(), "retrieve()");
  result_ = readAnswer();
  if (result_) classify();
  info = {isVirtual_,     hypervisorType_,     systemManufacturer_, systemProduct_,
          systemVersion_, systemSerialNumber_, systemUuid_,         hostManufacturer_,
          hostProduct_,   hostModel_,          hostSerialNumber_};
  trace.at().max("result=%d", result_ ? 1 : 0);
  return result_;
}

// Whether there is enough to classify.
bool VirtualMachineInfoRetriever::readAnswer() {
  const Trace trace(getCcLogHw(), "readAnswer()");
  const VtExecInfo* info = getCpuidVT();
  if (!info) {
    trace.at().min("ERROR! Failed to execute cpuid command");
    return false;
  }
  if (info->result != 0 || !info->tree) {
    trace.at().min("ERROR! cpuid command returned %d", info->result);
    return false;
  }
  const VtNode* hypervisor = vtGetNode(info, "Hypervisor", 0);
  if (!hypervisor) {
    trace.at().min("No hypervisor info in CPUID - no problem");
    return false;
  }
  hypervisorType_ = Unknown;
  vendorSignature_ = textOf(*hypervisor, "Vendor");
  trace.at().max("VendorSignature='%s'", vendorSignature_.c_str());
  interfaceSignature_ = textOf(*hypervisor, "Interface");
  trace.at().max("InterfaceSignature='%s'", interfaceSignature_.c_str());
  brand_ = textOf(*hypervisor, "Brand");
  trace.at().max("Brand='%s'", brand_.c_str());
  virtualization_ = textOf(*hypervisor, "Virtualization");
  trace.at().max("Virtualization='%s'", virtualization_.c_str());

  const VtNode* system = vtGetNode(info, "System", 0);
  if (!system) {
    trace.at().min("ERROR! Failed to get System info");
    return false;
  }
  systemManufacturer_ = textOf(*system, "Manufacturer");
  systemProduct_ = textOf(*system, "ProductName");
  systemVersion_ = textOf(*system, "Version");
  systemSerialNumber_ = textOf(*system, "SerialNumber");
  systemUuid_ = textOf(*system, "UUID");

  if (const VtNode* host = vtGetNode(info, "Host", 0)) {
    hostManufacturer_ = textOf(*host, "Manufacturer");
    hostProduct_ = textOf(*host, "Product");
    hostModel_ = textOf(*host, "Model");
    hostSerialNumber_ = textOf(*host, "SerialNumber");
  } else {
    trace.at().min("Warning! Failed to get host info");
  }
  return true;
}

// The first rule that holds decides. Texts are compared as they stand.
void VirtualMachineInfoRetriever::classify() {
  const Trace trace(getCcLogHw(), "classify()");
  const auto isGuestOf = [this](HypervisorType type) {
    hypervisorType_ = type;
    isVirtual_ = true;
  };
  if (vendorSignature_ == "Microsoft Hv") {
    hypervisorType_ = HyperV;
    trace.at().min("Hypervisor is Microsoft Hyper-V");
    // The hypervisor's own management partition has the same signature.
    if (systemManufacturer_ == "Microsoft Corporation" && systemProduct_ == "Virtual Machine") {
      isVirtual_ = true;
      trace.at().min("We are running inside a VM");
    }
  } else if (vendorSignature_ == "Microsoft" && brand_ == "Virtual Server") {
    isGuestOf(VirtualServer);
    trace.at().min("Hypervisor is Microsoft Virtual Server");
  } else if (vendorSignature_ == "VMware" || vendorSignature_ == "VMwareVMware") {
    isGuestOf(VMware);
    trace.at().min("Hypervisor is VMware");
  } else if (vendorSignature_ == "KVMKVMKVM" ||
             (systemManufacturer_ == "Red Hat" && systemProduct_ == "KVM")) {
    isGuestOf(Kvm);
    trace.at().min("Hypervisor is KVM");
  } else {
    for (const auto& [value, type] : kVirtualizations) {
      if (virtualization_ == value) isGuestOf(type);
    }
  }
}

bool getVirtualMachineInfo(VirtualMachineInfo& info) {
  onMachineChange(forgetRetriever);
  getCpuidVT();  // waits for the helper, and keeps its answer, before others have to wait too
  const std::lock_guard lock(retrieverMutex);
  auto*& retriever = VirtualMachineInfoProvider::s_retriever;
  if (!retriever) retriever = new VirtualMachineInfoRetriever;
  return retriever->retrieve(info);
}
