#include "agent/scan/Scanner.h"

#include <langinfo.h>
#include <sched.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <invscan/factory.h>
#include <invscan/group.h>
#include <invscan/machine.h>
#include <invscan/smbios.h>
#include <invscan/table.h>

#include "agent/commands/Reasons.h"
#include "agent/scan/Wire.h"
#include "agent/scan/WorkerPool.h"

namespace invscan::agent {
namespace {

// Narrow text becomes wide by the locale, and any but UTF-8 would lose names.
void useUtf8Locale(bool isFixed) {
  const bool isUtf8 =
      !isFixed && std::setlocale(LC_CTYPE, "") && std::string_view(nl_langinfo(CODESET)) == "UTF-8";
  if (!isUtf8) std::setlocale(LC_CTYPE, "C.UTF-8");
}

// Those that this process may use; no file is asked, so that a replay asks none.
int processorCount() {
  cpu_set_t processors;
  return sched_getaffinity(0, sizeof processors, &processors) == 0
             ? std::max(CPU_COUNT(&processors), 1)
             : 1;
}

// Whether all texts of the firmware's structures are ASCII, which reads the same in every locale.
bool hasPlainTexts(const SMBIOSTable& table) {
  const auto isPlain = [](unsigned char letter) { return letter < 0x80; };
  unsigned char* data = table.getData();
  const int end = table.getTotalLength();
  for (int n = 0, at = 0; n < table.getNumTables() && at + 1 < end; ++n) {
    const int next = std::min(table.getNextType(data, at), end);
    const int texts = std::min(at + data[at + 1], next);
    if (next <= at) return true;
    if (!std::all_of(data + texts, data + next, isPlain)) return false;
    at = next;
  }
  return true;
}

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

// Whether the group lives on nothing but what the factory read when it was initialised, in this
// very process.
bool isReadAtStart(const kelGroupDef& group) {
  return asksOnly(group, {"/sys/firmware/dmi/tables/*", "/dev/mem"});
}

struct Collected {
  std::unique_ptr<KelTable> table;  // null when the machine has none
  std::vector<Access> accesses;
};

Collected collect(const kelGroupDef& definition, const ScannerOptions& options) {
  if (options.noteAccesses) startAccessLog();
  const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getGroup(definition.name));
  std::unique_ptr<KelTable> table(group ? group->getTable() : nullptr);
  if (group) group->iteration();  // before the answer, which is a worker's end
  return {std::move(table), options.noteAccesses ? accessLog() : std::vector<Access>()};
}

// A worker would protect nothing: all that the group lives on was read and decoded here before.
GroupResult collectHere(const kelGroupDef& definition, const ScannerOptions& options) {
  const auto start = Clock::now();
  Collected collected = collect(definition, options);
  GroupResult result;
  result.group = &definition;
  if (collected.table) {
    result.status = Status::Ok;
    result.rows = copiedRows(*collected.table);
  }
  result.accesses = std::move(collected.accesses);
  result.milliseconds = Milliseconds(Clock::now() - start).count();
  return result;
}

}  // namespace

Scan scanGroups(const std::vector<const kelGroupDef*>& groups, const ScannerOptions& options) {
  const auto start = Clock::now();
  std::vector<Job> jobs;
  std::vector<const kelGroupDef*> own;
  for (const kelGroupDef* const group : groups) {
    if (isReadAtStart(*group)) {
      own.push_back(group);
    } else {
      jobs.push_back({group, [group, &options](int descriptor) {
                        const Collected collected = collect(*group, options);
                        sendAnswer(descriptor,
                                   encodePayload(collected.table.get(), collected.accesses));
                      }});
    }
  }

  const bool isPlain = !globalSMBIOSTable || hasPlainTexts(*globalSMBIOSTable);
  // Once, for all workers to inherit. It takes longer than collecting the agent's own groups.
  if (!jobs.empty() || !isPlain) useUtf8Locale(options.fixedLocale);
  Scan scan;
  scan.hostName = hostName();
  scan.time = KelTable::createTimeStap();
  for (const kelGroupDef* const group : own) scan.groups.push_back(collectHere(*group, options));
  if (!jobs.empty()) {
    ScannerOptions pool = options;
    pool.jobs =
        std::min(options.jobs > 0 ? options.jobs : processorCount(), static_cast<int>(jobs.size()));
    // Each worker may use its part of the share that all may use.
    GroupFactory::getInstance()->getCpuThreshold().divideAmong(pool.jobs);
    for (GroupResult& result : runJobs(jobs, pool)) scan.groups.push_back(std::move(result));
  }
  std::sort(scan.groups.begin(), scan.groups.end(),
            [](const GroupResult& a, const GroupResult& b) { return a.group < b.group; });
  scan.milliseconds = Milliseconds(Clock::now() - start).count();
  return scan;
}

}  // namespace invscan::agent
