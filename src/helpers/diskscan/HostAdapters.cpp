#include "helpers/diskscan/HostAdapters.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string_view>

#include "common/text/Lines.h"
#include "invscan/linux/utils/Sysfs.h"
#include "invscan/machine/Machine.h"

namespace invscan::diskscan {
namespace {

const std::string kScsiHosts = "/sys/class/scsi_host";
const std::string kFibreChannelHosts = "/sys/class/fc_host";
const std::string kIscsiHosts = "/sys/class/iscsi_host";
const std::string kSasPhys = "/sys/class/sas_phy";
const std::string kSasDevices = "/sys/class/sas_device";
const std::string kPciDevices = "/sys/bus/pci/devices/";

// Makers of storage adapters by the number of their PCI devices.
const std::map<std::string_view, const char*> kVendors = {
    {"0x1000", "Broadcom / LSI"},
    {"0x1014", "IBM"},
    {"0x1022", "AMD"},
    {"0x103c", "HP"},
    {"0x1077", "QLogic"},
    {"0x10df", "Emulex"},
    {"0x1137", "Cisco"},
    {"0x1425", "Chelsio"},
    {"0x14e4", "Broadcom"},
    {"0x15ad", "VMware"},
    {"0x1657", "Brocade"},
    {"0x1924", "Solarflare"},
    {"0x19a2", "Emulex"},
    {"0x1af4", "Red Hat"},
    {"0x1b21", "ASMedia"},
    {"0x1b4b", "Marvell"},
    {"0x8086", "Intel"},
    {"0x9005", "Adaptec / Microchip"},
};

// Controllers of ata_piix that are older than SATA, by the number of their PCI devices.
constexpr std::string_view kParallelPiix[] = {
    "0x7010", "0x7111", "0x7199", "0x7601", "0x84ca", "0x2411", "0x2421",
    "0x244a", "0x244b", "0x245b", "0x248a", "0x248b", "0x24c1", "0x24ca",
    "0x24cb", "0x24db", "0x25a2", "0x266f", "0x269e", "0x27df", "0x2850"};

// A rate such as "6.0 Gbit"; without a link the kernel has words there.
std::string readRate(const std::string& path) {
  std::string rate = readAttribute(path);
  return leadingReal(rate) > 0 ? rate : std::string();
}

// An address such as "0x500605b0000272b9"; without a link it may be naught.
std::string readAddress(const std::string& path) {
  std::string address = readAttribute(path);
  return address.find_first_not_of("0x") != std::string::npos ? address : std::string();
}

// What the links of a SAS adapter itself tell: not those of expanders behind it.
struct SasPorts {
  std::string address;
  std::string rate;  // of the fastest link
};

// The host of "phy-2:0" is "host2"; "phy-2:1:0" belongs to expander 1.
std::string hostOfPhy(const std::string& phy) {
  const std::size_t colon = phy.find(':');
  const bool isOwn = phy.starts_with("phy-") && colon == phy.rfind(':');
  return isOwn ? "host" + phy.substr(4, colon - 4) : std::string();
}

std::map<std::string, SasPorts> readSasPorts() {
  std::map<std::string, SasPorts> ports;
  for (const std::string& phy : machine().listDirectory(kSasPhys)) {
    const std::string host = hostOfPhy(phy);
    if (host.empty()) continue;
    SasPorts& own = ports[host];
    if (own.address.empty()) own.address = readAddress(kSasPhys + "/" + phy + "/sas_address");
    const std::string rate = readRate(kSasPhys + "/" + phy + "/negotiated_linkrate");
    if (leadingReal(rate) > leadingReal(own.rate)) own.rate = rate;
  }
  return ports;
}

void addFibreChannel(HostAdapter& adapter, const std::string& fibre) {
  adapter.type = "Fibre Channel";
  // Drivers go on telling the last speed when the link has gone.
  if (adapter.state == "Online") adapter.speed = readRate(fibre + "/speed");
  adapter.nodeName = readAttribute(fibre + "/node_name");
  adapter.portName = readAttribute(fibre + "/port_name");
}

// Reads one host after the other. Several share a PCI device, and many a class's directory.
class HostReader {
 public:
  HostAdapter read(const std::string& host);

 private:
  static std::string driverOf(const std::string& own, const std::string& path);
  static bool isParallel(const std::string& own, const std::string& path);
  std::string ownAddress(const std::string& address);
  std::string vendorOf(const std::string& path);
  void addBus(HostAdapter& adapter, const std::string& host, const std::string& path);

