// The helper program that tells of processors, hypervisor and system: docs/helpers.md.
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include <invscan/base/OrvCfg.h>
#include <invscan/helper.h>
#include <invscan/machine.h>
#include <invscan/vartree.h>

#include "helpers/cpuid/CpuidTree.h"
#include "helpers/cpuid/LeafTrace.h"

using namespace invscan::cpuid;

namespace {

constexpr char kUsage[] =
    "usage: cpuid [-d] [--machine DIR]\n"
    "\n"
    "Prints what processors, hypervisor and system there are, for libinvscan to read.\n"
    "\n"
    "  -d             write the CPUID leaves that were asked for to standard error\n"
    "  --machine DIR  tell of the machine in a capture\n"
    "  --help         print this\n";

constexpr int kFailed = 1, kWrongUsage = 2;

struct Options {
  bool isTraced = false, isHelp = false;
  const char* machine = nullptr;
  std::string error;
};

Options readOptions(int count, char** arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string word = arguments[i];
    if (word == "-d") {
      options.isTraced = true;
    } else if (word == "--help") {
      options.isHelp = true;
    } else if (word == "--machine" && i + 1 < count) {
      options.machine = arguments[++i];
    } else if (word == "--machine") {
      options.error = "--machine needs a directory";
    } else {
      options.error = "unknown argument " + word + "; see cpuid --help";
    }
  }
  return options;
}

int refuse(const std::string& error) {
  std::fprintf(stderr, "cpuid: %s\n", error.c_str());
  return kWrongUsage;
}

Leaves leavesWithTrace(std::optional<LeafTrace>& trace) {
  if (!trace) return Leaves();
  return Leaves([&trace](std::string_view line) { trace->write(line); });
}

}  // namespace

int main(int count, char** arguments) {
  const Options options = readOptions(count, arguments);
  if (!options.error.empty()) return refuse(options.error);
  if (options.isHelp) return std::fputs(kUsage, stdout) < 0 || std::fflush(stdout) != 0;

  std::signal(SIGPIPE, SIG_IGN);
  OrvCfg::setKey("hwscanner.sources", "native");
  std::string error;
  if (options.machine && !invscan::replayMachine(options.machine, error)) return refuse(error);
  std::optional<LeafTrace> trace;
  if (options.isTraced) trace.emplace(STDERR_FILENO);

  static const VtNode* const answer = makeAnswer(leavesWithTrace(trace));
  vtDumpResponse(0, "OK");
  for (const VtNode* node = answer->children; node; node = node->next) vtDumpNode(node, 0);
  return std::fflush(stdout) == 0 && !std::ferror(stdout) ? 0 : kFailed;
}
