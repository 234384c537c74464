#include <algorithm>
#include <compare>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <invscan/catalogue.h>
#include <invscan/groups.h>

#include "common/text/Lines.h"
#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

const kelAttribDef PCI_DEVICE_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "Name", KEL_STRING, 255, nullptr},
    {3, "Class", KEL_STRING, 128, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

constexpr char kFunctions[] = "/sys/bus/pci/devices";
constexpr char kNames[] = "/sys/bus/pci/devices/*; hardware database *";

const AttributeTraits kPciDeviceTraits[] = {
    {1, "", Stable, kPublic, "Running number of the function in the order of addresses, from 1.",
     kFunctions, nullptr},
    {2, "", Stable, kPublic,
     "Vendor and device name, or their numbers when the names are not known.", kNames, nullptr},
    {3, "", Stable, kPublic, "Class of the device, or its number when the name is not known.",
     kNames, nullptr},
    kEndOfTraits,
};

namespace {

constexpr char kDirectory[] = "/sys/bus/pci/devices";
constexpr std::size_t kNameLimit = 255, kClassLimit = 128;  // bytes, as the catalogue has them

struct PciAddress {
  unsigned domain = 0, bus = 0, device = 0, function = 0;

  auto operator<=>(const PciAddress&) const = default;
};

struct PciIdentity {
  unsigned vendor = 0, device = 0, classCode = 0;  // class, subclass and programming interface
};

struct PciFunction {
  PciAddress address;
  std::string path;
};

struct PciNames {
  std::string device, deviceClass;
};

std::string numbered(const char* format, unsigned first, unsigned second = 0) {
  char text[64];
  snprintf(text, sizeof text, format, first, second);
  return text;
}

// Domains may have more than four digits, so that names do not sort as addresses do.
std::vector<PciFunction> functionsInOrder(const Listing& names) {
  std::vector<PciFunction> functions;
  for (const std::string& name : names) {
    PciAddress address;
    if (sscanf(name.c_str(), "%8x:%2x:%2x.%1x", &address.domain, &address.bus, &address.device,
               &address.function) == 4) {
      functions.push_back({address, std::string(kDirectory) + '/' + name});
    }
  }
  std::sort(functions.begin(), functions.end(),
            [](const auto& left, const auto& right) { return left.address < right.address; });
  return functions;
}

std::optional<unsigned> readNumber(const std::string& path) {
  unsigned number = 0;
  const std::string text = machine().readFile(path, 32).text;
  if (sscanf(text.c_str(), "%8x", &number) != 1) return std::nullopt;
  return number;
}

// The alias has all numbers in one file. A function that was unplugged meanwhile has none.
std::optional<PciIdentity> identify(const std::string& path) {
  PciIdentity identity;
  unsigned base = 0, sub = 0, interface = 0;
  const std::string alias = machine().readFile(path + "/modalias", 128).text;
  if (sscanf(alias.c_str(), "pci:v%8xd%8xsv%*8xsd%*8xbc%2xsc%2xi%2x", &identity.vendor,
             &identity.device, &base, &sub, &interface) == 5) {
    identity.classCode = base << 16 | sub << 8 | interface;
    return identity;
  }
  const auto vendor = readNumber(path + "/vendor"), device = readNumber(path + "/device");
  if (!vendor || !device) return std::nullopt;
  return PciIdentity{*vendor, *device, readNumber(path + "/class").value_or(0)};
}

// What the database tells of the device itself: an alias with the subsystem's numbers would find
// the card that a maker built with it, by a longer name.
std::string aliasOf(const PciIdentity& identity) {
  char alias[96];
  snprintf(alias, sizeof alias, "pci:v%08Xd%08Xsv*sd*bc%02Xsc%02Xi%02X", identity.vendor,
           identity.device, identity.classCode >> 16 & 0xFF, identity.classCode >> 8 & 0xFF,
           identity.classCode & 0xFF);
  return alias;
}

std::string nameOf(const PciIdentity& identity, const std::string& vendor,
                   const std::string& device) {
  if (vendor.empty()) return numbered("Device %04x:%04x", identity.vendor, identity.device);
  return vendor + ' ' + (device.empty() ? numbered("Device %04x", identity.device) : device);
}

std::string classOf(const PciIdentity& identity, const std::string& base, const std::string& sub) {
  const unsigned number = identity.classCode >> 8 & 0xFFFF;
  if (!sub.empty()) return sub;
  return base.empty() ? numbered("Class %04x", number) : base + numbered(" [%04x]", number);
}

// Functions of one kind share their names, and the question for them: a card may have hundreds.
class NameLookup {
 public:
  const PciNames& find(const PciIdentity& identity) {
    const auto [known, isNew] = names_.try_emplace(aliasOf(identity));
    if (isNew) known->second = ask(identity, known->first);
    return known->second;
  }

 private:
  static PciNames ask(const PciIdentity& identity, const std::string& alias) {
    const HardwareProperties properties = machine().hardwareProperties(alias);
    const auto text = [&](const char* name) {
      const auto property = properties.find(name);
      return property == properties.end() ? std::string() : property->second;
    };
    return {nameOf(identity, text("ID_VENDOR_FROM_DATABASE"), text("ID_MODEL_FROM_DATABASE")),
            classOf(identity, text("ID_PCI_CLASS_FROM_DATABASE"),
                    text("ID_PCI_SUBCLASS_FROM_DATABASE"))};
  }

  std::map<std::string, PciNames> names_;
};

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* PCIDeviceGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  const Listing listing = machine().listDirectory(kDirectory);
  if (listing.error != 0) return nullptr;
  auto* table = new KelTable(getGroupId(), getGroupVersion());
  NameLookup lookup;
  unsigned long index = 0;
  for (const PciFunction& function : functionsInOrder(listing)) {
    const auto identity = identify(function.path);
    if (!identity) continue;
    const PciNames& names = lookup.find(*identity);
    trace.at().max("hardware %s %s", function.path.c_str(), names.device.c_str());
    RowBuilder()
        .count(1, ++index)
        .text(2, std::string(cutText(names.device, kNameLimit)))
        .text(3, std::string(cutText(names.deviceClass, kClassLimit)))
        .addTo(*table);
  }
  return table;
}
