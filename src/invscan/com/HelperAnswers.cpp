#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
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

// A helper's answer, and the number of the machine that gave it.
struct KeptAnswer {
  unsigned long machine = 0;
  std::shared_ptr<VtExecInfo> info;
};

// The newest answer. Each thread that got one keeps that alive until it asks of another machine, or
// ends: a collection that was abandoned may still be reading it.
class KeptAnswers {
 public:
  // An empty one when that machine was not asked.
  KeptAnswer find(unsigned long machine) {
    const std::lock_guard lock(mutex_);
    return newest_.machine == machine ? newest_ : KeptAnswer();
  }

  // Two threads may both ask; the first answer counts, and is returned.
  KeptAnswer keep(const KeptAnswer& answer) {
    const std::lock_guard lock(mutex_);
    if (newest_.machine < answer.machine) newest_ = answer;
    return newest_.machine == answer.machine ? newest_ : answer;
  }

 private:
  std::mutex mutex_;
  KeptAnswer newest_;
};

// Output that a host was given by another of its processes.
struct GivenOutput {
  unsigned long machine;
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

VtExecInfo* takeAnswer(Helper& helper, unsigned long asked) {
  const std::unique_ptr<const GivenOutput> given(helper.given.exchange(nullptr));
  if (given && given->machine == asked) {
    const Access& how = given->how;
    noteAccess(how.source, how.outcome, how.milliseconds, how.outcome != "ok");
    return readAnswer(given->text);
  }
  const HelperOutput output = helper.run();
  return output.started ? readAnswer(output.text) : nullptr;
}

// own is this thread's.
VtExecInfo* askOnce(Helper& helper, KeptAnswer& own, const Trace& trace) {
  const unsigned long asked = machineNumber();
  if (own.machine != asked) own = helper.kept.find(asked);
  if (own.info) return own.info.get();
  Answer info(takeAnswer(helper, asked));
  if (!info) {
    trace.at().min("[E] %s", "Could not execute VT command!");
    return nullptr;
  }
  trace.at().max("[I] VT command executed, rc=%d", info->result);
  own = helper.kept.keep({asked, std::move(info)});
  return own.info.get();
}

}  // namespace

std::string askHelper(const std::string& name) {
  const Helper* const helper = findHelper(name);
  return helper ? helper->run().text : std::string();
}

void giveHelperOutput(const std::string& name, std::string output, const Access& how) {
  Helper* const helper = findHelper(name);
  if (!helper) return;
  delete helper->given.exchange(new GivenOutput{machineNumber(), std::move(output), how});
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
  thread_local invscan::KeptAnswer own;
  return invscan::askOnce(invscan::cpuidHelper, own, trace);
}

VtExecInfo* getDiskScanVT() {
  const invscan::Trace trace(getCcLogHw(), "getDiskScanVT()");
  thread_local invscan::KeptAnswer own;
  return invscan::askOnce(invscan::diskScanHelper, own, trace);
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
