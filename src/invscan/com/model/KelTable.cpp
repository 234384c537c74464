#include <invscan/table.h>

#include <cstdio>

#include "invscan/com/model/DestroyedField.h"
#include "invscan/com/model/NodeList.h"
#include "invscan/machine/Machine.h"

struct KelTable::Node {
  KelTableRow* item;
  Node* next;
};

KelTable::KelTable(unsigned long id, unsigned long version) : KelTable(GROUPS_DEF, id, version) {
}

KelTable::KelTable(const kelGroupDef* definitions, unsigned long id, unsigned long version)
    : version_(version), id_(id), definitions_(definitions), timeStamp_(createTimeStap()) {
}

KelTable::~KelTable() {
  invscan::deleteNodes(head_);
  invscan::clearDestroyed(rowCount_);
  invscan::clearDestroyed(head_);
  invscan::clearDestroyed(tail_);
}

int KelTable::addRow(KelTableRow* row) {
  if (!row) return 0;
  invscan::appendNode(head_, tail_, row);
  ++rowCount_;
  return 1;
}

int KelTable::reset() {
  cursor_ = nullptr;
  return 1;
}

KelTableRow* KelTable::getNext() {
  return invscan::nextItem(head_, cursor_);
}

unsigned long KelTable::getRowCount() const {
  return rowCount_;
}

unsigned long KelTable::getGroupId() const {
  return id_;
}

unsigned long KelTable::getGroupVersion() const {
  return version_;
}

time_t KelTable::getTimeStamp() const {
  return timeStamp_;
}

const char* KelTable::getGroupName() const {
  const kelGroupDef* group = getGroupDefinitionFromId();
  return group ? group->name : "Unknown";
}

const kelGroupDef* KelTable::getGroupDefinitionFromId() const {
  if (!definitions_) return nullptr;
  for (const kelGroupDef* group = definitions_; group->id != kEndOfTable; ++group) {
    if (group->id == id_) return group;
  }
  return nullptr;
}

void KelTable::toString() const {
  std::printf("\n--------Table %s (%08lX) ver=%lu", getGroupName(), id_, version_);
  std::printf("\nRows=%lu", rowCount_);
  for (const Node* node = head_; node; node = node->next) node->item->toString();
}

time_t KelTable::createTimeStap() {
  return invscan::machine().currentTime();
}
