#include "helpers/diskscan/Targets.h"

#include <string_view>

#include "invscan/linux/utils/Sysfs.h"
#include "invscan/machine/Machine.h"

namespace invscan::diskscan {
namespace {

Target readFibreChannelPort(const std::string& name) {
  const std::string port = "/sys/class/fc_remote_ports/" + name;
  return {true, readAttribute(port + "/node_name"), readAttribute(port + "/port_name")};
}

Target readSasDevice(const std::string& name) {
  return {false, "", readAttribute("/sys/class/sas_device/" + name + "/sas_address")};
}

Target readIscsiSession(const std::string&) {
  return {true, "", ""};
}

// What stands in an address such as "traddr=nn-0x20014:pn-0x10014,host_traddr=..." behind a key.
std::string namedIn(const std::string& address, const std::string& key) {
  const std::size_t found = address.find(key);
  if (found == std::string::npos) return {};
  const std::size_t begin = found + key.size();
  return address.substr(begin, address.find_first_of(":,", begin) - begin);
}

Target readNvmeController(const std::string& name) {
  const std::string controller = "/sys/class/nvme/" + name;
  const std::string transport = readAttribute(controller + "/transport");
  if (transport != "fc") return {transport == "tcp" || transport == "rdma", "", ""};
  const std::string address = readAttribute(controller + "/address");
  return {true, namedIn(address, "nn-"), namedIn(address, "pn-")};
}

// Several controllers may lead to a namespace: the first in a network counts, else the first.
Target readNvmeSubsystem(const std::string& name) {
  for (const std::string& entry : machine().listDirectory("/sys/class/nvme-subsystem/" + name)) {
    if (!entry.starts_with("nvme") || !isNumber(entry.substr(4))) continue;
    if (Target target = readNvmeController(entry); target.isSan) return target;
  }
  return {};
}

// Some fibre-channel adapters of virtual machines do not tell their remote ports.
Target readHost(const std::string& name) {
  return {machine().exists("/sys/class/fc_host/" + name), "", ""};
}

constexpr struct {
  std::string_view beginning;  // of the name of a device above the disk
  Target (*read)(const std::string& name);
} kKinds[] = {
    {"rport-", readFibreChannelPort}, {"end_device-", readSasDevice},
    {"session", readIscsiSession},    {"nvme-subsys", readNvmeSubsystem},
    {"nvme", readNvmeController},     {"host", readHost},
};

}  // namespace

const Target& Targets::of(const std::string& path) {
  for (const auto& kind : kKinds) {
    const std::string name = ancestorNamed(path, kind.beginning);
    if (name.empty()) continue;
    const auto known = known_.find(name);
    return known != known_.end() ? known->second
                                 : known_.emplace(name, kind.read(name)).first->second;
  }
  static const Target kPlain;
  return kPlain;
}

}  // namespace invscan::diskscan
