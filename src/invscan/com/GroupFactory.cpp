#include <invscan/factory.h>

#include <invscan/base/File.h>
#include <invscan/base/OrvCfg.h>
#include <invscan/catalogue.h>
#include <invscan/collectors.h>
#include <invscan/groups.h>
#include <invscan/hwconfig.h>
#include <invscan/smbios.h>

#include "log/Trace.h"

namespace invscan {
namespace {

template <class Group>
KelGroup* make() {
  return new Group;
}

// Every collector has its line here, and nowhere else.
constexpr Collector kCollectors[] = {
    {1, make<ComponentIDGroup>, kNeedsFirmware | kNeedsCpuid | kNeedsPrograms},
    {2, make<ProcessorGroup>, kNeedsFirmware | kNeedsCpuid},
    {3, make<MemoryGroup>, kNeedsFirmware},
    {4, make<OperatingSystemGroup>, kNeedsPrograms},
    {5, make<StorageGroup>, kNeedsPrograms | kNeedsDiskScan | kNeedsHardwareNames},
    {6, make<IpAddressGroup>, kNeedsPrograms | kNeedsNames},
    {7, make<NetworkAdapterGroup>, kNeedsPrograms | kNeedsHardwareNames},
    {15, make<RegionalGroup>, kNeedsNothing},
    {19, make<UnixSystemParamsGroup>, kNeedsPrograms},
    {20, make<ScanInfoGroup>, kNeedsNothing},
    {24, make<SMBIOSGroup>, kNeedsFirmware},
    {27, make<PartitionGroup>, kNeedsPatience},
    {29, make<PCIDeviceGroup>, kNeedsHardwareNames},
    {31, make<MemoryModulesGroup>, kNeedsFirmware},
    {34, make<LParGroup>, kNeedsCpuid | kNeedsPrograms},
    {44, make<PhysicalProcessorGroup>, kNeedsCpuid | kNeedsPrograms},
    {45, make<HostComponentIDGroup>, kNeedsCpuid | kNeedsPrograms},
    {46, make<CpuMeterGroup>, kNeedsNothing},
    {47, make<UnixCpuMeterGroup>, kNeedsNothing},
    {50, make<VirtualMachineGuestGroup>, kNeedsCpuid},
    {51, make<Ipv6AddressGroup>, kNeedsPrograms | kNeedsNames},
    {53, make<PartitionToStorageGroup>, kNeedsDiskScan},
    {54, make<SANAdapterGroup>, kNeedsDiskScan},
};

}  // namespace

std::span<const Collector> collectors() {
  return kCollectors;
}

const Collector* findCollector(unsigned long id) {
  for (const Collector& collector : kCollectors) {
    if (collector.id == id) return &collector;
  }
  return nullptr;
}

}  // namespace invscan

using namespace invscan;

GroupFactory* GroupFactory::singleton_ = nullptr;

GroupFactory* GroupFactory::getInstance() {
  if (!singleton_) singleton_ = new GroupFactory;
  return singleton_;
}

// Every group that can be handed out has its list from the start: a look-up inserts nothing, and a
// group that was handed out sees what a later load brings.
GroupFactory::GroupFactory() {
  for (const Collector& collector : kCollectors) {
    groupAttributes_[getGroupNameFromId(collector.id)];
  }
}

GroupFactory::~GroupFactory() {
  for (const ProcessorInfo* record : processors_) delete record;
  for (const QCMInfo* record : qcms_) delete record;
}

int GroupFactory::initialise() {
  setHWConfigFile();
  SMBIOSTable::initializeGlobalTable(1);
  return 1;
}

void GroupFactory::setHWConfigFile() {
  const Trace trace(getCcLogHw(), "setHWConfigFile()");
  const String file = OrvCfg::getKey("hwscanner.config_file");
  m_HWConfigFile = OrvCfg::getKey("config_dir") + File::pathSeparator +
                   (file.isEmpty() ? String("OrvHWConfig.xml") : file);
  trace.at().mid("hardware m_HWConfigFile = %s", m_HWConfigFile.toNarrow().c_str());
}

int GroupFactory::getAllGroups(std::list<String>& names) {
  const Trace trace(getCcLogHw(), "getAllGroups()");
  for (const kelGroupDef* group = GROUPS_DEF; group->id != kEndOfTable; ++group) {
    trace.at().max("hardware group = %s", group->name);
    names.emplace_back(group->name);
  }
  return 0;
}

KelGroup* GroupFactory::getKELGroup(unsigned long id) {
  const Trace trace(getCcLogHw(), "getKELGroup()");
  trace.at().mid("hardware %s %d", "Table id =", static_cast<int>(id));
  const Collector* collector = findCollector(id);
  KelGroup* group = collector ? collector->make() : nullptr;
  trace.at().mid("hardware %s %d", "Finished group =", static_cast<int>(id));
  return group;
}

KelGroup* GroupFactory::getGroup(const String& name) {
  const Trace trace(getCcLogHw(), "getGroup()");
  cpuThreshold_.iteration();
  trace.at().mid("hardware groupName=%s", name.toNarrow().c_str());
  const unsigned long id = getGroupIdFromName(name);
  KelGroup* group = getKELGroup(id);
  if (group) {
    group->setCpuThreshold(&cpuThreshold_);
    group->setGlobalAttrs(&globalAttributes_);
    group->setGroupAttrs(&groupAttributes_.find(name)->second);
  }
  trace.at().mid("hardware groupId=%ld", static_cast<long>(id));
  return group;
}

void GroupFactory::startScan() {
}

void GroupFactory::endScan() {
}
