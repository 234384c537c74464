// The traits table of every attribute table that a group uses; each is defined beside its attribute
// table, in the collector's source file. Below them, what the tables have in common.
#pragma once

#include <invscan/traits.h>

namespace invscan {

extern const AttributeTraits kComponentIdTraits[];  // ComponentID and HostComponentID
extern const AttributeTraits kProcessorTraits[];
extern const AttributeTraits kMemoryTraits[];
extern const AttributeTraits kMemoryModulesTraits[];
extern const AttributeTraits kOperatingSystemTraits[];
extern const AttributeTraits kStorageTraits[];
extern const AttributeTraits kIpAddressTraits[];
extern const AttributeTraits kIpv6AddressTraits[];
extern const AttributeTraits kNetworkAdapterTraits[];
extern const AttributeTraits kRegionalTraits[];
extern const AttributeTraits kUnixSystemParamsTraits[];
extern const AttributeTraits kScanInfoTraits[];
extern const AttributeTraits kPartitionTraits[];
extern const AttributeTraits kSmbiosTraits[];
extern const AttributeTraits kPciDeviceTraits[];
extern const AttributeTraits kLparTraits[];
extern const AttributeTraits kVirtualMachineGuestTraits[];
extern const AttributeTraits kPhysicalProcessorTraits[];
extern const AttributeTraits kCpuMeterTraits[];
extern const AttributeTraits kUnixCpuMeterTraits[];
extern const AttributeTraits kPartitionToStorageTraits[];
extern const AttributeTraits kSanAdapterTraits[];

inline constexpr AttributeTraits kEndOfTraits = {0, "", Behaviour::Stable, false, "", "", nullptr};

inline constexpr bool kPublic = false;
inline constexpr bool kSensitive = true;
inline constexpr bool kPath = true;
inline constexpr bool kNoPath = false;
inline constexpr bool kNeverZero = true;

// Sources that several groups share.
inline constexpr char kNotFilled[] = "";
inline constexpr char kConstant[] = "constant";
inline constexpr char kFirmwareTables[] = "/sys/firmware/dmi/tables/*; /dev/mem";
inline constexpr char kInterfaceList[] = "netlink links; ifconfig -a 2>/dev/null";
inline constexpr char kAddressList[] = "netlink addresses; ifconfig -a 2>/dev/null";
inline constexpr char kResolverFiles[] = "/run/systemd/resolve/resolv.conf; /etc/resolv.conf";
inline constexpr char kCpuidHelper[] = "helper cpuid";
inline constexpr char kDiskscanHelper[] = "helper diskscan";

}  // namespace invscan
