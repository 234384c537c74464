#include <atomic>
#include <cstdio>
#include <string>

#include <invscan/base/OrvCfg.h>
#include <invscan/helper.h>

#include "common/vartree/HelperAnswer.h"
#include "common/vartree/Release.h"
#include "common/vartree/TraceFile.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

namespace invscan {
namespace {

// An answer that is kept. None is ever released, as a collection that was abandoned may still be
// reading it; one of another machine is of no use, but machines are never released either.
struct KeptAnswer {
  const Machine* machine;
  VtExecInfo* info;
  const KeptAnswer* before;
};

// Newest first. Two threads may both ask; the later answer is the one that counts then.
using KeptAnswers = std::atomic<const KeptAnswer*>;

VtExecInfo* find(const KeptAnswers& kept, const Machine* asked) {
  const KeptAnswer* answer = kept;
  while (answer && answer->machine != asked) answer = answer->before;
  return answer ? answer->info : nullptr;
}

void keep(KeptAnswers& kept, const Machine* asked, VtExecInfo* info) {
  auto* answer = new KeptAnswer{asked, info, kept};
  while (!kept.compare_exchange_weak(answer->before, answer)) {
  }
}

VtExecInfo* runCpuid() {
  const std::string directory = OrvCfg::getKey("common_trace_path").toNarrow();
  if (!canListDirectory(directory)) return vtExecCommand("cpuid", nullptr, nullptr);
  return vtExecCommand("cpuid", "-d", (directory + "/traceORV_cpuid.log").c_str());
}

VtExecInfo* runDiskScan() {
  return vtExecCommand("diskscan", nullptr, nullptr);
}

VtExecInfo* askOnce(KeptAnswers& kept, VtExecInfo* (*run)(), const Trace& trace) {
  const Machine* asked = &machine();
  if (VtExecInfo* known = find(kept, asked)) return known;
  VtExecInfo* info = run();
  if (info) {
    trace.at().max("[I] VT command executed, rc=%d", info->result);
    keep(kept, asked, info);
  } else {
    trace.at().min("[E] %s", "Could not execute VT command!");
  }
  return info;
}

KeptAnswers cpuidAnswers, diskScanAnswers;

}  // namespace
}  // namespace invscan

VtExecInfo* vtExecCommand(const char* command, const char* arguments, const char* tracePath) {
  const invscan::HelperOutput output =
      invscan::machine().runHelper(command ? command : "", arguments, tracePath);
  if (!output.started) return nullptr;
  return invscan::readAnswer(output.text);
}

VtExecInfo* getCpuidVT() {
  const invscan::Trace trace(getCcLogHw(), "getCpuidVT()");
  return invscan::askOnce(invscan::cpuidAnswers, invscan::runCpuid, trace);
}

VtExecInfo* getDiskScanVT() {
  const invscan::Trace trace(getCcLogHw(), "getDiskScanVT()");
  return invscan::askOnce(invscan::diskScanAnswers, invscan::runDiskScan, trace);
}

int vtExecTest(const char* command) {
  const invscan::Answer info(vtExecCommand(command, nullptr, nullptr));
  if (!info || info->result < 0) {
    std::fprintf(stderr, "*** Fatal: could not execute '%s'\n", command);
    return 1;
  }
  std::printf("Command '%s' executed successfully\n", command);
  std::printf("VT version = %d.%d, result = %d, message = %s\n", info->versionMajor,
              info->versionMinor, info->result, info->message);
  vtDumpNode(info->tree, 0);
  return 0;
}
