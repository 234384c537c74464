#include "agent/scan/Scanner.h"

#include <langinfo.h>
#include <sched.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <list>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include <invscan/base/OrvCfg.h>
#include <invscan/collectors.h>
#include <invscan/factory.h>
#include <invscan/machine.h>

#include "agent/reasons/Completeness.h"
#include "agent/scan/HelperErrand.h"
#include "agent/scan/QuestionLog.h"
#include "agent/scan/Wire.h"
#include "agent/scan/WorkerPool.h"

namespace invscan::agent {
namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Rooms of jobs that may share a worker, in the order in which they are begun with. What waits for
// others comes first, and late what is soon done.
enum RoomNumber {
  kNamesRoom,   // look-ups of addresses
  kDeviceRoom,  // what "diskscan" answers, and the database of hardware, which is loaded once there
  kIdentityRoom,  // the firmware's table, which is decoded once there, and what "cpuid" answers
  kMountsRoom,    // file systems
  kCheapRoom,
  // Guests of VMware have the administrator's keys read by programs, once for all that take them.
  kGuestRoom,
};

constexpr struct {
  unsigned need;
  const char* name;
  int room;  // of those that wait for it
} kHelpers[] = {{kNeedsCpuid, "cpuid", kIdentityRoom}, {kNeedsDiskScan, "diskscan", kDeviceRoom}};

// Narrow text becomes wide by the locale, and any but UTF-8 would lose names.
void useUtf8Locale(bool isFixed) {
  const bool isUtf8 =
      !isFixed && std::setlocale(LC_CTYPE, "") && std::string_view(nl_langinfo(CODESET)) == "UTF-8";
  if (!isUtf8) std::setlocale(LC_CTYPE, "C.UTF-8");
}

// Collectors set locales. Each group finds those that the first one in this worker found.
void setUpLocale(bool isFixed) {
  static std::string initial;
  if (initial.empty()) {
    useUtf8Locale(isFixed);
    initial = std::setlocale(LC_ALL, nullptr);
  } else if (initial != std::setlocale(LC_ALL, nullptr)) {
    std::setlocale(LC_ALL, initial.c_str());
  }
}

// One more than the processors that this process may use, as some wait for others; no file is
// asked, so that a replay asks none.
int defaultJobs() {
  cpu_set_t processors;
  return sched_getaffinity(0, sizeof processors, &processors) == 0 ? CPU_COUNT(&processors) + 1 : 2;
}

void startNotes(const ScannerOptions& options) {
  options.noteAccesses ? startAccessLog() : startObstacleLog();
}

// Reads and decodes the firmware's table in this worker, whose deadline holds for that too. What it
// took belongs to each group that needs it.
const std::vector<Access>& readFirmware(const ScannerOptions& options) {
  static std::optional<std::vector<Access>> accesses;
  if (!accesses) {
    startNotes(options);
    GroupFactory::getInstance()->initialise();
    accesses = accessLog();
  }
  return *accesses;
}

using Errands = std::list<HelperErrand>;

// One for each task of a scan that explains itself.
using QuestionLogs = std::map<const kelGroupDef*, QuestionLog>;

// In a worker.
void collect(const Task& task, const Errands& errands, QuestionLog* questions,
             const ScannerOptions& options, Outbox& outbox) {
  const auto start = Clock::now();
  if (questions) questions->start();
  setUpLocale(!options.capture.empty());
  std::vector<Access> accesses;
  if (task.needs & kNeedsFirmware) accesses = readFirmware(options);
  startNotes(options);
  for (const HelperErrand& errand : errands) {
    if (task.needs & errand.need()) errand.deliver();
  }
  const std::unique_ptr<KelTable> table = task.collect();
  const std::vector<Access> own = accessLog();
  accesses.insert(accesses.end(), own.begin(), own.end());
  outbox.answer(encodePayload(table.get(), millisecondsSince(start), accesses));
}

std::unique_ptr<KelTable> collectByFactory(const kelGroupDef& definition) {
  const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getGroup(definition.name));
  std::unique_ptr<KelTable> table(group->getTable());
  group->iteration();  // before the answer, which may be the worker's end
  return table;
}

bool isNative() {
  return OrvCfg::getKey("hwscanner.sources") == String("native");
}

bool startsPrograms(const Task& task) {
  return (task.needs & kNeedsPrograms) && !isNative();
}

// A helper answers within the room where all that wait for it are. What they ask of the answer they
// share, so that whoever wants to know what each group asked has them apart.
bool sharesHelpers(const ScannerOptions& options) {
  return isNative() && !options.noteAccesses;
}

