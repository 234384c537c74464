#include <memory>
#include <string>
#include <utility>

#include <invscan/catalogue.h>
#include <invscan/groups.h>

#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/storage/DiskScanAnswer.h"
#include "log/Trace.h"

const kelAttribDef SAN_ADAPTER_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},          {2, "Id", KEL_STRING, 100, nullptr},
    {3, "Description", KEL_STRING, 500, nullptr}, {4, "WWNN", KEL_STRING, 50, nullptr},
    {5, "WWPN", KEL_STRING, 50, nullptr},         {6, "Manufacturer", KEL_STRING, 100, nullptr},
    {7, "Model", KEL_STRING, 100, nullptr},       {8, "SerialNumber", KEL_STRING, 100, nullptr},
    {9, "State", KEL_STRING, 50, nullptr},        {10, "Speed", KEL_STRING, 50, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kSanAdapterTraits[] = {
    {1, "", Stable, kPublic, "Position of the adapter in the helper's list, from 0.",
     kDiskscanHelper, nullptr},
    {2, "", Identity, kPublic,
     "Number of the adapter among the system's host adapters, as in host0.", kDiskscanHelper,
     nullptr},
    {3, "", Stable, kPublic, "What the adapter is, in its driver's words.", kDiskscanHelper,
     nullptr},
    {4, "", Identity, kSensitive, "World-wide name of the adapter's node.", kDiskscanHelper,
     nullptr},
    {5, "", Identity, kSensitive, "World-wide name of the adapter's port.", kDiskscanHelper,
     nullptr},
    {6, "", Stable, kPublic, "Maker of the adapter.", kDiskscanHelper, nullptr},
    {7, "", Stable, kPublic, "Model of the adapter.", kDiskscanHelper, nullptr},
    {8, "", Identity, kSensitive, "Serial number of the adapter.", kDiskscanHelper, nullptr},
    {9, "", Volatile, kPublic, "Whether the port is up.", kDiskscanHelper, nullptr},
    {10, "", Volatile, kPublic, "Speed of the link, as the driver words it.", kDiskscanHelper,
     nullptr},
    kEndOfTraits,
};

namespace {

void addRow(const VtNode& adapter, int host, unsigned long position, KelTable& table) {
  constexpr std::pair<unsigned long, const char*> kTexts[] = {
      {3, "Description"}, {4, "WWNN"},   {5, "WWPN"},  {6, "Vendor"},
      {7, "Model"},       {8, "Serial"}, {9, "State"}, {10, "Speed"}};
  RowBuilder row;
  row.count(1, position).text(2, "host" + std::to_string(host));
  for (const auto& [id, name] : kTexts) row.text(id, textOf(adapter, name));
  row.addTo(table);
}

void traceAdapter(const Trace& trace, const VtNode& adapter, int host, unsigned long position) {
  const auto text = [&](const char* name) { return adapter.getValue("", name, ""); };
  trace.at().max(
      "hardware Adding hba #%d: id=%s desc=%s vendor=%s model=%s type=%s serial=%s speed=%s "
      "state=%s wwnn=%s wwpn=%s",
      static_cast<int>(position), ("host" + std::to_string(host)).c_str(), text("Description"),
      text("Vendor"), text("Model"), text("Type"), text("Serial"), text("Speed"), text("State"),
      text("WWNN"), text("WWPN"));
}

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* SANAdapterGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  // Positions count adapters that are skipped as well.
  unsigned long position = 0;
  forEachChild(diskScanTable(trace, "HbaTable", "hba"), "HBA", [&](const VtNode& adapter) {
    const int host = adapter.getValue("", "Id", -1);
    if (host < 0) {
      trace.at().min("ERROR! invalid HBA id, HBA skipped");
    } else {
      traceAdapter(trace, adapter, host, position);
      addRow(adapter, host, position, *table);
    }
    ++position;
  });
  return table.release();
}
