#include <net/if.h>

#include <unordered_set>

#include "invscan/linux/utils/AddressKnowledge.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

using namespace invscan;

void IoctlIpAddressEnumerator::enumerate(std::list<IpAddressData>& records) {
  const Trace trace(getCcLogHw(), "enumerate()");
  knowledge().beginEnumeration();
  const auto entries = machine().interfaceAddresses();
  if (!entries) return;
  trace.at().max("hardware ifc_len=%zu", entries->size() * sizeof(ifreq));
  trace.at().max("hardware count =%zu", entries->size());
  std::unordered_set<std::string> listed;
  for (const auto& entry : *entries) {
    if (!entry.hardwareAddress) trace.at().max("hardware MAC addr Failed");
    if (entry.name.empty() || !entry.address || isLocal(entry.address->c_str()) ||
        !listed.insert(*entry.address).second) {
      continue;
    }
    IpAddressData record;
    record.interfaceName = entry.name;
    record.address = *entry.address;
    record.subnetMask = entry.netmask.value_or("");
    record.macAddress = entry.hardwareAddress.value_or("");
    const HostName name = knowledge().names().plainNameOf(record.address);
    record.hostname = name.host.value_or("");
    record.domain = name.domain.value_or("");
    knowledge().complete(record);
    records.push_back(std::move(record));
  }
  trace.at().max("hardware found %zu addresses", records.size());
}
