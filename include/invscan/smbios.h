// The firmware's SMBIOS structure table: one copy of it, a record object per kept structure, and
// the values that several collectors derive from them.
//
// Firmware tables are bytes from outside. Whatever they hold, no reader leaves the table's buffer:
// beyond its end, and beyond the formatted length that a structure states for itself, a number
// reads 0 and a text none. Nothing here throws or fails loudly, except readBytesFromFile().
//
// By default a table is read as hosts know it from this library, oddities included; they are told
// at their functions. With hwscanner.sources = native in the store the shared table comes from
// /sys/firmware/dmi/tables where the kernel has it, and is read by the letter of the standard
// instead: a native table, as decodeFirmwareTables() and decodeStructures() make too. Tables that
// hosts make themselves, of a buffer or a dump file, are never native.
//
// Texts that are returned as char* belong to the record, which belongs to its table, unless a
// function says otherwise. Records are read-only once parsed and may be read from several threads,
// except getUUIDAsString().
#pragma once

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include <invscan/export.h>

class SMBIOSTable;

namespace invscan {
class TableParser;
class TableReader;
class TableView;
}  // namespace invscan

// Reads little-endian values from memory of which the caller knows that it is there: without a
// length these functions cannot tell. The library reads firmware through bounded views only.
class INVSCAN_EXPORT IntelByteBuffer {
 public:
  static unsigned char readUCHAR(const unsigned char* buffer, int offset);
  static unsigned short readUSHORT(const unsigned char* buffer, int offset);
  static unsigned int readULONG(const unsigned char* buffer, int offset);
  // Copies the text at the offset with its NUL.
  static void readASCIIZ(const unsigned char* buffer, int offset, char* out);
  // The length of a text, its NUL included.
  static int getASCIIZLength(const char* text);
  // Copies n bytes; none when n is negative.
  static void readCHARArray(const unsigned char* buffer, int offset, char* out, int n);
};

// Base of all records: the structure's formatted area, and its texts.
class INVSCAN_EXPORT SMBIOSTableData {
 public:
  // The revision is the table's version word, major * 256 + minor: the version gates go by it.
  explicit SMBIOSTableData(int revision);
  virtual ~SMBIOSTableData();
  SMBIOSTableData(const SMBIOSTableData&) = delete;
  SMBIOSTableData& operator=(const SMBIOSTableData&) = delete;

  // Takes in the structure at the offset and returns the offset behind it: here behind the
  // formatted area, in classes with texts behind those. The table calls this with its own data,
  // whose end the record then knows. Called with other data, it trusts that a whole structure is
  // there, texts and their double NUL included.
  virtual int readBlock(unsigned char* data, int offset);

  // Copies the texts of the string set at that offset into places 1, 2, 3 ... An empty set gives
  // one empty text. Texts beyond the fifteenth are counted in the length, but dropped.
  void getStrings(unsigned char* data, int at);

  // The n-th text, counted from 1; null when there is none.
  char* stringFromIndex(int n) const;

  // Copies `in`, which takes strlen + 1 bytes, with a "." for every byte that is not printable
  // ASCII. Returns out; null when in is null.
  static char* removeInvalidChars(char* out, char* in);

  bool hasData() const { return hasData_; }
  int getRevision() const { return revision_; }

  // Prints the record to standard output, one line per field.
  virtual void dump() const;

 protected:
  // Whether the formatted area has that many bytes at that offset.
  bool holds(int at, int count) const;
  // Fields, by their offset in the structure.
  unsigned char byte(int at) const;
  unsigned short word(int at) const;
  unsigned int dword(int at) const;
  unsigned long long qword(int at) const;
  char* text(int at) const { return stringFromIndex(byte(at)); }  // by its number

  // Whether the table is of version 2.minor or later. Major and minor number are compared each on
  // its own, so that 3.0 is not "since 2.1": otherwise machines would change their identity for
  // hosts that know them without the fields behind the gates. Native tables compare versions.
  bool isSince2(unsigned minor) const;
  bool isNative() const;

  // The length of the string set, its closing NUL included.
  int stringsLength() const { return stringsLength_; }
  // The bytes at data, as far as they are known to be there.
  invscan::TableView view(const unsigned char* data) const;

