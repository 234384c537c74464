// What the codes in firmware structures mean, by the SMBIOS standard.
#pragma once

namespace invscan::agent {

struct CodeName {
  unsigned code;
  const char* name;
};

inline constexpr CodeName kEnclosureTypes[] = {
    {0x01, "Other"},
    {0x02, "Unknown"},
    {0x03, "Desktop"},
    {0x04, "Low Profile Desktop"},
    {0x05, "Pizza Box"},
    {0x06, "Mini Tower"},
    {0x07, "Tower"},
    {0x08, "Portable"},
    {0x09, "Laptop"},
    {0x0A, "Notebook"},
    {0x0B, "Hand Held"},
    {0x0C, "Docking Station"},
    {0x0D, "All In One"},
    {0x0E, "Sub Notebook"},
    {0x0F, "Space-saving"},
    {0x10, "Lunch Box"},
    {0x11, "Main Server Chassis"},
    {0x12, "Expansion Chassis"},
    {0x13, "Sub Chassis"},
    {0x14, "Bus Expansion Chassis"},
    {0x15, "Peripheral Chassis"},
    {0x16, "RAID Chassis"},
    {0x17, "Rack Mount Chassis"},
    {0x18, "Sealed-case PC"},
    {0x19, "Multi-system"},
    {0x1A, "CompactPCI"},
    {0x1B, "AdvancedTCA"},
    {0x1C, "Blade"},
    {0x1D, "Blade Enclosing"},
    {0x1E, "Tablet"},
    {0x1F, "Convertible"},
    {0x20, "Detachable"},
    {0x21, "IoT Gateway"},
    {0x22, "Embedded PC"},
    {0x23, "Mini PC"},
    {0x24, "Stick PC"},
};

inline constexpr CodeName kFormFactors[] = {
    {0x01, "Other"},  {0x02, "Unknown"}, {0x03, "SIMM"},         {0x04, "SIP"},
    {0x05, "Chip"},   {0x06, "DIP"},     {0x07, "ZIP"},          {0x08, "Proprietary Card"},
    {0x09, "DIMM"},   {0x0A, "TSOP"},    {0x0B, "Row Of Chips"}, {0x0C, "RIMM"},
    {0x0D, "SODIMM"}, {0x0E, "SRIMM"},   {0x0F, "FB-DIMM"},      {0x10, "Die"},
};

inline constexpr CodeName kMemoryTypes[] = {
    {0x01, "Other"},  {0x02, "Unknown"}, {0x03, "DRAM"},   {0x04, "EDRAM"},
    {0x05, "VRAM"},   {0x06, "SRAM"},    {0x07, "RAM"},    {0x08, "ROM"},
    {0x09, "Flash"},  {0x0A, "EEPROM"},  {0x0B, "FEPROM"}, {0x0C, "EPROM"},
    {0x0D, "CDRAM"},  {0x0E, "3DRAM"},   {0x0F, "SDRAM"},  {0x10, "SGRAM"},
    {0x11, "RDRAM"},  {0x12, "DDR"},     {0x13, "DDR2"},   {0x14, "DDR2 FB-DIMM"},
    {0x18, "DDR3"},   {0x19, "FBD2"},    {0x1A, "DDR4"},   {0x1B, "LPDDR"},
    {0x1C, "LPDDR2"}, {0x1D, "LPDDR3"},  {0x1E, "LPDDR4"}, {0x1F, "Logical non-volatile device"},
    {0x20, "HBM"},    {0x21, "HBM2"},    {0x22, "DDR5"},   {0x23, "LPDDR5"},
    {0x24, "HBM3"},
};

inline constexpr CodeName kOnBoardDeviceTypes[] = {
    {0x01, "Other"},
    {0x02, "Unknown"},
    {0x03, "Video"},
    {0x04, "SCSI Controller"},
    {0x05, "Ethernet"},
    {0x06, "Token Ring"},
    {0x07, "Sound"},
    {0x08, "PATA Controller"},
    {0x09, "SATA Controller"},
    {0x0A, "SAS Controller"},
    {0x0B, "Wireless LAN"},
    {0x0C, "Bluetooth"},
    {0x0D, "WWAN"},
    {0x0E, "eMMC"},
    {0x0F, "NVMe Controller"},
    {0x10, "UFS Controller"},
};

inline constexpr CodeName kConnectorTypes[] = {
    {0x00, "None"},
    {0x01, "Centronics"},
    {0x02, "Mini Centronics"},
    {0x03, "Proprietary"},
    {0x04, "DB-25 male"},
    {0x05, "DB-25 female"},
    {0x06, "DB-15 male"},
    {0x07, "DB-15 female"},
    {0x08, "DB-9 male"},
    {0x09, "DB-9 female"},
    {0x0A, "RJ-11"},
    {0x0B, "RJ-45"},
    {0x0C, "50 Pin MiniSCSI"},
    {0x0D, "Mini DIN"},
    {0x0E, "Micro DIN"},
    {0x0F, "PS/2"},
    {0x10, "Infrared"},
    {0x11, "HP-HIL"},
    {0x12, "Access Bus (USB)"},
    {0x13, "SSA SCSI"},
    {0x14, "Circular DIN-8 male"},
    {0x15, "Circular DIN-8 female"},
    {0x16, "On Board IDE"},
    {0x17, "On Board Floppy"},
    {0x18, "9 Pin Dual Inline (pin 10 cut)"},
    {0x19, "25 Pin Dual Inline (pin 26 cut)"},
    {0x1A, "50 Pin Dual Inline"},
    {0x1B, "68 Pin Dual Inline"},
    {0x1C, "On Board Sound Input From CD-ROM"},
    {0x1D, "Mini Centronics Type-14"},
    {0x1E, "Mini Centronics Type-26"},
    {0x1F, "Mini Jack (headphones)"},
    {0x20, "BNC"},
    {0x21, "IEEE 1394"},
    {0x22, "SAS/SATA Plug Receptacle"},
    {0x23, "USB Type-C Receptacle"},
    {0xA0, "PC-98"},
    {0xA1, "PC-98 Hireso"},
    {0xA2, "PC-H98"},
    {0xA3, "PC-98 Note"},
    {0xA4, "PC-98 Full"},
    {0xFF, "Other"},
};

inline constexpr CodeName kPortTypes[] = {
    {0x00, "None"},
    {0x01, "Parallel Port XT/AT Compatible"},
    {0x02, "Parallel Port PS/2"},
    {0x03, "Parallel Port ECP"},
    {0x04, "Parallel Port EPP"},
    {0x05, "Parallel Port ECP/EPP"},
    {0x06, "Serial Port XT/AT Compatible"},
    {0x07, "Serial Port 16450 Compatible"},
    {0x08, "Serial Port 16550 Compatible"},
    {0x09, "Serial Port 16550A Compatible"},
    {0x0A, "SCSI Port"},
    {0x0B, "MIDI Port"},
    {0x0C, "Joystick Port"},
    {0x0D, "Keyboard Port"},
    {0x0E, "Mouse Port"},
    {0x0F, "SSA SCSI"},
    {0x10, "USB"},
    {0x11, "Firewire (IEEE P1394)"},
    {0x12, "PCMCIA Type I"},
    {0x13, "PCMCIA Type II"},
    {0x14, "PCMCIA Type III"},
    {0x15, "Cardbus"},
    {0x16, "Access Bus Port"},
    {0x17, "SCSI II"},
    {0x18, "SCSI Wide"},
    {0x19, "PC-98"},
    {0x1A, "PC-98 Hireso"},
    {0x1B, "PC-H98"},
    {0x1C, "Video Port"},
    {0x1D, "Audio Port"},
    {0x1E, "Modem Port"},
    {0x1F, "Network Port"},
    {0x20, "SATA"},
    {0x21, "SAS"},
    {0x22, "MFDP (Multi-Function Display Port)"},
    {0x23, "Thunderbolt"},
    {0xA0, "8251 Compatible"},
    {0xA1, "8251 FIFO Compatible"},
    {0xFF, "Other"},
};

inline constexpr CodeName kSlotTypes[] = {
    {0x01, "Other"},
    {0x02, "Unknown"},
    {0x03, "ISA"},
    {0x04, "MCA"},
    {0x05, "EISA"},
    {0x06, "PCI"},
    {0x07, "PC Card (PCMCIA)"},
    {0x08, "VLB"},
    {0x09, "Proprietary"},
    {0x0A, "Processor Card"},
    {0x0B, "Proprietary Memory Card"},
    {0x0C, "I/O Riser Card"},
    {0x0D, "NuBus"},
    {0x0E, "PCI-66"},
    {0x0F, "AGP"},
    {0x10, "AGP 2x"},
    {0x11, "AGP 4x"},
    {0x12, "PCI-X"},
    {0x13, "AGP 8x"},
    {0x14, "M.2 Socket 1-DP"},
    {0x15, "M.2 Socket 1-SD"},
    {0x16, "M.2 Socket 2"},
    {0x17, "M.2 Socket 3"},
    {0x18, "MXM Type I"},
    {0x19, "MXM Type II"},
    {0x1A, "MXM Type III"},
    {0x1B, "MXM Type III-HE"},
    {0x1C, "MXM Type IV"},
    {0x1D, "MXM 3.0 Type A"},
    {0x1E, "MXM 3.0 Type B"},
    {0x1F, "PCI Express 2 SFF-8639 (U.2)"},
    {0x20, "PCI Express 3 SFF-8639 (U.2)"},
    {0x21, "PCI Express Mini 52-pin with bottom-side keep-outs"},
    {0x22, "PCI Express Mini 52-pin without bottom-side keep-outs"},
    {0x23, "PCI Express Mini 76-pin"},
    {0x24, "PCI Express 4 SFF-8639 (U.2)"},
    {0x25, "PCI Express 5 SFF-8639 (U.2)"},
    {0x26, "OCP NIC 3.0 Small Form Factor (SFF)"},
    {0x27, "OCP NIC 3.0 Large Form Factor (LFF)"},
    {0x28, "OCP NIC Prior to 3.0"},
    {0x30, "CXL FLexbus 1.0"},
    {0xA0, "PC-98/C20"},
    {0xA1, "PC-98/C24"},
    {0xA2, "PC-98/E"},
    {0xA3, "PC-98/Local Bus"},
    {0xA4, "PC-98/Card"},
    {0xA5, "PCI Express"},
    {0xA6, "PCI Express x1"},
    {0xA7, "PCI Express x2"},
    {0xA8, "PCI Express x4"},
    {0xA9, "PCI Express x8"},
    {0xAA, "PCI Express x16"},
    {0xAB, "PCI Express 2"},
    {0xAC, "PCI Express 2 x1"},
    {0xAD, "PCI Express 2 x2"},
    {0xAE, "PCI Express 2 x4"},
    {0xAF, "PCI Express 2 x8"},
    {0xB0, "PCI Express 2 x16"},
    {0xB1, "PCI Express 3"},
    {0xB2, "PCI Express 3 x1"},
    {0xB3, "PCI Express 3 x2"},
    {0xB4, "PCI Express 3 x4"},
    {0xB5, "PCI Express 3 x8"},
    {0xB6, "PCI Express 3 x16"},
    {0xB8, "PCI Express 4"},
    {0xB9, "PCI Express 4 x1"},
    {0xBA, "PCI Express 4 x2"},
    {0xBB, "PCI Express 4 x4"},
    {0xBC, "PCI Express 4 x8"},
    {0xBD, "PCI Express 4 x16"},
    {0xBE, "PCI Express 5"},
    {0xBF, "PCI Express 5 x1"},
    {0xC0, "PCI Express 5 x2"},
    {0xC1, "PCI Express 5 x4"},
    {0xC2, "PCI Express 5 x8"},
    {0xC3, "PCI Express 5 x16"},
    {0xC4, "PCI Express 6+"},
    {0xC5, "EDSFF E1"},
    {0xC6, "EDSFF E3"},
};

inline constexpr CodeName kSlotWidths[] = {
    {0x01, "Other"},   {0x02, "Unknown"},  {0x03, "8 bits"}, {0x04, "16 bits"}, {0x05, "32 bits"},
    {0x06, "64 bits"}, {0x07, "128 bits"}, {0x08, "x1"},     {0x09, "x2"},      {0x0A, "x4"},
    {0x0B, "x8"},      {0x0C, "x12"},      {0x0D, "x16"},    {0x0E, "x32"},
};

inline constexpr CodeName kSlotUsages[] = {
    {0x01, "Other"},  {0x02, "Unknown"},     {0x03, "Available"},
    {0x04, "In use"}, {0x05, "Unavailable"},
};

inline constexpr CodeName kSlotLengths[] = {
    {0x01, "Other"}, {0x02, "Unknown"},     {0x03, "Short"},
    {0x04, "Long"},  {0x05, "2.5\" drive"}, {0x06, "3.5\" drive"},
};

inline constexpr CodeName kProcessorTypes[] = {
    {0x01, "Other"},          {0x02, "Unknown"},       {0x03, "Central processor"},
    {0x04, "Math processor"}, {0x05, "DSP processor"}, {0x06, "Video processor"},
};

inline constexpr CodeName kWakeUpTypes[] = {
    {0x01, "Other"},      {0x02, "Unknown"},      {0x03, "APM timer"}, {0x04, "Modem ring"},
    {0x05, "LAN remote"}, {0x06, "Power switch"}, {0x07, "PCI PME#"},  {0x08, "AC power restored"},
};

inline constexpr CodeName kArrayLocations[] = {
    {0x01, "Other"},
    {0x02, "Unknown"},
    {0x03, "System board"},
    {0x04, "ISA add-on card"},
    {0x05, "EISA add-on card"},
    {0x06, "PCI add-on card"},
    {0x07, "MCA add-on card"},
    {0x08, "PCMCIA add-on card"},
    {0x09, "Proprietary add-on card"},
    {0x0A, "NuBus"},
};

inline constexpr CodeName kArrayUses[] = {
    {0x01, "Other"},        {0x02, "Unknown"},      {0x03, "System memory"},
    {0x04, "Video memory"}, {0x05, "Flash memory"}, {0x06, "Non-volatile memory"},
    {0x07, "Cache memory"},
};

inline constexpr CodeName kErrorCorrections[] = {
    {0x01, "Other"},          {0x02, "Unknown"},       {0x03, "None"}, {0x04, "Parity"},
    {0x05, "Single-bit ECC"}, {0x06, "Multi-bit ECC"}, {0x07, "CRC"},
};

// The code is the number of a bit.
inline constexpr CodeName kMemoryDetails[] = {
    {0x01, "Other"},         {0x02, "Unknown"},      {0x03, "Fast-paged"},  {0x04, "Static column"},
    {0x05, "Pseudo-static"}, {0x06, "Rambus"},       {0x07, "Synchronous"}, {0x08, "CMOS"},
    {0x09, "EDO"},           {0x0A, "Window DRAM"},  {0x0B, "Cache DRAM"},  {0x0C, "Non-volatile"},
    {0x0D, "Registered"},    {0x0E, "Unregistered"}, {0x0F, "LRDIMM"},
};

inline constexpr CodeName kModuleTypes[] = {
    {0x00, "Other"}, {0x01, "Unknown"},   {0x02, "Standard"}, {0x03, "Fast page mode"},
    {0x04, "EDO"},   {0x05, "Parity"},    {0x06, "ECC"},      {0x07, "SIMM"},
    {0x08, "DIMM"},  {0x09, "Burst EDO"}, {0x0A, "SDRAM"},
};

inline constexpr CodeName kPasswordStates[] = {
    {0x00, "Disabled"},
    {0x01, "Enabled"},
    {0x02, "Not implemented"},
    {0x03, "Unknown"},
};

}  // namespace invscan::agent