  std::map<std::string, std::string> vendors_;  // by PCI address
  std::map<std::string, SasPorts> sasPorts_ = readSasPorts();
  std::optional<std::set<std::string>> attached_;  // addresses of SAS devices, when asked
};

HostAdapter HostReader::read(const std::string& host) {
  const std::string own = kScsiHosts + "/" + host, fibre = kFibreChannelHosts + "/" + host;
  const std::string path = machine().readLink(own).text;
  HostAdapter adapter;
  adapter.id = leadingInteger(std::string_view(host).substr(4));
  adapter.model = firstAttribute({own + "/model_name", own + "/modelname", own + "/board_name",
                                  own + "/model", fibre + "/model"});
  adapter.description =
      firstAttribute({own + "/model_desc", own + "/modeldesc", own + "/model_description",
                      fibre + "/model_description", fibre + "/symbolic_name"});
  if (adapter.description.empty()) adapter.description = driverOf(own, path);
  adapter.serial = firstAttribute({own + "/serial_num", own + "/serialnum", own + "/serial_number",
                                   own + "/board_tracer", fibre + "/serial_number"});
  adapter.vendor = firstAttribute({fibre + "/manufacturer", own + "/vendor"});
  if (adapter.vendor.empty()) adapter.vendor = vendorOf(path);
  adapter.state = firstAttribute({fibre + "/port_state", own + "/state"});
  if (machine().exists(fibre)) {
    addFibreChannel(adapter, fibre);
  } else {
    addBus(adapter, host, path);
  }
  return adapter;
}

// Its name; of a driver that does not tell it itself, that of the device above the host.
std::string HostReader::driverOf(const std::string& own, const std::string& path) {
  constexpr std::string_view kToDevices = "../../devices/";
  std::string name = readAttribute(own + "/proc_name");
  if (!name.empty() && name != "(null)" && name != "<NULL>") return name;
  const std::size_t host = path.find("/host");
  if (!path.starts_with(kToDevices) || host == path.npos) return {};
  const std::string above = path.substr(kToDevices.size(), host - kToDevices.size());
  return componentFromEnd(machine().readLink("/sys/devices/" + above + "/driver").text, 0);
}

// Whether the ports of an ATA host are older than SATA.
bool HostReader::isParallel(const std::string& own, const std::string& path) {
  const std::string driver = driverOf(own, path);
  if (driver.starts_with("pata_") || driver == "ata_generic") return true;
  if (driver != "ata_piix") return false;
  const std::string device = readAttribute(kPciDevices + pciAddress(path) + "/device");
  return std::find(std::begin(kParallelPiix), std::end(kParallelPiix), device) !=
         std::end(kParallelPiix);
}

// Some drivers tell the address of what is attached for that of a port of their own.
std::string HostReader::ownAddress(const std::string& address) {
  if (!attached_) {
    attached_.emplace();
    for (const std::string& name : machine().listDirectory(kSasDevices)) {
      attached_->insert(readAttribute(kSasDevices + "/" + name + "/sas_address"));
    }
  }
  return attached_->contains(address) ? std::string() : address;
}

std::string HostReader::vendorOf(const std::string& path) {
  const std::string address = pciAddress(path);
  if (address.empty()) return {};
  const auto [known, isNew] = vendors_.try_emplace(address);
  if (isNew) {
    const auto vendor = kVendors.find(readAttribute(kPciDevices + address + "/vendor"));
    if (vendor != kVendors.end()) known->second = vendor->second;
  }
  return known->second;
}

void HostReader::addBus(HostAdapter& adapter, const std::string& host, const std::string& path) {
  const auto sas = sasPorts_.find(host);
  const std::string ata = ancestorNamed(path, "ata");
  if (sas != sasPorts_.end()) {
    adapter.type = "SAS";
    adapter.speed = sas->second.rate;
    adapter.portName = readAddress(kScsiHosts + "/" + host + "/host_sas_address");
    if (adapter.portName.empty()) adapter.portName = ownAddress(sas->second.address);
  } else if (!ata.empty()) {
    adapter.type = isParallel(kScsiHosts + "/" + host, path) ? "IDE" : "SATA";
    adapter.speed = readRate("/sys/class/ata_link/link" + ata.substr(3) + "/sata_spd");
  } else if (machine().exists(kIscsiHosts + "/" + host)) {
    adapter.type = "iSCSI";
  } else {
    adapter.type = ancestorNamed(path, "usb").empty() ? "SCSI" : "USB";
  }
}

}  // namespace

std::vector<HostAdapter> readHostAdapters() {
  std::map<long, HostAdapter> adapters;
  HostReader reader;
  for (const std::string& host : machine().listDirectory(kScsiHosts)) {
    if (!host.starts_with("host") || !isNumber(std::string_view(host).substr(4))) continue;
    const HostAdapter adapter = reader.read(host);
    adapters[adapter.id] = adapter;
  }
  std::vector<HostAdapter> inOrder;
  for (auto& [id, adapter] : adapters) inOrder.push_back(std::move(adapter));
  return inOrder;
}

}  // namespace invscan::diskscan