 private:
  friend class invscan::TableParser;

  int type_ = 0;
  int revision_;
  int length_ = 0;  // of the formatted area, as the structure states it
  int stringsLength_ = 0;
  bool hasData_ = false;
  std::unique_ptr<char[]> texts_;  // one behind the other
  int textCount_ = 0;
  std::vector<unsigned char> fields_;   // the formatted area, as far as it is there
  const SMBIOSTable* table_ = nullptr;  // that the record belongs to
};

// Base of the records whose structures carry texts.
class INVSCAN_EXPORT SMBIOSTextData : public SMBIOSTableData {
 public:
  using SMBIOSTableData::SMBIOSTableData;
  int readBlock(unsigned char* data, int offset) override;
};

// BIOS Information.
class INVSCAN_EXPORT SMBIOSTable0Data : public SMBIOSTextData {
 public:
  using SMBIOSTextData::SMBIOSTextData;
  void dump() const override;

  char* getVendor() const { return text(4); }
  char* getVersion() const { return text(5); }
  unsigned short getStartAddrSeg() const { return word(6); }
  char* getReleaseDate() const { return text(8); }
  // The date with its parts in the order year, month, day: MM/DD/YY and MM/DD/YYYY are understood,
  // with any separator; of two-digit years those of the tens digit 0 are in the century from 2000.
  // Nothing is checked against the calendar, and a text of another length comes back as it is, cut
  // at its first blank and after 15 bytes. The caller frees it with free(); null without a date.
  char* getReleaseDateAsYYYYMMDD() const;
  // That date's midnight in local time, what is no digit counting as 0; 0 without a date.
  time_t getReleaseDateAsTimeT() const;
  // In native tables 0xFF sends to the extended size.
  unsigned int getROMSizeKB() const;
  // The low 32 of 64 flags, and the high ones: the names are swapped, and the flags that hosts test
  // in either would mean something else if they were not.
  unsigned int getCharacteristicsHigh() const { return dword(10); }
  unsigned int getCharacteristicsLow() const { return dword(14); }
  unsigned char getExtensionByte1() const { return byte(18); }

  bool isISASupported() const { return flag(4); }
  bool isMCASupported() const { return flag(5); }
  bool isEISASupported() const { return flag(6); }
  bool isPCISupported() const { return flag(7); }
  bool isPCMCIASupported() const { return flag(8); }
  bool isPnPSupported() const { return flag(9); }
  bool isAPMSupported() const { return flag(10); }
  bool isFlashableBIOS() const { return flag(11); }
  bool isBIOSShadowing() const { return flag(12); }
  bool isVLVESASupported() const { return flag(13); }
  bool isESCDSupported() const { return flag(14); }
  bool isCDBootSupported() const { return flag(15); }
  bool isSelectableBoot() const { return flag(16); }
  bool isBIOSROMSocketed() const { return flag(17); }
  bool isPCCardBootable() const { return flag(18); }
  bool isEnhancedDiskDrive() const { return flag(19); }

  bool isACPISupported() const { return extension(0); }
  bool isUSBLegacySupported() const { return extension(1); }
  bool isAGPSupported() const { return extension(2); }
  bool isI2OBootSupported() const { return extension(3); }
  bool isLS120BootSupported() const { return extension(4); }
  bool isATAPIZipBootSupported() const { return extension(5); }
  bool is1394BootSupported() const { return extension(6); }
  bool isSmartBatteryBIOS() const { return extension(7); }

 private:
  bool flag(int n) const { return (getCharacteristicsHigh() >> n & 1) != 0; }
  bool extension(int n) const { return (getExtensionByte1() >> n & 1) != 0; }
};

// System Information.
class INVSCAN_EXPORT SMBIOSTable1Data : public SMBIOSTextData {
 public:
  using SMBIOSTextData::SMBIOSTextData;
  void dump() const override;

