// The collectors. A host gets them from the factory, or makes one itself; either way getTable() is
// all there is to call (see group.h). The attribute tables in the catalogue say what the rows hold,
// attributeTraits() (traits.h) where each value comes from.
#pragma once

#include <string>

#include <invscan/export.h>
#include <invscan/group.h>

// The running system: one row, always. Sources: uname, the release files under /etc, getconf
// (native: sysconf), the environment's messages locale, which it sets for the process.
class INVSCAN_EXPORT OperatingSystemGroup : public KelGroup {
 public:
  OperatingSystemGroup() : KelGroup(4, 1) {}
  KelTable* getTable() override;
};

// Physical and virtual memory in KiB, and what the board takes: one row, always; attributes 8 and 9
// are in it when the firmware tells. Sources: /proc/meminfo, else sysinfo; the shared firmware
// table (smbios.h).
class INVSCAN_EXPORT MemoryGroup : public KelGroup {
 public:
  MemoryGroup() : KelGroup(3, 1) {}
  KelTable* getTable() override;
};

// Locale and time zone: one row, always. Sources: the environment, whose character-type locale and
// time zone it sets for the process, and the zone files.
class INVSCAN_EXPORT RegionalGroup : public KelGroup {
 public:
  RegionalGroup() : KelGroup(15, 1) {}
  KelTable* getTable() override;
};

// The scanner itself, the time of the scan and the uptime: one row, always. Sources: the clock and
// the run-level record (native: /proc/uptime where that is not of this run of the kernel).
class INVSCAN_EXPORT ScanInfoGroup : public KelGroup {
 public:
  ScanInfoGroup() : KelGroup(20, 1) {}
  KelTable* getTable() override;
};

// Boot time, run level and host name: one row, always. Sources: the run-level record,
// /sbin/runlevel (native: the record's own level, then systemd's target) and uname (native:
// /proc/stat for the boot time where the record is not of this run of the kernel).
class INVSCAN_EXPORT UnixSystemParamsGroup : public KelGroup {
 public:
  UnixSystemParamsGroup() : KelGroup(19, 1) {}
  KelTable* getTable() override;
};

// Processor time in clock ticks, averaged over the processors, and uptime in hundredths of a
// second: one row, always, with the figures that could be read. Sources: /proc/stat, /proc/uptime.
class INVSCAN_EXPORT CpuMeterGroup : public KelGroup {
 public:
  CpuMeterGroup() : KelGroup(46, 1) {}
  KelTable* getTable() override;

 private:
  std::string className_ = "CpuMeterGroup";
};

// Load averages: one row, always, with the figures that could be read. Source: /proc/loadavg.
class INVSCAN_EXPORT UnixCpuMeterGroup : public KelGroup {
 public:
  UnixCpuMeterGroup() : KelGroup(47, 1) {}
  KelTable* getTable() override;

 private:
  std::string className_ = "UnixCpuMeterGroup";
};

// What the firmware says of itself, the machine, its board and its enclosure: one row, or no table
// when there is no firmware table. A text that says nothing is left out. The ID (attribute 19) is
// the digest of make, model and firmware version: machines of one kind share it. Source: the shared
// firmware table (smbios.h).
class INVSCAN_EXPORT SMBIOSGroup : public KelGroup {
 public:
  SMBIOSGroup() : KelGroup(24, 1) {}
  KelTable* getTable() override;

 private:
  KelTable* getTableLeg();
};

// The memory sockets: a row for each that the firmware lists, empty ones too, or no table when it
// lists none. Source: the shared firmware table (smbios.h).
class INVSCAN_EXPORT MemoryModulesGroup : public KelGroup {
 public:
  MemoryModulesGroup() : KelGroup(31, 1) {}
  KelTable* getTable() override;

 private:
  KelTable* getTableLeg();
};

// The IPv4 addresses but those beginning with 127.0.0.: a row for each, with all attributes but 9;
// what was not found is an empty text. Sources: NetlinkIpAddressEnumerator, else
// IoctlIpAddressEnumerator (network.h).
class INVSCAN_EXPORT IpAddressGroup : public KelGroup {
 public:
  IpAddressGroup() : KelGroup(6, 1) {}
  KelTable* getTable() override;
};

// The IPv6 addresses but ::1/128: a row for each, with all attributes; what was not found is an
// empty text. Sources: the interface list (network.h), reverse look-ups, /etc/resolv.conf,
// /proc/net/ipv6_route.
class INVSCAN_EXPORT Ipv6AddressGroup : public KelGroup {
 public:
  Ipv6AddressGroup() : KelGroup(51, 1) {}
  KelTable* getTable() override;
};

// The network adapters: a row for each interface but the loopback. The ID is the digest of the
// hardware address in use and the name. Source: the interface list of network.h, which fills
// attributes 1 to 6 (native: the routing socket, and what sysfs and the hardware database tell of
// adapter and driver; of the further texts those that are not known are left out).
class INVSCAN_EXPORT NetworkAdapterGroup : public KelGroup {
 public:
  NetworkAdapterGroup() : KelGroup(7, 1) {}
  KelTable* getTable() override;
};

