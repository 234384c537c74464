// The helper program that tells of processors, hypervisor and system: docs/helpers.md.
#include <unistd.h>

#include <optional>
#include <string_view>

#include <invscan/base/OrvCfg.h>

#include "helpers/Program.h"
#include "helpers/cpuid/CpuidTree.h"
#include "helpers/cpuid/LeafTrace.h"

using namespace invscan::cpuid;

namespace {

Leaves leavesWithTrace(std::optional<LeafTrace>& trace) {
  if (!trace) return Leaves();
  return Leaves([&trace](std::string_view line) { trace->write(line); });
}

const VtNode* scan(bool isTraced) {
  OrvCfg::setKey("hwscanner.sources", "native");
  std::optional<LeafTrace> trace;
  if (isTraced) trace.emplace(STDERR_FILENO);
  static const VtNode* const answer = makeAnswer(leavesWithTrace(trace));
  return answer->children;
}

}  // namespace

int main(int count, char** arguments) {
  return invscan::Program(
             "cpuid",
             "Prints what processors, hypervisor and system there are, for libinvscan to read.\n",
             scan, {"-d", "write the CPUID leaves that were asked for to standard error"})
      .run(count, arguments);
}