  char* getManufacturer() const { return text(4); }
  char* getProduct() const { return text(5); }
  char* getVersion() const { return text(6); }
  char* getSerialNumber() const { return text(7); }
  // The first three groups count as little-endian (in native tables since version 2.6 only). Null
  // before version 2.1, outside native tables also in a version such as 3.0 whose minor number is
  // 0 (machines that hosts know without a UUID would get another identity), and for a UUID of
  // zeros. The text stands in one buffer that all calls share: copy it before the next one; not for
  // two threads at once.
  char* getUUIDAsString() const;
  unsigned char getWakeUpType() const { return isSince2(1) ? byte(24) : 0; }
  char* getSKUNumber() const { return isSince2(4) ? text(25) : nullptr; }
  char* getFamily() const { return isSince2(4) ? text(26) : nullptr; }
};

// Base Board.
class INVSCAN_EXPORT SMBIOSTable2Data : public SMBIOSTextData {
 public:
  using SMBIOSTextData::SMBIOSTextData;
  void dump() const override;

  char* getManufacturer() const { return text(4); }
  char* getProduct() const { return text(5); }
  char* getVersion() const { return text(6); }
  char* getSerialNumber() const { return text(7); }
};

// System Enclosure.
class INVSCAN_EXPORT SMBIOSTable3Data : public SMBIOSTextData {
 public:
  using SMBIOSTextData::SMBIOSTextData;
  int readBlock(unsigned char* data, int offset) override;
  void dump() const override;

  char* getManufacturer() const { return text(4); }
  unsigned char getType() const { return byte(5); }  // bit 7: there is a lock
  char* getVersion() const { return text(6); }
  char* getSerialNumber() const { return text(7); }
  char* getAssetTag() const { return text(8); }
};

// Processor Information.
class INVSCAN_EXPORT SMBIOSTable4Data : public SMBIOSTextData {
 public:
  using SMBIOSTextData::SMBIOSTextData;
  void dump() const override;

  char* getSocket() const { return text(4); }
  unsigned char getType() const { return byte(5); }  // 3 is a central processor
  unsigned char getFamily() const { return byte(6); }
  // The field of 16 bits where the byte says that it stands there.
  unsigned int getWholeFamily() const { return getFamily() == 0xFE ? word(40) : getFamily(); }
  char* getManufacturer() const { return text(7); }
  unsigned int getEAX() const { return dword(8); }  // of the CPUID signature
  unsigned int getCPUIDStepping() const { return getEAX() & 0xF; }
  unsigned int getCPUIDModel() const { return getEAX() >> 4 & 0xF; }   // without the extended one
  unsigned int getCPUIDFamily() const { return getEAX() >> 8 & 0xF; }  // without the extended one
  unsigned int getEDX() const { return dword(12); }
  char* getVersion() const { return text(16); }
  unsigned char getVoltage() const { return byte(17); }
  double getVoltageInVolts() const;  // 0 when the firmware does not tell
  // Clock and speeds are in MHz.
  unsigned short getExternalClock() const { return word(18); }
  unsigned short getMaxSpeed() const { return word(20); }
  unsigned short getCurrentSpeed() const { return word(22); }
  unsigned char getStatus() const { return byte(24); }
  bool isPopulated() const { return (getStatus() & 0x40) != 0; }
  unsigned char getUpgrade() const { return byte(25); }
  char* getSerialNumber() const { return isSince2(3) ? text(32) : nullptr; }
  char* getAssetTag() const { return isSince2(3) ? text(33) : nullptr; }
  // They count the package's; 0 when the firmware does not tell. In native tables 0xFF sends to the
  // field for larger numbers.
  unsigned short getCoreCount() const { return count(35, 42); }
  unsigned short getThreadCount() const { return count(37, 46); }

 private:
  unsigned short count(int at, int larger) const {
    if (!isSince2(5)) return 0;
    return isNative() && byte(at) == 0xFF && holds(larger, 2) ? word(larger) : byte(at);
  }
};

// Memory Controller, of old firmware.
class INVSCAN_EXPORT SMBIOSTable5Data : public SMBIOSTableData {
 public:
  using SMBIOSTableData::SMBIOSTableData;
  // Takes no texts, but every NUL behind the structure, also one that is the type byte of the next
  // (a type 0): hosts know such machines by what is read from there on. Native tables step over
  // every structure by the standard. In data that is not the table's own, a byte that is not NUL
  // must follow.
  int readBlock(unsigned char* data, int offset) override;
  void dump() const override;