// The functions of PCI devices: a row for each, in the order of their addresses, numbered from 1;
// no table when the kernel does not list them. Names and classes are those of the hardware database
// ("Intel Corporation 82540EM Gigabit Ethernet Controller", "Ethernet controller"). Numbers in
// hexadecimal digits stand for what it does not know: "Intel Corporation Device 100e", "Device
// 8086:100e", "Network controller [02f0]" for a subclass and "Class f0f0". Texts are cut at the
// lengths that the catalogue has. Sources: /sys/bus/pci/devices (modalias; vendor, device and class
// where there is none) and the hardware database of the system's device manager.
class INVSCAN_EXPORT PCIDeviceGroup : public KelGroup {
 public:
  PCIDeviceGroup() : KelGroup(29, 1) {}
  KelTable* getTable() override;
};

// The logical processors: a row for each that the kernel lists in /proc/cpuinfo, in that order, or
// no table when it lists none. What is not known is left out. The ID is the digest of vendor, model
// name, the numbers of family, model, stepping, package and core, the feature word, and the numbers
// of the processor and of its interrupt controller, now and at first, as in
// "%s%s%i%i%i%i%i%x%i%i%i"; a number that is not told is -1 there. Sources: /proc/cpuinfo, the
// factory's records and the helper program "cpuid" (processor.h), which tells one size of cache for
// all, and the shared firmware table for what is told of a socket: its packages are taken in the
// order of their numbers where both count as many, else the first one stands for all. Native:
// speeds, caches and threads are those of each processor, from /sys/devices/system/cpu, so that
// rows of hybrids differ; the speed is the nominal one where anybody tells it; and processors that
// are there but offline follow behind the others, without speed, caches and place.
class INVSCAN_EXPORT ProcessorGroup : public KelGroup {
 public:
  ProcessorGroup() : KelGroup(2, 1) {}
  KelTable* getTable() override;
};

// The processor packages: a row for each, or no table when nothing is known of any. Source: the
// helper program "cpuid". In a guest of VMware whose administrator has set the key
// guestinfo.orv_physical_processor (vmware.h), the host's packages as that text tells: fields
// "name=value" joined by "|", packages by ";", as in
//
//   Count=2|Manufacturer=GenuineIntel|ClockMHz=2400|TotalCoreCount=12|Is64Bit=T
//
// Names are those of the attributes but Id; Count repeats a package. A text with an unknown or a
// repeated name, an empty or too long value, a number that is none, no package or more than 1024
// counts as not there.
class INVSCAN_EXPORT PhysicalProcessorGroup : public KelGroup {
 public:
  PhysicalProcessorGroup() : KelGroup(44, 1) {}
  KelTable* getTable() override;
};

// The virtual machine that this is: one row, or no table when this is no guest of a hypervisor that
// virtualmachine.h names. The UUID of a guest of Hyper-V or Microsoft Virtual Server is the
// system's serial number, as hosts know it by that. Source: the helper program "cpuid" (helper.h).
class INVSCAN_EXPORT VirtualMachineGuestGroup : public KelGroup {
 public:
  VirtualMachineGuestGroup() : KelGroup(50, 1) {}
  KelTable* getTable() override;
};

// The machine that this system runs on, the virtual one in a guest, with its installation, and what
// is known of the host below a guest: one row, always, of what is known; "Is Virtual" is in it
// always. Each text is that of the first source which tells it, fillers of firmware counting as
// nothing:
//
//   1 to 15    the shared firmware table (smbios.h); native: /sys/class/dmi/id where that table
//              cannot be read; the System of the helper program "cpuid"
//   8          out of maker and product, where their form is known
//   16, 17     uname; /etc/machine-id, /var/lib/dbus/machine-id
//   18, 19     virtualmachine.h; native: for hypervisors that it has no type for, and containers,
//              what the helper and the system's files call them
//   20 to 26   the Host of the helper "cpuid"; the keys of the guest channel (vmware.h)
//
// A UUID of ones is a filler, as one of zeros is.
class INVSCAN_EXPORT ComponentIDGroup : public KelGroup {
 public:
  ComponentIDGroup() : KelGroup(1, 1) {}
  KelTable* getTable() override;
};

// The physical host below this guest: one row with what is known of attributes 1 to 4, 8, 22 and
// 26, by the rules of the group before for 20 to 26; no table when nothing is known, as on a
// machine that is no guest.
class INVSCAN_EXPORT HostComponentIDGroup : public KelGroup {
 public:
  HostComponentIDGroup() : KelGroup(45, 1) {}
  KelTable* getTable() override;
};

