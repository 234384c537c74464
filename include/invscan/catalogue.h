// The catalogue: which inventory groups exist, which attributes their rows carry, which attributes
// form a group's key, and what enumerated values mean.
//
// All of it is constant data that a host may walk itself. Every array ends with a row whose first
// word is kEndOfTable (key tables have no end row; the group row counts them). The order of the
// rows is part of the contract: lookups are linear and stop at the first match, and ids within a
// group are a permutation of 1..n that need not ascend.
#pragma once

#include <cstdint>

#include <invscan/base/String.h>
#include <invscan/export.h>

// Value types: the kel_type of an attribute, and of a value record (see table.h for the layouts).
enum : unsigned long {
  KEL_UCHAR = 1,        // unsigned 8 bit
  KEL_USHORT = 2,       // unsigned 16 bit
  KEL_ULONG = 3,        // unsigned 64 bit
  KEL_UQUAD = 4,        // two 64-bit words
  KEL_FLOAT = 5,        // 32-bit floating point
  KEL_DOUBLE = 6,       // 64-bit floating point
  KEL_STRING = 7,       // wide-character string (KelString)
  KEL_OCTETSTRING = 8,  // counted bytes
  KEL_DATETIME = 9,     // 26 characters, local time
  KEL_ULONGLONG = 10,   // unsigned 64 bit
  KEL_LONGLONG = 11,    // signed 64 bit
};

// First word of the row that ends a table: 32 bits of ones widened to 64, not 64 bits of ones.
inline constexpr unsigned long kEndOfTable = 0xFFFFFFFF;

// One value of an enumeration and its text.
struct kelEnumDef {
  unsigned long value;
  const char* text;
};

// One attribute of a group. maxLength counts characters and is 0 for anything but a string; enums
// is null when the value is not enumerated.
struct kelAttribDef {
  unsigned long id;
  const char* name;
  unsigned long type;
  unsigned long maxLength;
  const kelEnumDef* enums;
};

// One inventory group. keys holds keyCount attribute ids, or is null when the group has no key.
struct kelGroupDef {
  unsigned long id;
  const char* name;
  const kelAttribDef* attribs;
  const unsigned long* keys;
  unsigned long keyCount;
  unsigned long version;
  unsigned long debugMask;
};

static_assert(sizeof(kelEnumDef) == 16 && sizeof(kelAttribDef) == 40 && sizeof(kelGroupDef) == 56,
              "hosts walk the catalogue byte for byte");

// The 23 groups, in scan order.
INVSCAN_EXPORT extern const kelGroupDef GROUPS_DEF[];

// Attribute tables of the groups. COMPONENTID_ATTRS_DEF serves both ComponentID and
// HostComponentID.
INVSCAN_EXPORT extern const kelAttribDef COMPONENTID_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef PROCESSOR_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef MEMORY_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef MEMORY_MODULES_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef OPER_SYS_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef STORAGE_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef IP_ADDR_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef IPV6_ADDR_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef NET_ADPTR_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef REGIONAL_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef UNIX_PAR_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef SCAN_INFO_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef PART_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef SMBIOS_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef PCI_DEVICE_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef LPAR_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef VIRTUAL_MACHINE_GUEST_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef PHYS_PROC_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef CPU_METER_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef CPU_UNIX_METER_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef PART2STOR_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef SAN_ADAPTER_ATTRS_DEF[];

