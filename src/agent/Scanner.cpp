#include "agent/Scanner.h"

#include <langinfo.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <memory>
#include <string>
#include <string_view>

#include <invscan/factory.h>
#include <invscan/group.h>
#include <invscan/machine.h>
#include <invscan/table.h>

#include "agent/Reasons.h"
#include "agent/Wire.h"
#include "agent/WorkerPool.h"

namespace invscan::agent {
namespace {

// Narrow text becomes wide by the locale, and any but UTF-8 would lose names.
void useUtf8Locale(bool isFixed) {
  const bool isUtf8 =
      !isFixed && std::setlocale(LC_CTYPE, "") && std::string_view(nl_langinfo(CODESET)) == "UTF-8";
  if (!isUtf8) std::setlocale(LC_CTYPE, "C.UTF-8");
}

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

// What the factory reads when it is initialised, in this very process.
const std::vector<std::string> kReadAtStart = {"/sys/firmware/dmi/tables/*", "/dev/mem"};

std::string payloadFor(const kelGroupDef& definition, const ScannerOptions& options) {
  if (options.noteAccesses) startAccessLog();
  const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getGroup(definition.name));
  const std::unique_ptr<KelTable> table(group ? group->getTable() : nullptr);
  if (group) group->iteration();  // before the answer, which is a worker's end
  return encodePayload(table.get(), options.noteAccesses ? accessLog() : std::vector<Access>());
}

// A worker would protect nothing: all that the group lives on was read and decoded here before.
GroupResult collectHere(const kelGroupDef& definition, const ScannerOptions& options) {
  const auto start = Clock::now();
  GroupResult result;
  result.group = &definition;
  decodePayload(payloadFor(definition, options), result);
  result.milliseconds = Milliseconds(Clock::now() - start).count();
  return result;
}

}  // namespace

Scan scanGroups(const std::vector<const kelGroupDef*>& groups, const ScannerOptions& options) {
  const auto start = Clock::now();
  useUtf8Locale(options.fixedLocale);  // once, for all workers to inherit
  Scan scan;
  scan.hostName = hostName();
  scan.time = KelTable::createTimeStap();

  std::vector<Job> jobs;
  for (const kelGroupDef* const group : groups) {
    if (asksOnly(*group, kReadAtStart)) {
      scan.groups.push_back(collectHere(*group, options));
    } else {
      jobs.push_back({group, [group, &options](int descriptor) {
                        sendAnswer(descriptor, payloadFor(*group, options));
                      }});
    }
  }
  if (!jobs.empty()) {
    for (GroupResult& result : runJobs(jobs, options)) scan.groups.push_back(std::move(result));
  }
  std::sort(scan.groups.begin(), scan.groups.end(),
            [](const GroupResult& a, const GroupResult& b) { return a.group < b.group; });
  scan.milliseconds = Milliseconds(Clock::now() - start).count();
  return scan;
}

}  // namespace invscan::agent
