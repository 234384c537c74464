// The machine's identity (manufacturer, product, serial number, version, machine type), straight
// from firmware memory: the entry point of the SMBIOS tables is searched for and the System
// Information structure (type 1) read.
//
// The class smbiosinfo and the function SMBIOS_GetSystemInfo() each search on their own and accept
// different things, as SMBIOSTable (smbios.h) does again; hosts know each for what it finds:
//
//   smbiosinfo                EFI, else "_SM_" on 16 bytes; both checksums; the first type 1
//   SMBIOS_GetSystemInfo()    "_DMI_" on 16 bytes with its own checksum; the last type 1
//   SMBIOSTable               "_DMI_" on any byte, no checksum; the first type 1. From native
//                             sources, the kernel's tables first (smbios.h)
//
// Firmware memory is bytes from outside: whatever it holds, no search or walk leaves what was read.
// Nothing here throws or locks. Reading it takes root on the live machine (physmem.h).
#pragma once

#include <string>
#include <vector>

#include <invscan/base/String.h>
#include <invscan/export.h>

// The 32-bit entry point as it stands in memory, little-endian.
struct __attribute__((packed)) smbios_table_entry_point {
  char anchor[4];  // "_SM_"
  unsigned char checksum;
  unsigned char length;  // bytes that the checksum covers
  unsigned char majorVersion;
  unsigned char minorVersion;
  unsigned short maximumStructureSize;
  unsigned char revision;
  unsigned char formattedArea[5];
  char intermediateAnchor[5];  // "_DMI_"
  unsigned char intermediateChecksum;
  unsigned short tableLength;
  unsigned int tableAddress;
  unsigned short numberOfStructures;
  unsigned char bcdRevision;
  unsigned char reserved;
};
static_assert(sizeof(smbios_table_entry_point) == 32);

// The System Information structure.
struct smbios_sysinfo_table_entry {
  unsigned char type;
  unsigned char length;
  unsigned short handle;
  // Numbers of strings, from 1; 0 means that there is none.
  unsigned char manufacturer;
  unsigned char product;
  unsigned char version;
  unsigned char serial;
  // There are as many as the largest of the four numbers; those that the structure does not have
  // are empty.
  std::vector<std::string> strings;
};

// Finds the first type-1 structure in the tableLength bytes at table, among as many structures as
// the entry point announces. Returns the number of strings; 0 when there is none or no such
// structure, and then out is unchanged or without strings.
INVSCAN_EXPORT int find_entry(const unsigned char* table, const smbios_table_entry_point* ep,
                              smbios_sysinfo_table_entry* out);

// The identity, found when it is constructed. Without a valid entry point and a readable table the
// fields are empty. With them, what type 1 does not name has a default: the manufacturer "Linux",
// the product a copy of the manufacturer, the others are empty. What the shared table (smbios.h)
// has in its own type 1 goes before all of this. No field has blanks around it but a machine type
// that was taken out of the product.
//
// A 64-bit entry point that EFI names is read as if it were a 32-bit one, and fails by its
// checksum unless chance helps: hosts know such machines by the defaults that this leaves.
class INVSCAN_EXPORT smbiosinfo {
 public:
  smbiosinfo();
  virtual ~smbiosinfo();

  String serialNumber;
  String manufacturer;
  // Machine type: from the product text of manufacturers whose texts have one, else the version.
  String type;
  String product;  // the model
  String version;  // from the shared table only

 private:
  void getSmbiosInfo();
  void takeStrings(const smbios_sysinfo_table_entry& entry);
  void takeSharedTable();
};

// What find_SMBIOS() found.
struct smbios_scan_state {
  unsigned char majorVersion;  // from "_SM_"; 0 when only "_DMI_" is there
  unsigned char minorVersion;
  unsigned char bcdMajorVersion;  // from "_DMI_"
  unsigned char bcdMinorVersion;
  unsigned short tableLength;
  unsigned int tableAddress;
  unsigned char* table;  // a copy of the structure table, for the caller to free()
  unsigned short numberOfStructures;
};

extern "C" {

// A structure, of which the formatted area and the string set are there whole, and its string set.
// A result other than 0 ends the scan.
typedef int (*smbios_scan_callback)(const unsigned char* structure, const char* stringSet,
                                    void* context);

// The identity of the machine's last type-1 structure. Returns 0 with five new texts, empty where
// there is none, each for the caller to free(); -1 when there is no readable table, and then the
// outputs are untouched. type is the machine type, as in smbiosinfo. A null output is left out.
INVSCAN_EXPORT int SMBIOS_GetSystemInfo(char** manufacturer, char** product, char** type,
                                        char** version, char** serial);

// Finds and copies the structure table. Returns 0, or -1 with a state of zeros.
INVSCAN_EXPORT int find_SMBIOS(smbios_scan_state* state);

// Calls back for each whole structure, up to the announced number. Returns 0, or -1 without a
// table.
INVSCAN_EXPORT int scan_SMBIOS(const smbios_scan_state* state, smbios_scan_callback callback,
                               void* context);

// The n-th string of a set, from 1; an empty text when there is none. The set must end with a
// double NUL, as those that scan_SMBIOS() hands out do.
INVSCAN_EXPORT const char* getString_SMBIOS(const char* stringSet, int n);

// Little-endian numbers.
INVSCAN_EXPORT unsigned short getInt16_SMBIOS(const void* p);
INVSCAN_EXPORT unsigned int getInt32_SMBIOS(const void* p);

}  // extern "C"

// Writes the machine type in a product text: the four characters behind the first "[" ("" when no
// four are there), or without a "[" the first four of exactly seven. Any other text leaves type as
// it is. type takes 5 bytes. Returns type.
INVSCAN_EXPORT char* getTypeFromProd(const char* product, char* type);

// Takes "Server 4000 -[7979AC1]-" apart: prefix "Server 4000 ", type "7979", model "AC1". False for
// manufacturers that do not begin with "Korva" and for other texts; the outputs are then untouched.
INVSCAN_EXPORT bool getTypeFromProd_Rackline(const char* manufacturer, const char* product,
                                             std::string& prefix, std::string& type,
                                             std::string& model);
// The same with the type only, which takes 5 bytes. Returns 1 or 0.
INVSCAN_EXPORT int getTypeFromProd_Rackline(const char* manufacturer, const char* product,
                                            char* type);
