// Reading the table that all collectors share.
#pragma once

#include <memory>

#include <invscan/smbios.h>

namespace invscan {

class Machine;

// The shared table when there is one that is available. It lasts as long as this, also when another
// machine becomes current meanwhile: a collection that was abandoned may still be reading it.
class FirmwareInUse {
 public:
  FirmwareInUse();

  explicit operator bool() const { return table_ != nullptr; }
  const SMBIOSTable* operator->() const { return table_; }
  const SMBIOSTable& operator*() const { return *table_; }

 private:
  std::shared_ptr<Machine> machine_;  // whose table it is
  const SMBIOSTable* table_;
};

}  // namespace invscan
