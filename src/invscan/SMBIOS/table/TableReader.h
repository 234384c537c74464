// Fills a table with the firmware's bytes, from wherever they can be had.
#pragma once

#include <string_view>

#include <invscan/smbios.h>

#include "invscan/SMBIOS/table/DmiTables.h"
#include "invscan/SMBIOS/table/TableView.h"

namespace invscan {

class TableReader {
 public:
  explicit TableReader(SMBIOSTable& table) : table_(table) {}

  // Sets the length, to 0 when it is no table's, and makes room for as many bytes and five more,
  // all zero.
  void allocate(int length);
  // The table of the first anchor in the F0000 segment whose table can be read.
  void readFirmware();
  // What the kernel has, as a native table.
  void take(const DmiTables& tables);
  // Structures from elsewhere, as hosts know them.
  void takeClassic(std::string_view structures, unsigned revision, int count);

 private:
  bool readAnchor(const TableView& segment, int at);
  void copy(std::string_view structures);
  void traceData() const;

  SMBIOSTable& table_;
};

}  // namespace invscan