  unsigned char getErrorDetectingMethod() const { return byte(4); }
  unsigned char getErrorCorrectingCapability() const { return byte(5); }
  unsigned char getSupportedInterleave() const { return byte(6); }
  unsigned char getCurrentInterleave() const { return byte(7); }
  unsigned char getMaximumMemoryModuleSize() const { return byte(8); }  // 2 to that power, in MB
  unsigned short getSupportedSpeeds() const { return word(9); }
  unsigned short getSupportedMemoryTypes() const { return word(11); }
  unsigned char getMemoryModuleVoltage() const { return byte(13); }
  unsigned char getNumAssocMemorySlots() const { return byte(14); }
};

// Memory Module, of old firmware.
class INVSCAN_EXPORT SMBIOSTable6Data : public SMBIOSTextData {
 public:
  using SMBIOSTextData::SMBIOSTextData;
  void dump() const override;

  char* getSocketDesignation() const { return text(4); }
  unsigned char getBankConnections() const { return byte(5); }
  unsigned char getCurrentSpeed() const { return byte(6); }
  unsigned short getMemoryType() const { return word(7); }
  unsigned char getInstalledSize() const { return byte(9); }
  unsigned char getEnabledSize() const { return byte(10); }
  unsigned char getErrorStatus() const { return byte(11); }
  // 0xFFFFFFFF when not known, not installed or not enabled; 0 for powers beyond 32 bits.
  unsigned int getInstalledSizeMB() const;
  unsigned int getEnabledSizeMB() const;
};

// Port Connector.
class INVSCAN_EXPORT SMBIOSTable8Data : public SMBIOSTextData {
 public:
  using SMBIOSTextData::SMBIOSTextData;
  void dump() const override;

  char* getInternalDesignator() const { return text(4); }
  unsigned char getInternalConnectorType() const { return byte(5); }
  char* getExternalDesignator() const { return text(6); }
  unsigned char getExternalConnectorType() const { return byte(7); }
  unsigned char getPortType() const { return byte(8); }
};

// System Slot.
class INVSCAN_EXPORT SMBIOSTable9Data : public SMBIOSTextData {
 public:
  using SMBIOSTextData::SMBIOSTextData;
  void dump() const override;

  char* getSlotDesignation() const { return text(4); }
  unsigned char getSlotType() const { return byte(5); }
  unsigned char getSlotDataBusWidth() const { return byte(6); }
  unsigned char getCurrentUsage() const { return byte(7); }
  unsigned char getSlotLength() const { return byte(8); }
  unsigned short getSlotID() const { return word(9); }
  unsigned char getSlotCharacteristics1() const { return byte(11); }
  unsigned char getSlotCharacteristics2() const { return isSince2(1) ? byte(12) : 0; }
};

// On Board Devices: the first of the structure's devices.
class INVSCAN_EXPORT SMBIOSTable10Data : public SMBIOSTextData {
 public:
  using SMBIOSTextData::SMBIOSTextData;
  void dump() const override;

  unsigned char getDeviceType() const { return byte(4); }  // bit 7: enabled
  unsigned char getDeviceTypeActual() const { return getDeviceType() & 0x7F; }
  char* getDescription() const { return text(5); }
};

// OEM Strings. No table keeps these structures; a host may read one itself.
class INVSCAN_EXPORT SMBIOSTable11Data : public SMBIOSTextData {
 public:
  using SMBIOSTextData::SMBIOSTextData;
  void dump() const override;

  unsigned char getCount() const { return byte(4); }
  char* getString(int n) const { return stringFromIndex(n); }
};

// Physical Memory Array.
class INVSCAN_EXPORT SMBIOSTable16Data : public SMBIOSTableData {
 public:
  using SMBIOSTableData::SMBIOSTableData;
  // Does as SMBIOSTable5Data does, one byte further on.
  int readBlock(unsigned char* data, int offset) override;
  void dump() const override;

  unsigned char getLocation() const { return byte(4); }
  unsigned char getUse() const { return byte(5); }  // 3 is system memory
  unsigned char getErrorCorrection() const { return byte(6); }
  // Both are in KB. In native tables 0x80000000 sends to the extended capacity, of which the first
  // function gives the nearest that 32 bits hold.
  unsigned int getMaxCapacity() const;
  unsigned long long getWholeCapacity() const;
  unsigned short getErrorInformationHandle() const { return word(11); }
  unsigned short getNumMemDevices() const { return word(13); }
};

