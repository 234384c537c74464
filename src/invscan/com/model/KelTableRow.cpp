#include <invscan/table.h>

#include <cstdio>

#include "invscan/com/model/DestroyedField.h"
#include "invscan/com/model/NodeList.h"

struct KelTableRow::Node {
  KelTableAttrib* item;
  Node* next;
};

KelTableRow::KelTableRow() = default;

KelTableRow::~KelTableRow() {
  invscan::deleteNodes(head_);
  invscan::clearDestroyed(count_);
  invscan::clearDestroyed(head_);
  invscan::clearDestroyed(tail_);
}

int KelTableRow::addAttrib(KelTableAttrib* attrib) {
  invscan::appendNode(head_, tail_, attrib);
  ++count_;
  return 1;
}

unsigned long KelTableRow::getNumAttribs() const {
  return count_;
}

int KelTableRow::reset() {
  cursor_ = nullptr;
  return 1;
}

KelTableAttrib* KelTableRow::getNext() {
  return invscan::nextItem(head_, cursor_);
}

void KelTableRow::toString() const {
  std::printf("\n\t Attribs=%lu", count_);
  for (const Node* node = head_; node; node = node->next) {
    if (node->item) node->item->toString();
  }
}
