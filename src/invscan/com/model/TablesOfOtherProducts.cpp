// Tables that other members of the product family report. Hosts know them by name; nothing in this
// library fills them.
#include <invscan/catalogue.h>

// Systems, software and users.

const unsigned long AIX_CLUSTER_KEYS_DEF[] = {1};

const kelAttribDef AIX_CLUSTER_ATTRS_DEF[] = {
    {1, "UUID", KEL_STRING, 36, nullptr},
    {2, "Name", KEL_STRING, 64, nullptr},
    {3, "NodeCount", KEL_ULONG, 0, nullptr},
    {4, "Version", KEL_STRING, 64, nullptr},
    {5, "CommunicationMode", KEL_STRING, 16, nullptr},
    {6, "MulticastAddress", KEL_STRING, 40, nullptr},
    {7, "RepositoryDisk", KEL_STRING, 50, nullptr},
    {8, "RepositoryDiskUUID", KEL_STRING, 36, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long AIX_CLUSTER_NODE_KEYS_DEF[] = {1};

const kelAttribDef AIX_CLUSTER_NODE_ATTRS_DEF[] = {
    {1, "UUID", KEL_STRING, 36, nullptr},        {2, "Name", KEL_STRING, 255, nullptr},
    {3, "ShorthandID", KEL_ULONG, 0, nullptr},   {4, "State", KEL_STRING, 32, nullptr},
    {5, "Address", KEL_STRING, 40, nullptr},     {6, "Site", KEL_STRING, 64, nullptr},
    {7, "ClusterUUID", KEL_STRING, 36, nullptr}, {8, "ClusterName", KEL_STRING, 64, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long WIN_CLUSTER_KEYS_DEF[] = {1};

const kelAttribDef WIN_CLUSTER_ATTRS_DEF[] = {
    {1, "Name", KEL_STRING, 64, nullptr},         {2, "Id", KEL_STRING, 36, nullptr},
    {3, "Description", KEL_STRING, 255, nullptr}, {4, "Address", KEL_STRING, 40, nullptr},
    {5, "Vendor", KEL_STRING, 64, nullptr},       {6, "MajorVersion", KEL_ULONG, 0, nullptr},
    {7, "MinorVersion", KEL_ULONG, 0, nullptr},   {8, "BuildNumber", KEL_ULONG, 0, nullptr},
    {9, "QuorumType", KEL_STRING, 64, nullptr},   {10, "QuorumPath", KEL_STRING, 260, nullptr},
    {11, "NodeCount", KEL_ULONG, 0, nullptr},     {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long WIN_CLUSTER_NODE_KEYS_DEF[] = {1};

const kelAttribDef WIN_CLUSTER_NODE_ATTRS_DEF[] = {
    {1, "Name", KEL_STRING, 64, nullptr},        {2, "Id", KEL_STRING, 36, nullptr},
    {3, "ClusterName", KEL_STRING, 64, nullptr}, {4, "State", KEL_STRING, 32, nullptr},
    {5, "VoteWeight", KEL_ULONG, 0, nullptr},    {6, "MajorVersion", KEL_ULONG, 0, nullptr},
    {7, "MinorVersion", KEL_ULONG, 0, nullptr},  {8, "BuildNumber", KEL_ULONG, 0, nullptr},
    {9, "ServicePack", KEL_STRING, 64, nullptr}, {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long LDOMS_KEYS_DEF[] = {1};

const kelAttribDef LDOMS_ATTRS_DEF[] = {
    {1, "Name", KEL_STRING, 64, nullptr},
    {2, "UUID", KEL_STRING, 36, nullptr},
    {3, "Role", KEL_STRING, 64, nullptr},
    {4, "State", KEL_STRING, 32, nullptr},
    {5, "HostID", KEL_STRING, 16, nullptr},
    {6, "HostModel", KEL_STRING, 64, nullptr},
    {7, "ControlDomain", KEL_STRING, 255, nullptr},
    {8, "ChassisSerialNumber", KEL_STRING, 64, nullptr},
    {9, "VirtualCpuCount", KEL_ULONG, 0, nullptr},
    {10, "CoreCount", KEL_ULONG, 0, nullptr},
    {11, "MaxCoreCount", KEL_ULONG, 0, nullptr},
    {12, "MemoryMB", KEL_ULONG, 0, nullptr},
    {13, "ConsolePort", KEL_ULONG, 0, nullptr},
    {14, "Uptime", KEL_ULONG, 0, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long VIRTUAL_MACHINE_GUEST_KEYS_DEF[] = {1};

const unsigned long VIRTUAL_MACHINE_KEYS_DEF[] = {3};

const kelAttribDef VIRTUAL_MACHINE_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "Name", KEL_STRING, 255, nullptr},
    {3, "UUID", KEL_STRING, 48, nullptr},
    {4, "HypervisorType", KEL_STRING, 50, nullptr},
    {5, "State", KEL_STRING, 32, nullptr},
    {6, "GuestOS", KEL_STRING, 128, nullptr},
    {7, "GuestHostname", KEL_STRING, 255, nullptr},
    {8, "GuestAddress", KEL_STRING, 40, nullptr},
    {9, "VirtualCpuCount", KEL_ULONG, 0, nullptr},
    {10, "CpuReservationMHz", KEL_ULONG, 0, nullptr},
    {11, "CpuLimitMHz", KEL_ULONG, 0, nullptr},
    {12, "MemoryMB", KEL_ULONG, 0, nullptr},
    {13, "ConfigPath", KEL_STRING, 500, nullptr},
    {14, "StartTime", KEL_DATETIME, 0, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const kelAttribDef CPU_WIN_METER_ATTRS_DEF[] = {
    {1, "ProcessorQueueLength", KEL_ULONG, 0, nullptr},
    {2, "ProcessCount", KEL_ULONG, 0, nullptr},
    {3, "ThreadCount", KEL_ULONG, 0, nullptr},
    {4, "ContextSwitches", KEL_ULONG, 0, nullptr},
    {5, "SystemCalls", KEL_ULONG, 0, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const kelAttribDef OPER_SYS_CSIDL_ATTRS_DEF[] = {
    {1, "Windows", KEL_STRING, 260, nullptr},
    {2, "System", KEL_STRING, 260, nullptr},
    {3, "Fonts", KEL_STRING, 260, nullptr},
    {4, "Program Files", KEL_STRING, 260, nullptr},
    {5, "Program Files Common", KEL_STRING, 260, nullptr},
    {6, "Common Application Data", KEL_STRING, 260, nullptr},
    {7, "Common Desktop Directory", KEL_STRING, 260, nullptr},
    {8, "Common Documents", KEL_STRING, 260, nullptr},
    {9, "Common Programs", KEL_STRING, 260, nullptr},
    {10, "Common Start Menu", KEL_STRING, 260, nullptr},
    {11, "Common Startup", KEL_STRING, 260, nullptr},
    {12, "Common Templates", KEL_STRING, 260, nullptr},
    {13, "Common Administrative Tools", KEL_STRING, 260, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const kelAttribDef PC_PAR_ATTRS_DEF[] = {
    {1, "Boot Time", KEL_DATETIME, 0, nullptr},
    {2, "Computer Name", KEL_STRING, 64, nullptr},
    {3, "Computer Description", KEL_STRING, 255, nullptr},
    {4, "Domain", KEL_STRING, 255, nullptr},
    {5, "Domain Role", KEL_STRING, 32, nullptr},
    {6, "Workgroup", KEL_STRING, 64, nullptr},
    {7, "Logon Server", KEL_STRING, 64, nullptr},
    {8, "Boot Device", KEL_STRING, 255, nullptr},
    {9, "System Drive", KEL_STRING, 4, nullptr},
    {10, "Page File", KEL_STRING, 260, nullptr},
    {11, "Page File Size", KEL_ULONG, 0, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long INSTALLED_PATCH_KEYS_DEF[] = {1, 8};

const kelAttribDef INSTALLED_PATCH_ATTRS_DEF[] = {
    {1, "ID", KEL_STRING, 64, nullptr},
    {2, "Title", KEL_STRING, 255, nullptr},
    {3, "Description", KEL_STRING, 500, nullptr},
    {4, "Classification", KEL_STRING, 64, nullptr},
    {5, "Install Date", KEL_DATETIME, 0, nullptr},
    {6, "Installed By", KEL_STRING, 255, nullptr},
    {7, "Replaces", KEL_STRING, 255, nullptr},
    {8, "Product", KEL_STRING, 255, nullptr},
    {9, "Product Version", KEL_STRING, 64, nullptr},
    {10, "Vendor", KEL_STRING, 128, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const kelAttribDef INSTALLED_PKGS_ATTRS_DEF[] = {
    {1, "Name", KEL_STRING, 255, nullptr},         {2, "Version", KEL_STRING, 64, nullptr},
    {3, "Release", KEL_STRING, 64, nullptr},       {4, "OS Arch", KEL_STRING, 24, nullptr},
    {5, "Manufacturer", KEL_STRING, 128, nullptr}, {6, "Description", KEL_STRING, 500, nullptr},
    {7, "Format", KEL_STRING, 32, nullptr},        {8, "Install Date", KEL_DATETIME, 0, nullptr},
    {9, "Install Path", KEL_STRING, 255, nullptr}, {10, "Install State", KEL_STRING, 32, nullptr},
    {11, "Size", KEL_ULONGLONG, 0, nullptr},       {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long SERVICE_INFO_KEYS_DEF[] = {1};

const kelAttribDef SERVICE_INFO_ATTRS_DEF[] = {
    {1, "Name", KEL_STRING, 255, nullptr},         {2, "Display Name", KEL_STRING, 255, nullptr},
    {3, "Description", KEL_STRING, 500, nullptr},  {4, "Type", KEL_STRING, 64, nullptr},
    {5, "State", KEL_STRING, 32, nullptr},         {6, "Start Mode", KEL_STRING, 32, nullptr},
    {7, "Account", KEL_STRING, 255, nullptr},      {8, "Command Line", KEL_STRING, 500, nullptr},
    {9, "Dependencies", KEL_STRING, 500, nullptr}, {10, "Process ID", KEL_ULONG, 0, nullptr},
    {11, "Exit Code", KEL_ULONG, 0, nullptr},      {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long USER_ACCOUNT_INFO_KEYS_DEF[] = {1, 2};

const kelAttribDef USER_ACCOUNT_INFO_ATTRS_DEF[] = {
    {1, "User Name", KEL_STRING, 255, nullptr},
    {2, "Domain", KEL_STRING, 255, nullptr},
    {3, "User ID", KEL_STRING, 184, nullptr},
    {4, "Full Name", KEL_STRING, 255, nullptr},
    {5, "Description", KEL_STRING, 255, nullptr},
    {6, "Home Directory", KEL_STRING, 260, nullptr},
    {7, "Shell", KEL_STRING, 255, nullptr},
    {8, "Primary Group", KEL_STRING, 255, nullptr},
    {9, "Disabled", KEL_STRING, 1, nullptr},
    {10, "Locked Out", KEL_STRING, 1, nullptr},
    {11, "Password Required", KEL_STRING, 1, nullptr},
    {12, "Password Last Set", KEL_DATETIME, 0, nullptr},
    {13, "Password Expires", KEL_DATETIME, 0, nullptr},
    {14, "Last Logon", KEL_DATETIME, 0, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const kelAttribDef LAST_USER_ATTRS_DEF[] = {
    {1, "User Name", KEL_STRING, 255, nullptr},  {2, "Domain", KEL_STRING, 255, nullptr},
    {3, "Full Name", KEL_STRING, 255, nullptr},  {4, "User ID", KEL_STRING, 184, nullptr},
    {5, "Terminal", KEL_STRING, 64, nullptr},    {6, "Remote Host", KEL_STRING, 255, nullptr},
    {7, "Logon Time", KEL_DATETIME, 0, nullptr}, {8, "Logoff Time", KEL_DATETIME, 0, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long SCREEN_SAVER_INFO_KEYS_DEF[] = {1};

const kelAttribDef SCREEN_SAVER_INFO_ATTRS_DEF[] = {
    {1, "User Name", KEL_STRING, 255, nullptr},        {2, "Active", KEL_STRING, 1, nullptr},
    {3, "Program", KEL_STRING, 260, nullptr},          {4, "Timeout", KEL_ULONG, 0, nullptr},
    {5, "Password Protected", KEL_STRING, 1, nullptr}, {kEndOfTable, nullptr, 0, 0, nullptr},
};

// Devices.

const kelAttribDef ENCLOSURE_ATTRS_DEF[] = {
    {1, "Manufacturer", KEL_STRING, 64, nullptr},
    {2, "Type", KEL_ULONG, 0, KEL_ATTRIB_SMBIOS_ENCLOSURE_TYPE_ENUM_DEF},
    {3, "Version", KEL_STRING, 64, nullptr},
    {4, "Serial Number", KEL_STRING, 64, nullptr},
    {5, "Asset Tag", KEL_STRING, 64, nullptr},
    {6, "SKU Number", KEL_STRING, 64, nullptr},
    {7, "Lock Present", KEL_STRING, 1, nullptr},
    {8, "Boot-up State", KEL_STRING, 32, nullptr},
    {9, "Power Supply State", KEL_STRING, 32, nullptr},
    {10, "Thermal State", KEL_STRING, 32, nullptr},
    {11, "Security Status", KEL_STRING, 32, nullptr},
    {12, "Height", KEL_ULONG, 0, nullptr},
    {13, "Power Cords", KEL_ULONG, 0, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long DISK_PARTITION_KEYS_DEF[] = {1};

const kelAttribDef DSK_PART_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "Name", KEL_STRING, 64, nullptr},
    {3, "Disk Index", KEL_ULONG, 0, nullptr},
    {4, "Disk ID", KEL_STRING, 32, nullptr},
    {5, "Partition Type", KEL_STRING, 64, nullptr},
    {6, "Bootable", KEL_STRING, 1, nullptr},
    {7, "Primary", KEL_STRING, 1, nullptr},
    {8, "Starting Offset", KEL_ULONGLONG, 0, nullptr},
    {9, "Size", KEL_ULONGLONG, 0, nullptr},
    {10, "Block Size", KEL_ULONG, 0, nullptr},
    {11, "Number of Blocks", KEL_ULONGLONG, 0, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long LOGICAL_DRIVE_KEYS_DEF[] = {1};

const kelAttribDef LOG_DRIVE_ATTRS_DEF[] = {
    {1, "Name", KEL_STRING, 64, nullptr},
    {2, "Drive Type", KEL_STRING, 32, nullptr},
    {3, "Volume Label", KEL_STRING, 64, nullptr},
    {4, "Volume Serial Number", KEL_STRING, 16, nullptr},
    {5, "File System", KEL_STRING, 32, nullptr},
    {6, "Total Size", KEL_ULONGLONG, 0, nullptr},
    {7, "Free Size", KEL_ULONGLONG, 0, nullptr},
    {8, "Cluster Size", KEL_ULONG, 0, nullptr},
    {9, "Compressed", KEL_STRING, 1, nullptr},
    {10, "Server Hostname", KEL_STRING, 255, nullptr},
    {11, "Server Path", KEL_STRING, 255, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long IPX_ADDR_KEYS_DEF[] = {1};

const kelAttribDef IPX_ADDR_ATTRS_DEF[] = {
    {1, "Address", KEL_STRING, 32, nullptr},       {2, "Network Number", KEL_STRING, 8, nullptr},
    {3, "Node Number", KEL_STRING, 12, nullptr},   {4, "Frame Type", KEL_STRING, 32, nullptr},
    {5, "Adapter Name", KEL_STRING, 128, nullptr}, {kEndOfTable, nullptr, 0, 0, nullptr},
};

const kelAttribDef KEYBOARD_ATTRS_DEF[] = {
    {1, "Description", KEL_STRING, 128, nullptr}, {2, "Manufacturer", KEL_STRING, 128, nullptr},
    {3, "Type", KEL_STRING, 64, nullptr},         {4, "Layout", KEL_STRING, 64, nullptr},
    {5, "Function Keys", KEL_ULONG, 0, nullptr},  {6, "Connector Type", KEL_STRING, 64, nullptr},
    {7, "Driver Name", KEL_STRING, 64, nullptr},  {kEndOfTable, nullptr, 0, 0, nullptr},
};

const kelEnumDef POINTING_DEVICE_TYPE_ENUM_DEF[] = {
    {1, "Other"},           {2, "Unknown"},      {3, "Mouse"},
    {4, "Track Ball"},      {5, "Track Point"},  {6, "Glide Point"},
    {7, "Touch Pad"},       {8, "Touch Screen"}, {9, "Mouse - Optical Sensor"},
    {kEndOfTable, nullptr},
};

const unsigned long POINT_DEV_KEYS_DEF[] = {1, 2};

const kelAttribDef POINT_DEV_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "ID", KEL_STRING, 32, nullptr},
    {3, "Type", KEL_ULONG, 0, POINTING_DEVICE_TYPE_ENUM_DEF},
    {4, "Model", KEL_STRING, 255, nullptr},
    {5, "Manufacturer", KEL_STRING, 128, nullptr},
    {6, "Number of Buttons", KEL_ULONG, 0, nullptr},
    {7, "Handedness", KEL_STRING, 32, nullptr},
    {8, "Connector Type", KEL_STRING, 64, nullptr},
    {9, "Driver Name", KEL_STRING, 64, nullptr},
    {10, "Driver Version", KEL_STRING, 64, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

// The values are the status that a display connector reports.
const kelEnumDef MONITOR_STATUS_ENUMS_DEF[] = {
    {1, "Connected"},
    {2, "Disconnected"},
    {3, "Unknown"},
    {kEndOfTable, nullptr},
};

const unsigned long MONITOR_KEYS_DEF[] = {1, 2};

const kelAttribDef MONITOR_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "ID", KEL_STRING, 32, nullptr},
    {3, "Model", KEL_STRING, 255, nullptr},
    {4, "Manufacturer", KEL_STRING, 128, nullptr},
    {5, "Serial Number", KEL_STRING, 64, nullptr},
    {6, "Status", KEL_ULONG, 0, MONITOR_STATUS_ENUMS_DEF},
    {7, "Horizontal Resolution", KEL_ULONG, 0, nullptr},
    {8, "Vertical Resolution", KEL_ULONG, 0, nullptr},
    {9, "Refresh Rate", KEL_ULONG, 0, nullptr},
    {10, "Width", KEL_ULONG, 0, nullptr},
    {11, "Height", KEL_ULONG, 0, nullptr},
    {12, "Gamma", KEL_FLOAT, 0, nullptr},
    {13, "Manufacture Year", KEL_ULONG, 0, nullptr},
    {14, "Manufacture Week", KEL_ULONG, 0, nullptr},
    {15, "EDID Version", KEL_STRING, 8, nullptr},
    {16, "Connector Type", KEL_STRING, 64, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long VIDEO_KEYS_DEF[] = {1, 2};

const kelAttribDef VIDEO_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "ID", KEL_STRING, 32, nullptr},
    {3, "Model", KEL_STRING, 255, nullptr},
    {4, "Manufacturer", KEL_STRING, 128, nullptr},
    {5, "Processor", KEL_STRING, 128, nullptr},
    {6, "Memory Size", KEL_ULONG, 0, nullptr},
    {7, "Memory Type", KEL_STRING, 64, nullptr},
    {8, "DAC Type", KEL_STRING, 64, nullptr},
    {9, "BIOS Version", KEL_STRING, 64, nullptr},
    {10, "BIOS Date", KEL_STRING, 16, nullptr},
    {11, "Horizontal Resolution", KEL_ULONG, 0, nullptr},
    {12, "Vertical Resolution", KEL_ULONG, 0, nullptr},
    {13, "Bits per Pixel", KEL_ULONG, 0, nullptr},
    {14, "Refresh Rate", KEL_ULONG, 0, nullptr},
    {15, "Driver Name", KEL_STRING, 64, nullptr},
    {16, "Driver Version", KEL_STRING, 64, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

// The values are the device type in a modem's set-up file.
const kelEnumDef MODEM_DEVTYPE_ENUMS_DEF[] = {
    {0, "Null Modem"},   {1, "External Modem"},  {2, "Internal Modem"},
    {3, "PCMCIA Modem"}, {kEndOfTable, nullptr},
};

const unsigned long MODEM_KEYS_DEF[] = {1, 2};

const kelAttribDef MODEM_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "ID", KEL_STRING, 32, nullptr},
    {3, "Model", KEL_STRING, 255, nullptr},
    {4, "Manufacturer", KEL_STRING, 128, nullptr},
    {5, "Device Type", KEL_ULONG, 0, MODEM_DEVTYPE_ENUMS_DEF},
    {6, "Port Name", KEL_STRING, 64, nullptr},
    {7, "Maximum Port Speed", KEL_ULONG, 0, nullptr},
    {8, "Maximum Line Speed", KEL_ULONG, 0, nullptr},
    {9, "Country", KEL_STRING, 64, nullptr},
    {10, "Driver Name", KEL_STRING, 64, nullptr},
    {11, "Driver Version", KEL_STRING, 64, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const unsigned long PRINTER_KEYS_DEF[] = {1, 2};

const kelAttribDef PRINTER_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "ID", KEL_STRING, 32, nullptr},
    {3, "Name", KEL_STRING, 255, nullptr},
    {4, "Model", KEL_STRING, 255, nullptr},
    {5, "Location", KEL_STRING, 255, nullptr},
    {6, "Comment", KEL_STRING, 255, nullptr},
    {7, "Port Name", KEL_STRING, 255, nullptr},
    {8, "Server Hostname", KEL_STRING, 255, nullptr},
    {9, "Share Name", KEL_STRING, 255, nullptr},
    {10, "Default", KEL_STRING, 1, nullptr},
    {11, "Network", KEL_STRING, 1, nullptr},
    {12, "Color", KEL_STRING, 1, nullptr},
    {13, "Duplex", KEL_STRING, 1, nullptr},
    {14, "Horizontal Resolution", KEL_ULONG, 0, nullptr},
    {15, "Vertical Resolution", KEL_ULONG, 0, nullptr},
    {16, "Driver Name", KEL_STRING, 255, nullptr},
    {17, "Driver Version", KEL_STRING, 64, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const kelAttribDef PARALLEL_PORT_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "Name", KEL_STRING, 64, nullptr},
    {3, "Connector Type", KEL_STRING, 64, nullptr},
    {4, "Connector Pinout", KEL_STRING, 64, nullptr},
    {5, "Capabilities", KEL_STRING, 64, nullptr},
    {6, "Base Address", KEL_ULONG, 0, nullptr},
    {7, "IRQ", KEL_ULONG, 0, nullptr},
    {8, "DMA Channel", KEL_ULONG, 0, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const kelAttribDef SERIAL_PORT_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "Name", KEL_STRING, 64, nullptr},
    {3, "Connector Type", KEL_STRING, 64, nullptr},
    {4, "Controller Type", KEL_STRING, 32, nullptr},
    {5, "Maximum Speed", KEL_ULONG, 0, nullptr},
    {6, "Base Address", KEL_ULONG, 0, nullptr},
    {7, "IRQ", KEL_ULONG, 0, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

const kelEnumDef USB_DEVICE_CLASS_ENUM_DEF[] = {
    {0, "Defined at Interface Level"},
    {1, "Audio"},
    {2, "Communications"},
    {3, "Human Interface Device"},
    {5, "Physical Interface Device"},
    {6, "Imaging"},
    {7, "Printer"},
    {8, "Mass Storage"},
    {9, "Hub"},
    {10, "CDC Data"},
    {255, "Vendor Specific"},
    {kEndOfTable, nullptr},
};

const kelEnumDef USB_DEVICE_IS_HUB_ENUM_DEF[] = {
    {0, "No"},
    {1, "Yes"},
    {kEndOfTable, nullptr},
};

const unsigned long USB_DEVICE_KEYS_DEF[] = {1, 2};

const kelAttribDef USB_DEVICE_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "ID", KEL_STRING, 32, nullptr},
    {3, "Model", KEL_STRING, 255, nullptr},
    {4, "Manufacturer", KEL_STRING, 128, nullptr},
    {5, "Serial Number", KEL_STRING, 255, nullptr},
    {6, "Class", KEL_ULONG, 0, USB_DEVICE_CLASS_ENUM_DEF},
    {7, "Is Hub", KEL_ULONG, 0, USB_DEVICE_IS_HUB_ENUM_DEF},
    {8, "Vendor ID", KEL_USHORT, 0, nullptr},
    {9, "Product ID", KEL_USHORT, 0, nullptr},
    {10, "Device Version", KEL_STRING, 8, nullptr},
    {11, "USB Version", KEL_STRING, 8, nullptr},
    {12, "Speed", KEL_STRING, 32, nullptr},
    {13, "Maximum Power", KEL_ULONG, 0, nullptr},
    {14, "Location", KEL_STRING, 255, nullptr},
    {15, "Driver Name", KEL_STRING, 64, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};
