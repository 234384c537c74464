#include <memory>

#include <invscan/catalogue.h>
#include <invscan/groups.h>

#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "log/Trace.h"

const kelAttribDef CPU_UNIX_METER_ATTRS_DEF[] = {
    {1, "LoadAvg1", KEL_FLOAT, 0, nullptr},
    {2, "LoadAvg5", KEL_FLOAT, 0, nullptr},
    {3, "LoadAvg15", KEL_FLOAT, 0, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kUnixCpuMeterTraits[] = {
    {1, "", Volatile, kPublic, "Load average over one minute.", "/proc/loadavg", nullptr},
    {2, "", Volatile, kPublic, "Load average over five minutes.", "/proc/loadavg", nullptr},
    {3, "", Volatile, kPublic, "Load average over fifteen minutes.", "/proc/loadavg", nullptr},
    kEndOfTraits,
};

}  // namespace invscan

using namespace invscan;

KelTable* UnixCpuMeterGroup::getTable() {
  const Trace trace(getCcLogHw(), className_.c_str());
  UnixCpuMeter meter;
  meter.readLoadAverages();
  const float figures[] = {meter.getLoadAvg1(), meter.getLoadAvg5(), meter.getLoadAvg15()};
  trace.at().max("hardware loadAvg1=%f, loadAvg5=%f, loadAvg15=%f", static_cast<double>(figures[0]),
                 static_cast<double>(figures[1]), static_cast<double>(figures[2]));

  RowBuilder row;
  unsigned long id = 0;
  for (const float figure : figures) {
    ++id;
    if (figure != -1.0F) row.real(id, figure);
  }
  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  row.addTo(*table);
  return table.release();
}
