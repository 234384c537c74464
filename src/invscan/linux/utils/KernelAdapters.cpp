#include "invscan/linux/utils/KernelAdapters.h"

#include <linux/if_arp.h>

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "common/text/Lines.h"
#include "invscan/linux/utils/HardwareMaker.h"
#include "invscan/linux/utils/KernelTables.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

constexpr unsigned long kEthernet = 3, kTokenRing = 4, kFddi = 5, kSerialLine = 6, kPpp = 10,
                        kAtm = 11, kWireless = 12, kInfiniBand = 13, kFibreChannel = 14,
                        kTunnel = 16, kBridge = 17, kVlan = 18;

// Links made in software of which the kernel says more than that they look like Ethernet.
constexpr struct {
  std::string_view kind;
  unsigned long type;
} kKinds[] = {
    {"bridge", kBridge}, {"vlan", kVlan},        {"tun", kTunnel},       {"wireguard", kTunnel},
    {"ipip", kTunnel},   {"sit", kTunnel},       {"gre", kTunnel},       {"gretap", kTunnel},
    {"ip6tnl", kTunnel}, {"ip6gre", kTunnel},    {"ip6gretap", kTunnel}, {"erspan", kTunnel},
    {"vti", kTunnel},    {"vti6", kTunnel},      {"vxlan", kTunnel},     {"geneve", kTunnel},
    {"xfrm", kTunnel},   {"ip6erspan", kTunnel}, {"ppp", kPpp},          {"ipoib", kInfiniBand},
};

constexpr struct {
  unsigned hardware;
  unsigned long type;
  const char* medium;
} kHardware[] = {
    {ARPHRD_ETHER, kEthernet, "Ethernet"},
    {ARPHRD_IEEE802_TR, kTokenRing, "Token Ring"},
    {ARPHRD_PRONET, kTokenRing, "Token Ring"},
    {ARPHRD_FDDI, kFddi, "FDDI"},
    {ARPHRD_SLIP, kSerialLine, "Serial line"},
    {ARPHRD_CSLIP, kSerialLine, "Serial line"},
    {ARPHRD_SLIP6, kSerialLine, "Serial line"},
    {ARPHRD_CSLIP6, kSerialLine, "Serial line"},
    {ARPHRD_PPP, kPpp, ""},
    {ARPHRD_ATM, kAtm, "ATM"},
    {ARPHRD_IEEE80211, kWireless, "Wireless"},
    {ARPHRD_IEEE80211_PRISM, kWireless, "Wireless"},
    {ARPHRD_IEEE80211_RADIOTAP, kWireless, "Wireless"},
    {ARPHRD_INFINIBAND, kInfiniBand, "InfiniBand"},
    {ARPHRD_FCPP, kFibreChannel, "Fibre Channel"},
    {ARPHRD_FCAL, kFibreChannel, "Fibre Channel"},
    {ARPHRD_FCPL, kFibreChannel, "Fibre Channel"},
    {ARPHRD_FCFABRIC, kFibreChannel, "Fibre Channel"},
    {ARPHRD_TUNNEL, kTunnel, ""},
    {ARPHRD_TUNNEL6, kTunnel, ""},
    {ARPHRD_SIT, kTunnel, ""},
    {ARPHRD_IPGRE, kTunnel, ""},
    {ARPHRD_IP6GRE, kTunnel, ""},
};

const char* mediumOf(unsigned hardwareType, bool isWireless) {
  if (isWireless) return "Wireless";
  const auto* row = std::find_if(std::begin(kHardware), std::end(kHardware),
                                 [=](const auto& each) { return each.hardware == hardwareType; });
  return row == std::end(kHardware) ? "" : row->medium;
}

