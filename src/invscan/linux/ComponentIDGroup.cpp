#include <memory>
#include <string>

#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/smbios.h>

#include "common/text/Lines.h"
#include "invscan/SMBIOS/FirmwareText.h"
#include "invscan/SMBIOS/MachineType.h"
#include "invscan/SMBIOS/table/SharedTable.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/enabler/Hypervisor.h"
#include "invscan/linux/utils/HostIdentity.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

const kelAttribDef COMPONENTID_ATTRS_DEF[] = {
    {1, "Manufacturer", KEL_STRING, 64, nullptr},
    {2, "Product", KEL_STRING, 64, nullptr},
    {3, "Version", KEL_STRING, 64, nullptr},
    {4, "Serial Number", KEL_STRING, 64, nullptr},
    {5, "Installation", KEL_DATETIME, 0, nullptr},
    {6, "Verify", KEL_ULONG, 0, nullptr},
    {7, "UUID", KEL_STRING, 48, nullptr},
    {8, "Machine Type", KEL_STRING, 64, nullptr},
    {9, "Family", KEL_STRING, 64, nullptr},
    {10, "SKU Number", KEL_STRING, 64, nullptr},
    {11, "Board Manufacturer", KEL_STRING, 64, nullptr},
    {12, "Board Product", KEL_STRING, 64, nullptr},
    {13, "Board Serial Number", KEL_STRING, 64, nullptr},
    {14, "Enclosure Serial Number", KEL_STRING, 64, nullptr},
    {15, "Asset Tag", KEL_STRING, 64, nullptr},
    {16, "Hostname", KEL_STRING, 255, nullptr},
    {17, "Machine ID", KEL_STRING, 32, nullptr},
    {18, "Is Virtual", KEL_STRING, 1, nullptr},
    {19, "Hypervisor Type", KEL_STRING, 50, nullptr},
    {20, "Host Manufacturer", KEL_STRING, 64, nullptr},
    {21, "Host Product", KEL_STRING, 64, nullptr},
    {22, "Host Model", KEL_STRING, 64, nullptr},
    {23, "Host Version", KEL_STRING, 64, nullptr},
    {24, "Host Machine Type", KEL_STRING, 64, nullptr},
    {25, "Host Serial Number", KEL_STRING, 64, nullptr},
    {26, "Host Node ID", KEL_STRING, 128, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

constexpr char kFirmware[] = "/sys/firmware/dmi/tables/*; /dev/mem; /sys/class/dmi/id/*";
constexpr char kMachine[] =
    "/sys/firmware/dmi/tables/*; /dev/mem; /sys/class/dmi/id/*; helper cpuid";
constexpr char kHost[] =
    "helper cpuid; guest channel; cpuid; "
    "vmware-guestd --cmd 'info-get guestinfo.orv_node_*' 2>/dev/null; "
    "vmware-rpctool 'info-get guestinfo.orv_node_*' 2>/dev/null";
constexpr char kMachineOrHost[] =
    "/sys/firmware/dmi/tables/*; /dev/mem; /sys/class/dmi/id/*; helper cpuid; guest channel; "
    "cpuid; "
    "vmware-guestd --cmd 'info-get guestinfo.orv_node_*' 2>/dev/null; "
    "vmware-rpctool 'info-get guestinfo.orv_node_*' 2>/dev/null";
constexpr char kHypervisor[] =
    "helper cpuid; /proc/xen/capabilities; /run/systemd/container; /run/.containerenv; /.dockerenv";

const AttributeTraits kComponentIdTraits[] = {
    {1, "", Stable, kPublic, "Maker of the machine; for HostComponentID, of the physical host.",
     kMachineOrHost, nullptr},
    {2, "", Stable, kPublic,
     "Product name of the machine; for HostComponentID, of the physical host.", kMachineOrHost,
     nullptr},
    {3, "", Stable, kPublic,
     "Product version of the machine; for HostComponentID, of the physical host.", kMachineOrHost,
     nullptr},
    {4, "", Identity, kSensitive,
     "Serial number of the machine; for HostComponentID, of the physical host.", kMachineOrHost,
     nullptr},
    {5, "", Stable, kPublic,
     "When the product was installed, as the standard component identification asks.", kNotFilled,
     nullptr},
    {6, "", Volatile, kPublic,
     "Verification level of the standard component identification, 7 when the component works.",
     kNotFilled, nullptr},
    {7, "", Identity, kSensitive, "Universally unique id that the firmware gives the machine.",
     kMachine, nullptr},
    {8, "", Stable, kPublic,
     "Maker's machine type, the part of the product that orders and contracts name.",
     kMachineOrHost, nullptr},
    {9, "", Stable, kPublic, "Product family that the machine belongs to.", kFirmware, nullptr},
    {10, "", Stable, kPublic, "Maker's stock keeping number of the configuration.", kFirmware,
     nullptr},
    {11, "", Stable, kPublic, "Maker of the base board.", kFirmware, nullptr},
    {12, "", Stable, kPublic, "Product name of the base board.", kFirmware, nullptr},
    {13, "", Identity, kSensitive, "Serial number of the base board.", kFirmware, nullptr},
    {14, "", Identity, kSensitive, "Serial number of the enclosure.", kFirmware, nullptr},
    {15, "", Identity, kSensitive, "Owner's inventory number, as entered in the firmware.",
     kFirmware, nullptr},
    {16, "", Identity, kSensitive, "Name of the running system on the network.", "uname", nullptr},
    {17, "", Identity, kSensitive, "Id of this operating system installation.",
     "/etc/machine-id; /var/lib/dbus/machine-id", nullptr},
    {18, "", Stable, kPublic,
     "Whether the system runs in a guest of a recognised hypervisor, T or F.", kHypervisor,
     nullptr},
    {19, "", Stable, kPublic, "Name of the hypervisor that runs this guest, else of its container.",
     kHypervisor, nullptr},
    {20, "", Stable, kPublic, "Maker of the physical host that runs this guest.", kHost, nullptr},
    {21, "", Stable, kPublic, "Product name of the physical host that runs this guest.", kHost,
     nullptr},
    {22, "", Stable, kPublic, "Model of the physical host that runs this guest.", kCpuidHelper,
     nullptr},
    {23, "", Stable, kPublic, "Product version of the physical host that runs this guest.", kHost,
     nullptr},
    {24, "", Stable, kPublic, "Maker's machine type of the physical host that runs this guest.",
     kHost, nullptr},
    {25, "", Identity, kSensitive, "Serial number of the physical host that runs this guest.",
     kCpuidHelper, nullptr},
    {26, "", Identity, kSensitive,
     "Id that the infrastructure gives the physical host that runs this guest.", kHost, nullptr},
    kEndOfTraits,
};

namespace {

enum Attribute : unsigned long {
  kManufacturer = 1,
  kProduct,
  kVersion,
  kSerialNumber,
  kUuid = 7,
  kMachineType,
  kFamily,
  kSkuNumber,
  kBoardManufacturer,
  kBoardProduct,
  kBoardSerialNumber,
  kEnclosureSerialNumber,
  kAssetTag,
};

constexpr std::size_t kLineLimit = 256;

void offerFirmware(IdentityTexts& identity) {
  const FirmwareInUse firmware;
  if (!firmware) return;
  const std::string source = firmware->isNative() ? "/sys/firmware/dmi/tables/DMI" : kMemoryDevice;
  const auto offer = [&](unsigned long id, char* text) {
    identity.offer(id, source, cleanText(text));
  };
  if (const auto* system = firmware->getTable1()) {
    offer(kManufacturer, system->getManufacturer());
    offer(kProduct, system->getProduct());
    offer(kVersion, system->getVersion());
    offer(kSerialNumber, system->getSerialNumber());
    identity.offer(kUuid, source, cleanUuid(cleanText(system->getUUIDAsString())));
    offer(kFamily, system->getFamily());
    offer(kSkuNumber, system->getSKUNumber());
  }
  if (const auto* board = firmware->getTable2()) {
    offer(kBoardManufacturer, board->getManufacturer());
    offer(kBoardProduct, board->getProduct());
    offer(kBoardSerialNumber, board->getSerialNumber());
  }
  if (const auto* enclosure = firmware->getTable3()) {
    offer(kEnclosureSerialNumber, enclosure->getSerialNumber());
    offer(kAssetTag, enclosure->getAssetTag());
  }
}

// What the kernel took out of the firmware's table, for those who cannot read that.
void offerKernel(IdentityTexts& identity) {
  constexpr struct {
    unsigned long id;
    const char* name;
  } kFiles[] = {
      {kManufacturer, "sys_vendor"},
      {kProduct, "product_name"},
      {kVersion, "product_version"},
      {kSerialNumber, "product_serial"},
      {kUuid, "product_uuid"},
      {kFamily, "product_family"},
      {kSkuNumber, "product_sku"},
      {kBoardManufacturer, "board_vendor"},
      {kBoardProduct, "board_name"},
      {kBoardSerialNumber, "board_serial"},
      {kEnclosureSerialNumber, "chassis_serial"},
      {kAssetTag, "chassis_asset_tag"},
  };
  if (!useNativeSources() || FirmwareInUse()) return;
  for (const auto& [id, name] : kFiles) {
    const std::string path = std::string("/sys/class/dmi/id/") + name;
    const std::string text = cleanText(machine().readFile(path).text.data());
    identity.offer(id, path, id == kUuid ? cleanUuid(text) : text);
  }
}

void offerHelper(IdentityTexts& identity, const VirtualMachineInfo& info) {
  identity.offer(kManufacturer, kCpuidHelper, info.systemManufacturer);
  identity.offer(kProduct, kCpuidHelper, info.systemProduct);
  identity.offer(kVersion, kCpuidHelper, info.systemVersion);
  identity.offer(kSerialNumber, kCpuidHelper, info.systemSerialNumber);
  identity.offer(kUuid, kCpuidHelper, cleanUuid(info.systemUuid));
}

// What stands there for an installation that was not started yet, or is made to be copied.
std::string cleanMachineId(const FileText& file) {
  const std::string id = squeezed(firstLine(file.text, kLineLimit));
  const bool isFiller = id == "uninitialized" || id.find_first_not_of('0') == id.npos;
  return isFiller ? "" : id;
}

void offerInstallation(IdentityTexts& identity) {
  constexpr unsigned long kHostname = 16, kMachineId = 17;
  identity.offer(kHostname, "uname", hostName());
  for (const char* path : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
    if (identity.find(kMachineId).empty()) {
      identity.offer(kMachineId, path, cleanMachineId(machine().readFile(path)));
    }
  }
}

}  // namespace

}  // namespace invscan

using namespace invscan;

KelTable* ComponentIDGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  const Hypervisor hypervisor = findHypervisor();
  IdentityTexts identity(getGroupId());
  offerFirmware(identity);
  offerKernel(identity);
  offerHelper(identity, hypervisor.info);
  const auto type = machineTypeOf(identity.find(kManufacturer), identity.find(kProduct));
  identity.offer(kMachineType, identity.sourceOf(kProduct), type.value_or(""));
  offerInstallation(identity);
  offerHost(identity, hypervisor.info, {20, 21, 22, 23, 24, 25, 26});
  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  OrderedRow row;
  identity.addTo(row);
  row.text(18, hypervisor.isVirtual ? "T" : "F");
  if (!hypervisor.name.empty()) row.text(19, hypervisor.name);
  row.addTo(*table);
  return table.release();
}
