// diskscan: the helper that tells disks, partitions and host adapters.
#include <cstdio>
#include <exception>
#include <string>

#include <invscan/helper.h>
#include <invscan/machine.h>
#include <invscan/vartree.h>

#include "helpers/diskscan/DiskScan.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

constexpr char kHelp[] =
    "Usage: diskscan [--machine DIR]\n"
    "\n"
    "Prints the disks, partitions and host adapters of this machine, or of a capture, as the tree\n"
    "that libinvscan reads. Opens no device and needs no privileges.\n";

int refuse(const std::string& message) {
  fprintf(stderr, "diskscan: %s\n", message.c_str());
  return kWrongUsage;
}

// Readers go by the response, but a shell may go by the status.
int answer() {
  int status = 0;
  try {
    const auto tree = invscan::diskscan::scanDisks();
    vtDumpResponse(0, "OK");
    vtDumpNode(tree.get(), 0);
  } catch (const std::exception& error) {
    vtDumpResponse(kFailed, error.what());
    status = kFailed;
  }
  return fflush(stdout) == 0 && !ferror(stdout) ? status : kFailed;
}

int run(int argc, char** argv) {
  const std::string option = argc > 1 ? argv[1] : "";
  std::string error;
  if (argc == 1) return answer();
  if (argc == 2 && option == "--help") {
    return fputs(kHelp, stdout) < 0 || fflush(stdout) != 0 ? kFailed : 0;
  }
  if (argc != 3 || option != "--machine") return refuse("wrong arguments; try \"diskscan --help\"");
  if (!invscan::replayMachine(argv[2], error)) return refuse(error);
  return answer();
}

}  // namespace

int main(int argc, char** argv) {
  return run(argc, argv);
}