std::string lastPart(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

std::string oneLine(const std::string& path) {
  const FileText file = machine().readFile(path);
  return std::string(firstLine(file.text, 255));
}

// The kernel writes '_' where files have '-'.
std::string moduleName(std::string_view file) {
  std::string name(file.substr(0, file.find(".ko")));
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

// The files of the running kernel's modules.
class Modules {
 public:
  // Empty for a module that is built into the kernel.
  std::string fileOf(const std::string& module) {
    if (!files_) files_ = list();
    const auto found = files_->find(module);
    return found == files_->end() ? "" : found->second;
  }

 private:
  using Files = std::unordered_map<std::string, std::string>;

  static Files list() {
    constexpr std::size_t kLimit = 16 << 20;
    Files files;
    const auto kernel = machine().kernelIdentity();
    if (!kernel) return files;
    const std::string directory = "/lib/modules/" + kernel->release + "/";
    const FileText known = machine().readFile(directory + "modules.dep", kLimit);
    std::string_view rest = known.text;
    while (!rest.empty()) {
      std::string_view line = nextField(rest, "\n");
      const std::string path(line.substr(0, line.find(':')));
      files.emplace(moduleName(lastPart(path)), path.starts_with('/') ? path : directory + path);
    }
    return files;
  }

  std::optional<Files> files_;
};

// The device that carries the one of an interface, by where the kernel has them; empty when it does
// not tell.
std::string carrierOf(const std::string& directory) {
  const std::string place = machine().readLink(directory).text;
  const std::size_t devices = place.find("/devices/");
  const std::size_t device = place.rfind("/net/");
  const std::size_t carrier = device == 0 ? place.npos : place.rfind('/', device - 1);
  if (devices == place.npos || device == place.npos || carrier <= devices) return "";
  return "/sys" + place.substr(devices, carrier - devices);
}

std::string vendorOf(const std::string& directory) {
  std::string alias = oneLine(directory + "/device/modalias");
  // What the driver is bound to is a guest's side of a device, whose maker is that of the carrier.
  if (alias.starts_with("virtio:")) alias = oneLine(carrierOf(directory) + "/modalias");
  return makerOf(alias);
}

bool hasRadio(const std::string& directory) {
  return machine().exists(directory + "/phy80211") || machine().exists(directory + "/wireless");
}

// What is known of the hardware behind a link, if any.
void addHardware(const KernelLink& link, bool isWireless, const std::string& directory,
                 Modules& modules, Adapter& adapter) {
  const std::string device = directory + "/device";
  const FileText driver = machine().readLink(device + "/driver");
  if (driver.error != 0) return;
  adapter.driverName = lastPart(driver.text);
  adapter.physicalType = mediumOf(link.type, isWireless);
  adapter.manufacturer = vendorOf(directory);
  const FileText module = machine().readLink(device + "/driver/module");
  if (module.error != 0) return;
  adapter.driverPath = modules.fileOf(lastPart(module.text));
  adapter.driverVersion = oneLine(device + "/driver/module/version");
}

// Of every bond and team, by its index.
std::unordered_map<int, std::string> membersByMaster(const std::vector<KernelLink>& links) {
  std::unordered_map<int, std::string> members;
  for (const KernelLink& link : links) {
    if (link.kind == "bond" || link.kind == "team") members[link.index];
  }
  for (const KernelLink& link : links) {
    const auto master = members.find(link.master);
    if (master == members.end()) continue;
    if (!master->second.empty()) master->second += ", ";
    master->second += link.name;
  }
  return members;
}

}  // namespace

unsigned long adapterTypeOf(const std::string& kind, unsigned hardwareType, bool isWireless) {
  if (isWireless) return kWireless;
  for (const auto& row : kKinds) {
    if (row.kind == kind) return row.type;
  }
  for (const auto& row : kHardware) {
    if (row.hardware == hardwareType) return row.type;
  }
  return kTypeOther;
}

std::optional<std::vector<Adapter>> kernelAdapters() {
  const auto links = kernelLinks();
  if (!links) return std::nullopt;
  const auto members = membersByMaster(*links);
  Modules modules;
  std::vector<Adapter> adapters;
  for (const KernelLink& link : *links) {
    if (link.type == ARPHRD_LOOPBACK || link.name == "lo") continue;
    const std::string directory = "/sys/class/net/" + link.name;
    const bool isWireless = link.type == ARPHRD_ETHER && link.kind.empty() && hasRadio(directory);
    Adapter& adapter = adapters.emplace_back();
    adapter.name = link.name;
    adapter.hardwareAddress = hardwareAddressOf(link);
    adapter.permanentAddress = permanentAddressOf(link);
    if (adapter.permanentAddress.empty()) adapter.permanentAddress = adapter.hardwareAddress;
    adapter.type = adapterTypeOf(link.kind, link.type, isWireless);
    const auto own = members.find(link.index);
    if (own != members.end()) adapter.members = own->second;
    addHardware(link, isWireless, directory, modules, adapter);
  }
  return adapters;
}

}  // namespace invscan