// Memory Device.
class INVSCAN_EXPORT SMBIOSTable17Data : public SMBIOSTextData {
 public:
  using SMBIOSTextData::SMBIOSTextData;
  void dump() const override;

  unsigned short getMemoryArrayHandle() const { return word(4); }
  unsigned short getMemoryErrorHandle() const { return word(6); }
  unsigned short getTotalWidth() const { return word(8); }
  unsigned short getDataWidth() const { return word(10); }
  unsigned short getSize() const { return word(12); }
  // 0 when not known or empty. In native tables 0x7FFF sends to the extended size, of which this is
  // the nearest that 32 bits hold.
  unsigned int getSizeKB() const;
  unsigned char getFormFactor() const { return byte(14); }
  unsigned char getDeviceSet() const { return byte(15); }
  char* getDeviceLocator() const { return text(16); }
  char* getBankLocator() const { return text(17); }
  unsigned char getMemoryType() const { return byte(18); }
  unsigned short getTypeDetail() const { return word(19); }
  unsigned short getSpeed() const { return isSince2(3) ? word(21) : 0; }
  char* getManufacturer() const { return isSince2(3) ? text(23) : nullptr; }
  char* getSerialNumber() const { return isSince2(3) ? text(24) : nullptr; }
  char* getAssetTag() const { return isSince2(3) ? text(25) : nullptr; }
  char* getPartNumber() const { return isSince2(3) ? text(26) : nullptr; }
};

// Portable Battery.
class INVSCAN_EXPORT SMBIOSTable22Data : public SMBIOSTextData {
 public:
  using SMBIOSTextData::SMBIOSTextData;
  void dump() const override;

  char* getLocation() const { return text(4); }
  char* getManufacturer() const { return text(5); }
  char* getManufactureDate() const { return text(6); }
  char* getSerialNumber() const { return text(7); }
  char* getDeviceName() const { return text(8); }
};

// Hardware Security.
class INVSCAN_EXPORT SMBIOSTable24Data : public SMBIOSTextData {
 public:
  using SMBIOSTextData::SMBIOSTextData;
  void dump() const override;

  unsigned char getHWSecStatus() const { return byte(4); }
};

// One copy of the structure table. It owns its data and its records.
class INVSCAN_EXPORT SMBIOSTable {
 public:
  // Reads the firmware's table: from the kernel in native mode, else, and when that gave nothing,
  // from the first "_DMI_" anchor between 0xF0000 and 0xFFFFF whose table can be read; checksums
  // are not verified. Without privilege nothing can be read, and the table is not available. Does
  // not parse.
  SMBIOSTable();
  // Copies a structure table; a length below 0 or above 1 GiB, or one that there is no memory for,
  // counts as 0. The revision is in BCD (0x23 is 2.3) and stays so in getRevision(): records of
  // such a table take it for a version before 2.0, and no version gate opens: hosts that make
  // tables count on texts and numbers behind the gates to be absent. Does not parse.
  SMBIOSTable(unsigned char* data, int length, unsigned char revision, int numTables);
  // Reads a dump file (readBytesFromFile). Such a table is not "available"; call parseData() for
  // its records.
  explicit SMBIOSTable(char* path);
  ~SMBIOSTable();
  SMBIOSTable(const SMBIOSTable&) = delete;
  SMBIOSTable& operator=(const SMBIOSTable&) = delete;

  // Back to an empty table without records.
  void init();

  bool isAvailable() const { return available_; }
  unsigned int getMajorVersion() const { return majorVersion_; }
  unsigned int getMinorVersion() const { return minorVersion_; }
  unsigned int getRevision() const { return revision_; }
  int getNumTables() const { return numTables_; }
  int getTotalLength() const { return totalLength_; }
  unsigned char* getData() const { return data_.get(); }
  // Whether the table is read by the letter of the standard.
  bool isNative() const { return native_; }

