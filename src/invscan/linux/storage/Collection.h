// The collection of storage devices that runs in this thread.
#pragma once

#include <invscan/table.h>

#include "invscan/linux/storage/StorageDevice.h"

namespace invscan {

// While it lives, gatherers of this thread append to its table, which becomes the newest one.
class StorageCollection {
 public:
  explicit StorageCollection(KelTable& own);
  ~StorageCollection();
  StorageCollection(const StorageCollection&) = delete;
  StorageCollection& operator=(const StorageCollection&) = delete;
};

// The rows that a gatherer adds.
class GatheredRows {
 public:
  explicit GatheredRows(int* index) : index_(index ? *index : own_) {}

  void add(const StorageDevice& device);
  int count() const { return count_; }

 private:
  int own_ = 0;
  int& index_;
  int count_ = 0;
};

}  // namespace invscan
