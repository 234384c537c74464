#include <ctime>
#include <memory>

#include <invscan/catalogue.h>
#include <invscan/groups.h>

#include "common/text/Lines.h"
#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/utils/KernelStart.h"
#include "invscan/linux/utils/SystemdRunLevel.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

const kelAttribDef UNIX_PAR_ATTRS_DEF[] = {
    {1, "Boot Time", KEL_DATETIME, 0, nullptr}, {2, "Run Level", KEL_ULONG, 0, nullptr},
    {3, "Hostname", KEL_STRING, 255, nullptr},  {4, "Computer Alias", KEL_STRING, 32, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kUnixSystemParamsTraits[] = {
    {1, "", Volatile, kPublic, "When the system reached its run level or was started.",
     "run-level record; /proc/stat", nullptr, kNoPath, kNeverZero},
    {2, "", Stable, kPublic, "Run level, 0 when unknown.",
     "run-level record; /run/systemd/system; /proc/cmdline; "
     "*/systemd/system/default.target; /sbin/runlevel",
     nullptr, kNoPath, kNeverZero},
    {3, "", Identity, kSensitive, "Node name of the system.", "uname", nullptr},
    {4, "", Identity, kSensitive, "The same node name.", "uname", nullptr},
    kEndOfTraits,
};

namespace {

// The third character of a line such as "N 5", as a digit. Nothing checks that it is one: hosts
// know the answer "unknown" by the run level 59 that comes of it.
unsigned long askRunLevelCommand(const Trace& trace) {
  const std::string text = machine().runCommand("/sbin/runlevel").text;
  const std::string_view line = firstLine(text, 79);
  trace.at().max("hardware Linux runlevel=%s", std::string(line).c_str());
  return line.size() < 3 ? 0 : static_cast<unsigned long>(line[2] - '0');
}

// A digit, or S for the single-user level.
std::optional<unsigned long> numberOf(std::optional<char> level) {
  if (level == 'S' || level == 's') return 1;
  if (!level || *level < '0' || *level > '9') return std::nullopt;
  return static_cast<unsigned long>(*level - '0');
}

// The record is what the command prints, so there is no need to start it where there is none or its
// level is known. What an earlier run of the kernel left behind, or a wrong clock, comes last.
unsigned long findRunLevel(const std::optional<RunLevelRecord>& record, bool isCurrent,
                           const Trace& trace) {
  if (useNativeSources()) {
    const auto recorded = numberOf(record ? record->level : std::nullopt);
    if (recorded && isCurrent) return *recorded;
    if (const auto level = systemdRunLevel()) return *level;
    if (!record || record->level) return recorded.value_or(0);
  }
  return askRunLevelCommand(trace);
}

// Seconds since the epoch, 0 when unknown.
long findBootTime(const std::optional<RunLevelRecord>& record, bool isCurrent,
                  std::optional<long> start, const Trace& trace) {
  if (isCurrent) {
    trace.at().max("hardware RUNLEVEL line=%s", record->line.c_str());
    char text[26] = {};
    TimeToKelDateTime(record->time, text);
    trace.at().max("hardware RUNLEVEL uptime=%ld %.26s", record->time, text);
    return record->time;
  }
  if (start) return *start;
  trace.at().min("hardware Failure getting the boot time");
  return 0;
}

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* UnixSystemParamsGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  const auto record = machine().runLevelRecord();
  const bool isNative = useNativeSources();
  const auto start = isNative ? kernelStart() : std::nullopt;
  const bool isCurrent = record && (!isNative || isOfThisRun(*record, start));
  const unsigned long runLevel = findRunLevel(record, isCurrent, trace);
  const std::string nodeName = machine().kernelIdentity().value_or(KernelIdentity()).nodename;
  trace.at().max("hardware uname nodename=%s", nodeName.c_str());

  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  RowBuilder()
      .dateTime(1, findBootTime(record, isCurrent, start, trace))
      .count(2, runLevel)
      .text(3, nodeName)
      .text(4, nodeName)
      .addTo(*table);
  return table.release();
}