int roomOf(const Task& task, const ScannerOptions& options) {
  if (task.needs & kNeedsNames) return kNamesRoom;
  const bool isApart = (task.needs & kNeedsPatience) && !isNative();
  const bool waits = (task.needs & kNeedsCpuid) && !sharesHelpers(options);
  const bool sharesKeys = (task.needs & kNeedsCpuid) && startsPrograms(task);
  if (sharesKeys && !isApart && !options.noteAccesses) return kGuestRoom;
  if (isApart || waits || startsPrograms(task)) return kOwnRoom;
  if (task.needs & kNeedsPatience) return kMountsRoom;
  // Where "diskscan" answers elsewhere, what needs names alone does not wait for it.
  const unsigned devices =
      sharesHelpers(options) ? kNeedsDiskScan | kNeedsHardwareNames : kNeedsDiskScan;
  if (task.needs & devices) return kDeviceRoom;
  return task.needs & (kNeedsFirmware | kNeedsCpuid) ? kIdentityRoom : kCheapRoom;
}

HelperErrand::Machine machineOf(const ScannerOptions& options) {
  if (!options.recording.empty()) return HelperErrand::Machine::Recorded;
  return options.capture.empty() ? HelperErrand::Machine::Live : HelperErrand::Machine::Replayed;
}

// The errands that some task needs, with a job for each.
Errands addErrands(const std::vector<Task>& tasks, const ScannerOptions& options,
                   std::vector<Job>& jobs) {
  Errands errands;
  for (const auto& [need, name, room] : kHelpers) {
    const bool isNeeded = std::any_of(tasks.begin(), tasks.end(),
                                      [bit = need](const Task& task) { return task.needs & bit; });
    if (!isNeeded && options.recording.empty()) continue;
    const HelperErrand& errand = errands.emplace_back(name, need, machineOf(options));
    Job job{nullptr, [&errand](Outbox& outbox) {
              errand.run();
              outbox.answer(encodePayload(nullptr, 0, {}));
            }};
    if (sharesHelpers(options)) job.room = room;
    jobs.push_back(std::move(job));
  }
  return errands;
}

// The first errand stands at that place in the list of jobs.
Job jobOf(const Task& task, const Errands& errands, std::size_t place, QuestionLogs& logs,
          const ScannerOptions& options) {
  QuestionLog* const questions = options.noteAccesses ? &logs[task.group] : nullptr;
  Job job{task.group, [&task, &errands, questions, &options](Outbox& outbox) {
            collect(task, errands, questions, options, outbox);
          }};
  job.room = roomOf(task, options);
  // Each is to know whether the one before has waited in vain.
  job.isInTurn = job.room == kNamesRoom;
  job.startsPrograms = startsPrograms(task);
  for (const HelperErrand& errand : errands) {
    if (task.needs & errand.need()) job.after.push_back(place);
    ++place;
  }
  return job;
}

bool needsHelper(const Task& task) {
  return (task.needs & (kNeedsCpuid | kNeedsDiskScan)) != 0;
}

}  // namespace

void runTasks(const std::vector<Task>& tasks, const ScannerOptions& options, Scan& scan) {
  // A room's jobs run in this order: those that wait for a helper are behind it.
  const Errands none;
  QuestionLogs logs;
  std::vector<Job> jobs;
  for (const Task& task : tasks) {
    if (!needsHelper(task)) jobs.push_back(jobOf(task, none, 0, logs, options));
  }
  const std::size_t place = jobs.size();
  const Errands errands = addErrands(tasks, options, jobs);
  for (const Task& task : tasks) {
    if (needsHelper(task)) jobs.push_back(jobOf(task, errands, place, logs, options));
  }
  if (jobs.empty()) return;
  ScannerOptions pool = options;
  pool.jobs =
      std::min(options.jobs > 0 ? options.jobs : defaultJobs(), static_cast<int>(jobs.size()));
  // Each worker may use its part of the share that all may use.
  GroupFactory::getInstance()->getCpuThreshold().divideAmong(pool.jobs);
  std::vector<GroupResult> results = runJobs(jobs, pool);
  auto errand = errands.begin();
  for (GroupResult& result : results) {
    if (result.group) {
      const bool isLost = result.status == Status::Timeout || result.status == Status::Crash;
      if (isLost && options.noteAccesses) result.accesses = logs[result.group].read();
      judge(result);
      scan.groups.push_back(std::move(result));
      continue;
    }
    const bool isAnswered = result.status == Status::Absent;
    scan.helpers.push_back(
        {errand->name(), isAnswered ? Status::Ok : result.status, std::move(result.trouble)});
    ++errand;
  }
}

Scan scanGroups(const std::vector<const kelGroupDef*>& groups, const ScannerOptions& options) {
  const auto start = Clock::now();
  Scan scan;
  scan.hostName = hostName();
  scan.time = KelTable::createTimeStap();
  std::vector<Task> tasks;
  for (const kelGroupDef* const group : groups) {
    if (const Collector* const collector = findCollector(group->id)) {
      tasks.push_back({group, collector->needs, [group] { return collectByFactory(*group); }});
    } else {
      GroupResult& result = scan.groups.emplace_back();
      result.group = group;
      result.status = Status::Unsupported;
      result.trouble = "this version has no collector for it";
    }
  }
  runTasks(tasks, options, scan);
  std::sort(scan.groups.begin(), scan.groups.end(),
            [](const GroupResult& a, const GroupResult& b) { return a.group < b.group; });
  scan.milliseconds = millisecondsSince(start);
  return scan;
}

}  // namespace invscan::agent
