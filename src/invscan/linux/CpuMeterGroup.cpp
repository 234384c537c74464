#include <memory>

#include <invscan/catalogue.h>
#include <invscan/groups.h>

#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "log/Trace.h"

const kelAttribDef CPU_METER_ATTRS_DEF[] = {
    {1, "IdleTime", KEL_ULONG, 0, nullptr},     {2, "UserTime", KEL_ULONG, 0, nullptr},
    {3, "WaitTime", KEL_ULONG, 0, nullptr},     {4, "SysTime", KEL_ULONG, 0, nullptr},
    {5, "SystemUpTime", KEL_ULONG, 0, nullptr}, {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kCpuMeterTraits[] = {
    {1, "clock ticks", Volatile, kPublic, "Time without work, averaged over the processors.",
     "/proc/stat", nullptr},
    {2, "clock ticks", Volatile, kPublic, "Time in programs, averaged over the processors.",
     "/proc/stat", nullptr},
    {3, "clock ticks", Volatile, kPublic,
     "Time waiting for input and output, averaged over the processors.", "/proc/stat", nullptr},
    {4, "clock ticks", Volatile, kPublic, "Time in the kernel, averaged over the processors.",
     "/proc/stat", nullptr},
    {5, "hundredths of a second", Volatile, kPublic,
     "Whole seconds since the system was started, times 100.", "/proc/uptime", nullptr},
    kEndOfTraits,
};

}  // namespace invscan

using namespace invscan;

KelTable* CpuMeterGroup::getTable() {
  const Trace trace(getCcLogHw(), className_.c_str());
  UnixCpuMeter meter;
  meter.readProcessorTimes();
  meter.readSystemUpTime();
  trace.at().max("hardware IdleTime= %lld, UserTime=%lld, WaitTime=%lld ", meter.getIdleTime(),
                 meter.getUserTime(), meter.getWaitTime());
  trace.at().max("hardware SysTime=%lld", meter.getSysTime());
  trace.at().max("hardware systemUpTime=%lld", meter.getSysTime());

  const long long figures[] = {meter.getIdleTime(), meter.getUserTime(), meter.getWaitTime(),
                               meter.getSysTime(), meter.getSystemUpTime()};
  RowBuilder row;
  unsigned long id = 0;
  for (const long long figure : figures) {
    ++id;
    // The values are signed where the catalogue says unsigned: hosts read the type from the record,
    // and those that know this one would reject another.
    if (figure != -1) row.signedCount(id, figure);
  }
  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  row.addTo(*table);
  return table.release();
}