  // Records; null where there is none. Of most types the first structure is kept, of some the first
  // so many: 80 processors, 12 memory modules, 20 of 8, 9 and 10, 1000 memory devices.
  SMBIOSTable0Data* getTable0() const { return slots_.table0; }
  SMBIOSTable1Data* getTable1() const { return slots_.table1; }
  SMBIOSTable2Data* getTable2() const { return slots_.table2; }
  SMBIOSTable3Data* getTable3() const { return slots_.table3; }
  SMBIOSTable4Data* getTable4(int i) const { return slots_.table4.at(i); }
  SMBIOSTable5Data* getTable5() const { return slots_.table5; }
  SMBIOSTable6Data* getTable6(int i) const { return slots_.table6.at(i); }
  SMBIOSTable8Data* getTable8(int i) const { return slots_.table8.at(i); }
  SMBIOSTable9Data* getTable9(int i) const { return slots_.table9.at(i); }
  SMBIOSTable10Data* getTable10(int i) const { return slots_.table10.at(i); }
  // Always null, as no table keeps one: hosts that find none here read the structure themselves.
  SMBIOSTable11Data* getTable11() const { return slots_.table11; }
  SMBIOSTable16Data* getTable16() const { return slots_.table16; }
  SMBIOSTable17Data* getTable17(int i) const { return slots_.table17.at(i); }
  SMBIOSTable24Data* getTable24() const { return slots_.table24; }

  int getTable4Total() const { return slots_.table4.count(); }
  // Central processors that are there.
  int getTable4PopulatedTotal() const { return slots_.populatedProcessors; }
  int getTable6Total() const { return slots_.table6.count(); }
  int getTable8Total() const { return slots_.table8.count(); }
  int getTable9Total() const { return slots_.table9.count(); }
  int getTable10Total() const { return slots_.table10.count(); }
  int getTable17Total() const { return slots_.table17.count(); }

  // The memory arrays of system memory, of which native tables keep up to 1000; empty in others.
  const std::vector<SMBIOSTable16Data*>& getSystemMemoryArrays() const {
    return slots_.systemMemoryArrays;
  }

  // Makes the records. Called again it starts afresh; records from before live as long as the
  // table.
  void parseData();
  // Offset of the structure behind the one at that offset of data, which is as long as the table's.
  // A type 5 is taken to have no string set unless a double NUL follows: hosts that walk a table
  // with this function count its structures so.
  int getNextType(unsigned char* data, int offset) const;
  // Prints header and records to standard output.
  void dump() const;

  // A text form of the table, for diagnosis. Both return 1, or 0 when the file cannot be opened;
  // the version is not in the file, but the revision is. Writing replaces what is there, whole or
  // not at all; it follows no link of another user, or in a directory that all can write to.
  // Reading a file of another format ends the process with status -1 (255): do not offer it files
  // of unknown origin. Lengths below 0 or above 16 MiB count as 0, missing values as 0.
  int readBytesFromFile(char* path);
  int writeBytesToFile(char* path) const;

  // Makes the shared table, and parses it when parse is 1; later calls are only counted. Not for
  // several threads at once. GroupFactory::initialise() calls it.
  static void initializeGlobalTable(unsigned char parse);
  // Takes one call back; after the last one the shared table is deleted.
  static void terminateGlobalTable();

  // Copies value to out, which takes strlen + 1 bytes, without white space around it and cut at the
  // first byte that is not ASCII or a control character. Empty for null and for texts that contain
  // one of bogus_strings. Returns out; null when out is null.
  static char* validateString(char* value, char* out);

 private:
  // Records in the order of the structures, up to the capacity.
  template <class Record, int Capacity>
  struct Container {
    std::vector<Record*> records;
    int count() const { return static_cast<int>(records.size()); }
    Record* at(int i) const {
      return i < 0 || i >= count() ? nullptr : records[static_cast<std::size_t>(i)];
    }
  };

