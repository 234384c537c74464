#include <memory>

#include <invscan/catalogue.h>
#include <invscan/groups.h>

#include "common/text/Lines.h"
#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/utils/KernelStart.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

const kelAttribDef SCAN_INFO_ATTRS_DEF[] = {
    {1, "Manufacturer", KEL_STRING, 64, nullptr}, {2, "Major Version", KEL_ULONG, 0, nullptr},
    {3, "Minor Version", KEL_ULONG, 0, nullptr},  {7, "Maintenance Version", KEL_ULONG, 0, nullptr},
    {9, "Patch Level", KEL_ULONG, 0, nullptr},    {4, "Scan Date", KEL_DATETIME, 0, nullptr},
    {5, "Build", KEL_STRING, 64, nullptr},        {6, "Uptime", KEL_ULONG, 0, nullptr},
    {8, "MobilityFlag", KEL_ULONG, 0, nullptr},   {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kScanInfoTraits[] = {
    {1, "", Stable, kPublic, "Maker of the scanner; a constant.", kConstant, nullptr},
    {2, "", Stable, kPublic, "Major version of the scanner; a constant.", kConstant, nullptr},
    {3, "", Stable, kPublic, "Minor version of the scanner; a constant.", kConstant, nullptr},
    {7, "", Stable, kPublic, "Maintenance version of the scanner; a constant.", kConstant, nullptr},
    {9, "", Stable, kPublic, "Patch level of the scanner; a constant.", kConstant, nullptr},
    {4, "", Volatile, kPublic, "When the scan was made.", "clock", nullptr},
    {5, "", Stable, kPublic, "When the scanner was built; a constant.", kConstant, nullptr},
    {6, "seconds", Volatile, kPublic, "Time since the system reached its run level or was started.",
     "run-level record; /proc/stat; /proc/uptime", nullptr, kNoPath, kNeverZero},
    {8, "", Stable, kPublic, "Flag for mobile machines.", kNotFilled, nullptr},
    kEndOfTraits,
};

namespace {

// None when the record was written later than now, by a clock that was wrong.
std::optional<unsigned long> secondsSince(const RunLevelRecord& record) {
  long seconds = 0;
  if (__builtin_sub_overflow(machine().currentTime(), record.time, &seconds) || seconds < 0) {
    return std::nullopt;
  }
  return static_cast<unsigned long>(seconds);
}

// None when there is no record, 0 when it is of no use. In native mode the kernel is asked then.
std::optional<unsigned long> findUptime() {
  const auto record = machine().runLevelRecord();
  const bool isNative = useNativeSources();
  const bool counts = record && (!isNative || isOfThisRun(*record, kernelStart()));
  if (const auto uptime = counts ? secondsSince(*record) : std::nullopt) return uptime;
  if (isNative) {
    const long seconds = leadingInteger(machine().readFile("/proc/uptime").text);
    if (seconds > 0) return static_cast<unsigned long>(seconds);
  }
  return record ? std::optional(0UL) : std::nullopt;
}

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* ScanInfoGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  RowBuilder row;
  row.text(1, "Halden Systems Inc.")
      .count(2, 2UL)
      .count(3, 8UL)
      .count(7, 0UL)
      .count(9, 1000UL)
      .dateTime(4, machine().currentTime())
      .text(5, getBuildDateRVLT());
  if (const auto uptime = findUptime()) row.count(6, *uptime);
  row.addTo(*table);
  return table.release();
}
