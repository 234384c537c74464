// The singly linked lists in rows and tables. The layout of both classes is fixed, so the list is a
// set of functions over their fields. A Node holds `item` and `next`.
#pragma once

#include <utility>

namespace invscan {

template <class Node, class Item>
void appendNode(Node*& head, Node*& tail, Item* item) {
  Node* const node = new Node{item, nullptr};
  (tail ? tail->next : head) = node;
  tail = node;
}

// Moves the cursor to the next node, or the first when it is clear, and returns its item. At the
// end it returns null and the cursor stays.
template <class Node>
auto nextItem(Node* head, Node*& cursor) -> decltype(head->item) {
  Node* const next = cursor ? cursor->next : head;
  if (!next) return nullptr;
  cursor = next;
  return next->item;
}

template <class Node>
void deleteNodes(Node* node) {
  while (node) {
    delete node->item;
    delete std::exchange(node, node->next);
  }
}

}  // namespace invscan