  struct Slots {
    SMBIOSTable0Data* table0 = nullptr;
    SMBIOSTable1Data* table1 = nullptr;
    SMBIOSTable2Data* table2 = nullptr;
    SMBIOSTable3Data* table3 = nullptr;
    Container<SMBIOSTable4Data, 80> table4;
    int populatedProcessors = 0;
    SMBIOSTable5Data* table5 = nullptr;
    Container<SMBIOSTable6Data, 12> table6;
    Container<SMBIOSTable8Data, 20> table8;
    Container<SMBIOSTable9Data, 20> table9;
    Container<SMBIOSTable10Data, 20> table10;
    SMBIOSTable11Data* table11 = nullptr;
    SMBIOSTable16Data* table16 = nullptr;
    Container<SMBIOSTable17Data, 1000> table17;
    SMBIOSTable22Data* table22 = nullptr;
    SMBIOSTable24Data* table24 = nullptr;
    std::vector<SMBIOSTable16Data*> systemMemoryArrays;
  };

  friend class invscan::TableParser;
  friend class invscan::TableReader;

  unsigned int revision_;
  unsigned int majorVersion_;
  unsigned int minorVersion_;
  int totalLength_;
  int numTables_;
  bool available_;
  std::unique_ptr<unsigned char[]> data_;
  Slots slots_;
  bool native_;
  std::vector<std::unique_ptr<SMBIOSTableData>> records_;  // every one ever made
};

// The table that all collectors share; null until the factory was initialised. Ask isAvailable()
// before its records. Changing the machine under scan (machine.h) makes it null again; a table from
// before stays readable for threads that have asked for a group of its machine, until they ask for
// one of another machine or end.
INVSCAN_EXPORT extern SMBIOSTable* globalSMBIOSTable;

// Texts of firmware that nobody filled in; ends with null.
INVSCAN_EXPORT extern const char* const bogus_strings[];

// These are derived from the shared table. Without one, or without the record asked for, they are
// 0.

// Describes the first processor and returns 1 when there is one. Clocks are in MHz; an external
// clock above 2000 and an upgrade above 17 count as 0. edx may be null.
INVSCAN_EXPORT int SM_Processor(unsigned short* currentSpeed, unsigned short* externalClock,
                                unsigned short* upgrade, unsigned int* edx);
INVSCAN_EXPORT unsigned char SM_ProcessorFamily();
INVSCAN_EXPORT int SM_ProcessorCount();
// Central processors that are there.
INVSCAN_EXPORT int SM_PopulatedProcessorCount();

INVSCAN_EXPORT bool isPowerOf2(unsigned int n);

// Size of the largest memory device, in KB.
INVSCAN_EXPORT unsigned int SM_getBiggestMemoryModule_17();
// Size of the largest memory module of old firmware, in MB.
INVSCAN_EXPORT unsigned int SM_getBiggestMemoryModule_6();
// How much memory fits in: the largest module and the number of slots; false when both are 0. A
// native table counts every array of system memory.
INVSCAN_EXPORT bool getMemorySpecs(unsigned int* maxModuleSizeMB, unsigned int* slots);
// Both outputs are 3 and the result 1 without a hardware security record. With one the result is 0
// and the outputs are its byte, sign-extended to 16 bits and shifted right by 6 and by 2, without
// masking: hosts mask what they get, and compare the rest with what they stored.
INVSCAN_EXPORT int SM_HWSecurity(unsigned short* powerOnPassword, unsigned short* keyboardPassword);

// The memory that the kernel manages (sysinfo), in KB, whatever its memory unit.
INVSCAN_EXPORT unsigned long totalPhysMemKB();

namespace invscan {

// The parsed native table of an entry point, 32-bit or 64-bit, and the structure table it belongs
// to, such as the two files in /sys/firmware/dmi/tables or the parts of a binary dump; null when
// the entry point is not valid.
INVSCAN_EXPORT std::unique_ptr<SMBIOSTable> decodeFirmwareTables(const std::string& entryPoint,
                                                                 const std::string& structures);

// The parsed table of structures that stand one behind the other without an entry point, as in a
// text dump. The revision is getRevision() of the table that they were taken from: the version word
// major * 256 + minor, or one byte of BCD. The count is getNumTables(); in a native table 0 means
// all that are there. A table that is not native is read as hosts know it, and so is its revision.
// Beyond 16 MiB there is nothing.
INVSCAN_EXPORT std::unique_ptr<SMBIOSTable> decodeStructures(const std::string& structures,
                                                             unsigned revision, int count,
                                                             bool native);

// The text that writeBytesToFile() writes.
INVSCAN_EXPORT std::string textDump(const SMBIOSTable& table);

}  // namespace invscan
