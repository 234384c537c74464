// The helper program that tells of disks, partitions and host adapters: docs/helpers.md.
#include "helpers/Program.h"
#include "helpers/diskscan/DiskScan.h"

namespace {

const VtNode* scan(bool) {
  static const auto tree = invscan::diskscan::scanDisks();
  return tree.get();
}

}  // namespace

int main(int count, char** arguments) {
  return invscan::Program(
             "diskscan",
             "Prints the disks, partitions and host adapters of this machine, or of a capture, as\n"
             "the tree that libinvscan reads. Opens no device and needs no privileges.\n",
             scan)
      .run(count, arguments);
}
