#include "agent/Scanner.h"

#include <langinfo.h>

#include <chrono>
#include <clocale>
#include <memory>
#include <string_view>

#include <invscan/factory.h>
#include <invscan/group.h>
#include <invscan/machine.h>
#include <invscan/table.h>

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

void answerFor(const kelGroupDef& definition, const ScannerOptions& options, int descriptor) {
  if (options.noteAccesses) startAccessLog();
  const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getGroup(definition.name));
  const std::unique_ptr<KelTable> table(group ? group->getTable() : nullptr);
  if (group) group->iteration();  // before the answer, which is a worker's end
  sendAnswer(descriptor, table.get(), options.noteAccesses ? accessLog() : std::vector<Access>());
}

}  // namespace

Scan scanGroups(const std::vector<const kelGroupDef*>& groups, const ScannerOptions& options) {
  std::vector<Job> jobs;
  for (const kelGroupDef* const group : groups) {
    jobs.push_back(
        {group, [group, &options](int descriptor) { answerFor(*group, options, descriptor); }});
  }

  const auto start = std::chrono::steady_clock::now();
  useUtf8Locale(options.fixedLocale);  // once, for all workers to inherit
  Scan scan;
  scan.hostName = hostName();
  scan.time = KelTable::createTimeStap();
  scan.groups = runJobs(jobs, options);
  scan.milliseconds =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  return scan;
}

}  // namespace invscan::agent