// What this partition or guest is granted: one row, always, with what is known. Sources: the helper
// "cpuid" for hypervisor, system and processors, /proc/meminfo, and in guests of VMware the keys
// and the guest library of vmware.h, whose figures also make the capacities (its MHz over those of
// the host's processors). Native: the kernel's possible processors, and what the control group that
// is the root of this process's view limits, as in a container, in /sys/fs/cgroup: the capacity is
// the least that anybody allows. What only partitions of other architectures have is not there.
class INVSCAN_EXPORT LParGroup : public KelGroup {
 public:
  LParGroup() : KelGroup(34, 1) {}
  KelTable* getTable() override;
};

// The mounted file systems but the kernel's own, a row for each mount, then the swap areas in use;
// no table when there is no list of mounts. All attributes are in every row; sizes are KiB, of type
// KEL_ULONGLONG for file systems and KEL_ULONG for swap areas. A file system that does not tell its
// space in time has zeros (see statistics.h; GetORVMaxTimeout() in group.h is the limit). With the
// group attribute "skipRemote" (true, yes or on; hwconfig.h) network file systems make no row.
// Sources: /etc/mtab, by the rules of partition.h, and /proc/swaps. Native: the kernel's tables of
// mounts, and by them what those rules leave unknown: types, media and servers of further file
// systems.
class INVSCAN_EXPORT PartitionGroup : public KelGroup {
 public:
  PartitionGroup() : KelGroup(27, 1) {}
  KelTable* getTable() override;
};

// The storage devices: a row for each, with all attributes; what was not found is empty or 0. The
// ID is the digest of geometry and size in KiB: devices of the same model share it.
//
// Classic sources: the gatherers of storage.h, in a thread of their own, with the generic SCSI
// driver loaded for as long as they take; null when they took longer than the time that
// GetTableThread gives, in which case the thread is left behind. An empty table when the
// environment has CHECK_ULTRIUM_TAPE_RUNNING and the tape robot's software is at work. Devices of
// SCSI alone have attributes 12 to 16, which the helper diskscan tells.
//
// Native: sysfs and udev's run-time database, for disks of all kinds, in the caller's thread; no
// device is opened. The geometry is what the kernel's driver of that kind answers: 255 heads and 63
// sectors for SCSI and Xen, 64 and 32 for NVMe and virtio (where the hypervisor has no other), 4
// and 16 for memory cards. Models that the kernel cuts are whole where udev knows them, and an
// optical drive without medium has size 0.
class INVSCAN_EXPORT StorageGroup : public KelGroup {
 public:
  StorageGroup() : KelGroup(5, 1) {}
  KelTable* getTable() override;
  // Runs the classic gatherers in the calling thread.
  KelTable* generateTable() override;
};

// Which disks every partition, volume and whole mounted disk lies on: a row for each pair, always a
// table. Attribute 2 is the access point of the Partition group, attribute 3 the device of the
// Storage group. Source: the helper diskscan.
class INVSCAN_EXPORT PartitionToStorageGroup : public KelGroup {
 public:
  PartitionToStorageGroup() : KelGroup(53, 1) {}
  KelTable* getTable() override;
};

// The adapters that disks are attached to, those of SATA ports and USB drives too: a row for each,
// always a table. Source: the helper diskscan.
class INVSCAN_EXPORT SANAdapterGroup : public KelGroup {
 public:
  SANAdapterGroup() : KelGroup(54, 1) {}
  KelTable* getTable() override;
};

// Samples the kernel's processor and load figures. Every figure is -1 (not available) until a
// refresh() has read it.
class INVSCAN_EXPORT UnixCpuMeter {
 public:
  // Forgets all figures.
  void init();
  // Reads /proc/stat, /proc/loadavg and /proc/uptime once each. A source that cannot be read leaves
  // its figures as they were, but the uptime, which becomes -1.
  void refresh();

  // Clock ticks since boot, the sum of all processors divided by their number.
  long long getIdleTime() const { return idleTime_; }
  long long getUserTime() const { return userTime_; }
  long long getWaitTime() const { return waitTime_; }
  long long getSysTime() const { return systemTime_; }
  // Over 1, 5 and 15 minutes.
  float getLoadAvg1() const { return loadAverages_[0]; }
  float getLoadAvg5() const { return loadAverages_[1]; }
  float getLoadAvg15() const { return loadAverages_[2]; }
  // Whole seconds since boot times 100.
  long long getSystemUpTime() const { return systemUpTime_; }

 private:
  // Each reads no more than what it tells of.
  friend class CpuMeterGroup;
  friend class UnixCpuMeterGroup;

  void readProcessorTimes();
  void readLoadAverages();
  void readSystemUpTime();

  long long idleTime_ = -1;
  long long userTime_ = -1;
  long long waitTime_ = -1;
  long long niceTime_ = -1;
  long long systemTime_ = -1;
  float loadAverages_[3] = {-1, -1, -1};
  long long systemUpTime_ = -1;
};
