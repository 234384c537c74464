#include <invscan/catalogue.h>

#include "invscan/com/model/Traits.h"

// By the type byte of SMBIOS type 3, without its lock bit.
const kelEnumDef KEL_ATTRIB_SMBIOS_ENCLOSURE_TYPE_ENUM_DEF[] = {
    {1, "Other"},
    {2, "Unknown"},
    {3, "Desktop"},
    {4, "Low Profile Desktop"},
    {5, "Pizza Box"},
    {6, "Mini Tower"},
    {7, "Tower"},
    {8, "Portable"},
    {9, "Laptop"},
    {10, "Notebook"},
    {11, "Handheld"},
    {12, "Docking Station"},
    {13, "All in One"},
    {14, "Sub-notebook"},
    {15, "Space-saving"},
    {16, "Lunch Box"},
    {17, "Main Server Chassis"},
    {18, "Expansion Chassis"},
    {19, "SubChassis"},
    {20, "Bus Expansion Chassis"},
    {21, "Peripheral Chassis"},
    {22, "RAID Chassis"},
    {23, "Rack Mount Chassis"},
    {24, "Sealed-case PC"},
    {25, "Multi-system chassis"},
    {kEndOfTable, nullptr},
};

const kelEnumDef HWSEC_POP_ENUM_DEF[] = {
    {0, "Disabled"}, {1, "Enabled"}, {2, "Unsupported"}, {3, "Unknown"}, {kEndOfTable, nullptr},
};

const kelAttribDef SMBIOS_ATTRS_DEF[] = {
    {1, "BIOS Vendor", KEL_STRING, 64, nullptr},
    {2, "BIOS Version", KEL_STRING, 64, nullptr},
    {3, "BIOS Date", KEL_STRING, 16, nullptr},
    {4, "BIOS Size", KEL_STRING, 8, nullptr},
    {5, "System Manufacturer", KEL_STRING, 64, nullptr},
    {6, "System Product Name", KEL_STRING, 64, nullptr},
    {7, "System Version", KEL_STRING, 64, nullptr},
    {8, "System Serial Number", KEL_STRING, 64, nullptr},
    {9, "System UUID", KEL_STRING, 36, nullptr},
    {10, "Board Manufacturer", KEL_STRING, 64, nullptr},
    {11, "Board Product", KEL_STRING, 64, nullptr},
    {12, "Board Version", KEL_STRING, 64, nullptr},
    {13, "Board Serial Number", KEL_STRING, 64, nullptr},
    {14, "Enclosure Manufacturer", KEL_STRING, 64, nullptr},
    {15, "Enclosure Type", KEL_ULONG, 0, KEL_ATTRIB_SMBIOS_ENCLOSURE_TYPE_ENUM_DEF},
    {16, "Enclosure Version", KEL_STRING, 64, nullptr},
    {17, "Enclosure Serial Number", KEL_STRING, 64, nullptr},
    {18, "Enclosure Asset Tag", KEL_STRING, 64, nullptr},
    {19, "ID", KEL_STRING, 32, nullptr},
    {20, "PowerOn Password", KEL_ULONG, 0, HWSEC_POP_ENUM_DEF},
    {21, "BIOS ID Bytes", KEL_STRING, 16, nullptr},
    {22, "BIOS ID", KEL_STRING, 128, nullptr},
    {23, "BIOS Manufacturer", KEL_STRING, 64, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kSmbiosTraits[] = {
    {1, "", Stable, kPublic, "Maker of the firmware.", kFirmwareTables, nullptr},
    {2, "", Stable, kPublic, "Version of the firmware.", kFirmwareTables, nullptr},
    {3, "", Stable, kPublic, "Release date of the firmware, year first.", kFirmwareTables, nullptr},
    {4, "", Stable, kPublic, "Size of the firmware's memory, a number followed by K.",
     kFirmwareTables, nullptr},
    {5, "", Stable, kPublic, "Maker of the machine.", kFirmwareTables, nullptr},
    {6, "", Stable, kPublic, "Product name of the machine.", kFirmwareTables, nullptr},
    {7, "", Stable, kPublic, "Product version of the machine.", kFirmwareTables, nullptr},
    {8, "", Identity, kSensitive, "Serial number of the machine.", kFirmwareTables, nullptr},
    {9, "", Identity, kSensitive, "Universally unique id of the machine.", kFirmwareTables,
     nullptr},
    {10, "", Stable, kPublic, "Maker of the base board.", kFirmwareTables, nullptr},
    {11, "", Stable, kPublic, "Product name of the base board.", kFirmwareTables, nullptr},
    {12, "", Stable, kPublic, "Version of the base board.", kFirmwareTables, nullptr},
    {13, "", Identity, kSensitive, "Serial number of the base board.", kFirmwareTables, nullptr},
    {14, "", Stable, kPublic, "Maker of the enclosure.", kFirmwareTables, nullptr},
    {15, "", Stable, kPublic, "Kind of enclosure.", kFirmwareTables, nullptr},
    {16, "", Stable, kPublic, "Version of the enclosure.", kFirmwareTables, nullptr},
    {17, "", Identity, kSensitive, "Serial number of the enclosure.", kFirmwareTables, nullptr},
    {18, "", Identity, kSensitive, "Owner's inventory number, as entered in the firmware.",
     kFirmwareTables, nullptr},
    {19, "", Stable, kPublic, "Digest of make, model and firmware version, without serial numbers.",
     kFirmwareTables, nullptr},
    {20, "", Stable, kPublic, "Whether a password is asked before the machine starts.",
     kFirmwareTables, "3"},
    {21, "", Stable, kPublic, "Model bytes of the firmware.", kNotFilled, nullptr},
    {22, "", Stable, kPublic, "Identification text of the firmware.", kNotFilled, nullptr},
    {23, "", Stable, kPublic, "Maker of the firmware, as told by its identification text.",
     kNotFilled, nullptr},
    kEndOfTraits,
};

}  // namespace invscan
