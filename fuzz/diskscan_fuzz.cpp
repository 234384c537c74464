// Forged machines, of which diskscan tells.

#include "ForgedMachine.h"
#include "FuzzTarget.h"
#include "helpers/diskscan/DiskScan.h"

namespace {

using namespace invscan;

// No text ends a line of the dump.
void check(const VtNode* node) {
  for (const VtVariant* value = node->values; value; value = value->next) {
    const std::string_view text = value->kind == kVtString ? value->value.string : "";
    require(std::none_of(text.begin(), text.end(), [](unsigned char byte) { return byte < ' '; }));
  }
  for (const VtNode* child = node->children; child; child = child->next) check(child);
}

}  // namespace

void invscan::tryInput(std::string_view input) {
  const OnMachine machine(forgedMachine(input));
  check(diskscan::scanDisks().get());
}
