#include <memory>

#include <invscan/groups.h>

#include "invscan/linux/utils/HostIdentity.h"
#include "log/Trace.h"

using namespace invscan;

KelTable* HostComponentIDGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  VirtualMachineInfo info;
  getVirtualMachineInfo(info);
  IdentityTexts identity(getGroupId());
  offerHost(identity, info, {1, 2, 22, 3, 8, 4, 26});
  if (identity.isEmpty()) return nullptr;
  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  OrderedRow row;
  identity.addTo(row);
  row.addTo(*table);
  return table.release();
}