// Attribute tables that no group of this library uses; hosts of the product family know them.
INVSCAN_EXPORT extern const kelAttribDef AIX_CLUSTER_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef AIX_CLUSTER_NODE_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef CPU_WIN_METER_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef DSK_PART_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef ENCLOSURE_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef INSTALLED_PATCH_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef INSTALLED_PKGS_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef IPX_ADDR_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef KEYBOARD_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef LAST_USER_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef LDOMS_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef LOG_DRIVE_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef MODEM_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef MONITOR_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef OPER_SYS_CSIDL_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef PARALLEL_PORT_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef PC_PAR_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef POINT_DEV_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef PRINTER_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef SCREEN_SAVER_INFO_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef SERIAL_PORT_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef SERVICE_INFO_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef USB_DEVICE_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef USER_ACCOUNT_INFO_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef VIDEO_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef VIRTUAL_MACHINE_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef WIN_CLUSTER_ATTRS_DEF[];
INVSCAN_EXPORT extern const kelAttribDef WIN_CLUSTER_NODE_ATTRS_DEF[];

// Key tables of the groups: attribute ids, counted by the group's row.
INVSCAN_EXPORT extern const unsigned long PROCESSOR_KEYS_DEF[];
INVSCAN_EXPORT extern const unsigned long MEMORY_MODULES_KEYS_DEF[];
INVSCAN_EXPORT extern const unsigned long STORAGE_KEYS_DEF[];
INVSCAN_EXPORT extern const unsigned long IP_ADDRESS_KEYS_DEF[];
INVSCAN_EXPORT extern const unsigned long IPV6_ADDRESS_KEYS_DEF[];
INVSCAN_EXPORT extern const unsigned long NETWORK_ADAPTER_KEYS_DEF[];
INVSCAN_EXPORT extern const unsigned long PARTITION_KEYS_DEF[];
INVSCAN_EXPORT extern const unsigned long PCI_DEVICE_KEYS_DEF[];
INVSCAN_EXPORT extern const unsigned long PHYS_PROC_KEYS_DEF[];
INVSCAN_EXPORT extern const unsigned long PART2STOR_KEYS_DEF[];
INVSCAN_EXPORT extern const unsigned long SAN_ADAPTER_KEYS_DEF[];

// Key tables without a group. The comment gives the number of ids, which nothing else tells.
INVSCAN_EXPORT extern const unsigned long AIX_CLUSTER_KEYS_DEF[];            // 1
INVSCAN_EXPORT extern const unsigned long AIX_CLUSTER_NODE_KEYS_DEF[];       // 1
INVSCAN_EXPORT extern const unsigned long DISK_PARTITION_KEYS_DEF[];         // 1
INVSCAN_EXPORT extern const unsigned long INSTALLED_PATCH_KEYS_DEF[];        // 2
INVSCAN_EXPORT extern const unsigned long IPX_ADDR_KEYS_DEF[];               // 1
INVSCAN_EXPORT extern const unsigned long LDOMS_KEYS_DEF[];                  // 1
INVSCAN_EXPORT extern const unsigned long LOGICAL_DRIVE_KEYS_DEF[];          // 1
INVSCAN_EXPORT extern const unsigned long MODEM_KEYS_DEF[];                  // 2
INVSCAN_EXPORT extern const unsigned long MONITOR_KEYS_DEF[];                // 2
INVSCAN_EXPORT extern const unsigned long POINT_DEV_KEYS_DEF[];              // 2
INVSCAN_EXPORT extern const unsigned long PRINTER_KEYS_DEF[];                // 2
INVSCAN_EXPORT extern const unsigned long SCREEN_SAVER_INFO_KEYS_DEF[];      // 1
INVSCAN_EXPORT extern const unsigned long SERVICE_INFO_KEYS_DEF[];           // 1
INVSCAN_EXPORT extern const unsigned long USB_DEVICE_KEYS_DEF[];             // 2
INVSCAN_EXPORT extern const unsigned long USER_ACCOUNT_INFO_KEYS_DEF[];      // 2
INVSCAN_EXPORT extern const unsigned long VIDEO_KEYS_DEF[];                  // 2
INVSCAN_EXPORT extern const unsigned long VIRTUAL_MACHINE_GUEST_KEYS_DEF[];  // 1
INVSCAN_EXPORT extern const unsigned long VIRTUAL_MACHINE_KEYS_DEF[];        // 1
INVSCAN_EXPORT extern const unsigned long WIN_CLUSTER_KEYS_DEF[];            // 1
INVSCAN_EXPORT extern const unsigned long WIN_CLUSTER_NODE_KEYS_DEF[];       // 1

