// Whether this machine is a virtual one, which hypervisor runs it, and what guest and host say of
// themselves: all from the answer of the helper program "cpuid" (helper.h).
#pragma once

#include <string>

#include <invscan/export.h>

// Names of the hypervisors that are told apart.
INVSCAN_EXPORT extern const char* const HYPERVISOR_HYPERV;  // "Hyper-V", type 2
INVSCAN_EXPORT extern const char* const HYPERVISOR_MSVS;    // "MSVS", 3: Microsoft Virtual Server
INVSCAN_EXPORT extern const char* const HYPERVISOR_VMWARE;  // "VMware", 4
INVSCAN_EXPORT extern const char* const HYPERVISOR_KVM;     // "KVM", 5
INVSCAN_EXPORT extern const char* const HYPERVISOR_HPVM;    // "Integrity VM", 6
INVSCAN_EXPORT extern const char* const HYPERVISOR_PKVM;    // "KVM_PPC", 7: KVM on POWER

// Texts that nobody told are empty.
struct VirtualMachineInfo {
  bool isVirtual = false;       // a guest of a hypervisor with a name above
  unsigned hypervisorType = 0;  // 0 no hypervisor seen, 1 one that is not known, else as above
  std::string systemManufacturer, systemProduct, systemVersion, systemSerialNumber, systemUuid;
  std::string hostManufacturer, hostProduct, hostModel, hostSerialNumber;
};

// Reads the helper's answer and keeps what it learnt: of the same machine nothing is forgotten, so
// that flag, type and texts of an earlier call stay when a later one stops early. Look at the
// result before the flag.
class INVSCAN_EXPORT VirtualMachineInfoRetriever {
 public:
  // Fills the record in every case. True when hypervisor and system could be read, and the
  // hypervisor was looked for among those above.
  bool retrieve(VirtualMachineInfo& info);

 private:
  bool readAnswer();
  void classify();

  [[maybe_unused]] bool isRetrieved_ = false;  // never set: the answer is read anew each time
  bool result_ = false;
  bool isVirtual_ = false;
  unsigned hypervisorType_ = 0;
  std::string vendorSignature_, interfaceSignature_, brand_;
  std::string systemManufacturer_, systemProduct_, systemVersion_, systemSerialNumber_, systemUuid_;
  std::string hostManufacturer_, hostProduct_, hostModel_, hostSerialNumber_;
  std::string virtualization_;
};

// Owns the one retriever. The library has one provider, which releases it when it is unloaded.
class INVSCAN_EXPORT VirtualMachineInfoProvider {
 public:
  ~VirtualMachineInfoProvider();

  // Made by the first call of getVirtualMachineInfo(), and anew after a change of machine; else
  // null.
  static VirtualMachineInfoRetriever* s_retriever;
};

// Fills the record by the one retriever, and returns its result. Any number of threads may call;
// the first call for a machine runs the helper and waits for it.
INVSCAN_EXPORT bool getVirtualMachineInfo(VirtualMachineInfo& info);
