#include "invscan/linux/utils/HostIdentity.h"

#include "invscan/SMBIOS/FirmwareText.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/enabler/GuestAnswers.h"
#include "invscan/machine/Machine.h"

namespace invscan {

void offerHost(IdentityTexts& identity, const VirtualMachineInfo& info, const HostAttributes& ids) {
  const HostTexts keys = hostTexts();
  identity.offer(ids.manufacturer, kCpuidHelper, info.hostManufacturer);
  identity.offer(ids.product, kCpuidHelper, info.hostProduct);
  identity.offer(ids.model, kCpuidHelper, info.hostModel);
  identity.offer(ids.serialNumber, kCpuidHelper, info.hostSerialNumber);
  const auto offerKey = [&](unsigned long id, std::string text) {
    identity.offer(id, GuestChannelQuestion::kLogName, cleanText(text.data()));
  };
  offerKey(ids.manufacturer, keys.manufacturer);
  offerKey(ids.product, keys.product);
  offerKey(ids.version, keys.version);
  offerKey(ids.machineType, keys.machineType);
  offerKey(ids.nodeId, keys.nodeId);
}

}  // namespace invscan