// Enumerations.
INVSCAN_EXPORT extern const kelEnumDef OS_TYPE_ENUM_DEF[];
INVSCAN_EXPORT extern const kelEnumDef REGIONAL_TZ_PLUS_MINUS[];
INVSCAN_EXPORT extern const kelEnumDef REGIONAL_TZ_DAYLIGHT[];
INVSCAN_EXPORT extern const kelEnumDef PROCESSOR_FAMILY_ENUM_DEF[];
INVSCAN_EXPORT extern const kelEnumDef PROCESSOR_INTERFACE_ENUM_DEF[];
INVSCAN_EXPORT extern const kelEnumDef STORAGE_TYPE_ENUM_DEF[];
INVSCAN_EXPORT extern const kelEnumDef STORAGE_SECURITY_ENABLED_ENUM_DEF[];
INVSCAN_EXPORT extern const kelEnumDef PART_TYPE_ENUM_DEF[];
INVSCAN_EXPORT extern const kelEnumDef PART_MEDIA_TYPE_ENUM_DEF[];
INVSCAN_EXPORT extern const kelEnumDef FILE_SYSTEM_TYPE_ENUM_DEF[];
INVSCAN_EXPORT extern const kelEnumDef ADAPTER_TYPE_ENUM_DEF[];
INVSCAN_EXPORT extern const kelEnumDef HWSEC_POP_ENUM_DEF[];
INVSCAN_EXPORT extern const kelEnumDef KEL_ATTRIB_SMBIOS_ENCLOSURE_TYPE_ENUM_DEF[];
INVSCAN_EXPORT extern const kelEnumDef MONITOR_STATUS_ENUMS_DEF[];
INVSCAN_EXPORT extern const kelEnumDef MODEM_DEVTYPE_ENUMS_DEF[];
INVSCAN_EXPORT extern const kelEnumDef USB_DEVICE_CLASS_ENUM_DEF[];
INVSCAN_EXPORT extern const kelEnumDef USB_DEVICE_IS_HUB_ENUM_DEF[];
INVSCAN_EXPORT extern const kelEnumDef POINTING_DEVICE_TYPE_ENUM_DEF[];

// Lookups. None allocates or fails; what they return points into the tables above and is never
// freed. Ids compare as 64-bit numbers, names byte by byte and case-sensitively.
extern "C" {

// The name of a group, or "Unknown" (also for kEndOfTable).
INVSCAN_EXPORT const char* getGroupNameFromId(unsigned long id);

// The id of a group, or 0.
INVSCAN_EXPORT unsigned long getGroupIdFromName(const String& name);

// The row of a group, or null.
INVSCAN_EXPORT const kelGroupDef* getGroupDefinitionFromId(unsigned long id);

// The debug mask of a group (0 for every group of this catalogue), 0 also for a null or unknown
// name.
INVSCAN_EXPORT unsigned long getDebugMaskFromName(const char* name);

// The name of an attribute, or null: unknown id, null group or group without attributes.
INVSCAN_EXPORT const char* getAttribNameFromId(const kelGroupDef* group, unsigned long attribId);

// The row of an attribute, or null in the same cases.
INVSCAN_EXPORT const kelAttribDef* getAttribDefinitionFromId(const kelGroupDef* group,
                                                             unsigned long attribId);

// The text of an enumerated value, looked up in the enumeration of the group's FIRST attribute
// whatever attribute is asked for; null when that one has none, which holds for all 23 groups.
// Hosts expect this and print enumerated values as numbers; to resolve a value, walk the enums of
// its own attribute row instead.
INVSCAN_EXPORT const char* getEnumAsciiValue(const kelGroupDef* group, unsigned long attribId,
                                             unsigned long value);

}  // extern "C"
