#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

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

// Output that a host was given by another of its processes.
struct GivenOutput {
  const Machine* machine;
  std::string text;
  Access how;
};

struct Helper {
  const char* name;
  HelperOutput (*run)();
  KeptAnswers kept;
  std::atomic<const GivenOutput*> given;
};

HelperOutput runCpuid() {
  const std::string directory = OrvCfg::getKey("common_trace_path").toNarrow();
  if (!canListDirectory(directory)) return machine().runHelper("cpuid", nullptr, nullptr);
  const std::string trace = directory + "/traceORV_cpuid.log";
  return machine().runHelper("cpuid", "-d", trace.c_str());
}

HelperOutput runDiskScan() {
  return machine().runHelper("diskscan", nullptr, nullptr);
}

Helper cpuidHelper{"cpuid", runCpuid, {}, {}};
Helper diskScanHelper{"diskscan", runDiskScan, {}, {}};

Helper* findHelper(const std::string& name) {
  for (Helper* const helper : {&cpuidHelper, &diskScanHelper}) {
    if (helper->name == name) return helper;
  }
  return nullptr;
}

VtExecInfo* takeAnswer(Helper& helper, const Machine* asked) {
  const std::unique_ptr<const GivenOutput> given(helper.given.exchange(nullptr));
  if (given && given->machine == asked) {
    noteAccess(given->how.source, given->how.outcome, given->how.milliseconds);
    return readAnswer(given->text);
  }
  const HelperOutput output = helper.run();
  return output.started ? readAnswer(output.text) : nullptr;
}

VtExecInfo* askOnce(Helper& helper, const Trace& trace) {
  const Machine* asked = &machine();
  if (VtExecInfo* known = find(helper.kept, asked)) return known;
  VtExecInfo* info = takeAnswer(helper, asked);
  if (info) {
    trace.at().max("[I] VT command executed, rc=%d", info->result);
    keep(helper.kept, asked, info);
  } else {
    trace.at().min("[E] %s", "Could not execute VT command!");
  }
  return info;
}

}  // namespace

std::string askHelper(const std::string& name) {
  const Helper* const helper = findHelper(name);
  return helper ? helper->run().text : std::string();
}

void giveHelperOutput(const std::string& name, std::string output, const Access& how) {
  Helper* const helper = findHelper(name);
  if (!helper) return;
  delete helper->given.exchange(new GivenOutput{&machine(), std::move(output), how});
}

}  // namespace invscan

VtExecInfo* vtExecCommand(const char* command, const char* arguments, const char* tracePath) {
  const invscan::HelperOutput output =
      invscan::machine().runHelper(command ? command : "", arguments, tracePath);
  if (!output.started) return nullptr;
  return invscan::readAnswer(output.text);
}

VtExecInfo* getCpuidVT() {
  const invscan::Trace trace(getCcLogHw(), "getCpuidVT()");
  return invscan::askOnce(invscan::cpuidHelper, trace);
}

VtExecInfo* getDiskScanVT() {
  const invscan::Trace trace(getCcLogHw(), "getDiskScanVT()");
  return invscan::askOnce(invscan::diskScanHelper, trace);
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
