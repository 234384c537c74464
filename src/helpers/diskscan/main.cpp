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

int answer() {
  const auto failure = invscan::diskscan::scanFailure();
  vtDumpResponse(failure ? 1 : 0, failure ? failure->c_str() : "OK");
  vtDumpNode(invscan::diskscan::scanDisks().get(), 0);
  return fflush(stdout) == 0 && !ferror(stdout) ? 0 : kFailed;
}

int run(int argc, char** argv) {
  const std::string option = argc > 1 ? argv[1] : "";
  std::string error;
  if (argc == 1) return answer();
  if (argc == 2 && option == "--help") return fputs(kHelp, stdout) < 0 ? kFailed : 0;
  if (argc != 3 || option != "--machine") return refuse("wrong arguments; try \"diskscan --help\"");
  if (!invscan::replayMachine(argv[2], error)) return refuse(error);
  return answer();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    fprintf(stderr, "diskscan: %s\n", error.what());
    return kFailed;
  }
}
