#include "invscan/linux/storage/Collection.h"

#include <atomic>

#include <invscan/storage.h>

KelTable* storageTable = nullptr;

namespace invscan {
namespace {

constexpr unsigned long kStorage = 5;

thread_local KelTable* collected = nullptr;

KelTable& currentTable() {
  if (collected) return *collected;
  const std::atomic_ref<KelTable*> newest(storageTable);
  if (!newest.load()) newest.store(new KelTable(kStorage, 1));
  return *newest.load();
}

}  // namespace

StorageCollection::StorageCollection(KelTable& own) {
  collected = &own;
  std::atomic_ref<KelTable*>(storageTable).store(&own);
}

StorageCollection::~StorageCollection() {
  collected = nullptr;
}

void GatheredRows::add(const StorageDevice& device) {
  ++index_;
  ++count_;
  addRow(currentTable(), static_cast<unsigned long>(index_), device);
}

}  // namespace invscan
