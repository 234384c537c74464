#include <invscan/group.h>

#include <algorithm>
#include <cstddef>

namespace {

const wchar_t* findAttribute(const AttributeList* attributes, const wchar_t* name) {
  if (!attributes) return nullptr;
  const String wanted(name);
  for (const auto& [attribute, value] : *attributes) {
    if (attribute == wanted) return value.toWide();
  }
  return nullptr;
}

}  // namespace

KelGroup::KelGroup(unsigned long id, unsigned long version) : version_(version), id_(id) {
}

KelGroup::~KelGroup() {
  delete[] extraTables_;
}

KelTable* KelGroup::getTable() {
  return nullptr;
}

KelTable* KelGroup::generateTable() {
  return nullptr;
}

unsigned long KelGroup::getGroupId() const {
  return id_;
}

unsigned long KelGroup::getGroupVersion() const {
  return version_;
}

String KelGroup::getGroupName() const {
  return getGroupNameFromId(id_);
}

void KelGroup::setCpuThreshold(CpuThreshold* threshold) {
  cpuThreshold_ = threshold;
}

void KelGroup::iteration() {
  if (cpuThreshold_) cpuThreshold_->iteration();
}

void KelGroup::addExtraTable(KelTable* table) {
  auto** grown = new KelTable*[static_cast<std::size_t>(extraTableCount_) + 1];
  *std::copy_n(extraTables_, extraTableCount_, grown) = table;
  delete[] extraTables_;
  extraTables_ = grown;
  ++extraTableCount_;
}

int KelGroup::getExtraTableCount() const {
  return extraTableCount_;
}

KelTable* KelGroup::getExtraTable(int index) const {
  return index >= 0 && index < extraTableCount_ ? extraTables_[index] : nullptr;
}

void KelGroup::setMobilityFlag(int flag) {
  mobilityFlag_ = flag;
}

int KelGroup::getMobilityFlag() const {
  return mobilityFlag_;
}

void KelGroup::setGlobalAttrs(const AttributeList* attributes) {
  globalAttributes_ = attributes;
}

void KelGroup::setGroupAttrs(const AttributeList* attributes) {
  groupAttributes_ = attributes;
}

const wchar_t* KelGroup::getGroupAttr(const wchar_t* name) const {
  return findAttribute(groupAttributes_, name);
}

const wchar_t* KelGroup::getGlobalAttr(const wchar_t* name) const {
  return findAttribute(globalAttributes_, name);
}
