#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/helper.h>

#include "common/text/Lines.h"
#include "invscan/com/model/OrderedRow.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/enabler/GuestAnswers.h"
#include "invscan/linux/enabler/Hypervisor.h"
#include "invscan/linux/utils/CpuList.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

const kelAttribDef LPAR_ATTRS_DEF[] = {
    {1, "PartitionName", KEL_STRING, 255, nullptr},
    {2, "PartitionID", KEL_ULONG, 0, nullptr},
    {3, "PartitionType", KEL_STRING, 32, nullptr},
    {4, "PartitionMode", KEL_STRING, 32, nullptr},
    {5, "PartitionGroupID", KEL_ULONG, 0, nullptr},
    {6, "IsVirtual", KEL_STRING, 1, nullptr},
    {7, "HypervisorType", KEL_STRING, 50, nullptr},
    {8, "HypervisorVendor", KEL_STRING, 16, nullptr},
    {9, "HypervisorInterface", KEL_STRING, 16, nullptr},
    {10, "HypervisorBrand", KEL_STRING, 64, nullptr},
    {11, "EntitledCapacity", KEL_FLOAT, 0, nullptr},
    {12, "MinCapacity", KEL_FLOAT, 0, nullptr},
    {13, "MaxCapacity", KEL_FLOAT, 0, nullptr},
    {14, "CapacityIncrement", KEL_FLOAT, 0, nullptr},
    {15, "CappingWeight", KEL_ULONG, 0, nullptr},
    {16, "OnlineVirtualCpus", KEL_ULONG, 0, nullptr},
    {17, "MinVirtualCpus", KEL_ULONG, 0, nullptr},
    {18, "MaxVirtualCpus", KEL_ULONG, 0, nullptr},
    {19, "ThreadsPerVirtualCpu", KEL_ULONG, 0, nullptr},
    {20, "OnlineMemoryMB", KEL_ULONG, 0, nullptr},
    {21, "MinMemoryMB", KEL_ULONG, 0, nullptr},
    {22, "MaxMemoryMB", KEL_ULONG, 0, nullptr},
    {23, "MemoryMode", KEL_STRING, 32, nullptr},
    {24, "MemoryPoolID", KEL_ULONG, 0, nullptr},
    {25, "MemoryPoolSizeMB", KEL_ULONG, 0, nullptr},
    {26, "MemoryWeight", KEL_ULONG, 0, nullptr},
    {27, "IOMemoryEntitlementMB", KEL_ULONG, 0, nullptr},
    {28, "SharedPoolID", KEL_ULONG, 0, nullptr},
    {29, "PoolEntitledCapacity", KEL_FLOAT, 0, nullptr},
    {30, "PoolMaxCapacity", KEL_FLOAT, 0, nullptr},
    {31, "PoolActiveCpus", KEL_ULONG, 0, nullptr},
    {32, "PoolUnallocatedCapacity", KEL_FLOAT, 0, nullptr},
    {33, "SharedSystemCpus", KEL_ULONG, 0, nullptr},
    {34, "ActiveSystemCpus", KEL_ULONG, 0, nullptr},
    {35, "MaxSystemCpus", KEL_ULONG, 0, nullptr},
    {36, "ActivePackages", KEL_ULONG, 0, nullptr},
    {37, "ActiveCores", KEL_ULONG, 0, nullptr},
    {38, "ActiveProcessors", KEL_ULONG, 0, nullptr},
    {39, "TotalPackages", KEL_ULONG, 0, nullptr},
    {40, "TotalCores", KEL_ULONG, 0, nullptr},
    {41, "TotalProcessors", KEL_ULONG, 0, nullptr},
    {42, "NodeID", KEL_STRING, 128, nullptr},
    {43, "NodeCapacity", KEL_ULONG, 0, nullptr},
    {44, "VirtualMachineID", KEL_STRING, 128, nullptr},
    {45, "VirtualMachineCapacity", KEL_DOUBLE, 0, nullptr},
    {46, "CpuReservationMHz", KEL_ULONG, 0, nullptr},
    {47, "CpuLimitMHz", KEL_ULONG, 0, nullptr},
    {48, "CpuShares", KEL_ULONG, 0, nullptr},
    {49, "HostProcessorSpeedMHz", KEL_ULONG, 0, nullptr},
    {50, "HostSerialNumber", KEL_STRING, 64, nullptr},
    {51, "SystemUUID", KEL_STRING, 48, nullptr},
    {52, "PhysicalCpuPercentage", KEL_FLOAT, 0, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

constexpr char kGuestLibrary[] = "guest channel; guest library; cpuid";
constexpr char kLimits[] = "/sys/fs/cgroup/*; guest library";
constexpr char kHypervisor[] =
    "helper cpuid; /proc/xen/capabilities; /run/systemd/container; /run/.containerenv; /.dockerenv";

const AttributeTraits kLparTraits[] = {
    {1, "", Identity, kSensitive, "Name of the partition or virtual machine.", kNotFilled, nullptr},
    {2, "", Stable, kPublic, "Number of the partition on its machine.", kNotFilled, nullptr},
    {3, "", Stable, kPublic, "What the system runs in: a virtual machine or a container.",
     kHypervisor, nullptr},
    {4, "", Stable, kPublic,
     "Whether there is a limit to the processing capacity: capped or uncapped.", kLimits, nullptr},
    {5, "", Stable, kPublic, "Number of the group of partitions that share resources.", kNotFilled,
     nullptr},
    {6, "", Stable, kPublic,
     "Whether the system runs in a guest of a recognised hypervisor, T or F.", kHypervisor,
     nullptr},
    {7, "", Stable, kPublic, "Name of the hypervisor that runs this guest, else of its container.",
     kHypervisor, nullptr},
    {8, "", Stable, kPublic, "Signature that the hypervisor reports through the processor.",
     kCpuidHelper, nullptr},
    {9, "", Stable, kPublic, "Signature of the interface that the hypervisor offers.", kCpuidHelper,
     nullptr},
    {10, "", Stable, kPublic, "Brand that the hypervisor reports.", kCpuidHelper, nullptr},
    {11, "processors", Stable, kPublic, "Processing capacity that the partition is always given.",
     kGuestLibrary, nullptr},
    {12, "processors", Stable, kPublic, "Least capacity with which the partition starts.",
     kNotFilled, nullptr},
    {13, "processors", Stable, kPublic, "Processing capacity that the partition cannot exceed.",
     kLimits, nullptr},
    {14, "processors", Stable, kPublic, "Smallest step by which the capacity changes.", kNotFilled,
     nullptr},
    {15, "", Stable, kPublic, "Share of spare capacity that an uncapped partition competes for.",
     kNotFilled, nullptr},
    {16, "", Stable, kPublic, "Number of virtual processors in use.", kCpuidHelper, nullptr,
     kNoPath, kNeverZero},
    {17, "", Stable, kPublic, "Least number of virtual processors with which the partition starts.",
     kNotFilled, nullptr},
    {18, "", Stable, kPublic, "Number of virtual processors to which the partition can be raised.",
     "/sys/devices/system/cpu/possible", nullptr, kNoPath, kNeverZero},
    {19, "", Stable, kPublic, "Number of hardware threads that each virtual processor offers.",
     kCpuidHelper, nullptr, kNoPath, kNeverZero},
    {20, "MB", Stable, kPublic, "Memory in use by the partition.", "/proc/meminfo", nullptr,
     kNoPath, kNeverZero},
    {21, "MB", Stable, kPublic, "Least memory with which the partition starts.", kNotFilled,
     nullptr},
    {22, "MB", Stable, kPublic, "Memory that the partition cannot exceed.", kLimits, nullptr},
    {23, "", Stable, kPublic, "Whether the partition has memory of its own or shares it.",
     kNotFilled, nullptr},
    {24, "", Stable, kPublic, "Number of the memory pool that the partition draws from.",
     kNotFilled, nullptr},
    {25, "MB", Stable, kPublic, "Physical memory in the memory pool.", kNotFilled, nullptr},
    {26, "", Stable, kPublic, "Share of pool memory that the partition competes for.", kNotFilled,
     nullptr},
    {27, "MB", Stable, kPublic, "Memory that the partition may pin for input and output.",
     kNotFilled, nullptr},
    {28, "", Stable, kPublic, "Number of the processor pool that the partition draws from.",
     kNotFilled, nullptr},
    {29, "processors", Stable, kPublic, "Capacity that the processor pool is always given.",
     kNotFilled, nullptr},
    {30, "processors", Stable, kPublic, "Capacity that the processor pool can reach.", kNotFilled,
     nullptr},
    {31, "", Stable, kPublic, "Number of physical processors in the processor pool.", kNotFilled,
     nullptr},
    {32, "processors", Volatile, kPublic,
     "Capacity of the processor pool that no partition is entitled to.", kNotFilled, nullptr},
    {33, "", Stable, kPublic, "Number of physical processors that are in any pool.", kNotFilled,
     nullptr},
    {34, "", Stable, kPublic, "Number of physical processors that the machine has switched on.",
     kNotFilled, nullptr},
    {35, "", Stable, kPublic, "Number of physical processors that the machine can have.",
     kNotFilled, nullptr},
    {36, "", Stable, kPublic, "Number of processor packages that the system uses.", kCpuidHelper,
     nullptr, kNoPath, kNeverZero},
    {37, "", Stable, kPublic, "Number of processor cores that the system uses.", kCpuidHelper,
     nullptr, kNoPath, kNeverZero},
    {38, "", Stable, kPublic, "Number of logical processors that the system uses.", kCpuidHelper,
     nullptr, kNoPath, kNeverZero},
    {39, "", Stable, kPublic, "Number of processor packages that the firmware tells of.",
     kCpuidHelper, nullptr, kNoPath, kNeverZero},
    {40, "", Stable, kPublic, "Number of processor cores that the firmware tells of.", kCpuidHelper,
     nullptr, kNoPath, kNeverZero},
    {41, "", Stable, kPublic, "Number of logical processors that the firmware tells of.",
     kCpuidHelper, nullptr, kNoPath, kNeverZero},
    {42, "", Identity, kSensitive, "Id that the infrastructure gives the physical host.",
     "vmware-guestd --cmd 'info-get guestinfo.orv_node_id' 2>/dev/null; vmware-rpctool 'info-get "
     "guestinfo.orv_node_id' 2>/dev/null",
     nullptr},
    {43, "", Stable, kPublic, "Capacity of the physical host, in the infrastructure's unit.",
     "vmware-guestd --cmd 'info-get guestinfo.orv_node_capacity' 2>/dev/null; vmware-rpctool "
     "'info-get guestinfo.orv_node_capacity' 2>/dev/null",
     nullptr},
    {44, "", Identity, kSensitive, "Id that the infrastructure gives this virtual machine.",
     "vmware-guestd --cmd 'info-get guestinfo.orv_vm_id' 2>/dev/null; vmware-rpctool 'info-get "
     "guestinfo.orv_vm_id' 2>/dev/null",
     nullptr},
    {45, "", Stable, kPublic,
     "Capacity granted to this virtual machine, in the infrastructure's unit.",
     "vmware-guestd --cmd 'info-get guestinfo.orv_vm_capacity' 2>/dev/null; vmware-rpctool "
     "'info-get guestinfo.orv_vm_capacity' 2>/dev/null",
     nullptr},
    {46, "MHz", Stable, kPublic, "Processor speed that the virtual machine is always given.",
     kGuestLibrary, nullptr},
    {47, "MHz", Stable, kPublic, "Processor speed that the virtual machine cannot exceed.",
     kGuestLibrary, nullptr},
    {48, "", Stable, kPublic, "Shares with which the virtual machine competes for processor time.",
     kGuestLibrary, nullptr},
    {49, "MHz", Stable, kPublic, "Clock speed of the physical host's processors.", kGuestLibrary,
     nullptr, kNoPath, kNeverZero},
    {50, "", Identity, kSensitive, "Serial number of the physical host.", kCpuidHelper, nullptr},
    {51, "", Identity, kSensitive, "Universally unique id of the virtual machine.", kCpuidHelper,
     nullptr},
    {52, "percent", Stable, kPublic, "Part of a physical processor that backs each virtual one.",
     kNotFilled, nullptr},
    kEndOfTraits,
};

namespace {

constexpr std::uint32_t kNoLimit = 0xFFFFFFFF;

// In units that the attributes have.
struct Grant {
  std::optional<double> processors;
  std::optional<unsigned long> memoryMb;
};

// 0 where the file has no number above that.
unsigned long numberIn(const char* path) {
  const long number = findInteger(machine().readFile(path, 64).text).value_or(0);
  return number > 0 ? static_cast<unsigned long>(number) : 0;
}

std::optional<double> quotientOf(unsigned long quota, unsigned long period) {
  if (quota == 0 || period == 0) return std::nullopt;
  return static_cast<double>(quota) / static_cast<double>(period);
}

// The root of what this process sees of the control groups, in the form of today's kernels, else
// of older ones. That of the whole machine has no limits: its files are not there, or say so.
Grant readControlGroup() {
  const FileText capacity = machine().readFile("/sys/fs/cgroup/cpu.max", 64);
  Grant grant;
  if (capacity.error == 0) {
    std::string_view rest = capacity.text;
    const auto quota = findInteger(nextField(rest, kBlank)), period = findInteger(rest);
    if (quota && period && *quota > 0 && *period > 0) {
      grant.processors = static_cast<double>(*quota) / static_cast<double>(*period);
    }
  } else {
    grant.processors = quotientOf(numberIn("/sys/fs/cgroup/cpu/cpu.cfs_quota_us"),
                                  numberIn("/sys/fs/cgroup/cpu/cpu.cfs_period_us"));
  }
  unsigned long bytes = numberIn("/sys/fs/cgroup/memory.max");
  if (bytes == 0) bytes = numberIn("/sys/fs/cgroup/memory/memory.limit_in_bytes");
  constexpr unsigned long kUnlimited = 1UL << 62;  // and above, by size of page
  if (bytes != 0 && bytes < kUnlimited) grant.memoryMb = bytes >> 20;
  return grant;
}

void addText(OrderedRow& row, unsigned long id, const std::string& text, std::size_t most) {
  if (!text.empty()) row.text(id, std::string(cutText(text, most)));
}

template <class Number>
void addCount(OrderedRow& row, unsigned long id, std::optional<Number> number) {
  if (number) row.count(id, static_cast<unsigned long>(*number));
}

void addProcessors(OrderedRow& row) {
  VtExecInfo* const answer = getCpuidVT();
  if (!answer || answer->result != 0) return;
  constexpr struct {
    unsigned long id;
    const char *path, *name;
  } kCounts[] = {
      {16, "ProcessorTable", "ActiveProcessorCount"},
      {19, "ProcessorTable.Processor", "ProcsPerCore"},
      {36, "ProcessorTable", "ActivePackageCount"},
      {37, "ProcessorTable", "ActiveCoreCount"},
      {38, "ProcessorTable", "ActiveProcessorCount"},
      {39, "ProcessorTable", "BiosTotalPackageCount"},
      {40, "ProcessorTable", "BiosTotalCoreCount"},
      {41, "ProcessorTable", "BiosTotalProcessorCount"},
  };
  for (const auto& [id, path, name] : kCounts) {
    const int count = vtGetValue(answer, path, name, 0);
    if (count > 0) row.count(id, static_cast<unsigned long>(count));
  }
}

// "MemTotal:  16384 kB"
std::optional<unsigned long> memoryMb() {
  const FileText figures = machine().readFile("/proc/meminfo");
  constexpr std::string_view kKey = "MemTotal:";
  const std::size_t at = figures.text.find(kKey);
  if (at == std::string::npos) return std::nullopt;
  const auto kb = findInteger(std::string_view(figures.text).substr(at + kKey.size()));
  if (!kb || *kb < 0) return std::nullopt;
  return static_cast<unsigned long>(*kb) >> 10;
}

void addResources(OrderedRow& row, Grant& grant) {
  const auto told = guestResources();
  if (!told) return;
  row.count(46, static_cast<unsigned long>(told->cpuReservationMHz))
      .count(47, static_cast<unsigned long>(told->cpuLimitMHz))
      .count(48, static_cast<unsigned long>(told->cpuShares))
      .count(49, static_cast<unsigned long>(told->hostProcessorSpeedMHz));
  const double speed = told->hostProcessorSpeedMHz;
  if (speed == 0) return;
  row.real(11, static_cast<float>(told->cpuReservationMHz / speed));
  if (told->cpuLimitMHz == kNoLimit) return;
  const double limit = told->cpuLimitMHz / speed;
  grant.processors = std::min(grant.processors.value_or(limit), limit);
}

void addKeys(OrderedRow& row) {
  const NodeKeys keys = nodeKeys();
  addText(row, 42, keys.nodeId.value_or(""), 128);
  addCount(row, 43, keys.nodeCapacity);
  addText(row, 44, keys.vmId.value_or(""), 128);
  if (keys.vmCapacity) row.wideReal(45, *keys.vmCapacity);
}

void addHypervisor(OrderedRow& row, const Hypervisor& hypervisor) {
  row.text(6, hypervisor.isVirtual ? "T" : "F");
  addText(row, 7, hypervisor.name, 50);
  addText(row, 8, hypervisor.vendor, 16);
  addText(row, 9, hypervisor.interface, 16);
  addText(row, 10, hypervisor.brand, 64);
  addText(row, 50, hypervisor.info.hostSerialNumber, 64);
  addText(row, 51, hypervisor.info.systemUuid, 48);
}

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* LParGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  const Hypervisor hypervisor = findHypervisor();
  const bool isNative = useNativeSources();
  Grant grant = isNative ? readControlGroup() : Grant();
  OrderedRow row;
  addHypervisor(row, hypervisor);
  addProcessors(row);
  addCount(row, 20, memoryMb());
  addKeys(row);
  addResources(row, grant);
  if (isNative) {
    const auto possible = readCpuList(std::string(kCpuDirectory) + "possible");
    if (possible && !possible->empty()) row.count(18, possible->size());
    const bool isPartition = hypervisor.isVirtual || !hypervisor.container.empty();
    if (isPartition) row.text(3, hypervisor.container.empty() ? "virtual machine" : "container");
    if (isPartition) row.text(4, grant.processors ? "capped" : "uncapped");
    addCount(row, 22, grant.memoryMb);
  }
  if (grant.processors) row.real(13, static_cast<float>(*grant.processors));
  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  row.addTo(*table);
  return table.release();
}
