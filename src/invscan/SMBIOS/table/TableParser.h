// The walk from structure to structure, and the records it makes.
#pragma once

#include <invscan/smbios.h>

#include "invscan/SMBIOS/table/TableView.h"

namespace invscan {

class TableParser {
 public:
  explicit TableParser(SMBIOSTable& table);

  void parse();
  // Structures up to the end-of-table structure, or to the end.
  int countStructures() const;

 private:
  int parseStructure(int offset);
  template <class Record>
  Record* make() const;
  template <class Record>
  int keep(Record*& slot, int offset) const;
  template <class Record, int Capacity>
  int keep(SMBIOSTable::Container<Record, Capacity>& container, int offset) const;
  int keepMemoryArray(int offset) const;
  int behind(int offset) const;

  SMBIOSTable& table_;
  TableView bytes_;
};

}  // namespace invscan
